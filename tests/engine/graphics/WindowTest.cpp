#include <gtest/gtest.h>

#include <stdexcept>

#include "quorl/graphics/GlfwWindow.h"
#include "quorl/graphics/Window.h"

using namespace quorl::graphics;

TEST(GraphicsWindow, HeadlessIgnoresBadModesAndKeys) {
    Window w;
    EXPECT_TRUE(w.IsFocused());
    w.SetInputMode(CURSOR, CURSOR_DISABLED);
    w.SetInputMode(CURSOR, 12345);  // not a cursor mode: ignored
    EXPECT_EQ(w.GetInputMode(CURSOR), CURSOR_DISABLED);
    w.SetKey(294, PRESS);
    EXPECT_EQ(w.GetKey(294), PRESS);
    EXPECT_EQ(w.GetKey(-1), RELEASE);
    EXPECT_EQ(w.GetKey(KEY_LAST + 1), RELEASE);
}

TEST(GraphicsWindow, JoysticksBySlot) {
    Window w;
    int count = -1;
    EXPECT_EQ(w.GetJoystickAxes(0, count), nullptr);
    EXPECT_EQ(count, 0);
    Window::Joystick pad;
    pad.guid = "abc";
    pad.isGamepad = true;
    pad.axes = {0.5f, -1.0f};
    pad.gamepad.axes[2] = 0.25f;
    w.SetJoystick(3, pad);
    w.SetJoystick(JOYSTICK_LAST + 1, pad);  // no such slot
    EXPECT_FALSE(w.JoystickPresent(JOYSTICK_LAST + 1));
    EXPECT_TRUE(w.JoystickIsGamepad(3));
    EXPECT_EQ(w.GetJoystickGUID(3), "abc");
    const float* axes = w.GetJoystickAxes(3, count);
    ASSERT_EQ(count, 2);
    EXPECT_EQ(axes[1], -1.0f);
    GamepadState state;
    ASSERT_TRUE(w.GetGamepadState(3, state));
    EXPECT_EQ(state.axes[2], 0.25f);
    w.RemoveJoystick(3);
    EXPECT_FALSE(w.GetGamepadState(3, state));
    EXPECT_EQ(w.GetJoystickButtons(3, count), nullptr);
}

// Without a display the desktop window fails with an error, never a crash.
TEST(GraphicsWindow, GlfwWindowFailsCleanlyOrWorks) {
    try {
        GlfwWindow w(320, 200, "Zendola test");
        w.SetInputMode(CURSOR, CURSOR_DISABLED);
        EXPECT_EQ(w.GetInputMode(CURSOR), CURSOR_DISABLED);
        w.PollEvents();
        EXPECT_FALSE(w.ShouldClose());
    } catch (const std::runtime_error& e) {
        EXPECT_NE(std::string(e.what()).find("GLFW"), std::string::npos) << e.what();
    }
}
