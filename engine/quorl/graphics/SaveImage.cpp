#include "quorl/graphics/SaveImage.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "quorl/graphics/Texture.h"
#include "quorl/vk/Buffer.h"
#include "quorl/vk/CommandBuffer.h"

namespace quorl::graphics {

std::optional<SaveImage::Layout> SaveImage::LayoutOf(VkFormat format) {
    switch (format) {
        case VK_FORMAT_R8_UNORM: return Layout{1, 1, false};
        case VK_FORMAT_R8G8_UNORM: return Layout{2, 1, false};
        case VK_FORMAT_R8G8B8_UNORM: return Layout{3, 1, false};
        case VK_FORMAT_R8G8B8A8_UNORM: return Layout{4, 1, false};
        case VK_FORMAT_B8G8R8A8_UNORM: return Layout{4, 1, true};
        case VK_FORMAT_R32_SFLOAT: return Layout{1, 4, false};
        case VK_FORMAT_R32G32_SFLOAT: return Layout{2, 4, false};
        case VK_FORMAT_R32G32B32A32_SFLOAT: return Layout{4, 4, false};
        default: return std::nullopt;
    }
}

std::vector<uint8_t> SaveImage::Read(vk::Device& device, VkImage image, VkOffset2D offset, VkExtent2D extent,
                                     VkFormat format, VkImageLayout layout) {
    const auto l = LayoutOf(format);
    if (!l || extent.width == 0 || extent.height == 0) return {};
    const size_t values = size_t(extent.width) * extent.height * size_t(l->channels);
    vk::Buffer buffer(device, VkDeviceSize(values * size_t(l->bytesPerChannel)), VK_BUFFER_USAGE_TRANSFER_DST_BIT,
                      VMA_MEMORY_USAGE_AUTO_PREFER_HOST, 2048, "SaveImage Tmp Buffer");
    vk::CommandBuffer::Run(device, "renderer::SaveImage", [&](VkCommandBuffer cmd) {
        vk::CommandBuffer::TransitionImage(cmd, image, VK_IMAGE_ASPECT_COLOR_BIT, layout,
                                           VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL);
        VkBufferImageCopy region{};
        region.imageSubresource = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 0, 1};
        region.imageOffset = {offset.x, offset.y, 0};
        region.imageExtent = {extent.width, extent.height, 1};
        vkCmdCopyImageToBuffer(cmd, image, VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL, buffer.Handle(), 1, &region);
        vk::CommandBuffer::TransitionImage(cmd, image, VK_IMAGE_ASPECT_COLOR_BIT, VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL,
                                           layout == VK_IMAGE_LAYOUT_UNDEFINED ? VK_IMAGE_LAYOUT_GENERAL : layout);
    });
    std::vector<uint8_t> pixels(values);
    if (l->bytesPerChannel == 1) {
        std::memcpy(pixels.data(), buffer.Data(), values);
    } else {
        const float* f = static_cast<const float*>(buffer.Data());
        for (size_t i = 0; i < values; ++i) {
            const float v = std::isnan(f[i]) ? 0.0f : std::clamp(f[i], 0.0f, 1.0f);
            pixels[i] = uint8_t(std::lround(v * 255.0f));
        }
    }
    if (l->swapRedBlue)
        for (size_t i = 0; i + 3 < values; i += 4) std::swap(pixels[i], pixels[i + 2]);
    return pixels;
}

bool SaveImage::Save(vk::Device& device, VkImage image, VkOffset2D offset, VkExtent2D extent, VkFormat format,
                     VkImageLayout layout, const std::string& path) {
    const auto l = LayoutOf(format);
    if (!l) return false;
    const std::vector<uint8_t> pixels = Read(device, image, offset, extent, format, layout);
    if (pixels.empty()) return false;
    return Texture::SaveFile(path, extent.width, extent.height, l->channels, pixels.data());
}

}  // namespace quorl::graphics
