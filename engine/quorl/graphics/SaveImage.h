#pragma once
#include <vulkan/vulkan_core.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quorl::vk {
class Device;
}

namespace quorl::graphics {

// Copies a region of a GPU image to the CPU and writes it as a PNG file.
class SaveImage {
public:
    // What a source format becomes: channels per pixel, bytes per channel, blue and red swapped.
    struct Layout {
        int channels;
        int bytesPerChannel;  // 1: 8-bit unsigned normalised; 4: 32-bit float
        bool swapRedBlue;
    };
    // The formats accepted: R8, R8G8, R8G8B8, R8G8B8A8, B8G8R8A8 (UNORM), R32, R32G32,
    // R32G32B32A32 (SFLOAT). Any other: empty.
    static std::optional<Layout> LayoutOf(VkFormat format);

    // Reads the region as 8-bit pixels of LayoutOf(format).channels (floats clamped to 0..1 and
    // scaled, blue and red put in order). The image is in `layout` before and after. Empty for a
    // refused format.
    static std::vector<uint8_t> Read(vk::Device& device, VkImage image, VkOffset2D offset, VkExtent2D extent,
                                     VkFormat format, VkImageLayout layout);

    // Read, then write a PNG to path. False for a refused format (nothing is read or written) or
    // a file that can't be written.
    static bool Save(vk::Device& device, VkImage image, VkOffset2D offset, VkExtent2D extent, VkFormat format,
                     VkImageLayout layout, const std::string& path);
};

}  // namespace quorl::graphics
