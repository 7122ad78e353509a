#pragma once
#include <vulkan/vulkan_core.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace quorl::vk {
class Device;
}

namespace quorl::graphics {

// A 2D image on the GPU with its memory and one view. The layout is tracked by whoever records
// the commands that change it (`layout`). Derived textures that receive data from the CPU
// upload it in Push, which the renderer calls with the frame's command buffer.
class Texture {
public:
    Texture(vk::Device& device, uint32_t width, uint32_t height, VkFormat format, VkImageUsageFlags usage,
            const std::string& debugName = {});
    virtual ~Texture();
    Texture(const Texture&) = delete;
    Texture& operator=(const Texture&) = delete;

    // Records the upload of what changed since the last push. The base has nothing to upload.
    virtual void Push(VkCommandBuffer cmd);

    // Reads an image file (PNG, JPEG, BMP...) as 8-bit RGBA and uploads it at once; the texture
    // is left ready for sampling. Throws std::runtime_error naming the file when it can't be read.
    static std::shared_ptr<Texture> Load(vk::Device& device, const std::string& path);
    // Uploads width x height RGBA pixels at once (one-time command buffer) and leaves the
    // texture in SHADER_READ_ONLY_OPTIMAL.
    void Upload(const uint8_t* rgba);

    // Writes 8-bit pixels of 1 to 4 channels as a PNG file. False when it can't be written.
    static bool SaveFile(const std::string& path, uint32_t width, uint32_t height, int channels,
                         const uint8_t* pixels);

    // The nearest parent of the working directory (or itself) holding data/<relative>, as a path;
    // else the build folder's data/ when it has it; else "data/<relative>".
    static std::string DataPath(const std::string& relative);

    VkImage Image() const { return _image; }
    // Null for a texture of transfer usages only.
    VkImageView View() const { return _view; }
    VkFormat Format() const { return _format; }
    VkExtent2D Extent() const { return _extent; }
    VkImageUsageFlags Usage() const { return _usage; }
    VkImageAspectFlags Aspect() const { return _aspect; }
    vk::Device& GetDevice() const { return *_device; }

    VkImageLayout layout = VK_IMAGE_LAYOUT_UNDEFINED;

private:
    vk::Device* _device;
    VkImage _image = VK_NULL_HANDLE;
    VkDeviceMemory _memory = VK_NULL_HANDLE;
    VkImageView _view = VK_NULL_HANDLE;
    VkFormat _format;
    VkExtent2D _extent;
    VkImageUsageFlags _usage;
    VkImageAspectFlags _aspect;
};

}  // namespace quorl::graphics
