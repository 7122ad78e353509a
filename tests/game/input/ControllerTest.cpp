#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <memory>

#include <imgui.h>

#include "TestFiles.h"
#include "game/Game.h"
#include "game/GameSettings.h"
#include "game/input/Controller.h"
#include "game/graphics/ui/ScriptedUi.h"
#include "game/input/Joystick.h"
#include "quorl/graphics/Window.h"

using game::Game;
using game::GameSettings;
using game::input::Controller;
using quorl::graphics::PRESS;
using quorl::graphics::RELEASE;
using quorl::graphics::Window;

namespace {

double gNow = 0;  // seconds, the hold timers' clock
double FakeNow() { return gNow; }

constexpr int KEY_SPACE = 32, KEY_1 = 49, KEY_R = 82, KEY_W = 87, KEY_ESCAPE = 256, KEY_ENTER = 257, KEY_TAB = 258;
constexpr int PAD_B = 1, PAD_START = 7, PAD_RIGHT_THUMB = 10;

// How many of the 61 actions are set now.
int ActiveActions() {
    int n = 0;
#define ZENDOLA_COUNT(X) n += Controller::Get##X() != 0;
    ZENDOLA_INPUT_ACTIONS(ZENDOLA_COUNT, ZENDOLA_COUNT, ZENDOLA_COUNT, ZENDOLA_COUNT)
#undef ZENDOLA_COUNT
    return n;
}

class ControllerTest : public testing::Test {
protected:
    void SetUp() override {
        std::filesystem::remove(path);
        settings = std::make_unique<GameSettings>(path.string(), 0);
        Game::window = &window;
        Game::settings = settings.get();
        Game::_inputMode = 1;
        Game::_mouseLook = true;
        Game::_joysticks.clear();
        Controller::Reset();
        Controller::SetClock(&FakeNow);
        gNow = 100;
    }
    void TearDown() override {
        Game::window = nullptr;
        Game::settings = nullptr;
        Game::_inputMode = 0;
        Game::_mouseLook = false;
        Game::_joysticks.clear();
        Controller::Reset();
        Controller::SetClock(nullptr);
        std::filesystem::remove(path);
    }

    // One input frame of `ms` milliseconds.
    void Frame(double ms = 16) {
        gNow += ms / 1000;
        Controller::InputUpdate(ms / 1000);
    }
    void ConnectPad() {
        pad.guid = "pad";
        pad.isGamepad = true;
        pad.axes.assign(6, 0.0f);
        pad.gamepad.axes[4] = pad.gamepad.axes[5] = -1;
        window.SetJoystick(0, pad);
    }
    void SetPadAxis(int axis, float v) {
        pad.gamepad.axes[axis] = v;
        window.SetJoystick(0, pad);
    }
    void SetPadButton(int button, bool down) {
        pad.gamepad.buttons[button] = down;
        window.SetJoystick(0, pad);
    }

