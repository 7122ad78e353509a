#pragma once
#include <glm/mat4x4.hpp>

#include <imgui.h>

namespace game::graphics::ui {

// A small transform gizmo drawn over the view: three axis arrows that move the transform along
// its own axes, or three rings that turn it about them. Call BeginFrame once per interface frame,
// then Manipulate for the transform being edited. Matrices are in the GL convention (camera
// looking down -z, y up in normalised device coordinates), as glm::perspective makes them.
// Static state, like the rest of the interface: interface thread only.
class Gizmo {
public:
    enum Operation : int { TRANSLATE = 0, ROTATE = 1 };
    // Length of an arrow and radius of a ring on the screen.
    static constexpr float kHandlePixels = 80.0f;
    // How close to a handle, in pixels, the mouse must be to take it.
    static constexpr float kPickPixels = 8.0f;

    Gizmo() = delete;

    // Starts a frame: forgets the hovered handle; the view rectangle defaults to the display.
    static void BeginFrame();
    // The screen rectangle that the projection maps onto.
    static void SetRect(float x, float y, float width, float height);
    // Draws the handles of transform and applies a drag of one of them. True when transform
    // changed in this call. A drag starts only where no interface window is under the mouse.
    static bool Manipulate(const glm::dmat4& view, const glm::dmat4& projection, Operation operation,
                           glm::dmat4& transform);
    // The mouse is over a handle (as of the last Manipulate).
    static bool IsOver();
    // A handle is being dragged.
    static bool IsUsing();
};

}  // namespace game::graphics::ui
