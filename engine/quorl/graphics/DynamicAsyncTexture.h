#pragma once
#include <mutex>
#include <vector>

#include "quorl/graphics/Texture.h"
#include "quorl/vk/Buffer.h"

namespace quorl::graphics {

// An RGBA8 texture whose pixels any thread may replace (a virtual screen, a web page); the
// render thread uploads the latest pixels in Push, once per change.
class DynamicAsyncTexture : public Texture {
public:
    DynamicAsyncTexture(vk::Device& device, uint32_t width, uint32_t height, const std::string& debugName = {});

    // Copies width x height x 4 bytes; the next Push uploads them. False for a wrong size.
    bool SetPixels(const std::vector<uint8_t>& rgba);
    void Push(VkCommandBuffer cmd) override;
    // Pushes done that uploaded something.
    size_t UploadCount() const { return _uploads; }

private:
    std::mutex _mutex;
    std::vector<uint8_t> _pending;
    bool _dirty = false;
    size_t _uploads = 0;
    vk::Buffer _staging;
};

}  // namespace quorl::graphics
