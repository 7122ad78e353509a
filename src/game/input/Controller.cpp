#include "game/input/Controller.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>

#include <imgui.h>

#include "game/Game.h"
#include "game/GameSettings.h"
#include "game/input/Joystick.h"
#include "game/AssertSites.h"
#include "quorl/Assert.h"
#include "quorl/graphics/Window.h"
#include "quorl/input/InputCodes.h"

namespace game::input {

// The record is a binary contract with the modules: size and places are fixed.
using S = Controller::State;
static_assert(sizeof(S) == 256 && alignof(S) == 8);
static_assert(offsetof(S, Escape) == 0 && offsetof(S, InputChat) == 1 && offsetof(S, AvatarInventory) == 10);
static_assert(offsetof(S, AvatarInventorySelect1) == 13 && offsetof(S, AvatarInventorySelect9) == 21);
static_assert(offsetof(S, GetInfo) == 25 && offsetof(S, AvatarLookToggle) == 26);
static_assert(offsetof(S, AvatarPitch) == 32 && offsetof(S, AvatarYaw) == 40 && offsetof(S, AvatarJump) == 48);
static_assert(offsetof(S, AvatarToolSecondary) == 112 && offsetof(S, VehicleAux0) == 120 &&
              offsetof(S, VehicleAux9) == 129);
static_assert(offsetof(S, VehicleTranslateForward) == 136 && offsetof(S, VehicleYawLeft) == 232);
static_assert(offsetof(S, VehicleGamepadLookToggle) == 240);
static_assert(int(Controller::Action::Count) == 61);

Controller::State Controller::state{};
Controller::State Controller::previousState{};
bool Controller::vehicleGamepadLookMode = true;
bool Controller::_isSprinting = false;

namespace {

quorl::Timer::Clock gClock = nullptr;  // replaced by tests; null is the steady clock

double HoldClockNow() {
    return gClock ? gClock() : quorl::Timer::SteadySeconds();
}

using quorl::graphics::Window;
using InputBinding = Controller::InputBinding;

constexpr int kKeyEscape = 256;
constexpr int kGamepadButtonStart = 7;

// One action's hold state: the timer of the press and the frames counted since.
struct HoldState {
    quorl::Timer timer{&HoldClockNow};
    int counter = 0;
};

// What one frame's reading needs, gathered once.
struct Sources {
    const Window* window;
    const GameSettings* settings;
    bool uiWantsKeyboard;
    bool uiWantsMouse;
    const Joystick* gamepad;
};

// Keyboard and mouse: a key counts unless the interface takes the keyboard; a mouse button only
// in look mode and unless the interface takes the mouse.
double KeyMouse(const Sources& in, const InputBinding& b) {
    double sum = 0;
    if (!in.window) return sum;
    if (b.key >= 0 && !in.uiWantsKeyboard) sum += in.window->GetKey(b.key);
    if (b.mouseButton >= 0 && !in.uiWantsMouse && Game::_mouseLook) sum += in.window->GetMouseButton(b.mouseButton);
    return sum;
}

// An axis read as 0 to 1, turned round for the negative direction.
double Unipolar(float value, int16_t direction) {
    return direction == -1 ? 1.0 - value : value;
}

std::shared_ptr<Joystick> FindJoystick(const InputBinding& b) {
    if (b.joystickButton < 0 && b.joystickAxis < 0) return nullptr;
    return Game::GetJoystick(b.joystickGuid, b.joystickIndex);
}

// Gamepad and joystick for a boolean target.
double DeviceBool(const Sources& in, const InputBinding& b, const Joystick* gamepad) {
    double sum = 0;
    const float gamepadDeadzone = in.settings->input_gamepad_axis_deadzone;
    if (gamepad && b.gamepadAxis >= 0)
        sum += Unipolar(gamepad->GetGamepadAxis(b.gamepadAxis, gamepadDeadzone, false, true), b.gamepadAxisDirection);
    if (gamepad && b.gamepadButton >= 0) sum += gamepad->GetGamepadButton(b.gamepadButton);
    if (std::shared_ptr<Joystick> joystick = FindJoystick(b)) {
        if (b.joystickAxis >= 0)
            sum += Unipolar(joystick->GetAxis(b.joystickAxis, in.settings->input_joystick_axis_deadzone, false, true),
                            b.joystickAxisDirection);
        else
            sum += joystick->GetButton(b.joystickButton);
    }
    return sum;
}

// Gamepad and joystick for a float target. unipolar false: an axis adds direction times its
// value, the sticks -1 to 1 and the gamepad's triggers (axes 4 and 5) 0 to 1, so the half that
// points the other way contributes negatively and the clamp removes it.
double DeviceFloat(const Sources& in, const InputBinding& b, const Joystick* gamepad, bool unipolar) {
    double sum = 0;
    if (gamepad) {
        const float deadzone = in.settings->input_gamepad_axis_deadzone;
        if (b.gamepadAxis >= 0) {
            if (unipolar)
                sum += Unipolar(gamepad->GetGamepadAxis(b.gamepadAxis, deadzone, false, true), b.gamepadAxisDirection);
            else
                sum += b.gamepadAxisDirection * gamepad->GetGamepadAxis(b.gamepadAxis, deadzone, false, b.gamepadAxis >= 4);
        }
        if (b.gamepadButton >= 0) sum += gamepad->GetGamepadButton(b.gamepadButton);
    }
    if (std::shared_ptr<Joystick> joystick = FindJoystick(b)) {
        const float deadzone = in.settings->input_joystick_axis_deadzone;
        if (b.joystickAxis >= 0) {
            if (unipolar)
                sum += Unipolar(joystick->GetAxis(b.joystickAxis, deadzone, false, true), b.joystickAxisDirection);
            else
                sum += b.joystickAxisDirection * joystick->GetAxis(b.joystickAxis, deadzone, false, false);
        }
        if (b.joystickButton >= 0) sum += joystick->GetButton(b.joystickButton);
    }
    return sum;
}

void Add(bool& target, double sum) { target = target || sum != 0; }
void Add(double& target, double sum) { target += sum; }

// Keeps Game::_joysticks in step with the window: a device that appeared gets a new object, one
// that went is marked disconnected, the others re-read their state.
void PollJoysticks(const Window* window) {
    if (!window) return;
    for (int slot = 0; slot <= quorl::graphics::JOYSTICK_LAST; ++slot) {
        auto it = Game::_joysticks.find(slot);
        Joystick* known = it != Game::_joysticks.end() ? it->second.get() : nullptr;
        if (window->JoystickPresent(slot)) {
            if (known && known->connected) known->InputUpdate();
            else Game::_joysticks[slot] = std::make_shared<Joystick>(slot);
        } else if (known && known->connected) {
            known->InputUpdate();  // finds the device gone and disconnects
        }
    }
}

std::array<HoldState, size_t(Controller::Action::Count)>& HoldStates() {
    static std::array<HoldState, size_t(Controller::Action::Count)> states;
    return states;
}

}  // namespace

void Controller::SetClock(quorl::Timer::Clock clock) {
    gClock = clock;
}

void Controller::Reset() {
    state = State{};
    previousState = State{};
    vehicleGamepadLookMode = true;
    _isSprinting = false;
    for (HoldState& h : HoldStates()) {
        h.timer.Stop();
        h.counter = 0;
    }
}

double Controller::LookSensitivity() {
    return Game::settings ? Game::settings->look_sensitivity : 1.0;
}

void Controller::InputUpdate(double dt) {
    const Window* window = Game::window;
    PollJoysticks(window);

    State s{};
    if (window) s.Escape = window->GetKey(kKeyEscape) != 0;
    const std::shared_ptr<Joystick> gamepad = Game::GetFirstGamepad();
    if (gamepad && gamepad->GetGamepadButton(kGamepadButtonStart)) s.Escape = true;

    if (const GameSettings* settings = Game::settings) {
        const GameSettings& g = *settings;
        Sources in{window, settings, false, false, gamepad.get()};
        bool uiFocused = false;
        if (ImGui::GetCurrentContext()) {
            const ImGuiIO& io = ImGui::GetIO();
            in.uiWantsKeyboard = io.WantCaptureKeyboard;
            in.uiWantsMouse = io.WantCaptureMouse;
            uiFocused = ImGui::IsWindowFocused(ImGuiFocusedFlags_AnyWindow);
        }
        const uint8_t mode = Game::_inputMode;

        // Chat reads its key alone, whatever the interface wants.
        if (window && g.input_binding_input_chat.key >= 0)
            s.InputChat = window->GetKey(g.input_binding_input_chat.key) != 0;

        if (mode != 0) {
            auto keys = [&](bool& target, const InputBinding& b) { Add(target, KeyMouse(in, b)); };
            keys(s.AvatarInventory, g.input_binding_avatar_inventory_toggle);
            keys(s.AvatarInventorySelectNext, g.input_binding_avatar_inventory_select_next);
            keys(s.AvatarInventorySelectPrev, g.input_binding_avatar_inventory_select_prev);
            keys(s.AvatarInventorySelect1, g.input_binding_avatar_inventory_select_1);
            keys(s.AvatarInventorySelect2, g.input_binding_avatar_inventory_select_2);
            keys(s.AvatarInventorySelect3, g.input_binding_avatar_inventory_select_3);
            keys(s.AvatarInventorySelect4, g.input_binding_avatar_inventory_select_4);
            keys(s.AvatarInventorySelect5, g.input_binding_avatar_inventory_select_5);
            keys(s.AvatarInventorySelect6, g.input_binding_avatar_inventory_select_6);
            keys(s.AvatarInventorySelect7, g.input_binding_avatar_inventory_select_7);
            keys(s.AvatarInventorySelect8, g.input_binding_avatar_inventory_select_8);
            keys(s.AvatarInventorySelect9, g.input_binding_avatar_inventory_select_9);
            keys(s.AvatarInventoryDeselect, g.input_binding_avatar_inventory_deselect);

            // Mouse look: the cursor's travel since the last frame, in window heights.
            if (Game::_mouseLook && Game::window) {
                double x = 0, y = 0;
                Game::window->GetCursorPos(x, y);
                Game::window->SetCursorPos(0, 0);
                const int height = Game::window->GetHeight();
                if (height > 0) {
                    s.AvatarYaw += 0.5 * x / height;
                    s.AvatarPitch += (g.avatar_mouselook_invert_y ? -0.5 : 0.5) * y / height;
                }
            }

            if (!uiFocused) {
                auto any = [&](auto& target, const InputBinding& b) { Add(target, KeyMouse(in, b)); };
                any(s.Sit, g.input_binding_sit);
                any(s.ThirdPerson, g.input_binding_third_person);
                any(s.Zoom, g.input_binding_zoom);
                any(s.AvatarTranslateForward, g.input_binding_avatar_translate_forward);
                any(s.AvatarTranslateBackward, g.input_binding_avatar_translate_backward);
                any(s.AvatarTranslateRight, g.input_binding_avatar_translate_right);
                any(s.AvatarTranslateLeft, g.input_binding_avatar_translate_left);
                any(s.AvatarRollLeft, g.input_binding_avatar_roll_left);
                any(s.AvatarRollRight, g.input_binding_avatar_roll_right);
                any(s.AvatarJump, g.input_binding_avatar_jump);
                any(s.AvatarLight, g.input_binding_avatar_light);
                any(s.AvatarSprint, g.input_binding_avatar_sprint);
                any(s.AvatarCrouch, g.input_binding_avatar_crouch);
                any(s.AvatarJetpack, g.input_binding_avatar_jetpack);
                any(s.AvatarInteract, g.input_binding_avatar_interact);
                any(s.AvatarToolConfigure, g.input_binding_avatar_tool_configure);
                any(s.AvatarToolSpecialMode, g.input_binding_avatar_tool_special_mode);
                any(s.GetInfo, g.input_binding_get_info);
                any(s.AvatarLookToggle, g.input_binding_avatar_look_toggle);
                any(s.AvatarToolPrimary, g.input_binding_avatar_tool_primary);
                any(s.AvatarToolSecondary, g.input_binding_avatar_tool_secondary);
                any(s.VehicleTranslateForward, g.input_binding_vehicle_translate_forward);
                any(s.VehicleTranslateBackward, g.input_binding_vehicle_translate_backward);
                any(s.VehicleTranslateRight, g.input_binding_vehicle_translate_right);
                any(s.VehicleTranslateLeft, g.input_binding_vehicle_translate_left);
                any(s.VehicleTranslateUp, g.input_binding_vehicle_translate_up);
                any(s.VehicleTranslateDown, g.input_binding_vehicle_translate_down);
                any(s.VehicleMainThrust, g.input_binding_vehicle_main_thrust);
                any(s.VehicleRollRight, g.input_binding_vehicle_roll_right);
                any(s.VehicleRollLeft, g.input_binding_vehicle_roll_left);
                any(s.VehiclePitchUp, g.input_binding_vehicle_pitch_up);
                any(s.VehiclePitchDown, g.input_binding_vehicle_pitch_down);
                any(s.VehicleYawRight, g.input_binding_vehicle_yaw_right);
                any(s.VehicleYawLeft, g.input_binding_vehicle_yaw_left);
                any(s.VehicleAux0, g.input_binding_vehicle_aux_0);
                any(s.VehicleAux1, g.input_binding_vehicle_aux_1);
                any(s.VehicleAux2, g.input_binding_vehicle_aux_2);
                any(s.VehicleAux3, g.input_binding_vehicle_aux_3);
                any(s.VehicleAux4, g.input_binding_vehicle_aux_4);
                any(s.VehicleAux5, g.input_binding_vehicle_aux_5);
                any(s.VehicleAux6, g.input_binding_vehicle_aux_6);
                any(s.VehicleAux7, g.input_binding_vehicle_aux_7);
                any(s.VehicleAux8, g.input_binding_vehicle_aux_8);
                any(s.VehicleAux9, g.input_binding_vehicle_aux_9);
            }
        }

        // Devices. The gamepad pointer may be empty; joysticks are found per binding.
        const Joystick* pad = gamepad.get();
        auto button = [&](bool& target, const InputBinding& b, const Joystick* p) { Add(target, DeviceBool(in, b, p)); };
        auto axis = [&](auto& target, const InputBinding& b, const Joystick* p, bool unipolar) {
            Add(target, DeviceFloat(in, b, p, unipolar));
        };
        button(s.Sit, g.input_binding_sit, pad);
        button(s.ThirdPerson, g.input_binding_third_person, pad);
        button(s.Zoom, g.input_binding_zoom, pad);
        if (mode == 1) {
            button(s.AvatarInventory, g.input_binding_avatar_inventory_toggle, pad);
            button(s.AvatarInventorySelectNext, g.input_binding_avatar_inventory_select_next, pad);
            button(s.AvatarInventorySelectPrev, g.input_binding_avatar_inventory_select_prev, pad);
            button(s.AvatarInventorySelect1, g.input_binding_avatar_inventory_select_1, pad);
            button(s.AvatarInventorySelect2, g.input_binding_avatar_inventory_select_2, pad);
            button(s.AvatarInventorySelect3, g.input_binding_avatar_inventory_select_3, pad);
            button(s.AvatarInventorySelect4, g.input_binding_avatar_inventory_select_4, pad);
            button(s.AvatarInventorySelect5, g.input_binding_avatar_inventory_select_5, pad);
            button(s.AvatarInventorySelect6, g.input_binding_avatar_inventory_select_6, pad);
            button(s.AvatarInventorySelect7, g.input_binding_avatar_inventory_select_7, pad);
            button(s.AvatarInventorySelect8, g.input_binding_avatar_inventory_select_8, pad);
            button(s.AvatarInventorySelect9, g.input_binding_avatar_inventory_select_9, pad);
            button(s.AvatarInventoryDeselect, g.input_binding_avatar_inventory_deselect, pad);
            axis(s.AvatarTranslateForward, g.input_binding_avatar_translate_forward, pad, false);
            axis(s.AvatarTranslateBackward, g.input_binding_avatar_translate_backward, pad, false);
            axis(s.AvatarTranslateRight, g.input_binding_avatar_translate_right, pad, false);
            axis(s.AvatarTranslateLeft, g.input_binding_avatar_translate_left, pad, false);
            axis(s.AvatarRollLeft, g.input_binding_avatar_roll_left, pad, false);
            axis(s.AvatarRollRight, g.input_binding_avatar_roll_right, pad, false);
            axis(s.AvatarJump, g.input_binding_avatar_jump, pad, true);
            button(s.AvatarSprint, g.input_binding_avatar_sprint, nullptr);  // the gamepad's sprint latches below
            button(s.AvatarCrouch, g.input_binding_avatar_crouch, pad);
            button(s.AvatarJetpack, g.input_binding_avatar_jetpack, pad);
            button(s.AvatarInteract, g.input_binding_avatar_interact, pad);
            button(s.AvatarToolConfigure, g.input_binding_avatar_tool_configure, pad);
            button(s.AvatarToolSpecialMode, g.input_binding_avatar_tool_special_mode, pad);
        }
        button(s.GetInfo, g.input_binding_get_info, pad);
        button(s.AvatarLight, g.input_binding_avatar_light, pad);
        button(s.AvatarLookToggle, g.input_binding_avatar_look_toggle, pad);
        axis(s.AvatarToolPrimary, g.input_binding_avatar_tool_primary, pad, true);
        axis(s.AvatarToolSecondary, g.input_binding_avatar_tool_secondary, pad, true);

        if (mode == 2) {
            axis(s.VehicleTranslateForward, g.input_binding_vehicle_translate_forward, pad, false);
            axis(s.VehicleTranslateBackward, g.input_binding_vehicle_translate_backward, pad, false);
            axis(s.VehicleTranslateRight, g.input_binding_vehicle_translate_right, pad, false);
            axis(s.VehicleTranslateLeft, g.input_binding_vehicle_translate_left, pad, false);
            axis(s.VehicleTranslateUp, g.input_binding_vehicle_translate_up, pad, false);
            axis(s.VehicleTranslateDown, g.input_binding_vehicle_translate_down, pad, false);
            axis(s.VehicleMainThrust, g.input_binding_vehicle_main_thrust, pad, true);
            // In look mode the right stick looks around, so only a joystick steers.
            const Joystick* steer = vehicleGamepadLookMode ? nullptr : pad;
            axis(s.VehiclePitchUp, g.input_binding_vehicle_pitch_up, steer, false);
            axis(s.VehiclePitchDown, g.input_binding_vehicle_pitch_down, steer, false);
            axis(s.VehicleYawRight, g.input_binding_vehicle_yaw_right, steer, false);
            axis(s.VehicleYawLeft, g.input_binding_vehicle_yaw_left, steer, false);
            axis(s.VehicleRollRight, g.input_binding_vehicle_roll_right, pad, false);
            axis(s.VehicleRollLeft, g.input_binding_vehicle_roll_left, pad, false);
            button(s.VehicleAux0, g.input_binding_vehicle_aux_0, pad);
            button(s.VehicleAux1, g.input_binding_vehicle_aux_1, pad);
            button(s.VehicleAux2, g.input_binding_vehicle_aux_2, pad);
            button(s.VehicleAux3, g.input_binding_vehicle_aux_3, pad);
            button(s.VehicleAux4, g.input_binding_vehicle_aux_4, pad);
            button(s.VehicleAux5, g.input_binding_vehicle_aux_5, pad);
            button(s.VehicleAux6, g.input_binding_vehicle_aux_6, pad);
            button(s.VehicleAux7, g.input_binding_vehicle_aux_7, pad);
            button(s.VehicleAux8, g.input_binding_vehicle_aux_8, pad);
            button(s.VehicleAux9, g.input_binding_vehicle_aux_9, pad);
            button(s.VehicleGamepadLookToggle, g.input_binding_vehicle_gamepad_look_toggle, pad);
        }

        // Gamepad look: a squared stick, so small deflections turn slowly; yaw 1.5 times pitch.
        if (pad && (mode == 1 || (mode == 2 && vehicleGamepadLookMode))) {
            auto look = [&](double& target, const InputBinding& b, double sign, double rate) {
                if (b.gamepadAxis < 0) {
                    if (b.gamepadButton >= 0) target += sign * pad->GetGamepadButton(b.gamepadButton) * dt;
                    return;
                }
                double v = b.gamepadAxisDirection *
                           pad->GetGamepadAxis(b.gamepadAxis, g.input_gamepad_axis_deadzone, false, false);
                if (!(v > 0)) v = 0;
                target += sign * v * v * dt * rate;
            };
            look(s.AvatarPitch, g.input_binding_avatar_pitch_down, -1, 1);
            look(s.AvatarPitch, g.input_binding_avatar_pitch_up, 1, 1);
            look(s.AvatarYaw, g.input_binding_avatar_yaw_left, -1, 1.5);
            look(s.AvatarYaw, g.input_binding_avatar_yaw_right, 1, 1.5);
        }

        // Sprint on the gamepad: a click of the stick latches until the avatar stops.
        if (mode == 1 && pad) {
            const InputBinding& b = g.input_binding_avatar_sprint;
            if (b.gamepadButton >= 0 && b.gamepadAxis < 0) {
                const double moving = std::fabs(s.AvatarTranslateForward) + std::fabs(s.AvatarTranslateBackward) +
                                      std::fabs(s.AvatarTranslateRight) + std::fabs(s.AvatarTranslateLeft);
                if (moving < 0.1) _isSprinting = false;
                if (pad->GetGamepadButton(b.gamepadButton)) _isSprinting = true;
                s.AvatarSprint = s.AvatarSprint || _isSprinting;
            } else if (b.gamepadAxis >= 0) {
                const double v = b.gamepadAxisDirection *
                                 pad->GetGamepadAxis(b.gamepadAxis, g.input_gamepad_axis_deadzone, false, true);
                s.AvatarSprint = v + (s.AvatarSprint ? 1.0 : 0.0) != 0;
            }
        }
    }

    // Every float but the two look values lies in 0 to 1.
    for (double* v : {&s.AvatarJump, &s.AvatarTranslateForward, &s.AvatarTranslateBackward, &s.AvatarTranslateRight,
                      &s.AvatarTranslateLeft, &s.AvatarRollLeft, &s.AvatarRollRight, &s.AvatarToolPrimary,
                      &s.AvatarToolSecondary, &s.VehicleTranslateForward, &s.VehicleTranslateBackward,
                      &s.VehicleTranslateRight, &s.VehicleTranslateLeft, &s.VehicleTranslateUp, &s.VehicleTranslateDown,
                      &s.VehicleMainThrust, &s.VehicleRollRight, &s.VehicleRollLeft, &s.VehiclePitchUp,
                      &s.VehiclePitchDown, &s.VehicleYawRight, &s.VehicleYawLeft})
        *v = std::clamp(*v, 0.0, 1.0);

    previousState = state;
    state = s;
    if (state.VehicleGamepadLookToggle && !previousState.VehicleGamepadLookToggle)
        vehicleGamepadLookMode = !vehicleGamepadLookMode;
}

bool Controller::Hold(Action action, bool x, bool previous, double millisecondsMin, double millisecondsMax) {
    CheckSite((millisecondsMin == 0) != (millisecondsMax == 0), assert_sites::kHoldLimits, int(action));
    HoldState& h = HoldStates()[size_t(action)];
    quorl::Timer& timer = h.timer;
    if (!x && previous) {  // the release frame
        if (millisecondsMax == 0) {
            timer.Stop();
            return false;
        }
        const bool tap = !timer.IsRunning() || h.counter < 3 || timer.GetElapsedMilliseconds() <= millisecondsMax;
        timer.Stop();
        if (tap) h.counter = 0;
        return tap;
    }
    if (!x) {
        timer.Stop();
        return false;
    }
    if (previous) {  // held
        if (millisecondsMin != 0 && timer.IsRunning() && h.counter >= 3 &&
            timer.GetElapsedMilliseconds() >= millisecondsMin) {
            timer.Stop();
            return true;
        }
        ++h.counter;
        return false;
    }
    timer.Start();  // the press frame
    h.counter = 0;
    return false;
}

bool Controller::HoldOrToggle(Action action, bool x, bool previous, double milliseconds) {
    if (Hold(action, x, previous, 0, milliseconds)) return x && !previous;
    return x ? !previous : previous;
}

const char* Controller::BindingStr(const InputBinding& b) {
    using quorl::input::code_to_string;
    if (b.key >= 0) {
        const char* name = code_to_string("KEY", b.key);
        return name[0] == 'K' ? name + 4 : "[NONE]";
    }
    if (b.mouseButton >= 0) {
        static constexpr const char* kMouse[] = {"MOUSE_LEFT", "MOUSE_RIGHT", "MOUSE_MIDDLE", "MOUSE_4",
                                                 "MOUSE_5",    "MOUSE_6",     "MOUSE_7",      "MOUSE_8"};
        return b.mouseButton < int(std::size(kMouse)) ? kMouse[b.mouseButton] : "[NONE]";
    }
    if (b.gamepadButton >= 0 && b.gamepadAxis < 0) return code_to_string("GAMEPAD_BUTTON", b.gamepadButton);
    if (b.gamepadAxis >= 0) return code_to_string("GAMEPAD_AXIS", b.gamepadAxis);
    if (b.joystickButton >= 0 && b.joystickAxis < 0) return code_to_string("JOYSTICK_BUTTON", b.joystickButton);
    if (b.joystickAxis >= 0) return code_to_string("JOYSTICK_AXIS", b.joystickAxis);
    return "[NONE]";
}

}  // namespace game::input
