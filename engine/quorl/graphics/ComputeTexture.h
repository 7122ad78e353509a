#pragma once
#include "quorl/graphics/Texture.h"

namespace quorl::graphics {

// A texture that shaders write as a storage image and others sample; it stays in the GENERAL
// layout from its first use.
class ComputeTexture : public Texture {
public:
    ComputeTexture(vk::Device& device, uint32_t width, uint32_t height, VkFormat format,
                   const std::string& debugName = {});
    // Moves a new texture to GENERAL; nothing once it is there.
    void Push(VkCommandBuffer cmd) override;
};

}  // namespace quorl::graphics
