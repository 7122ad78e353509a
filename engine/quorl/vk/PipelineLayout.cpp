#include "quorl/vk/PipelineLayout.h"

#include "quorl/vk/Device.h"
#include "quorl/vk/Result.h"

namespace quorl::vk {

void PipelineLayout::Create(Device& device, uint32_t pushConstantSize, const std::vector<VkDescriptorSetLayout>& sets,
                            VkShaderStageFlags stages) {
    Destroy();
    VkPushConstantRange range{stages, 0, pushConstantSize};
    VkPipelineLayoutCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_PIPELINE_LAYOUT_CREATE_INFO;
    info.setLayoutCount = uint32_t(sets.size());
    info.pSetLayouts = sets.data();
    info.pushConstantRangeCount = pushConstantSize ? 1 : 0;
    info.pPushConstantRanges = &range;
    Check(vkCreatePipelineLayout(device.device, &info, nullptr, &_layout), "vkCreatePipelineLayout");
    _device = &device;
    _pushSize = pushConstantSize;
    _stages = stages;
}

void PipelineLayout::Destroy() {
    if (_device && _layout) vkDestroyPipelineLayout(_device->device, _layout, nullptr);
    _layout = VK_NULL_HANDLE;
    _device = nullptr;
}

void PipelineLayout::Push(VkCommandBuffer cmd, const void* data, uint32_t size) const {
    vkCmdPushConstants(cmd, _layout, _stages, 0, size, data);
}

}  // namespace quorl::vk