    // A folder of this test's own: ctest runs the cases in parallel processes.
    testfiles::TempFolder folder{"zendola-controller"};
    std::filesystem::path path = std::filesystem::path(folder.path) / "settings.ini";
    std::unique_ptr<GameSettings> settings;
    Window window;
    Window::Joystick pad;
};

TEST_F(ControllerTest, ModeZeroLeavesEscapeChatAndGamepadB) {
    Game::_inputMode = 0;
    for (int key = 0; key <= quorl::graphics::KEY_LAST; ++key) window.SetKey(key, PRESS);
    for (int b = 0; b <= quorl::graphics::MOUSE_BUTTON_LAST; ++b) window.SetMouseButton(b, PRESS);
    window.SetCursorPos(300, 200);
    Frame();
    EXPECT_TRUE(Controller::GetEscape());
    EXPECT_TRUE(Controller::GetInputChat());
    EXPECT_EQ(ActiveActions(), 2);
    double x, y;
    window.GetCursorPos(x, y);
    EXPECT_EQ(x, 300);  // no mouse look outside play

    for (int key = 0; key <= quorl::graphics::KEY_LAST; ++key) window.SetKey(key, RELEASE);
    ConnectPad();
    SetPadButton(PAD_B, true);
    Frame();
    EXPECT_TRUE(Controller::GetSit());
    EXPECT_TRUE(Controller::GetEscape_Released());
    EXPECT_EQ(ActiveActions(), 1);
    SetPadButton(PAD_START, true);
    Frame();
    EXPECT_TRUE(Controller::GetEscape_Pressed());
}

TEST_F(ControllerTest, KeyboardYieldsToTheInterface) {
    for (int key : {KEY_W, KEY_SPACE, KEY_TAB, KEY_1, KEY_ENTER}) window.SetKey(key, PRESS);
    Frame();
    EXPECT_EQ(Controller::GetAvatarTranslateForward(), 1.0);
    EXPECT_EQ(Controller::GetVehicleTranslateForward(), 1.0);  // one key, two actions
    EXPECT_TRUE(Controller::GetAvatarJump());
    EXPECT_TRUE(Controller::GetAvatarInventorySelect1());

    // A focused interface window takes the play keys; the inventory keys still work.
    const auto panel = [] {
        ImGui::Begin("Focused panel");
        ImGui::End();
    };
    game::graphics::ui::testing::ScriptedUi ui(panel, ImVec2(800, 600));
    ASSERT_TRUE(ImGui::IsWindowFocused(ImGuiFocusedFlags_AnyWindow));
    Frame();
    EXPECT_FALSE(Controller::GetAvatarJump());
    EXPECT_EQ(Controller::GetAvatarTranslateForward(), 0.0);
    EXPECT_TRUE(Controller::GetAvatarInventory());

    // An interface that wants the keyboard takes every binding but chat and Escape.
    ImGui::GetIO().WantCaptureKeyboard = true;
    window.SetKey(KEY_ESCAPE, PRESS);
    Frame();
    EXPECT_FALSE(Controller::GetAvatarInventory());
    EXPECT_TRUE(Controller::GetInputChat());
    EXPECT_TRUE(Controller::GetEscape());
}

TEST_F(ControllerTest, MouseButtonsAndLookOnlyInLookMode) {
    window.SetSize(1000, 800);
    window.SetMouseButton(0, PRESS);
    window.SetCursorPos(80, -40);
    Game::_mouseLook = false;
    Frame();
    EXPECT_EQ(Controller::GetAvatarToolPrimary(), 0.0);
    EXPECT_EQ(Controller::GetAvatarYaw(), 0.0);

    Game::_mouseLook = true;
    Frame();
    EXPECT_EQ(Controller::GetAvatarToolPrimary(), 1.0);
    EXPECT_TRUE(Controller::GetAvatarToolPrimary_Pressed());
    // Half the travel in window heights, times look_sensitivity (2).
    EXPECT_DOUBLE_EQ(Controller::GetAvatarYaw(), 0.5 * 80 / 800 * 2);
    EXPECT_DOUBLE_EQ(Controller::GetAvatarPitch(), -0.5 * 40 / 800 * 2);
    double x, y;
    window.GetCursorPos(x, y);
    EXPECT_EQ(x, 0);
    EXPECT_EQ(y, 0);

    settings->avatar_mouselook_invert_y = true;
    window.SetCursorPos(0, -40);
    Frame();
    EXPECT_DOUBLE_EQ(Controller::GetAvatarPitch(), 0.5 * 40 / 800 * 2);
}

// A stick's halves go to two actions (the deadzone is JoystickTest's); sources on one float
// action add and are clamped to 1.
TEST_F(ControllerTest, GamepadAndJoystickAxesAddAndClamp) {
    ConnectPad();
    SetPadAxis(0, -0.6f);
    Frame();
    EXPECT_FLOAT_EQ(float(Controller::GetAvatarTranslateLeft()), 0.6f);
    EXPECT_EQ(Controller::GetAvatarTranslateRight(), 0.0);

    Window::Joystick stick;
    stick.guid = "Stick";
    stick.axes = {0.0f, -0.4f};
    window.SetJoystick(3, stick);
    auto& forward = settings->input_binding_avatar_translate_forward;
    forward.joystickGuid = "STICK";
    forward.joystickIndex = 0;
    forward.joystickAxis = 1;
    forward.joystickAxisDirection = -1;
    SetPadAxis(1, -0.3f);
    Frame();
    EXPECT_FLOAT_EQ(float(Controller::GetAvatarTranslateForward()), 0.7f);
    window.SetKey(KEY_W, PRESS);
    Frame();
    EXPECT_EQ(Controller::GetAvatarTranslateForward(), 1.0);

    // A joystick that goes contributes nothing; one that comes back is found again.
    window.SetKey(KEY_W, RELEASE);
    window.RemoveJoystick(3);
    Frame();
    EXPECT_FLOAT_EQ(float(Controller::GetAvatarTranslateForward()), 0.3f);
    EXPECT_FALSE(Game::_joysticks.at(3)->connected);
    window.SetJoystick(3, stick);
    Frame();
    EXPECT_FLOAT_EQ(float(Controller::GetAvatarTranslateForward()), 0.7f);

    // Avatar movement is for play mode only: not in a station.
    Game::_inputMode = 2;
    Frame();
    EXPECT_EQ(Controller::GetAvatarTranslateForward(), 0.0);
}

// Look with the right stick: squared, times dt, yaw one and a half times pitch. In a station
// the look toggle hands the stick to the vehicle's pitch and yaw.
TEST_F(ControllerTest, GamepadLookAndVehicleLookToggle) {
    ConnectPad();
    SetPadAxis(2, 0.5f);
    SetPadAxis(3, 0.5f);
    Frame(100);
    EXPECT_DOUBLE_EQ(Controller::state.AvatarYaw, 0.25 * 0.1 * 1.5);
    EXPECT_DOUBLE_EQ(Controller::state.AvatarPitch, 0.25 * 0.1);

    Game::_inputMode = 2;
    Frame(100);
    EXPECT_TRUE(Controller::vehicleGamepadLookMode);
    EXPECT_EQ(Controller::GetVehiclePitchUp(), 0.0);
    EXPECT_GT(Controller::GetAvatarYaw(), 0.0);
    SetPadButton(PAD_RIGHT_THUMB, true);
    Frame(100);
    EXPECT_FALSE(Controller::vehicleGamepadLookMode);
    Frame(100);
    EXPECT_FALSE(Controller::vehicleGamepadLookMode);  // held: one flip per press
    EXPECT_FLOAT_EQ(float(Controller::GetVehiclePitchUp()), 0.5f);
    EXPECT_FLOAT_EQ(float(Controller::GetVehicleYawRight()), 0.5f);
    EXPECT_EQ(Controller::GetAvatarYaw(), 0.0);
    SetPadButton(PAD_RIGHT_THUMB, false);
    Frame(100);
    SetPadButton(PAD_RIGHT_THUMB, true);
    Frame(100);
    EXPECT_TRUE(Controller::vehicleGamepadLookMode);
}

// _Hold(min, 0) fires once during a hold, after min ms and at least three held frames.
TEST_F(ControllerTest, HoldAfterMinimum) {
    auto step = [&](bool down, double ms) {
        window.SetKey(KEY_R, down ? PRESS : RELEASE);
        Frame(ms);
        return Controller::GetSit_Hold(500, 0);
    };
    EXPECT_FALSE(step(true, 16));   // press
    EXPECT_FALSE(step(true, 16));   // held 1
    EXPECT_FALSE(step(true, 16));   // held 2
    EXPECT_FALSE(step(true, 600));  // held 3: late enough, too few frames
    EXPECT_TRUE(step(true, 16));    // held 4
    EXPECT_FALSE(step(true, 16));
    EXPECT_FALSE(step(true, 1000));
    EXPECT_FALSE(step(false, 16));
    EXPECT_FALSE(step(true, 16));  // a new press starts again
    for (int i = 0; i < 5; ++i) EXPECT_FALSE(step(true, 50)) << i;  // 250 ms in
    EXPECT_TRUE(step(true, 300));
}

// _Hold(0, max) fires at the release of a tap: at most max ms, or fewer than three frames.
TEST_F(ControllerTest, HoldAsTapAndHoldOrToggle) {
    auto tap = [&](int heldFrames, double msPerFrame) {
        bool fired = false;
        window.SetKey(KEY_R, PRESS);
        Frame(msPerFrame);
        fired |= Controller::GetSit_Hold(0, 250);
        for (int i = 0; i < heldFrames; ++i) {
            Frame(msPerFrame);
            fired |= Controller::GetSit_Hold(0, 250);
        }
        window.SetKey(KEY_R, RELEASE);
        Frame(16);
        EXPECT_FALSE(fired) << "fires only at release";
        return Controller::GetSit_Hold(0, 250);
    };
    EXPECT_TRUE(tap(0, 1000));   // one long frame is still a tap
    EXPECT_TRUE(tap(2, 1000));   // so are three frames
    EXPECT_TRUE(tap(3, 50));     // 166 ms
    EXPECT_FALSE(tap(3, 100));   // 316 ms

    // HoldOrToggle: a tap flips once, at the press; a long press at press and at release.
    auto frame = [&](bool down, double ms) {
        window.SetKey(KEY_W, down ? PRESS : RELEASE);
        Frame(ms);
        return Controller::GetAvatarTranslateForward_HoldOrToggle(250);
    };
    EXPECT_TRUE(frame(true, 16));
    EXPECT_FALSE(frame(true, 16));
    EXPECT_FALSE(frame(false, 16));
    EXPECT_FALSE(frame(false, 16));
    EXPECT_TRUE(frame(true, 16));
    for (int i = 0; i < 4; ++i) EXPECT_FALSE(frame(true, 100));
    EXPECT_TRUE(frame(false, 16));
}

TEST_F(ControllerTest, HoldArgumentsAreChecked) {
    EXPECT_DEATH(Controller::GetEscape_Hold(0, 0),
                 "ASSERTION FAILED: \\(\\(millisecondsMin == 0\\) != \\(millisecondsMax == 0\\)\\) in "
                 "src/game/input/Controller:443");
    EXPECT_DEATH(Controller::GetSit_Hold(100, 200), "src/game/input/Controller:445");
    EXPECT_DEATH(Controller::GetVehicleMainThrust_HoldOrToggle(0), "src/game/input/Controller:503");
}

TEST_F(ControllerTest, BindingText) {
    EXPECT_STREQ(Controller::BindingStr(settings->input_binding_zoom), "Z");
    EXPECT_STREQ(Controller::BindingStr(settings->input_binding_avatar_tool_secondary), "MOUSE_RIGHT");
    Controller::InputBinding b;
    EXPECT_STREQ(Controller::BindingStr(b), "[NONE]");
    b.joystickButton = 3;
    EXPECT_STREQ(Controller::BindingStr(b), "JOYSTICK_BUTTON_4");
    b.gamepadButton = 1;
    EXPECT_STREQ(Controller::BindingStr(b), "GAMEPAD_BUTTON_B");
    b.gamepadAxis = 4;  // an axis wins over the button
    EXPECT_STREQ(Controller::BindingStr(b), "GAMEPAD_AXIS_LEFT_TRIGGER");
    b.mouseButton = 9;  // out of range: no name
    EXPECT_STREQ(Controller::BindingStr(b), "[NONE]");
}

}  // namespace
