#pragma once
#include <array>
#include <cstdint>
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

// GLFW's gamepad record: 15 button bytes, 6 axis floats.
struct GamepadState {
    unsigned char buttons[15]{};
    float axes[6]{};
};

// The application window: input state, cursor, joysticks and clipboard.
//
// This class is the headless backend: nothing is shown and every input is state that the host or
// a test sets (SetFocused, SetKey, SetJoystick...). A windowing backend derives from it and
// overrides the queries. All calls are safe from any thread.
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

    Window() = default;
    virtual ~Window() = default;
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    // Input mode: only CURSOR is known; its values are CURSOR_NORMAL, CURSOR_HIDDEN, CURSOR_DISABLED.
    virtual void SetInputMode(int mode, int value);
    virtual int GetInputMode(int mode) const;
    virtual bool IsFocused() const;
    virtual void SetCursorPos(double x, double y);
    virtual void GetCursorPos(double& x, double& y) const;
    // PRESS or RELEASE; RELEASE for a number out of range.
    virtual int GetKey(int key) const;
    virtual int GetMouseButton(int button) const;
    virtual std::string GetClipboardString() const;
    virtual void SetClipboardString(const std::string& text);

    // Joysticks by slot 0..JOYSTICK_LAST. The array pointers stay valid until the next change of
    // that slot; a missing slot gives null and a count of 0.
    virtual bool JoystickPresent(int jid) const;
    virtual bool JoystickIsGamepad(int jid) const;
    virtual std::string GetJoystickName(int jid) const;
    virtual std::string GetJoystickGUID(int jid) const;
    virtual const float* GetJoystickAxes(int jid, int& count) const;
    virtual const unsigned char* GetJoystickButtons(int jid, int& count) const;
    virtual const unsigned char* GetJoystickHats(int jid, int& count) const;
    virtual bool GetGamepadState(int jid, GamepadState& state) const;

    // Headless state setters.
    void SetFocused(bool focused);
    void SetKey(int key, int action);
    void SetMouseButton(int button, int action);
    void SetJoystick(int jid, const Joystick& joystick);
    void RemoveJoystick(int jid);

private:
    mutable std::mutex _mutex;
    bool _focused = true;
    int _cursorMode = CURSOR_NORMAL;
    double _cursorX = 0, _cursorY = 0;
    std::array<unsigned char, KEY_LAST + 1> _keys{};
    std::array<unsigned char, MOUSE_BUTTON_LAST + 1> _mouseButtons{};
    std::string _clipboard;
    std::map<int, Joystick> _joysticks;
};

}  // namespace quorl::graphics
