#pragma once
#include <vulkan/vulkan_core.h>

namespace quorl::vk {

class Device;

class Sampler {
public:
    Sampler() = default;
    ~Sampler() { Destroy(); }
    Sampler(const Sampler&) = delete;
    Sampler& operator=(const Sampler&) = delete;

    void Create(Device& device, VkFilter filter, VkSamplerAddressMode addressMode);
    void Destroy();
    VkSampler Handle() const { return _sampler; }
    operator VkSampler() const { return _sampler; }

private:
    Device* _device = nullptr;
    VkSampler _sampler = VK_NULL_HANDLE;
};

}  // namespace quorl::vk
