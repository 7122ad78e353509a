#pragma once
#include <vulkan/vulkan_core.h>

#include <any>
#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <glm/ext/vector_int3_sized.hpp>
#include <glm/mat4x4.hpp>
#include <glm/vec4.hpp>

#include "quorl/graphics/Texture.h"
#include "quorl/modular/ModuleID.h"
#include "quorl/renderer/AimBuffer.h"
#include "quorl/renderer/QuorlRenderer.h"
#include "quorl/vk/Buffer.h"
#include "quorl/vk/GraphicsPipeline.h"
#include "quorl/vk/PipelineLayout.h"
#include "quorl/vk/Renderpass.h"
#include "quorl/vk/Sampler.h"

namespace quorl::graphics {
class Window;
}

namespace game::graphics {

namespace ui {
class ImGuiBackend;
}
class SceneRenderer;

// The library's renderer: copies the settings into the engine's frame record each frame, hands
// each stage of the frame to every loaded game module, and owns the game's shared rendering state
// (hit shader names, aim picking, the trash, the world origin). Game::renderer points to the only
// instance.
//
// Each frame callback forwards to the modules' Renderer_Frame... hook: the "all" callbacks in
// the module list's order (GAME_Mod::ForEachModule), the others through the list sorted for
// their key ("ui", "update", "render", "post", "overlay"), which walks nothing until someone
// sorted it. Hooks that take a command buffer get the frame's own.
class GameRenderer : public quorl::renderer::QuorlRenderer {
public:
    // The view of the player. The vectors are in camera space (w = 1 for a point, 0 for a
    // direction) and worldTransform takes them to the world.
    struct Camera {
        glm::dvec4 origin{0.0, 0.0, 0.0, 1.0};
        glm::dvec4 forward{0.0, 0.0, -1.0, 0.0};
        glm::dvec4 up{0.0, 1.0, 0.0, 0.0};
        glm::dmat4 worldTransform{1.0};
    };

    using AimBuffer = quorl::renderer::AimBuffer;

    // What an aim id stands for: the module that drew it and that module's data.
    struct AimReference {
        quorl::modular::ModuleID module;
        std::any data;
    };

    // What is under the crosshair, refreshed from the GPU's AimBuffer every frame.
    class Aim {
    public:
        explicit Aim(GameRenderer* owner = nullptr) : _owner(owner) {}
        Aim(const Aim& other) { *this = other; }
        // Takes the buffer; an id other than 0 that is in the reference list brings that
        // reference's module and data; otherwise both stay empty.
        Aim& operator=(const AimBuffer& buffer);
        // Copies module, data and buffer under the source's mutex.
        Aim& operator=(const Aim& other);

        quorl::modular::ModuleID module;
        std::any data;
        AimBuffer aimBuffer;
        mutable std::mutex mutex;

    private:
        GameRenderer* _owner = nullptr;
    };

    // Makes the Vulkan renderer on the window (its swapchain for a desktop window; an offscreen
    // image of offscreenExtent otherwise), then the overlay, the font atlas as texture 0, the
    // graphics preset, the built-in hit shaders. Throws std::runtime_error when no Vulkan device
    // can be had, a shader or the font atlas is missing, or the atlas is not texture 0.
    GameRenderer(quorl::graphics::Window* window, const char* applicationName, unsigned int version,
                 const quorl::vk::PhysicalDevice::Features& features, VkExtent2D offscreenExtent = {1280, 720});
    // The same with the library's name, version 1, default features and a 1280 x 720 offscreen size.
    explicit GameRenderer(quorl::graphics::Window* window);
    ~GameRenderer() override;

    void CreateSwapchainDependantObjects() override;
    void DestroySwapchainDependantObjects() override;
    // The engine's, then the overlay pass remade on the output's format and size, the three
    // pipelines' viewports, last the modules' Renderer_RefreshViewport.
    void RefreshViewport() override;
    // The engine's first, then Renderer_StartRendering of every module.
    void StartRendering() override;
    // The device's work waited for, then Renderer_StopRendering of every module, last the engine's.
    void StopRendering() override;

    void FrameCollectGarbage() override;
    void FrameUpdateDescriptorSets() override;
    void FrameBeforePost() override;
    void FrameInit() override;
    void FrameUpdateUi() override;
    void FrameBeforeUpdate() override;
    void FrameUpdate() override;
    void FrameBeforeRender() override;
    void FrameAfterRender() override;
    void FrameAfterUpdate() override;
    void FramePushCommands(VkCommandBuffer cmd) override;
    void FrameBuildCommands(VkCommandBuffer cmd) override;
    void FrameRenderCommands(VkCommandBuffer cmd) override;
    void FrameResolveCommands(VkCommandBuffer cmd) override;
    void FrameBlitCommands(VkCommandBuffer cmd) override;
    void FramePostCommands(VkCommandBuffer cmd) override;
    void FrameOverlayCommands(VkCommandBuffer cmd) override;
    // Rebuilds the interface style when asked, locks the hit shader list, then runs the engine's frame.
    bool Frame() override;

