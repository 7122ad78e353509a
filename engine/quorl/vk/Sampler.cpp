#include "quorl/vk/Sampler.h"

#include "quorl/vk/Device.h"
#include "quorl/vk/Result.h"

namespace quorl::vk {

void Sampler::Create(Device& device, VkFilter filter, VkSamplerAddressMode addressMode) {
    Destroy();
    VkSamplerCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_SAMPLER_CREATE_INFO;
    info.magFilter = filter;
    info.minFilter = filter;
    info.mipmapMode = filter == VK_FILTER_LINEAR ? VK_SAMPLER_MIPMAP_MODE_LINEAR : VK_SAMPLER_MIPMAP_MODE_NEAREST;
    info.addressModeU = info.addressModeV = info.addressModeW = addressMode;
    info.maxLod = VK_LOD_CLAMP_NONE;
    Check(vkCreateSampler(device.device, &info, nullptr, &_sampler), "vkCreateSampler");
    _device = &device;
}

void Sampler::Destroy() {
    if (_device && _sampler) vkDestroySampler(_device->device, _sampler, nullptr);
    _sampler = VK_NULL_HANDLE;
    _device = nullptr;
}

}  // namespace quorl::vk
