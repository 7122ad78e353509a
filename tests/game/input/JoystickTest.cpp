#include <gtest/gtest.h>

#include <memory>

#include "game/Game.h"
#include "game/input/Joystick.h"
#include "quorl/graphics/Window.h"

using game::Game;
using game::input::Joystick;
using quorl::graphics::Window;

namespace {

class JoystickTest : public testing::Test {
protected:
    void SetUp() override { Game::window = &window; }
    void TearDown() override { Game::window = nullptr; }

    // A gamepad in slot 0 with both triggers at rest, and a plain stick with a pedal in slot 1.
    void Connect() {
        pad.guid = "03000000DEADBEEF";
        pad.isGamepad = true;
        pad.axes = {0, 0, 0, 0, -1, -1};
        pad.buttons.assign(15, 0);
        pad.gamepad.axes[4] = pad.gamepad.axes[5] = -1;
        window.SetJoystick(0, pad);
        stick.axes = {0.0f, 0.0f, 0.2f};  // the pedal rests at 0.2
        stick.buttons = {0, 0};
        stick.hats = {0};
        window.SetJoystick(1, stick);
    }

    Window window;
    Window::Joystick pad, stick;
};

TEST_F(JoystickTest, AxesWithDeadzonesAndFixedRange) {
    Connect();
    Joystick j(0);
    EXPECT_TRUE(j.connected);
    EXPECT_TRUE(j.isGamepad);
    EXPECT_EQ(j.GUID, pad.guid);
    EXPECT_EQ(j.GetGamepadAxis(4, 0.1f, false, true), 0.0f);  // a trigger at rest
    for (auto [raw, expected] : {std::pair{0.0f, 0.5f}, {1.0f, 1.0f}, {-0.95f, 0.0f}, {-0.85f, 0.075f}}) {
        pad.gamepad.axes[4] = raw;
        window.SetJoystick(0, pad);
        j.InputUpdate();
        EXPECT_FLOAT_EQ(j.GetGamepadAxis(4, 0.1f, false, true), expected) << raw;
    }
    pad.gamepad.axes[0] = -0.05f;
    pad.gamepad.axes[1] = -0.6f;
    window.SetJoystick(0, pad);
    j.InputUpdate();
    EXPECT_EQ(j.GetGamepadAxis(0, 0.1f, false, false), 0.0f);  // inside the deadzone
    EXPECT_FLOAT_EQ(j.GetGamepadAxis(1, 0.1f, false, false), -0.6f);
    for (int axis : {-1, 6}) EXPECT_EQ(j.GetGamepadAxis(axis, 0, false, false), 0.0f);
    for (int axis : {-1, 6, 100}) EXPECT_EQ(j.GetAxis(axis, 0, false, false), 0.0f);
}

// A calibrated axis measures from the least and most values seen since the first reading; with
// a range that doesn't span 0 the deadzone counts from the bottom.
TEST_F(JoystickTest, CalibrationFromTheFirstReading) {
    Connect();
    Joystick j(1);
    EXPECT_FALSE(j.isGamepad);
    EXPECT_EQ(j.GetAxis(2, 0.05f, true, true), 0.0f);  // nothing seen but the rest
    stick.axes[2] = 0.6f;
    window.SetJoystick(1, stick);
    j.InputUpdate();
    EXPECT_FLOAT_EQ(j.GetAxis(2, 0.05f, true, true), 1.0f);
    stick.axes[2] = 0.4f;
    window.SetJoystick(1, stick);
    j.InputUpdate();
    EXPECT_FLOAT_EQ(j.GetAxis(2, 0.05f, true, true), 0.5f);
    EXPECT_NEAR(j.GetAxis(2, 0.05f, true, false), 0.0f, 1e-6);  // bipolar: the range's middle
    stick.axes[2] = 0.22f;  // within the deadzone above the bottom
    window.SetJoystick(1, stick);
    j.InputUpdate();
    EXPECT_EQ(j.GetAxis(2, 0.05f, true, true), 0.0f);

    // A range spanning 0: bipolar, the deadzone around 0.
    stick.axes[0] = -0.5f;
    window.SetJoystick(1, stick);
    j.InputUpdate();
    stick.axes[0] = 0.5f;
    window.SetJoystick(1, stick);
    j.InputUpdate();
    EXPECT_FLOAT_EQ(j.GetAxis(0, 0.1f, true, false), 1.0f);
    stick.axes[0] = 0.05f;
    window.SetJoystick(1, stick);
    j.InputUpdate();
    EXPECT_EQ(j.GetAxis(0, 0.1f, true, false), 0.0f);
}

TEST_F(JoystickTest, ButtonsHatsAndGamepadForms) {
    Connect();
    Joystick plain(1);
    for (int b = -1; b <= 15; ++b) EXPECT_FALSE(plain.GetGamepadButton(b)) << b;
    EXPECT_EQ(plain.GetGamepadAxis(0, 0, false, false), 0.0f);
    stick.buttons[1] = 1;
    stick.hats[0] = 4;
    window.SetJoystick(1, stick);
    plain.InputUpdate();
    EXPECT_TRUE(plain.GetButton(1));
    EXPECT_FALSE(plain.GetButton(2));
    EXPECT_EQ(plain.GetHat(0), 4);
    EXPECT_EQ(plain.GetHat(1), 0);
    EXPECT_TRUE(plain.IsSameGUID(""));
    Joystick gamepad(0);
    EXPECT_TRUE(gamepad.IsSameGUID("03000000deadbeef"));
    EXPECT_FALSE(gamepad.IsSameGUID("03000000deadbee"));
    EXPECT_FALSE(gamepad.IsSameGUID("03000000deadbeeg"));
}

// Binding edges: the first reading never fires, so a button held when the capture starts
// doesn't bind itself; later, one press fires once.
TEST_F(JoystickTest, BindingEdges) {
    Connect();
    pad.gamepad.buttons[3] = 1;
    window.SetJoystick(0, pad);
    stick.buttons[0] = 1;
    window.SetJoystick(1, stick);
    Joystick gamepad(0), plain(1);
    EXPECT_FALSE(gamepad.GetGamepadButtonBinding(3));
    EXPECT_FALSE(plain.GetButtonBinding(0));
    EXPECT_FALSE(gamepad.GetGamepadButtonBinding(3));  // still held
    pad.gamepad.buttons[3] = 0;
    window.SetJoystick(0, pad);
    gamepad.InputUpdate();
    EXPECT_FALSE(gamepad.GetGamepadButtonBinding(3));
    pad.gamepad.buttons[3] = 1;
    window.SetJoystick(0, pad);
    gamepad.InputUpdate();
    EXPECT_TRUE(gamepad.GetGamepadButtonBinding(3));
    EXPECT_FALSE(gamepad.GetGamepadButtonBinding(3));
    EXPECT_FALSE(gamepad.GetGamepadButtonBinding(15));
    EXPECT_FALSE(plain.GetButtonBinding(-1));
}

// A device that goes reads as nothing from its next update, and a pointer kept from before
// reads zeros, not freed memory.
TEST_F(JoystickTest, DisappearingDevice) {
    Connect();
    pad.axes[0] = 0.3f;
    pad.gamepad.axes[1] = 0.8f;
    pad.gamepad.buttons[0] = 1;
    window.SetJoystick(0, pad);
    Joystick j(0);
    const float* axes = j.axes;
    ASSERT_EQ(axes[0], 0.3f);
    window.RemoveJoystick(0);
    EXPECT_EQ(axes[0], 0.0f);
    j.InputUpdate();
    EXPECT_FALSE(j.connected);
    EXPECT_EQ(j.GetGamepadAxis(1, 0, false, false), 0.0f);
    EXPECT_EQ(j.GetGamepadAxis(4, 0, false, true), 0.0f);
    EXPECT_FALSE(j.GetGamepadButton(0));
    EXPECT_EQ(j.GetAxis(0, 0, false, true), 0.0f);
}

}  // namespace
