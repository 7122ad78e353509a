#include "game/input/Joystick.h"

#include <algorithm>
#include <cctype>
#include <cmath>

#include "game/Game.h"

namespace game::input {

Joystick::Joystick(int id_) : id(id_) {
    if (quorl::graphics::Window* w = Game::window) {
        GUID = w->GetJoystickGUID(id);
        name = w->GetJoystickName(id);
        isGamepad = w->JoystickIsGamepad(id);
    }
    InputUpdate();
    axisMinimum.assign(axes, axes + axisCount);
    axisMaximum = axisMinimum;
    gamepadAxisMinimum.assign(std::begin(gamepadState.axes), std::end(gamepadState.axes));
    gamepadAxisMaximum = gamepadAxisMinimum;
    buttonBindingState.assign(size_t(buttonCount), {false, false});
    gamepadButtonBindingState.assign(std::size(gamepadState.buttons), {false, false});
}

void Joystick::InputUpdate() {
    quorl::graphics::Window* w = Game::window;
    // A device the window no longer reports is gone: it reads as nothing from now on, and the
    // finders skip it.
    if (!w || !w->JoystickPresent(id)) {
        connected = false;
        axes = nullptr, buttons = nullptr, hats = nullptr;
        axisCount = buttonCount = hatCount = 0;
        gamepadState = quorl::graphics::GamepadState{};
        return;
    }
    axes = w->GetJoystickAxes(id, axisCount);
    buttons = w->GetJoystickButtons(id, buttonCount);
    hats = w->GetJoystickHats(id, hatCount);
    if (isGamepad && !w->GetGamepadState(id, gamepadState)) gamepadState = quorl::graphics::GamepadState{};
    if (axisMinimum.size() < size_t(axisCount)) {
        axisMinimum.resize(size_t(axisCount), 0.0f);
        axisMaximum.resize(size_t(axisCount), 0.0f);
    }
    if (buttonBindingState.size() < size_t(buttonCount)) buttonBindingState.resize(size_t(buttonCount), {false, false});
}

float Joystick::ShapeAxis(float v, float& minimum, float& maximum, float deadzone, bool calibrate, bool unipolar) {
    if (!calibrate) {
        minimum = -1.0f;
        maximum = 1.0f;
        if (unipolar) return v > -1.0f + deadzone ? 0.5f * v + 0.5f : 0.0f;
        return std::fabs(v) > deadzone ? v : 0.0f;
    }
    minimum = std::min(minimum, v);
    maximum = std::max(maximum, v);
    if (minimum == maximum) return 0.0f;
    float n = (v - minimum) / (maximum - minimum);
    if (!unipolar) {
        n = 2.0f * n - 1.0f;
        if (minimum < 0.0f && maximum > 0.0f) return std::fabs(v) > deadzone ? n : 0.0f;
    }
    return v > minimum + deadzone ? n : 0.0f;
}

float Joystick::GetAxis(int axis, float deadzone, bool calibrate, bool unipolar) const {
    if (!connected || axis < 0 || axis >= axisCount || !axes) return 0.0f;
    return ShapeAxis(axes[axis], axisMinimum[size_t(axis)], axisMaximum[size_t(axis)], deadzone, calibrate, unipolar);
}

float Joystick::GetGamepadAxis(int axis, float deadzone, bool calibrate, bool unipolar) const {
    if (!connected || !isGamepad || axis < 0 || axis >= int(std::size(gamepadState.axes))) return 0.0f;
    return ShapeAxis(gamepadState.axes[axis], gamepadAxisMinimum[size_t(axis)], gamepadAxisMaximum[size_t(axis)],
                     deadzone, calibrate, unipolar);
}

bool Joystick::GetButton(int button) const {
    return connected && buttons && button >= 0 && button < buttonCount && buttons[button] != 0;
}

bool Joystick::GetGamepadButton(int button) const {
    return connected && isGamepad && button >= 0 && button < int(std::size(gamepadState.buttons)) &&
           gamepadState.buttons[button] != 0;
}

bool Joystick::GetButtonBinding(int button) const {
    if (button < 0 || size_t(button) >= buttonBindingState.size()) return false;
    bool s = GetButton(button);
    auto& [previous, seen] = buttonBindingState[size_t(button)];
    bool result = seen && s && !previous;
    previous = s;
    seen = true;
    return result;
}

bool Joystick::GetGamepadButtonBinding(int button) const {
    if (button < 0 || size_t(button) >= gamepadButtonBindingState.size()) return false;
    bool s = GetGamepadButton(button);
    auto& [previous, seen] = gamepadButtonBindingState[size_t(button)];
    bool result = seen && s && !previous;
    previous = s;
    seen = true;
    return result;
}

int Joystick::GetHat(int hat) const {
    if (!connected || !hats || hat < 0 || hat >= hatCount) return 0;
    return hats[hat];
}

bool Joystick::IsSameGUID(const std::string& guid) const {
    if (guid.size() != GUID.size()) return false;
    for (size_t i = 0; i < guid.size(); ++i)
        if (std::tolower(uint8_t(guid[i])) != std::tolower(uint8_t(GUID[i]))) return false;
    return true;
}

}  // namespace game::input
