#pragma once
#include <vulkan/vulkan_core.h>

#include <chrono>
#include <memory>

#include "quorl/graphics/Texture.h"
#include "quorl/graphics/VulkanRenderer.h"
#include "quorl/renderer/AimBuffer.h"
#include "quorl/renderer/QuorlRendererData.h"
#include "quorl/vk/GraphicsPipeline.h"
#include "quorl/vk/MappedBuffer.h"
#include "quorl/vk/PipelineLayout.h"
#include "quorl/vk/Renderpass.h"

namespace quorl::renderer {

// The frame driver. Frame() runs the frame callbacks in their fixed order around one command
// buffer:
//
//   BeginFrame
//   1 FrameInit  2 FrameUpdateUi  3 FrameBeforeUpdate  4 FrameUpdate  5 FrameAfterUpdate
//   6 FrameBeforeRender
//      the texture array's changed elements are written (UpdateTextureDescriptors)
//   7 FrameUpdateDescriptorSets
//   8 FramePushCommands(cmd)  9 FrameBuildCommands(cmd)
//      scene pass begins (colour, aim id, depth cleared; the sky is drawn)
//   10 FrameRenderCommands(cmd)
//      scene pass ends
//   11 FrameBeforePost
//      the aim id and depth under the screen centre are copied to the AimBuffer
//   12 FrameResolveCommands(cmd)
//      the scene colour is blitted (scaled) onto the output image, left in TRANSFER_DST_OPTIMAL
//   13 FrameBlitCommands(cmd)  14 FramePostCommands(cmd)
//      the output image goes to COLOR_ATTACHMENT_OPTIMAL
//   15 FrameOverlayCommands(cmd)
//      the output image goes to its final layout (OutputFinalLayout)
//   16 FrameAfterRender
//   EndFrame (submit, present, wait)
//   17 FrameCollectGarbage
//
// Raster materials draw in the scene pass with ScenePass(), two colour attachments (location 0
// colour RGBA8, location 1 the aim id R32_UINT) and a D32 depth attachment. A frame whose
// callback throws is closed (open pass ended, command buffer submitted) and the error goes on.
class QuorlRenderer : public graphics::VulkanRenderer {
public:
    static constexpr VkFormat kSceneColorFormat = VK_FORMAT_R8G8B8A8_UNORM;
    static constexpr VkFormat kAimIdFormat = VK_FORMAT_R32_UINT;
    static constexpr VkFormat kDepthFormat = VK_FORMAT_D32_SFLOAT;

    QuorlRenderer(graphics::Window* window, const char* applicationName, uint32_t version,
                  const vk::PhysicalDevice::Features& features, bool vsync, VkExtent2D offscreenExtent = {1280, 720});
    ~QuorlRenderer() override;

    virtual void FrameCollectGarbage() {}
    virtual void FrameUpdateDescriptorSets() {}
    virtual void FrameBeforePost() {}
    virtual void FrameInit() {}
    virtual void FrameUpdateUi() {}
    virtual void FrameBeforeUpdate() {}
    virtual void FrameUpdate() {}
    virtual void FrameBeforeRender() {}
    virtual void FrameAfterRender() {}
    virtual void FrameAfterUpdate() {}
    virtual void FramePushCommands(VkCommandBuffer) {}
    virtual void FrameBuildCommands(VkCommandBuffer) {}
    virtual void FrameRenderCommands(VkCommandBuffer) {}
    virtual void FrameResolveCommands(VkCommandBuffer) {}
    virtual void FrameBlitCommands(VkCommandBuffer) {}
    virtual void FramePostCommands(VkCommandBuffer) {}
    virtual void FrameOverlayCommands(VkCommandBuffer) {}
    // One frame; false when nothing was drawn (minimised window, swapchain remade).
    virtual bool Frame();

    // The frame's record; write it between BeginFrame and the scene pass (FrameInit ... 9).
    QuorlRendererData& Data() { return _data[0]; }
    VkDeviceAddress DataAddress() const { return _data.DeviceAddress(); }
    // What the GPU wrote in the last frame that completed.
    const AimBuffer& GetAimBuffer() const { return _aim[0]; }

    VkRenderPass ScenePass() const { return _scenePass.Handle(); }
    static constexpr uint32_t kSceneColorCount = 2;
    VkExtent2D SceneExtent() const { return _sceneExtent; }
    graphics::Texture& SceneColor() { return *_sceneColor; }
    graphics::Texture& SceneAimId() { return *_sceneId; }
    // The engine's debug views (names for the debug panel).
    static const std::vector<const char*>& DebugViews();

protected:
    void CreateSceneTargets(VkExtent2D extent);

private:
    vk::MappedBuffer<QuorlRendererData> _data;
    vk::MappedBuffer<AimBuffer, VMA_MEMORY_USAGE_GPU_TO_CPU,
                     VK_BUFFER_USAGE_TRANSFER_DST_BIT | VK_BUFFER_USAGE_STORAGE_BUFFER_BIT>
        _aim;
    std::shared_ptr<graphics::Texture> _sceneColor, _sceneId, _sceneDepth;
    VkExtent2D _sceneExtent{};
    vk::Renderpass _scenePass;
    vk::PipelineLayout _skyLayout;
    vk::GraphicsPipeline _skyPipeline;
    std::chrono::steady_clock::time_point _start = std::chrono::steady_clock::now();
};

}  // namespace quorl::renderer
