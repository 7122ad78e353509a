#include "quorl/graphics/DynamicAsyncTexture.h"

#include <cstring>

#include "quorl/vk/CommandBuffer.h"

namespace quorl::graphics {

DynamicAsyncTexture::DynamicAsyncTexture(vk::Device& device, uint32_t width, uint32_t height,
                                         const std::string& debugName)
    : Texture(device, width, height, VK_FORMAT_R8G8B8A8_UNORM,
              VK_IMAGE_USAGE_SAMPLED_BIT | VK_IMAGE_USAGE_TRANSFER_DST_BIT | VK_IMAGE_USAGE_TRANSFER_SRC_BIT,
              debugName),
      _staging(device, VkDeviceSize(width) * height * 4, VK_BUFFER_USAGE_TRANSFER_SRC_BIT, VMA_MEMORY_USAGE_CPU_TO_GPU,
               0, debugName + " Staging") {}

bool DynamicAsyncTexture::SetPixels(const std::vector<uint8_t>& rgba) {
    if (rgba.size() != size_t(Extent().width) * Extent().height * 4) return false;
    std::lock_guard lock(_mutex);
    _pending = rgba;
    _dirty = true;
    return true;
}

void DynamicAsyncTexture::Push(VkCommandBuffer cmd) {
    {
        std::lock_guard lock(_mutex);
        if (!_dirty) return;
        // The previous frame has finished with the staging memory: the renderer waits for it.
        std::memcpy(_staging.Data(), _pending.data(), _pending.size());
        _dirty = false;
    }
    vk::CommandBuffer::TransitionImage(cmd, Image(), Aspect(), layout, VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL);
    VkBufferImageCopy region{};
    region.imageSubresource = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 0, 1};
    region.imageExtent = {Extent().width, Extent().height, 1};
    vkCmdCopyBufferToImage(cmd, _staging.Handle(), Image(), VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL, 1, &region);
    vk::CommandBuffer::TransitionImage(cmd, Image(), Aspect(), VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL,
                                       VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL);
    layout = VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL;
    ++_uploads;
}

}  // namespace quorl::graphics
