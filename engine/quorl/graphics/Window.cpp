#include "quorl/graphics/Window.h"

namespace quorl::graphics {

void Window::SetInputMode(int mode, int value) {
    std::lock_guard lock(_mutex);
    if (mode == CURSOR && (value == CURSOR_NORMAL || value == CURSOR_HIDDEN || value == CURSOR_DISABLED))
        _cursorMode = value;
}

int Window::GetInputMode(int mode) const {
    std::lock_guard lock(_mutex);
    return mode == CURSOR ? _cursorMode : 0;
}

bool Window::IsFocused() const {
    std::lock_guard lock(_mutex);
    return _focused;
}

void Window::SetCursorPos(double x, double y) {
    std::lock_guard lock(_mutex);
    _cursorX = x;
    _cursorY = y;
}

void Window::GetCursorPos(double& x, double& y) const {
    std::lock_guard lock(_mutex);
    x = _cursorX;
    y = _cursorY;
}

int Window::GetKey(int key) const {
    std::lock_guard lock(_mutex);
    return key >= 0 && key <= KEY_LAST ? _keys[size_t(key)] : RELEASE;
}

int Window::GetMouseButton(int button) const {
    std::lock_guard lock(_mutex);
    return button >= 0 && button <= MOUSE_BUTTON_LAST ? _mouseButtons[size_t(button)] : RELEASE;
}

std::string Window::GetClipboardString() const {
    std::lock_guard lock(_mutex);
    return _clipboard;
}

void Window::SetClipboardString(const std::string& text) {
    std::lock_guard lock(_mutex);
    _clipboard = text;
}

bool Window::JoystickPresent(int jid) const {
    std::lock_guard lock(_mutex);
    return _joysticks.count(jid) > 0;
}

bool Window::JoystickIsGamepad(int jid) const {
    std::lock_guard lock(_mutex);
    auto it = _joysticks.find(jid);
    return it != _joysticks.end() && it->second.isGamepad;
}

std::string Window::GetJoystickName(int jid) const {
    std::lock_guard lock(_mutex);
    auto it = _joysticks.find(jid);
    return it != _joysticks.end() ? it->second.name : std::string();
}

std::string Window::GetJoystickGUID(int jid) const {
    std::lock_guard lock(_mutex);
    auto it = _joysticks.find(jid);
    return it != _joysticks.end() ? it->second.guid : std::string();
}

const float* Window::GetJoystickAxes(int jid, int& count) const {
    std::lock_guard lock(_mutex);
    auto it = _joysticks.find(jid);
    count = it != _joysticks.end() ? int(it->second.axes.size()) : 0;
    return count ? it->second.axes.data() : nullptr;
}

const unsigned char* Window::GetJoystickButtons(int jid, int& count) const {
    std::lock_guard lock(_mutex);
    auto it = _joysticks.find(jid);
    count = it != _joysticks.end() ? int(it->second.buttons.size()) : 0;
    return count ? it->second.buttons.data() : nullptr;
}

const unsigned char* Window::GetJoystickHats(int jid, int& count) const {
    std::lock_guard lock(_mutex);
    auto it = _joysticks.find(jid);
    count = it != _joysticks.end() ? int(it->second.hats.size()) : 0;
    return count ? it->second.hats.data() : nullptr;
}

bool Window::GetGamepadState(int jid, GamepadState& state) const {
    std::lock_guard lock(_mutex);
    auto it = _joysticks.find(jid);
    if (it == _joysticks.end() || !it->second.isGamepad) return false;
    state = it->second.gamepad;
    return true;
}

void Window::SetFocused(bool focused) {
    std::lock_guard lock(_mutex);
    _focused = focused;
}

void Window::SetKey(int key, int action) {
    std::lock_guard lock(_mutex);
    if (key >= 0 && key <= KEY_LAST) _keys[size_t(key)] = action == RELEASE ? RELEASE : PRESS;
}

void Window::SetMouseButton(int button, int action) {
    std::lock_guard lock(_mutex);
    if (button >= 0 && button <= MOUSE_BUTTON_LAST)
        _mouseButtons[size_t(button)] = action == RELEASE ? RELEASE : PRESS;
}

void Window::SetJoystick(int jid, const Joystick& joystick) {
    std::lock_guard lock(_mutex);
    if (jid >= 0 && jid <= JOYSTICK_LAST) _joysticks[jid] = joystick;
}

void Window::RemoveJoystick(int jid) {
    std::lock_guard lock(_mutex);
    _joysticks.erase(jid);
}

}  // namespace quorl::graphics
