#pragma once
#include <vulkan/vulkan_core.h>

#include <chrono>
#include <memory>

struct ImGuiContext;

namespace game {
class MultiFont;
}

namespace game::graphics {
class GameRenderer;
}

namespace game::graphics::ui {

// Dear ImGui on the game's renderer: the context, the font atlas, the platform side (a GLFW
// window's input, or nothing when the output is offscreen) and the Vulkan side that draws the
// draw data in the overlay pass.
//
// One ImGui frame per rendered frame: BeginFrame (from GameRenderer::FrameUpdateUi, before the
// modules' hooks) opens it, Render (from FrameOverlayCommands, inside the overlay pass) closes
// and draws it, so panels only call ImGui between the two. Without a window nothing feeds input:
// a caller sets io.MousePos, io.MouseDown[], io.KeysDown[] and friends before a frame, as the
// platform side would.
//
// The context current at construction is used when there is one (a host that made its own);
// otherwise one is made, owned, and destroyed with the backend. Fonts may be added to the atlas
// until a frame begins (Game::LoadFonts, by the host): the atlas is built and uploaded then, and
// again whenever fonts were added later. An atlas with no usable face gets ImGui's own face.
class ImGuiBackend {
public:
    // glfwWindow: the GLFWwindow* of a desktop window, whose input ImGui then reads; null offscreen.
    ImGuiBackend(GameRenderer& renderer, void* glfwWindow);
    ~ImGuiBackend();
    ImGuiBackend(const ImGuiBackend&) = delete;
    ImGuiBackend& operator=(const ImGuiBackend&) = delete;

    // Opens the frame: uploads the atlas when it changed, takes the output size and the time
    // since the last frame (the window's input too, with a window), then ImGui::NewFrame. A frame
    // left open (its rendering failed) is closed first.
    void BeginFrame();
    // Closes the open frame and records its draw data into cmd, which must be inside the overlay
    // pass. Nothing when no frame is open.
    void Render(VkCommandBuffer cmd);

    // The time step of the next frames, in seconds; 0 (the default) measures the real one.
    // Tests fix it so that what moves with time comes out the same.
    float fixedDeltaTime = 0.0f;

    ImGuiContext* Context() const { return _context; }
    bool FrameOpen() const;

private:
    void UploadFonts();
    void InitVulkan();
    void ShutdownVulkan();

    GameRenderer& _renderer;
    ImGuiContext* _context = nullptr;
    bool _ownsContext = false;
    bool _glfw = false;
    bool _vulkan = false;
    VkDescriptorPool _pool = VK_NULL_HANDLE;
    std::unique_ptr<MultiFont> _fonts;
    std::chrono::steady_clock::time_point _last;
    bool _hasLast = false;
};

}  // namespace game::graphics::ui
