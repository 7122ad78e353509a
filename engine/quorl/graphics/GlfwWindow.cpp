#include "quorl/graphics/GlfwWindow.h"

#include <cstdlib>
#include <dlfcn.h>
#include <stdexcept>

#define GLFW_INCLUDE_NONE
#include <GLFW/glfw3.h>

namespace quorl::graphics {

// The GLFW functions this window uses, looked up in the library at run time.
struct GlfwWindow::Api {
    decltype(&glfwInit) Init;
    decltype(&glfwTerminate) Terminate;
    decltype(&glfwCreateWindow) CreateWindow;
    decltype(&glfwDestroyWindow) DestroyWindow;
    decltype(&glfwPollEvents) PollEvents;
    decltype(&glfwWindowShouldClose) WindowShouldClose;
    decltype(&glfwGetWindowAttrib) GetWindowAttrib;
    decltype(&glfwSetInputMode) SetInputMode;
    decltype(&glfwSetCursorPos) SetCursorPos;
    decltype(&glfwGetCursorPos) GetCursorPos;
    decltype(&glfwGetKey) GetKey;
    decltype(&glfwGetMouseButton) GetMouseButton;
    decltype(&glfwSetClipboardString) SetClipboardString;
    decltype(&glfwGetClipboardString) GetClipboardString;
    decltype(&glfwJoystickPresent) JoystickPresent;
    decltype(&glfwJoystickIsGamepad) JoystickIsGamepad;
    decltype(&glfwGetJoystickName) GetJoystickName;
    decltype(&glfwGetJoystickGUID) GetJoystickGUID;
    decltype(&glfwGetJoystickAxes) GetJoystickAxes;
    decltype(&glfwGetJoystickButtons) GetJoystickButtons;
    decltype(&glfwGetJoystickHats) GetJoystickHats;
    decltype(&glfwGetGamepadState) GetGamepadState;
    decltype(&glfwGetWindowSize) GetWindowSize;
    decltype(&glfwSetWindowUserPointer) SetWindowUserPointer;
    decltype(&glfwGetWindowUserPointer) GetWindowUserPointer;
    decltype(&glfwSetKeyCallback) SetKeyCallback;
    decltype(&glfwSetMouseButtonCallback) SetMouseButtonCallback;
    decltype(&glfwWindowHint) WindowHint;
    decltype(&glfwGetPrimaryMonitor) GetPrimaryMonitor;
    decltype(&glfwGetVideoMode) GetVideoMode;
    decltype(&glfwSetWindowMonitor) SetWindowMonitor;
    decltype(&glfwGetWindowPos) GetWindowPos;
};

namespace {

// GLFW's event callbacks are plain functions; the window is found through its user pointer,
// read with the function of the one GLFW library loaded.
decltype(&glfwGetWindowUserPointer) gGetWindowUserPointer = nullptr;

Window* Owner(GLFWwindow* w) {
    return gGetWindowUserPointer ? static_cast<Window*>(gGetWindowUserPointer(w)) : nullptr;
}

void OnKey(GLFWwindow* w, int key, int scancode, int action, int mods) {
    if (Window* window = Owner(w)) window->KeyEvent(key, scancode, action, mods);
}

void OnMouseButton(GLFWwindow* w, int button, int action, int mods) {
    if (Window* window = Owner(w)) window->MouseButtonEvent(button, action, mods);
}

template <class F>
void Bind(void* library, const char* name, F& f) {
    f = reinterpret_cast<F>(::dlsym(library, name));
    if (!f) throw std::runtime_error(std::string("GLFW library has no ") + name);
}

}  // namespace

GlfwWindow::GlfwWindow(int width, int height, const std::string& title) {
    // GLFW's own failure path without a display leaves the window system's allocations behind.
    if (!std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY"))
        throw std::runtime_error("cannot initialise GLFW: no display (DISPLAY and WAYLAND_DISPLAY are unset)");
    _library = ::dlopen("libglfw.so.3", RTLD_NOW | RTLD_LOCAL);
    if (!_library) throw std::runtime_error(std::string("cannot load GLFW: ") + ::dlerror());
    _api = new Api();
    try {
        Api& a = *_api;
        Bind(_library, "glfwInit", a.Init);
        Bind(_library, "glfwTerminate", a.Terminate);
        Bind(_library, "glfwCreateWindow", a.CreateWindow);
        Bind(_library, "glfwDestroyWindow", a.DestroyWindow);
        Bind(_library, "glfwPollEvents", a.PollEvents);
        Bind(_library, "glfwWindowShouldClose", a.WindowShouldClose);
        Bind(_library, "glfwGetWindowAttrib", a.GetWindowAttrib);
        Bind(_library, "glfwSetInputMode", a.SetInputMode);
        Bind(_library, "glfwSetCursorPos", a.SetCursorPos);
        Bind(_library, "glfwGetCursorPos", a.GetCursorPos);
        Bind(_library, "glfwGetKey", a.GetKey);
        Bind(_library, "glfwGetMouseButton", a.GetMouseButton);
        Bind(_library, "glfwSetClipboardString", a.SetClipboardString);
        Bind(_library, "glfwGetClipboardString", a.GetClipboardString);
        Bind(_library, "glfwJoystickPresent", a.JoystickPresent);
        Bind(_library, "glfwJoystickIsGamepad", a.JoystickIsGamepad);
        Bind(_library, "glfwGetJoystickName", a.GetJoystickName);
        Bind(_library, "glfwGetJoystickGUID", a.GetJoystickGUID);
        Bind(_library, "glfwGetJoystickAxes", a.GetJoystickAxes);
        Bind(_library, "glfwGetJoystickButtons", a.GetJoystickButtons);
        Bind(_library, "glfwGetJoystickHats", a.GetJoystickHats);
        Bind(_library, "glfwGetGamepadState", a.GetGamepadState);
        Bind(_library, "glfwGetWindowSize", a.GetWindowSize);
        Bind(_library, "glfwSetWindowUserPointer", a.SetWindowUserPointer);
        Bind(_library, "glfwGetWindowUserPointer", a.GetWindowUserPointer);
        Bind(_library, "glfwSetKeyCallback", a.SetKeyCallback);
        Bind(_library, "glfwSetMouseButtonCallback", a.SetMouseButtonCallback);
        Bind(_library, "glfwWindowHint", a.WindowHint);
        Bind(_library, "glfwGetPrimaryMonitor", a.GetPrimaryMonitor);
        Bind(_library, "glfwGetVideoMode", a.GetVideoMode);
        Bind(_library, "glfwSetWindowMonitor", a.SetWindowMonitor);
        Bind(_library, "glfwGetWindowPos", a.GetWindowPos);
        if (!a.Init()) throw std::runtime_error("cannot initialise GLFW (no display?)");
        a.WindowHint(GLFW_CLIENT_API, GLFW_NO_API);  // the renderer makes its own surface
        _window = a.CreateWindow(width, height, title.c_str(), nullptr, nullptr);
        if (!_window) {
            a.Terminate();
            throw std::runtime_error("cannot create the GLFW window");
        }
        gGetWindowUserPointer = a.GetWindowUserPointer;
        a.SetWindowUserPointer(static_cast<GLFWwindow*>(_window), static_cast<Window*>(this));
        a.SetKeyCallback(static_cast<GLFWwindow*>(_window), &OnKey);
        a.SetMouseButtonCallback(static_cast<GLFWwindow*>(_window), &OnMouseButton);
    } catch (...) {
        delete _api;
        ::dlclose(_library);
        throw;
    }
    PollEvents();
}

GlfwWindow::~GlfwWindow() {
    _api->DestroyWindow(static_cast<GLFWwindow*>(_window));
    _api->Terminate();
    delete _api;
    ::dlclose(_library);
}

void GlfwWindow::SetInputMode(int mode, int value) {
    Window::SetInputMode(mode, value);
    std::lock_guard lock(_requestsMutex);
    _requests.push_back([this, mode, value] { _api->SetInputMode(static_cast<GLFWwindow*>(_window), mode, value); });
}

void GlfwWindow::SetFullScreen(bool on) {
    std::lock_guard lock(_requestsMutex);
    _requests.push_back([this, on] {
        auto* w = static_cast<GLFWwindow*>(_window);
        GLFWmonitor* monitor = _api->GetPrimaryMonitor();
        const GLFWvidmode* mode = monitor ? _api->GetVideoMode(monitor) : nullptr;
        if (!mode) return;
        if (on) {
            _api->GetWindowPos(w, &_windowedRect[0], &_windowedRect[1]);
            _api->GetWindowSize(w, &_windowedRect[2], &_windowedRect[3]);
            _api->SetWindowMonitor(w, monitor, 0, 0, mode->width, mode->height, mode->refreshRate);
        } else if (_windowedRect[2] > 0) {
            _api->SetWindowMonitor(w, nullptr, _windowedRect[0], _windowedRect[1], _windowedRect[2],
                                   _windowedRect[3], 0);
        }
    });
}

void GlfwWindow::SetCursorPos(double x, double y) {
    Window::SetCursorPos(x, y);
    std::lock_guard lock(_requestsMutex);
    _requests.push_back([this, x, y] { _api->SetCursorPos(static_cast<GLFWwindow*>(_window), x, y); });
}

void GlfwWindow::SetClipboardString(const std::string& text) {
    Window::SetClipboardString(text);
    std::lock_guard lock(_requestsMutex);
    _requests.push_back([this, text] { _api->SetClipboardString(static_cast<GLFWwindow*>(_window), text.c_str()); });
}

bool GlfwWindow::ShouldClose() const {
    return _api->WindowShouldClose(static_cast<GLFWwindow*>(_window)) != 0;
}

void GlfwWindow::PollEvents() {
    GLFWwindow* w = static_cast<GLFWwindow*>(_window);
    std::vector<std::function<void()>> requests;
    {
        std::lock_guard lock(_requestsMutex);
        requests.swap(_requests);
    }
    for (auto& request : requests) request();
    _api->PollEvents();

    // Keys and mouse buttons arrived through the event callbacks during the poll.
    SetFocused(_api->GetWindowAttrib(w, GLFW_FOCUSED) != 0);
    int width = 0, height = 0;
    _api->GetWindowSize(w, &width, &height);
    SetSize(width, height);
    double x = 0, y = 0;
    _api->GetCursorPos(w, &x, &y);
    Window::SetCursorPos(x, y);
    if (const char* clipboard = _api->GetClipboardString(w)) Window::SetClipboardString(clipboard);

    for (int jid = 0; jid <= GLFW_JOYSTICK_LAST; ++jid) {
        if (!_api->JoystickPresent(jid)) {
            RemoveJoystick(jid);
            continue;
        }
        Joystick j;
        const char* name = _api->GetJoystickName(jid);
        const char* guid = _api->GetJoystickGUID(jid);
        j.name = name ? name : "";
        j.guid = guid ? guid : "";
        j.isGamepad = _api->JoystickIsGamepad(jid) != 0;
        int count = 0;
        if (const float* axes = _api->GetJoystickAxes(jid, &count)) j.axes.assign(axes, axes + count);
        if (const unsigned char* buttons = _api->GetJoystickButtons(jid, &count)) j.buttons.assign(buttons, buttons + count);
        if (const unsigned char* hats = _api->GetJoystickHats(jid, &count)) j.hats.assign(hats, hats + count);
        GLFWgamepadstate state{};
        if (j.isGamepad && _api->GetGamepadState(jid, &state)) {
            std::copy(std::begin(state.buttons), std::end(state.buttons), j.gamepad.buttons);
            std::copy(std::begin(state.axes), std::end(state.axes), j.gamepad.axes);
        }
        SetJoystick(jid, j);
    }
}

std::vector<const char*> GlfwWindow::VulkanInstanceExtensions() const {
    using Fn = const char** (*)(uint32_t*);
    auto get = reinterpret_cast<Fn>(::dlsym(_library, "glfwGetRequiredInstanceExtensions"));
    uint32_t count = 0;
    const char** names = get ? get(&count) : nullptr;
    return names ? std::vector<const char*>(names, names + count) : std::vector<const char*>();
}

int GlfwWindow::CreateVulkanSurface(void* instance, void* surfaceOut) const {
    using Fn = int (*)(void*, void*, const void*, void*);
    auto create = reinterpret_cast<Fn>(::dlsym(_library, "glfwCreateWindowSurface"));
    if (!create) return -3;  // VK_ERROR_INITIALIZATION_FAILED
    return create(instance, _window, nullptr, surfaceOut);
}

void GlfwWindow::GetFramebufferSize(int& width, int& height) const {
    using Fn = void (*)(void*, int*, int*);
    auto get = reinterpret_cast<Fn>(::dlsym(_library, "glfwGetFramebufferSize"));
    width = height = 0;
    if (get) get(_window, &width, &height);
}

}  // namespace quorl::graphics
