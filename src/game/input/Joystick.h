#pragma once
#include <string>
#include <utility>
#include <vector>

#include "quorl/graphics/Window.h"

namespace game::input {

// One device that the window reports: a plain joystick, or one with a gamepad mapping. It owns no
// device: it caches the window's arrays and turns raw axis values into usable ones with deadzones
// and self-calibration. Used on the client's main thread only.
class Joystick {
public:
    int id;
    bool connected = true;
    std::string GUID;
    std::string name;
    bool isGamepad = false;
    int axisCount = 0;
    int buttonCount = 0;
    int hatCount = 0;
    quorl::graphics::GamepadState gamepadState;
    const float* axes = nullptr;
    const unsigned char* buttons = nullptr;
    const unsigned char* hats = nullptr;
    mutable std::vector<float> axisMinimum, axisMaximum;
    mutable std::vector<float> gamepadAxisMinimum, gamepadAxisMaximum;
    mutable std::vector<std::pair<bool, bool>> buttonBindingState;  // previous state, seen

    // Reads the identity and the first state from Game::window; each axis range starts at its
    // first reading.
    explicit Joystick(int id);

    // Re-reads axes, buttons, hats and the gamepad state.
    void InputUpdate();

    float GetAxis(int axis, float deadzone, bool calibrate, bool unipolar) const;
    float GetGamepadAxis(int axis, float deadzone, bool calibrate, bool unipolar) const;
    bool GetButton(int button) const;
    bool GetGamepadButton(int button) const;
    // Edge detection for binding popups: true on a press seen after an earlier reading.
    bool GetButtonBinding(int button) const;
    bool GetGamepadButtonBinding(int button) const;
    int GetHat(int hat) const;
    // Equal length and equal letters, ignoring case.
    bool IsSameGUID(const std::string& guid) const;

private:
    static float ShapeAxis(float v, float& minimum, float& maximum, float deadzone, bool calibrate, bool unipolar);
    mutable std::vector<std::pair<bool, bool>> gamepadButtonBindingState;
};

}  // namespace game::input
