#include "quorl/graphics/ComputeTexture.h"

#include "quorl/vk/CommandBuffer.h"

namespace quorl::graphics {

ComputeTexture::ComputeTexture(vk::Device& device, uint32_t width, uint32_t height, VkFormat format,
                               const std::string& debugName)
    : Texture(device, width, height, format,
              VK_IMAGE_USAGE_STORAGE_BIT | VK_IMAGE_USAGE_SAMPLED_BIT | VK_IMAGE_USAGE_TRANSFER_SRC_BIT |
                  VK_IMAGE_USAGE_TRANSFER_DST_BIT,
              debugName) {}

void ComputeTexture::Push(VkCommandBuffer cmd) {
    if (layout == VK_IMAGE_LAYOUT_GENERAL) return;
    vk::CommandBuffer::TransitionImage(cmd, Image(), Aspect(), layout, VK_IMAGE_LAYOUT_GENERAL);
    layout = VK_IMAGE_LAYOUT_GENERAL;
}

}  // namespace quorl::graphics
