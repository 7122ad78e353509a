#include "quorl/renderer/QuorlRenderer.h"

#include <algorithm>
#include <cmath>
#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/matrix_inverse.hpp>

#include "quorl/vk/CommandBuffer.h"

namespace quorl::renderer {

namespace {

// Push constants of the sky: the renderer data's address as two 32-bit words.
struct SkyPush {
    uint32_t dataAddress[2];
};

}  // namespace

QuorlRenderer::QuorlRenderer(graphics::Window* window, const char* applicationName, uint32_t version,
                             const vk::PhysicalDevice::Features& features, bool vsync, VkExtent2D offscreenExtent)
    : VulkanRenderer(window, applicationName, version, features, vsync, offscreenExtent),
      _data(*_device, 1, "QuorlRendererData"),
      _aim(*_device, 1, "AimBuffer") {
    CreateSceneTargets(GetOutputImageExtent());
    _skyLayout.Create(*_device, sizeof(SkyPush));
    vk::GraphicsPipeline::Config sky;
    sky.shader = "quorl/renderer/sky";
    _skyPipeline.Create(*_device, _skyLayout, _scenePass.Handle(), kSceneColorCount, sky, _sceneExtent);
}

QuorlRenderer::~QuorlRenderer() { _device->WaitIdle(); }

const std::vector<const char*>& QuorlRenderer::DebugViews() {
    static const std::vector<const char*> views;
    return views;
}

void QuorlRenderer::CreateSceneTargets(VkExtent2D extent) {
    extent = {std::max(1u, extent.width), std::max(1u, extent.height)};
    _sceneExtent = extent;
    _sceneColor = std::make_shared<graphics::Texture>(
        *_device, extent.width, extent.height, kSceneColorFormat,
        VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT | VK_IMAGE_USAGE_TRANSFER_SRC_BIT | VK_IMAGE_USAGE_SAMPLED_BIT,
        "Scene Colour");
    _sceneId = std::make_shared<graphics::Texture>(*_device, extent.width, extent.height, kAimIdFormat,
                                                   VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT |
                                                       VK_IMAGE_USAGE_TRANSFER_SRC_BIT,
                                                   "Scene Aim Id");
    _sceneDepth = std::make_shared<graphics::Texture>(*_device, extent.width, extent.height, kDepthFormat,
                                                      VK_IMAGE_USAGE_DEPTH_STENCIL_ATTACHMENT_BIT |
                                                          VK_IMAGE_USAGE_TRANSFER_SRC_BIT,
                                                      "Scene Depth");
    vk::Renderpass::Attachment color;
    color.format = kSceneColorFormat;
    color.finalLayout = VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL;
    color.clear.color = {{0.0f, 0.0f, 0.0f, 1.0f}};
    vk::Renderpass::Attachment id = color;
    id.format = kAimIdFormat;
    id.clear.color.uint32[0] = 0;
    vk::Renderpass::Attachment depth;
    depth.format = kDepthFormat;
    depth.finalLayout = VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL;
    depth.clear.depthStencil = {1.0f, 0};
    _scenePass.Create(*_device, {color, id}, depth, extent,
                      {{_sceneColor->View(), _sceneId->View(), _sceneDepth->View()}});
    _skyPipeline.RefreshViewport(extent);
}

bool QuorlRenderer::Frame() {
    if (!BeginFrame()) return false;
    VkCommandBuffer cmd = CurrentCommandBuffer();
    bool inScenePass = false;
    VkImageLayout outputLayout = VK_IMAGE_LAYOUT_UNDEFINED;
    try {
        FrameInit();
        FrameUpdateUi();
        FrameBeforeUpdate();
        FrameUpdate();
        FrameAfterUpdate();
        FrameBeforeRender();
        UpdateTextureDescriptors();
        FrameUpdateDescriptorSets();

        // The scene at render scale; targets follow a changed output size or scale.
        const VkExtent2D out = GetOutputImageExtent();
        const float scale = std::clamp(renderScale, 0.1f, 4.0f);
        const VkExtent2D wanted{std::max(1u, uint32_t(std::lround(out.width * scale))),
                                std::max(1u, uint32_t(std::lround(out.height * scale)))};
        if (wanted.width != _sceneExtent.width || wanted.height != _sceneExtent.height) CreateSceneTargets(wanted);

        QuorlRendererData& data = Data();
        data.extent = {_sceneExtent.width, _sceneExtent.height};
        data.renderScale = renderScale;
        data.frameIndex = uint32_t(FrameIndex());
        data.time = std::chrono::duration<float>(std::chrono::steady_clock::now() - _start).count();
        const float aspect = float(_sceneExtent.width) / float(_sceneExtent.height);
        const float fov = std::clamp(data.fov, 1.0f, 179.0f);
        glm::mat4 projection = glm::perspectiveRH_ZO(glm::radians(fov), aspect, 0.05f, 100000.0f);
        projection[1][1] *= -1.0f;  // Vulkan's y points down
        data.projectionMatrix = projection;
        data.inverseProjectionMatrix = glm::inverse(projection);
        data.inverseViewMatrix = glm::inverse(data.viewMatrix);

        FramePushCommands(cmd);
        FrameBuildCommands(cmd);

        _scenePass.Begin(cmd, 0);
        inScenePass = true;
        _skyPipeline.Bind(cmd);
        const VkDeviceAddress address = DataAddress();
        SkyPush push{{uint32_t(address), uint32_t(address >> 32)}};
        _skyLayout.Push(cmd, &push, sizeof(push));
        vkCmdDraw(cmd, 3, 1, 0, 0);
        FrameRenderCommands(cmd);
        _scenePass.End(cmd);
        inScenePass = false;

        FrameBeforePost();
        // Aim: the id and depth under the centre of the screen.
        const VkOffset3D centre{int32_t(_sceneExtent.width / 2), int32_t(_sceneExtent.height / 2), 0};
        VkBufferImageCopy idCopy{};
        idCopy.bufferOffset = offsetof(AimBuffer, words) + 3 * sizeof(uint32_t);
        idCopy.imageSubresource = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 0, 1};
        idCopy.imageOffset = centre;
        idCopy.imageExtent = {1, 1, 1};
        vkCmdCopyImageToBuffer(cmd, _sceneId->Image(), VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL, _aim.GetBuffer().Handle(),
                               1, &idCopy);
        VkBufferImageCopy depthCopy = idCopy;
        depthCopy.bufferOffset += sizeof(uint32_t);
        depthCopy.imageSubresource.aspectMask = VK_IMAGE_ASPECT_DEPTH_BIT;
        vkCmdCopyImageToBuffer(cmd, _sceneDepth->Image(), VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL,
                               _aim.GetBuffer().Handle(), 1, &depthCopy);
        FrameResolveCommands(cmd);

        // The scene onto the output image.
        VkImage output = GetOutputVkImage();
        vk::CommandBuffer::TransitionImage(cmd, output, VK_IMAGE_ASPECT_COLOR_BIT, VK_IMAGE_LAYOUT_UNDEFINED,
                                           VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL);
        outputLayout = VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL;
        VkImageBlit blit{};
        blit.srcSubresource = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 0, 1};
        blit.srcOffsets[1] = {int32_t(_sceneExtent.width), int32_t(_sceneExtent.height), 1};
        blit.dstSubresource = blit.srcSubresource;
        blit.dstOffsets[1] = {int32_t(out.width), int32_t(out.height), 1};
        const VkFilter filter =
            graphics::Upscaler::Resolve(upscaler.algo) == graphics::Upscaler::NEAREST ? VK_FILTER_NEAREST
                                                                                       : VK_FILTER_LINEAR;
        vkCmdBlitImage(cmd, _sceneColor->Image(), VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL, output,
                       VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL, 1, &blit, filter);
        FrameBlitCommands(cmd);
        FramePostCommands(cmd);

        vk::CommandBuffer::TransitionImage(cmd, output, VK_IMAGE_ASPECT_COLOR_BIT, outputLayout,
                                           VK_IMAGE_LAYOUT_COLOR_ATTACHMENT_OPTIMAL);
        outputLayout = VK_IMAGE_LAYOUT_COLOR_ATTACHMENT_OPTIMAL;
        FrameOverlayCommands(cmd);
        vk::CommandBuffer::TransitionImage(cmd, output, VK_IMAGE_ASPECT_COLOR_BIT, outputLayout, OutputFinalLayout());
        outputLayout = OutputFinalLayout();

        FrameAfterRender();
    } catch (...) {
        if (inScenePass) _scenePass.End(cmd);
        if (outputLayout != OutputFinalLayout())
            vk::CommandBuffer::TransitionImage(cmd, GetOutputVkImage(), VK_IMAGE_ASPECT_COLOR_BIT, outputLayout,
                                               OutputFinalLayout());
        AbortFrame();
        throw;
    }
    EndFrame();
    FrameCollectGarbage();
    return true;
}

}  // namespace quorl::renderer
