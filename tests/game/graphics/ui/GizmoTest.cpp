#include "game/graphics/ui/Gizmo.h"

#include <gtest/gtest.h>

#include <glm/gtc/matrix_transform.hpp>
#include <glm/mat3x3.hpp>

#include "ScriptedUi.h"

using game::graphics::ui::Gizmo;

namespace {

// A camera 5 m in front of the origin looking at it on an 800 x 600 view: the origin is at the
// centre, the x arrow points right, the z axis at the viewer; arrows and ring radii are 80 pixels.
glm::dmat4 Drag(Gizmo::Operation op, ImVec2 from, ImVec2 to, bool expectHandle = true) {
    const glm::dmat4 view = glm::lookAt(glm::dvec3(0, 0, 5), glm::dvec3(0), glm::dvec3(0, 1, 0));
    const glm::dmat4 projection = glm::perspective(glm::radians(60.0), 800.0 / 600.0, 0.1, 100.0);
    glm::dmat4 transform(1.0);
    game::graphics::ui::testing::ScriptedUi ui([&] {
        Gizmo::BeginFrame();
        Gizmo::Manipulate(view, projection, op, transform);
    }, ImVec2(800, 600));
    ImGuiIO& io = ImGui::GetIO();
    io.MousePos = from;  // ImGui takes whole pixels
    ui.Frame();
    EXPECT_EQ(Gizmo::IsOver(), expectHandle);
    io.MouseDown[0] = true;
    ui.Frame();
    EXPECT_EQ(Gizmo::IsUsing(), expectHandle);
    io.MousePos = to;
    ui.Frame();
    io.MouseDown[0] = false;
    ui.Frame();
    EXPECT_FALSE(Gizmo::IsUsing());
    return transform;
}

TEST(GizmoTest, ArrowsMoveAlongTheirAxisUnderTheMouseAndRingsTurnInPlace) {
    // 40 pixels right along the x arrow (the mouse's drift off the arrow does not count).
    glm::dmat4 t = Drag(Gizmo::TRANSLATE, ImVec2(460, 300), ImVec2(500, 330));
    const glm::dvec4 clip = glm::perspective(glm::radians(60.0), 800.0 / 600.0, 0.1, 100.0) *
                            glm::lookAt(glm::dvec3(0, 0, 5), glm::dvec3(0), glm::dvec3(0, 1, 0)) * t[3];
    EXPECT_NEAR((clip.x / clip.w * 0.5 + 0.5) * 800, 440.0, 0.5);
    EXPECT_EQ(t[3].y, 0.0);
    EXPECT_EQ(t[3].z, 0.0);
    EXPECT_EQ(glm::dmat3(t), glm::dmat3(1.0));

    // A quarter turn anticlockwise on the z ring, from 45 to 135 degrees: x becomes y.
    t = Drag(Gizmo::ROTATE, ImVec2(457, 243), ImVec2(343, 243));
    EXPECT_NEAR(t[0].y, 1.0, 1e-3);
    EXPECT_NEAR(t[1].x, -1.0, 1e-3);
    EXPECT_NEAR(t[2].z, 1.0, 1e-9);
    EXPECT_NEAR(glm::length(glm::dvec3(t[3])), 0.0, 1e-9);

    // A drag that starts away from every handle changes nothing.
    EXPECT_EQ(Drag(Gizmo::TRANSLATE, ImVec2(600, 500), ImVec2(650, 500), false), glm::dmat4(1.0));
}

}  // namespace
