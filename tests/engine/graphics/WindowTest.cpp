#include <gtest/gtest.h>

#include <string>
#include <vector>

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

// Slots hold what was set; a reader that kept a pointer into a slot's arrays reads the device's
// new values (and zeros once it is gone: JoystickTest.DisappearingDevice), never freed memory.
TEST(GraphicsWindow, JoysticksBySlotWithArraysThatStayInPlace) {
    Window w;
    int count = -1;
    EXPECT_EQ(w.GetJoystickAxes(0, count), nullptr);
    EXPECT_EQ(count, 0);
    Window::Joystick pad;
    pad.guid = "abc";
    pad.isGamepad = true;
    pad.axes.assign(JOYSTICK_AXES_MAX + 10, 0.75f);  // more than a slot keeps
    pad.axes[1] = -1.0f;
    pad.buttons = {1, 0, 1};
    pad.gamepad.axes[2] = 0.25f;
    w.SetJoystick(3, pad);
    w.SetJoystick(JOYSTICK_LAST + 1, pad);  // no such slot
    EXPECT_FALSE(w.JoystickPresent(JOYSTICK_LAST + 1));
    EXPECT_TRUE(w.JoystickIsGamepad(3));
    EXPECT_EQ(w.GetJoystickGUID(3), "abc");
    const float* axes = w.GetJoystickAxes(3, count);
    ASSERT_EQ(count, JOYSTICK_AXES_MAX);
    EXPECT_EQ(axes[1], -1.0f);
    GamepadState state;
    ASSERT_TRUE(w.GetGamepadState(3, state));
    EXPECT_EQ(state.axes[2], 0.25f);

    pad.axes = {0.5f};
    w.SetJoystick(3, pad);
    EXPECT_EQ(w.GetJoystickAxes(3, count), axes);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(axes[0], 0.5f);
    EXPECT_EQ(axes[1], 0.0f);
    w.RemoveJoystick(3);
    EXPECT_FALSE(w.GetGamepadState(3, state));
    EXPECT_EQ(w.GetJoystickButtons(3, count), nullptr);
}

TEST(GraphicsWindow, KeyAndMouseCallbacksByName) {
    Window w;
    std::vector<std::string> seen;
    w.AddCallback_Key("a", [&](int key, int, int action, int mods) {
        seen.push_back("a" + std::to_string(key) + "/" + std::to_string(action) + "/" + std::to_string(mods));
        EXPECT_EQ(w.GetKey(key), action == RELEASE ? RELEASE : PRESS);  // state is stored first
    });
    w.AddCallback_Key("b", [&](int, int, int, int) {
        seen.push_back("b");
        w.RemoveCallback_Key("c");  // removed during the event: not called any more
    });
    w.AddCallback_Key("c", [&](int, int, int, int) { seen.push_back("c"); });
    w.AddCallback_MouseButton("m", [&](int button, int action, int) {
        seen.push_back("m" + std::to_string(button) + "/" + std::to_string(action));
    });
    w.KeyEvent(65, 38, 2, 1);  // a repeat reads as pressed
    w.SetKey(KEY_LAST + 1, PRESS);  // out of range: no event
    w.AddCallback_Key("a", [&](int, int, int, int) { seen.push_back("a'"); });  // replaces "a"
    w.SetKey(65, RELEASE);
    w.MouseButtonEvent(1, PRESS, 0);
    w.SetMouseButton(MOUSE_BUTTON_LAST + 1, PRESS);
    w.RemoveCallback_MouseButton("m");
    w.SetMouseButton(1, RELEASE);
    EXPECT_EQ(seen, (std::vector<std::string>{"a65/2/1", "b", "a'", "b", "m1/1"}));
    EXPECT_EQ(w.GetMouseButton(1), RELEASE);
}
