#include "game/graphics/ui/Gizmo.h"

#include <gtest/gtest.h>

#include <glm/gtc/matrix_transform.hpp>
#include <glm/mat3x3.hpp>

#include "ScriptedUi.h"

using game::graphics::ui::Gizmo;
using game::graphics::ui::testing::ScriptedUi;

namespace {

// A camera 5 m in front of the transform's origin looking at it, on an 800 x 600 view: the
// origin is at the screen's centre, the x arrow points right, the z axis at the viewer, and an
// arrow or a ring radius is 80 pixels long.
class GizmoTest : public ::testing::Test {
protected:
    void Run(Gizmo::Operation op, ImVec2 from, ImVec2 to) {
        ScriptedUi ui([&] {
            Gizmo::BeginFrame();
            Gizmo::Manipulate(view, projection, op, transform);
        }, ImVec2(800, 600));
        ImGuiIO& io = ImGui::GetIO();
        io.MousePos = from;
        ui.Frame();
        EXPECT_TRUE(Gizmo::IsOver());
        io.MouseDown[0] = true;
        ui.Frame();
        EXPECT_TRUE(Gizmo::IsUsing());
        io.MousePos = to;
        ui.Frame();
        io.MouseDown[0] = false;
        ui.Frame();
        EXPECT_FALSE(Gizmo::IsUsing());
    }

    glm::dmat4 view = glm::lookAt(glm::dvec3(0, 0, 5), glm::dvec3(0), glm::dvec3(0, 1, 0));
    glm::dmat4 projection = glm::perspective(glm::radians(60.0), 800.0 / 600.0, 0.1, 100.0);
    glm::dmat4 transform{1.0};
};

TEST_F(GizmoTest, DraggingTheXArrowMovesAlongXOnlyAndFollowsTheMouse) {
    Run(Gizmo::TRANSLATE, ImVec2(460, 300), ImVec2(500, 330));
    // The origin is now under the point 40 pixels right of where it was.
    const glm::dvec4 clip = projection * view * transform[3];
    EXPECT_NEAR((clip.x / clip.w * 0.5 + 0.5) * 800, 440.0, 0.5);
    EXPECT_GT(transform[3].x, 0.3);
    EXPECT_EQ(transform[3].y, 0.0);
    EXPECT_EQ(transform[3].z, 0.0);
    EXPECT_EQ(glm::dmat3(transform), glm::dmat3(1.0));
}

TEST_F(GizmoTest, TurningTheRingFacingTheViewerRotatesAboutZInPlace) {
    // A quarter turn anticlockwise on the screen, from 45 to 135 degrees on the z ring (ImGui
    // takes whole pixels).
    Run(Gizmo::ROTATE, ImVec2(457, 243), ImVec2(343, 243));
    EXPECT_NEAR(transform[0].x, 0.0, 1e-3);
    EXPECT_NEAR(transform[0].y, 1.0, 1e-3);
    EXPECT_NEAR(transform[1].x, -1.0, 1e-3);
    EXPECT_NEAR(transform[2].z, 1.0, 1e-9);
    EXPECT_NEAR(glm::length(glm::dvec3(transform[3])), 0.0, 1e-9);
}

TEST_F(GizmoTest, AClickAwayFromTheHandlesChangesNothing) {
    ScriptedUi ui([&] {
        Gizmo::BeginFrame();
        Gizmo::Manipulate(view, projection, Gizmo::TRANSLATE, transform);
    }, ImVec2(800, 600));
    ImGuiIO& io = ImGui::GetIO();
    io.MousePos = ImVec2(600, 500);
    ui.Frame();
    io.MouseDown[0] = true;
    ui.Frame();
    io.MousePos = ImVec2(650, 500);
    ui.Frame();
    EXPECT_FALSE(Gizmo::IsOver());
    EXPECT_FALSE(Gizmo::IsUsing());
    EXPECT_EQ(transform, glm::dmat4(1.0));
}

}  // namespace
