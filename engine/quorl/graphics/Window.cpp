#include "quorl/graphics/Window.h"

#include <algorithm>

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

int Window::GetWidth() const {
    std::lock_guard lock(_mutex);
    return _width;
}

int Window::GetHeight() const {
    std::lock_guard lock(_mutex);
    return _height;
}

const Window::JoystickSlot* Window::FindSlot(int jid) const {
    if (jid < 0 || jid > JOYSTICK_LAST || !_joysticks[size_t(jid)].present) return nullptr;
    return &_joysticks[size_t(jid)];
}

bool Window::JoystickPresent(int jid) const {
    std::lock_guard lock(_mutex);
    return FindSlot(jid) != nullptr;
}

bool Window::JoystickIsGamepad(int jid) const {
    std::lock_guard lock(_mutex);
    const JoystickSlot* slot = FindSlot(jid);
    return slot && slot->isGamepad;
}

std::string Window::GetJoystickName(int jid) const {
    std::lock_guard lock(_mutex);
    const JoystickSlot* slot = FindSlot(jid);
    return slot ? slot->name : std::string();
}

std::string Window::GetJoystickGUID(int jid) const {
    std::lock_guard lock(_mutex);
    const JoystickSlot* slot = FindSlot(jid);
    return slot ? slot->guid : std::string();
}

const float* Window::GetJoystickAxes(int jid, int& count) const {
    std::lock_guard lock(_mutex);
    const JoystickSlot* slot = FindSlot(jid);
    count = slot ? slot->axisCount : 0;
    return count ? slot->axes.data() : nullptr;
}

const unsigned char* Window::GetJoystickButtons(int jid, int& count) const {
    std::lock_guard lock(_mutex);
    const JoystickSlot* slot = FindSlot(jid);
    count = slot ? slot->buttonCount : 0;
    return count ? slot->buttons.data() : nullptr;
}

const unsigned char* Window::GetJoystickHats(int jid, int& count) const {
    std::lock_guard lock(_mutex);
    const JoystickSlot* slot = FindSlot(jid);
    count = slot ? slot->hatCount : 0;
    return count ? slot->hats.data() : nullptr;
}

bool Window::GetGamepadState(int jid, GamepadState& state) const {
    std::lock_guard lock(_mutex);
    const JoystickSlot* slot = FindSlot(jid);
    if (!slot || !slot->isGamepad) return false;
    state = slot->gamepad;
    return true;
}

void Window::SetFocused(bool focused) {
    std::lock_guard lock(_mutex);
    _focused = focused;
}

void Window::SetSize(int width, int height) {
    std::lock_guard lock(_mutex);
    _width = width;
    _height = height;
}

void Window::KeyEvent(int key, int scancode, int action, int mods) {
    if (key < 0 || key > KEY_LAST) return;
    {
        std::lock_guard lock(_mutex);
        _keys[size_t(key)] = action == RELEASE ? RELEASE : PRESS;
    }
    std::vector<std::string> names;
    {
        std::lock_guard lock(_callbackMutex);
        if (_keyCallbacks.empty()) return;
        for (auto& entry : _keyCallbacks) names.push_back(entry.first);
    }
    for (const std::string& name : names) {
        KeyCallback callback;
        {
            std::lock_guard lock(_callbackMutex);
            auto it = _keyCallbacks.find(name);
            if (it == _keyCallbacks.end()) continue;
            callback = it->second;
        }
        if (callback) callback(key, scancode, action, mods);
    }
}

void Window::MouseButtonEvent(int button, int action, int mods) {
    if (button < 0 || button > MOUSE_BUTTON_LAST) return;
    {
        std::lock_guard lock(_mutex);
        _mouseButtons[size_t(button)] = action == RELEASE ? RELEASE : PRESS;
    }
    std::vector<std::string> names;
    {
        std::lock_guard lock(_callbackMutex);
        if (_mouseButtonCallbacks.empty()) return;
        for (auto& entry : _mouseButtonCallbacks) names.push_back(entry.first);
    }
    for (const std::string& name : names) {
        MouseButtonCallback callback;
        {
            std::lock_guard lock(_callbackMutex);
            auto it = _mouseButtonCallbacks.find(name);
            if (it == _mouseButtonCallbacks.end()) continue;
            callback = it->second;
        }
        if (callback) callback(button, action, mods);
    }
}

void Window::AddCallback_Key(const std::string& name, KeyCallback callback) {
    std::lock_guard lock(_callbackMutex);
    _keyCallbacks[name] = std::move(callback);
}

void Window::RemoveCallback_Key(const std::string& name) {
    std::lock_guard lock(_callbackMutex);
    _keyCallbacks.erase(name);
}

void Window::AddCallback_MouseButton(const std::string& name, MouseButtonCallback callback) {
    std::lock_guard lock(_callbackMutex);
    _mouseButtonCallbacks[name] = std::move(callback);
}

void Window::RemoveCallback_MouseButton(const std::string& name) {
    std::lock_guard lock(_callbackMutex);
    _mouseButtonCallbacks.erase(name);
}

// The slot's arrays are rewritten in place, never reallocated: see the header.
void Window::SetJoystick(int jid, const Joystick& joystick) {
    if (jid < 0 || jid > JOYSTICK_LAST) return;
    std::lock_guard lock(_mutex);
    JoystickSlot& slot = _joysticks[size_t(jid)];
    slot.present = true;
    slot.name = joystick.name;
    slot.guid = joystick.guid;
    slot.isGamepad = joystick.isGamepad;
    slot.gamepad = joystick.gamepad;
    auto copy = [](const auto& from, auto& to, int& count) {
        count = int(std::min(from.size(), to.size()));
        std::fill(std::copy_n(from.begin(), count, to.begin()), to.end(), 0);
    };
    copy(joystick.axes, slot.axes, slot.axisCount);
    copy(joystick.buttons, slot.buttons, slot.buttonCount);
    copy(joystick.hats, slot.hats, slot.hatCount);
}

void Window::RemoveJoystick(int jid) {
    if (jid < 0 || jid > JOYSTICK_LAST) return;
    std::lock_guard lock(_mutex);
    JoystickSlot& slot = _joysticks[size_t(jid)];
    slot.present = false;
    slot.isGamepad = false;
    slot.name.clear();
    slot.guid.clear();
    slot.gamepad = GamepadState{};
    slot.axisCount = slot.buttonCount = slot.hatCount = 0;
    slot.axes.fill(0.0f);
    slot.buttons.fill(0);
    slot.hats.fill(0);
}

}  // namespace quorl::graphics
