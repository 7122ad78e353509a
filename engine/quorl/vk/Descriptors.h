#pragma once
#include <vulkan/vulkan_core.h>

namespace quorl::vk {

// A set layout of one binding (binding 0): `count` descriptors of `type`, read by `stages`, with
// `bindingFlags` (0 for none). `what` names the call in the error message, e.g.
// "vkCreateDescriptorSetLayout (plasma flow)".
VkDescriptorSetLayout CreateSetLayout(VkDevice device, VkDescriptorType type, uint32_t count, VkShaderStageFlags stages,
                                      const char* what, VkDescriptorBindingFlags bindingFlags = 0);

// A pool of up to `maxSets` sets holding `descriptors` descriptors of `type` in all.
VkDescriptorPool CreatePool(VkDevice device, VkDescriptorType type, uint32_t descriptors, uint32_t maxSets,
                            const char* what, VkDescriptorPoolCreateFlags flags = 0);

// Writes one image descriptor of `type` to binding 0, element 0, of `set`.
void WriteImage(VkDevice device, VkDescriptorSet set, VkDescriptorType type, const VkDescriptorImageInfo& image);

}  // namespace quorl::vk
