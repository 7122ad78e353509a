#include "quorl/vk/Descriptors.h"

#include "quorl/vk/Result.h"

namespace quorl::vk {

VkDescriptorSetLayout CreateSetLayout(VkDevice device, VkDescriptorType type, uint32_t count, VkShaderStageFlags stages,
                                      const char* what, VkDescriptorBindingFlags bindingFlags) {
    VkDescriptorSetLayoutBinding binding{};
    binding.binding = 0;
    binding.descriptorType = type;
    binding.descriptorCount = count;
    binding.stageFlags = stages;
    VkDescriptorSetLayoutBindingFlagsCreateInfo flagsInfo{};
    flagsInfo.sType = VK_STRUCTURE_TYPE_DESCRIPTOR_SET_LAYOUT_BINDING_FLAGS_CREATE_INFO;
    flagsInfo.bindingCount = 1;
    flagsInfo.pBindingFlags = &bindingFlags;
    VkDescriptorSetLayoutCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_DESCRIPTOR_SET_LAYOUT_CREATE_INFO;
    info.pNext = bindingFlags ? &flagsInfo : nullptr;
    info.bindingCount = 1;
    info.pBindings = &binding;
    VkDescriptorSetLayout layout = VK_NULL_HANDLE;
    Check(vkCreateDescriptorSetLayout(device, &info, nullptr, &layout), what);
    return layout;
}

VkDescriptorPool CreatePool(VkDevice device, VkDescriptorType type, uint32_t descriptors, uint32_t maxSets,
                            const char* what, VkDescriptorPoolCreateFlags flags) {
    const VkDescriptorPoolSize size{type, descriptors};
    VkDescriptorPoolCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_DESCRIPTOR_POOL_CREATE_INFO;
    info.flags = flags;
    info.maxSets = maxSets;
    info.poolSizeCount = 1;
    info.pPoolSizes = &size;
    VkDescriptorPool pool = VK_NULL_HANDLE;
    Check(vkCreateDescriptorPool(device, &info, nullptr, &pool), what);
    return pool;
}

void WriteImage(VkDevice device, VkDescriptorSet set, VkDescriptorType type, const VkDescriptorImageInfo& image) {
    VkWriteDescriptorSet write{};
    write.sType = VK_STRUCTURE_TYPE_WRITE_DESCRIPTOR_SET;
    write.dstSet = set;
    write.dstBinding = 0;
    write.descriptorCount = 1;
    write.descriptorType = type;
    write.pImageInfo = &image;
    vkUpdateDescriptorSets(device, 1, &write, 0, nullptr);
}

}  // namespace quorl::vk
