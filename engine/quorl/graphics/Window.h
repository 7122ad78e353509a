#pragma once
#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace quorl::graphics {

// Numbering of keys, buttons, cursor modes and joystick slots is GLFW's, so that values read from
// settings files and module code mean the same thing with any backend.
constexpr int CURSOR = 0x00033001;
constexpr int CURSOR_NORMAL = 0x00034001;
constexpr int CURSOR_HIDDEN = 0x00034002;
constexpr int CURSOR_DISABLED = 0x00034003;
constexpr int RELEASE = 0;
constexpr int PRESS = 1;
constexpr int KEY_LAST = 348;
constexpr int MOUSE_BUTTON_LAST = 7;
constexpr int JOYSTICK_LAST = 15;
// Per device, the most axes, buttons and hats kept; a device reporting more is cut to these.
constexpr int JOYSTICK_AXES_MAX = 64;
constexpr int JOYSTICK_BUTTONS_MAX = 512;
constexpr int JOYSTICK_HATS_MAX = 16;

// GLFW's gamepad record: 15 button bytes, 6 axis floats.
struct GamepadState {
    unsigned char buttons[15]{};
    float axes[6]{};
};

// The application window: input state, cursor, joysticks and clipboard.
//
// This class is the headless backend: nothing is shown and every input is state that the host or
// a test sets (SetFocused, SetSize, SetKey, SetMouseButton, SetCursorPos, SetJoystick...). A
// windowing backend derives from it and feeds the same setters from its events. All calls are
// safe from any thread.
//
// Key and mouse-button events reach the callbacks registered by name, on the thread that made
// the event, after the state is stored (a callback may query the window, add or remove
// callbacks; one removed during an event is not called after its removal).
class Window {
public:
    struct Joystick {
        std::string name;
        std::string guid;
        bool isGamepad = false;
        std::vector<float> axes;
        std::vector<unsigned char> buttons;
        std::vector<unsigned char> hats;
        GamepadState gamepad;
    };

    using KeyCallback = std::function<void(int key, int scancode, int action, int mods)>;
    using MouseButtonCallback = std::function<void(int button, int action, int mods)>;

    Window() = default;
    virtual ~Window() = default;
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    // Input mode: only CURSOR is known; its values are CURSOR_NORMAL, CURSOR_HIDDEN, CURSOR_DISABLED.
    virtual void SetInputMode(int mode, int value);
    virtual int GetInputMode(int mode) const;
    virtual bool IsFocused() const;
    int GetWidth() const;
    int GetHeight() const;
    virtual void SetCursorPos(double x, double y);
    virtual void GetCursorPos(double& x, double& y) const;
    // PRESS or RELEASE; RELEASE for a number out of range.
    virtual int GetKey(int key) const;
    virtual int GetMouseButton(int button) const;
    virtual std::string GetClipboardString() const;
    virtual void SetClipboardString(const std::string& text);

    // Callbacks by name; adding under a name in use replaces that callback.
    void AddCallback_Key(const std::string& name, KeyCallback callback);
    void RemoveCallback_Key(const std::string& name);
    void AddCallback_MouseButton(const std::string& name, MouseButtonCallback callback);
    void RemoveCallback_MouseButton(const std::string& name);

    // Joysticks by slot 0..JOYSTICK_LAST. The array pointers stay valid as long as the window:
    // each slot's arrays have a fixed place, rewritten in place when the device changes and
    // zeroed when it goes, so a reader holding an old pointer reads no freed memory. A missing
    // slot gives null and a count of 0.
    virtual bool JoystickPresent(int jid) const;
    virtual bool JoystickIsGamepad(int jid) const;
    virtual std::string GetJoystickName(int jid) const;
    virtual std::string GetJoystickGUID(int jid) const;
    virtual const float* GetJoystickAxes(int jid, int& count) const;
    virtual const unsigned char* GetJoystickButtons(int jid, int& count) const;
    virtual const unsigned char* GetJoystickHats(int jid, int& count) const;
    virtual bool GetGamepadState(int jid, GamepadState& state) const;

    // Setters of the state, used by tests and by the windowing backend. A key or button event
    // stores PRESS for any action but RELEASE (GLFW's REPEAT included) and then calls the
    // callbacks with the action as given; codes out of range are ignored.
    void SetFocused(bool focused);
    void SetSize(int width, int height);
    void SetKey(int key, int action) { KeyEvent(key, 0, action, 0); }
    void SetMouseButton(int button, int action) { MouseButtonEvent(button, action, 0); }
    void KeyEvent(int key, int scancode, int action, int mods);
    void MouseButtonEvent(int button, int action, int mods);
    void SetJoystick(int jid, const Joystick& joystick);
    void RemoveJoystick(int jid);

private:
    struct JoystickSlot {
        bool present = false;
        std::string name, guid;
        bool isGamepad = false;
        int axisCount = 0, buttonCount = 0, hatCount = 0;
        std::array<float, JOYSTICK_AXES_MAX> axes{};
        std::array<unsigned char, JOYSTICK_BUTTONS_MAX> buttons{};
        std::array<unsigned char, JOYSTICK_HATS_MAX> hats{};
        GamepadState gamepad;
    };
    const JoystickSlot* FindSlot(int jid) const;  // a present slot, or null; caller holds _mutex

    mutable std::mutex _mutex;
    bool _focused = true;
    int _width = 1280, _height = 720;
    int _cursorMode = CURSOR_NORMAL;
    double _cursorX = 0, _cursorY = 0;
    std::array<unsigned char, KEY_LAST + 1> _keys{};
    std::array<unsigned char, MOUSE_BUTTON_LAST + 1> _mouseButtons{};
    std::string _clipboard;
    std::array<JoystickSlot, JOYSTICK_LAST + 1> _joysticks;

    std::mutex _callbackMutex;
    std::map<std::string, KeyCallback> _keyCallbacks;
    std::map<std::string, MouseButtonCallback> _mouseButtonCallbacks;
};

}  // namespace quorl::graphics
