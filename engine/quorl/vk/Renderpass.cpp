#include "quorl/vk/Renderpass.h"

#include "quorl/vk/Device.h"
#include "quorl/vk/Result.h"

namespace quorl::vk {

void Renderpass::Create(Device& device, const std::vector<Attachment>& colors, const Attachment& depth,
                        VkExtent2D extent, const std::vector<std::vector<VkImageView>>& framebuffers) {
    Destroy();
    _device = &device;
    _extent = extent;
    _colorCount = uint32_t(colors.size());
    std::vector<VkAttachmentDescription> descriptions;
    std::vector<VkAttachmentReference> colorRefs;
    _clears.clear();
    auto describe = [&](const Attachment& a) {
        VkAttachmentDescription d{};
        d.format = a.format;
        d.samples = VK_SAMPLE_COUNT_1_BIT;
        d.loadOp = a.load;
        d.storeOp = VK_ATTACHMENT_STORE_OP_STORE;
        d.stencilLoadOp = VK_ATTACHMENT_LOAD_OP_DONT_CARE;
        d.stencilStoreOp = VK_ATTACHMENT_STORE_OP_DONT_CARE;
        d.initialLayout = a.initialLayout;
        d.finalLayout = a.finalLayout;
        descriptions.push_back(d);
        _clears.push_back(a.clear);
    };
    for (const Attachment& c : colors) {
        colorRefs.push_back({uint32_t(descriptions.size()), VK_IMAGE_LAYOUT_COLOR_ATTACHMENT_OPTIMAL});
        describe(c);
    }
    VkAttachmentReference depthRef{};
    const bool hasDepth = depth.format != VK_FORMAT_UNDEFINED;
    if (hasDepth) {
        depthRef = {uint32_t(descriptions.size()), VK_IMAGE_LAYOUT_DEPTH_STENCIL_ATTACHMENT_OPTIMAL};
        describe(depth);
    }
    VkSubpassDescription subpass{};
    subpass.pipelineBindPoint = VK_PIPELINE_BIND_POINT_GRAPHICS;
    subpass.colorAttachmentCount = uint32_t(colorRefs.size());
    subpass.pColorAttachments = colorRefs.data();
    subpass.pDepthStencilAttachment = hasDepth ? &depthRef : nullptr;
    // Work before and after the pass (copies, blits, hooks' own commands) is ordered with it.
    VkSubpassDependency deps[2]{};
    deps[0].srcSubpass = VK_SUBPASS_EXTERNAL;
    deps[0].dstSubpass = 0;
    deps[0].srcStageMask = VK_PIPELINE_STAGE_ALL_COMMANDS_BIT;
    deps[0].dstStageMask = VK_PIPELINE_STAGE_ALL_GRAPHICS_BIT;
    deps[0].srcAccessMask = VK_ACCESS_MEMORY_WRITE_BIT;
    deps[0].dstAccessMask = VK_ACCESS_MEMORY_READ_BIT | VK_ACCESS_MEMORY_WRITE_BIT;
    deps[1] = deps[0];
    deps[1].srcSubpass = 0;
    deps[1].dstSubpass = VK_SUBPASS_EXTERNAL;
    deps[1].srcStageMask = VK_PIPELINE_STAGE_ALL_GRAPHICS_BIT;
    deps[1].dstStageMask = VK_PIPELINE_STAGE_ALL_COMMANDS_BIT;
    VkRenderPassCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_RENDER_PASS_CREATE_INFO;
    info.attachmentCount = uint32_t(descriptions.size());
    info.pAttachments = descriptions.data();
    info.subpassCount = 1;
    info.pSubpasses = &subpass;
    info.dependencyCount = 2;
    info.pDependencies = deps;
    Check(vkCreateRenderPass(device.device, &info, nullptr, &_pass), "vkCreateRenderPass");
    for (const auto& views : framebuffers) {
        VkFramebufferCreateInfo fb{};
        fb.sType = VK_STRUCTURE_TYPE_FRAMEBUFFER_CREATE_INFO;
        fb.renderPass = _pass;
        fb.attachmentCount = uint32_t(views.size());
        fb.pAttachments = views.data();
        fb.width = extent.width;
        fb.height = extent.height;
        fb.layers = 1;
        VkFramebuffer handle = VK_NULL_HANDLE;
        Check(vkCreateFramebuffer(device.device, &fb, nullptr, &handle), "vkCreateFramebuffer");
        _framebuffers.push_back(handle);
    }
}

void Renderpass::Destroy() {
    if (!_device) return;
    for (VkFramebuffer fb : _framebuffers) vkDestroyFramebuffer(_device->device, fb, nullptr);
    _framebuffers.clear();
    if (_pass) vkDestroyRenderPass(_device->device, _pass, nullptr);
    _pass = VK_NULL_HANDLE;
    _device = nullptr;
}

void Renderpass::Begin(VkCommandBuffer cmd, size_t index) const {
    VkRenderPassBeginInfo begin{};
    begin.sType = VK_STRUCTURE_TYPE_RENDER_PASS_BEGIN_INFO;
    begin.renderPass = _pass;
    begin.framebuffer = _framebuffers.at(index);
    begin.renderArea = {{0, 0}, _extent};
    begin.clearValueCount = uint32_t(_clears.size());
    begin.pClearValues = _clears.data();
    vkCmdBeginRenderPass(cmd, &begin, VK_SUBPASS_CONTENTS_INLINE);
}

void Renderpass::End(VkCommandBuffer cmd) const { vkCmdEndRenderPass(cmd); }

}  // namespace quorl::vk
