#include <gtest/gtest.h>

#include "game/Game.h"
#include "game/input/Joystick.h"
#include "quorl/graphics/Window.h"

using game::Game;
using game::input::Joystick;
using quorl::graphics::Window;

namespace {

class JoystickTest : public testing::Test {
protected:
    // A gamepad in slot 0 with both triggers at rest, and a plain stick in slot 1 whose pedal
    // (axis 2) rests at 0.2.
    void SetUp() override {
        Game::window = &window;
        pad.guid = "03000000DEADBEEF";
        pad.isGamepad = true;
        pad.axes = {0.3f, 0, 0, 0, -1, -1};
        pad.gamepad.axes[4] = pad.gamepad.axes[5] = -1;
        window.SetJoystick(0, pad);
        stick.axes = {0.0f, 0.0f, 0.2f};
        stick.buttons = {0, 0};
        window.SetJoystick(1, stick);
    }
    void TearDown() override { Game::window = nullptr; }

    // Gives the window the device's new state and lets the object read it.
    void Feed(Joystick& j, const Window::Joystick& device) {
        window.SetJoystick(j.id, device);
        j.InputUpdate();
    }

    Window window;
    Window::Joystick pad, stick;
};

TEST_F(JoystickTest, FixedRangeAxes) {
    Joystick j(0);
    EXPECT_EQ(j.GetGamepadAxis(4, 0.1f, false, true), 0.0f);  // a trigger at rest
    for (auto [raw, expected] : {std::pair{0.0f, 0.5f}, {1.0f, 1.0f}, {-0.95f, 0.0f}, {-0.85f, 0.075f}}) {
        pad.gamepad.axes[4] = raw;
        Feed(j, pad);
        EXPECT_FLOAT_EQ(j.GetGamepadAxis(4, 0.1f, false, true), expected) << raw;
    }
    pad.gamepad.axes[0] = -0.05f;
    pad.gamepad.axes[1] = -0.6f;
    Feed(j, pad);
    EXPECT_EQ(j.GetGamepadAxis(0, 0.1f, false, false), 0.0f);  // inside the deadzone
    EXPECT_FLOAT_EQ(j.GetGamepadAxis(1, 0.1f, false, false), -0.6f);
    for (int axis : {-1, 6}) EXPECT_EQ(j.GetGamepadAxis(axis, 0, false, false), 0.0f);
    for (int axis : {-1, 6}) EXPECT_EQ(j.GetAxis(axis, 0, false, false), 0.0f);
    Joystick plain(1);
    for (int b = -1; b <= 15; ++b) EXPECT_FALSE(plain.GetGamepadButton(b)) << b;
    EXPECT_TRUE(j.IsSameGUID("03000000deadbeef"));
    EXPECT_FALSE(j.IsSameGUID("03000000deadbee"));
}

// A calibrated axis measures within the values seen since the first reading; when that range
// doesn't span 0, the deadzone counts from the bottom (pedals).
TEST_F(JoystickTest, CalibrationFromTheFirstReading) {
    Joystick j(1);
    EXPECT_EQ(j.GetAxis(2, 0.05f, true, true), 0.0f);  // nothing seen but the rest
    // Feeds a raw value to the axis and reads it calibrated, as a pedal (fixed) or bipolar.
    const auto read = [&](int axis, float raw, float deadzone, bool fixed) {
        stick.axes[size_t(axis)] = raw;
        Feed(j, stick);
        return j.GetAxis(axis, deadzone, true, fixed);
    };
    EXPECT_FLOAT_EQ(read(2, 0.6f, 0.05f, true), 1.0f);
    EXPECT_FLOAT_EQ(read(2, 0.4f, 0.05f, true), 0.5f);
    EXPECT_NEAR(j.GetAxis(2, 0.05f, true, false), 0.0f, 1e-6);  // bipolar: the range's middle
    EXPECT_EQ(read(2, 0.22f, 0.05f, true), 0.0f);
    // A range spanning 0: the deadzone lies around 0. The bottom is within the deadzone from it.
    EXPECT_EQ(read(0, -0.5f, 0.1f, false), 0.0f);
    EXPECT_EQ(read(0, 0.05f, 0.1f, false), 0.0f);
    EXPECT_FLOAT_EQ(read(0, 0.5f, 0.1f, false), 1.0f);
}

// Binding edges: the first reading never fires, so a button held when the capture starts
// doesn't bind itself; later, one press fires once.
TEST_F(JoystickTest, BindingEdges) {
    pad.gamepad.buttons[3] = 1;
    window.SetJoystick(0, pad);
    stick.buttons[0] = 1;
    window.SetJoystick(1, stick);
    Joystick gamepad(0), plain(1);
    EXPECT_FALSE(gamepad.GetGamepadButtonBinding(3));
    EXPECT_FALSE(plain.GetButtonBinding(0));
    EXPECT_FALSE(gamepad.GetGamepadButtonBinding(3));  // still held
    pad.gamepad.buttons[3] = 0;
    Feed(gamepad, pad);
    EXPECT_FALSE(gamepad.GetGamepadButtonBinding(3));
    pad.gamepad.buttons[3] = 1;
    Feed(gamepad, pad);
    EXPECT_TRUE(gamepad.GetGamepadButtonBinding(3));
    EXPECT_FALSE(gamepad.GetGamepadButtonBinding(3));
}

// A device that goes reads as nothing from its next update (a trigger's rest included), and a
// pointer kept from before reads zeros, not freed memory.
TEST_F(JoystickTest, DisappearingDevice) {
    pad.gamepad.buttons[0] = 1;
    window.SetJoystick(0, pad);
    Joystick j(0);
    const float* axes = j.axes;
    ASSERT_EQ(axes[0], 0.3f);
    window.RemoveJoystick(0);
    EXPECT_EQ(axes[0], 0.0f);
    j.InputUpdate();
    EXPECT_FALSE(j.connected);
    EXPECT_EQ(j.GetGamepadAxis(4, 0, false, true), 0.0f);
    EXPECT_FALSE(j.GetGamepadButton(0));
    EXPECT_EQ(j.GetAxis(0, 0, false, true), 0.0f);
}

}  // namespace