    // Appends a hit shader name and returns its index (the material of a renderable). Modules call
    // it at load time: after the list is locked (first frame) it is a broken invariant.
    int AddRenderableHitShader(const std::string& name);
    std::vector<std::string> RenderableHitShaders() const;
    std::vector<std::string> RenderableCallableShaders() const;
    // graphics_preset -1 (first run): preset 3 with its values, written to the file at once;
    // 0..6: the preset's values; anything else: nothing.
    void ConfigureSettingsFromPreset();

    // Deferred release of GPU objects: an object trashed now is released at the second
    // collection from now, when no frame in flight can use it any more.
    void Trash(std::shared_ptr<void> object);
    void CollectTrash();
    void CollectAllTrash();
    size_t TrashSize() const;

    // A new aim id for (module, data). Id 0 means "nothing": the list starts with an empty
    // entry, so the first reference added gets 1.
    unsigned int AddAimReference(const std::string& moduleName, std::any data);

    // Writes a region of a GPU image as PNG. False for a format that isn't accepted (nothing is
    // written) or a file that can't be written.
    bool SaveImage(VkImage image, VkOffset2D offset, VkExtent2D extent, VkFormat format, VkImageLayout layout,
                   const std::string& path);

    // A texture whose Push the next frame calls with its command buffer; one that only this list
    // holds any more goes to the trash instead.
    void PushTexture(std::shared_ptr<quorl::graphics::Texture> texture);

    // Releases what the renderer holds for the game; called by Game::Stop.
    void Cleanup();

    // The size in output pixels of an object of `size` metres at `position` (world coordinates)
    // seen from the camera, at least minimumPixels: how large to draw an overlay element for it.
    double GetFixedBoundingSizeInScreenPixels(const glm::dvec3& position, double size, double minimumPixels = 0.0);

    const glm::dvec4& WorldOrigin() const { return _worldOrigin; }
    const glm::i64vec3& WorldOriginInt() const { return _worldOriginInt; }
    bool OriginWasReset() const { return _originReset; }
    VkRenderPass OverlayPass() const { return _overlayPass.Handle(); }
    // Dear ImGui on this renderer: a frame of it is open from FrameUpdateUi (before the modules'
    // hooks) to FrameOverlayCommands, where it is drawn over everything else.
    ui::ImGuiBackend& Imgui() { return *_imgui; }
    // The renderer's samplers, for textures the game adds with AddTexture: clamped nearest
    // (pixel art, fonts), clamped linear (pictures, screens), repeating linear (tiled surfaces).
    VkSampler SamplerNearest() const { return _samplerNearest; }
    VkSampler SamplerLinear() const { return _samplerLinear; }
    VkSampler SamplerRepeat() const { return _samplerRepeat; }
    // What draws the renderable instances, first thing in FrameRenderCommands.
    SceneRenderer& Scene() { return *_scene; }

    Camera camera;
    Aim aim{this};
    std::atomic<bool> renderableShadersLocked{false};
    // Requests a rebuild of the interface style at the start of the next frame.
    std::atomic<bool> rebuildStyle{false};
    float timeScale = 1.0f;      // copied into the frame record
    bool originRelative = true;  // option bit 3
    bool showCrosshair = true;
    std::array<const char*, 7> graphicsPresetLabels{};
    std::vector<const char*> debugViewNames{"NONE"};

    // Paths the builtins use.
    static constexpr const char* kFontAtlas = "game/graphics/ui/textures/monospace_font_atlas.png";

private:
    void CreateOverlay();

    quorl::vk::Renderpass _overlayPass;
    quorl::vk::Sampler _samplerNearest, _samplerLinear, _samplerRepeat;
    quorl::vk::PipelineLayout _overlayLayout;
    quorl::vk::GraphicsPipeline _crosshairPipeline;
    quorl::vk::GraphicsPipeline _colliderSolidPipeline, _colliderWirePipeline;
    quorl::vk::Buffer _debugColliderVertices, _debugColliderIndices;
    std::unique_ptr<SceneRenderer> _scene;

    glm::dvec4 _worldOrigin{0.0, 0.0, 0.0, 1.0};
    glm::i64vec3 _worldOriginInt{0, 0, 0};
    glm::dmat4 _inverseOriginTranslation{1.0};
    bool _originReset = false;

    mutable std::mutex _trashMutex;
    std::vector<std::shared_ptr<void>> _trash[2];

    mutable std::mutex _shadersMutex;
    std::vector<std::string> _hitShaders;
    std::vector<std::string> _callableShaders;

    mutable std::mutex _aimReferencesMutex;
    std::vector<AimReference> _aimReferences;

    std::mutex _texturesToPushMutex;
    std::vector<std::shared_ptr<quorl::graphics::Texture>> _texturesToPush;

    std::unique_ptr<ui::ImGuiBackend> _imgui;
};

}  // namespace game::graphics
