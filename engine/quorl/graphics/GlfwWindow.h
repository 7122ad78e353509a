#pragma once
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "quorl/graphics/Window.h"

namespace quorl::graphics {

// A desktop window through GLFW 3.3. The GLFW library is opened at run time (libglfw.so.3), so
// programs that never make a desktop window don't depend on it.
//
// GLFW must be driven from the thread that made the window: that thread calls PollEvents, which
// applies the requests queued by other threads (cursor mode and position, clipboard) and then
// refreshes the state that every query reads (focus, keys, mouse buttons, cursor, joysticks).
// Queries are therefore safe from any thread and answer as of the last poll; the joystick array
// pointers stay valid until the next poll.
class GlfwWindow : public Window {
public:
    // Throws std::runtime_error when GLFW can't be loaded, initialised (no display) or can't make
    // the window.
    GlfwWindow(int width, int height, const std::string& title);
    ~GlfwWindow() override;

    void PollEvents();
    bool ShouldClose() const;
    // The GLFWwindow*, for renderer back ends.
    void* GetHandle() const { return _window; }

    void SetInputMode(int mode, int value) override;
    void SetCursorPos(double x, double y) override;
    void SetClipboardString(const std::string& text) override;
    // Full screen on the primary monitor at its video mode, or back to the windowed place and
    // size it had; applied at the next PollEvents.
    void SetFullScreen(bool on);

private:
    struct Api;
    Api* _api = nullptr;
    void* _library = nullptr;
    void* _window = nullptr;
    std::mutex _requestsMutex;
    std::vector<std::function<void()>> _requests;
    int _windowedRect[4]{};  // x, y, width, height before full screen

    // Vulkan presentation, for the renderer. Call from the thread that made the window.
public:
    // The instance extensions GLFW needs for a surface; empty when Vulkan can't present here.
    std::vector<const char*> VulkanInstanceExtensions() const;
    // Makes the window's surface on `instance` (a VkInstance); returns the VkResult as an int.
    int CreateVulkanSurface(void* instance, void* surfaceOut) const;
    // The size of the drawable area in pixels (0 x 0 while minimised).
    void GetFramebufferSize(int& width, int& height) const;
};

}  // namespace quorl::graphics
