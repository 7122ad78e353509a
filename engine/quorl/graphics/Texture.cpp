#include "quorl/graphics/Texture.h"

#include <stb_image.h>
#include <stb_image_write.h>

#include <cstring>
#include <filesystem>
#include <stdexcept>

#include "quorl/vk/Buffer.h"
#include "quorl/vk/CommandBuffer.h"
#include "quorl/vk/Device.h"
#include "quorl/vk/Result.h"

namespace quorl::graphics {

Texture::Texture(vk::Device& device, uint32_t width, uint32_t height, VkFormat format, VkImageUsageFlags usage,
                 const std::string& debugName)
    : _device(&device), _format(format), _extent{width, height}, _usage(usage) {
    const bool depth = format == VK_FORMAT_D32_SFLOAT || format == VK_FORMAT_D16_UNORM ||
                       format == VK_FORMAT_D24_UNORM_S8_UINT || format == VK_FORMAT_D32_SFLOAT_S8_UINT;
    _aspect = depth ? VK_IMAGE_ASPECT_DEPTH_BIT : VK_IMAGE_ASPECT_COLOR_BIT;
    VkImageCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_IMAGE_CREATE_INFO;
    info.imageType = VK_IMAGE_TYPE_2D;
    info.format = format;
    info.extent = {width, height, 1};
    info.mipLevels = 1;
    info.arrayLayers = 1;
    info.samples = VK_SAMPLE_COUNT_1_BIT;
    info.tiling = VK_IMAGE_TILING_OPTIMAL;
    info.usage = usage;
    info.initialLayout = VK_IMAGE_LAYOUT_UNDEFINED;
    try {
        vk::Check(vkCreateImage(device.device, &info, nullptr, &_image), "vkCreateImage");
        device.SetName(VK_OBJECT_TYPE_IMAGE, uint64_t(_image), debugName);
        VkMemoryRequirements req;
        vkGetImageMemoryRequirements(device.device, _image, &req);
        VkMemoryAllocateInfo alloc{};
        alloc.sType = VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_INFO;
        alloc.allocationSize = req.size;
        alloc.memoryTypeIndex = device.FindMemoryType(req.memoryTypeBits, 0, VK_MEMORY_PROPERTY_DEVICE_LOCAL_BIT);
        vk::Check(vkAllocateMemory(device.device, &alloc, nullptr, &_memory), "vkAllocateMemory (image)");
        vk::Check(vkBindImageMemory(device.device, _image, _memory, 0), "vkBindImageMemory");
        // A view only for usages that read or write through one (not for transfer-only images).
        constexpr VkImageUsageFlags viewed = VK_IMAGE_USAGE_SAMPLED_BIT | VK_IMAGE_USAGE_STORAGE_BIT |
                                             VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT |
                                             VK_IMAGE_USAGE_DEPTH_STENCIL_ATTACHMENT_BIT |
                                             VK_IMAGE_USAGE_INPUT_ATTACHMENT_BIT;
        if (!(usage & viewed)) return;
        VkImageViewCreateInfo view{};
        view.sType = VK_STRUCTURE_TYPE_IMAGE_VIEW_CREATE_INFO;
        view.image = _image;
        view.viewType = VK_IMAGE_VIEW_TYPE_2D;
        view.format = format;
        view.subresourceRange = {_aspect, 0, 1, 0, 1};
        vk::Check(vkCreateImageView(device.device, &view, nullptr, &_view), "vkCreateImageView");
    } catch (...) {
        if (_image) vkDestroyImage(device.device, _image, nullptr);
        if (_memory) vkFreeMemory(device.device, _memory, nullptr);
        throw;
    }
}

Texture::~Texture() {
    if (_view) vkDestroyImageView(_device->device, _view, nullptr);
    if (_image) vkDestroyImage(_device->device, _image, nullptr);
    if (_memory) vkFreeMemory(_device->device, _memory, nullptr);
}

void Texture::Push(VkCommandBuffer) {}

void Texture::Upload(const uint8_t* rgba) {
    const VkDeviceSize size = VkDeviceSize(_extent.width) * _extent.height * 4;
    vk::Buffer staging(*_device, size, VK_BUFFER_USAGE_TRANSFER_SRC_BIT, VMA_MEMORY_USAGE_CPU_ONLY, 0,
                       "Texture Upload Buffer");
    std::memcpy(staging.Data(), rgba, size_t(size));
    vk::CommandBuffer::Run(*_device, "graphics::Texture::Upload", [&](VkCommandBuffer cmd) {
        vk::CommandBuffer::TransitionImage(cmd, _image, _aspect, VK_IMAGE_LAYOUT_UNDEFINED,
                                           VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL);
        VkBufferImageCopy region{};
        region.imageSubresource = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 0, 1};
        region.imageExtent = {_extent.width, _extent.height, 1};
        vkCmdCopyBufferToImage(cmd, staging.Handle(), _image, VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL, 1, &region);
        vk::CommandBuffer::TransitionImage(cmd, _image, _aspect, VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL,
                                           VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL);
    });
    layout = VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL;
}

std::shared_ptr<Texture> Texture::Load(vk::Device& device, const std::string& path) {
    int w = 0, h = 0, channels = 0;
    stbi_uc* pixels = stbi_load(path.c_str(), &w, &h, &channels, 4);
    if (!pixels)
        throw std::runtime_error("Cannot read the image file " + path + ": " +
                                 (stbi_failure_reason() ? stbi_failure_reason() : "unknown error"));
    try {
        auto texture = std::make_shared<Texture>(
            device, uint32_t(w), uint32_t(h), VK_FORMAT_R8G8B8A8_UNORM,
            VK_IMAGE_USAGE_SAMPLED_BIT | VK_IMAGE_USAGE_TRANSFER_DST_BIT | VK_IMAGE_USAGE_TRANSFER_SRC_BIT, path);
        texture->Upload(pixels);
        stbi_image_free(pixels);
        return texture;
    } catch (...) {
        stbi_image_free(pixels);
        throw;
    }
}

bool Texture::SaveFile(const std::string& path, uint32_t width, uint32_t height, int channels,
                       const uint8_t* pixels) {
    if (channels < 1 || channels > 4 || width == 0 || height == 0 || !pixels) return false;
    return stbi_write_png(path.c_str(), int(width), int(height), channels, pixels, int(width) * channels) != 0;
}

std::string Texture::DataPath(const std::string& relative) {
    const std::string rel = "data/" + relative;
    std::error_code ec;
    std::filesystem::path dir = std::filesystem::current_path(ec);
    if (!ec) {
        for (int depth = 0; depth < 8; ++depth) {
            auto candidate = dir / rel;
            if (std::filesystem::exists(candidate, ec)) return candidate.string();
            if (!dir.has_parent_path() || dir.parent_path() == dir) break;
            dir = dir.parent_path();
        }
    }
#ifdef QUORL_SOURCE_DIR
    auto source = std::filesystem::path(QUORL_SOURCE_DIR) / rel;
    if (std::filesystem::exists(source, ec)) return source.string();
#endif
    return rel;
}

}  // namespace quorl::graphics
