#pragma once
#include <vulkan/vulkan_core.h>

#include <vector>

namespace quorl::vk {

class Device;

// A render pass of one subpass with its framebuffers (one per target image, e.g. per swapchain
// image). Create may be called again after Destroy (a viewport change).
class Renderpass {
public:
    struct Attachment {
        VkFormat format = VK_FORMAT_UNDEFINED;
        VkAttachmentLoadOp load = VK_ATTACHMENT_LOAD_OP_CLEAR;
        VkImageLayout initialLayout = VK_IMAGE_LAYOUT_UNDEFINED;
        VkImageLayout finalLayout = VK_IMAGE_LAYOUT_COLOR_ATTACHMENT_OPTIMAL;
        VkClearValue clear{};
    };

    Renderpass() = default;
    ~Renderpass() { Destroy(); }
    Renderpass(const Renderpass&) = delete;
    Renderpass& operator=(const Renderpass&) = delete;

    // colors: the colour attachments in location order; depth: format UNDEFINED for none.
    // framebuffers: per framebuffer, the views of the colour attachments then the depth one.
    void Create(Device& device, const std::vector<Attachment>& colors, const Attachment& depth, VkExtent2D extent,
                const std::vector<std::vector<VkImageView>>& framebuffers);
    void Destroy();

    // Begins the pass on framebuffer `index` over the whole extent, clearing as created.
    void Begin(VkCommandBuffer cmd, size_t index) const;
    void End(VkCommandBuffer cmd) const;

    VkRenderPass Handle() const { return _pass; }
    VkExtent2D Extent() const { return _extent; }
    uint32_t ColorCount() const { return _colorCount; }
    explicit operator bool() const { return _pass != VK_NULL_HANDLE; }

private:
    Device* _device = nullptr;
    VkRenderPass _pass = VK_NULL_HANDLE;
    std::vector<VkFramebuffer> _framebuffers;
    std::vector<VkClearValue> _clears;
    VkExtent2D _extent{};
    uint32_t _colorCount = 0;
};

}  // namespace quorl::vk
