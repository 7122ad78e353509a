#include "quorl/vk/ComputePipeline.h"

#include "quorl/vk/Device.h"
#include "quorl/vk/PipelineLayout.h"
#include "quorl/vk/Result.h"
#include "quorl/vk/ShaderFile.h"

namespace quorl::vk {

void ComputePipeline::Create(Device& device, const PipelineLayout& layout, const std::string& shader) {
    Destroy();
    const std::vector<uint32_t> words = ShaderFile::Load(shader, "comp");
    VkShaderModuleCreateInfo moduleInfo{};
    moduleInfo.sType = VK_STRUCTURE_TYPE_SHADER_MODULE_CREATE_INFO;
    moduleInfo.codeSize = words.size() * 4;
    moduleInfo.pCode = words.data();
    VkShaderModule module = VK_NULL_HANDLE;
    Check(vkCreateShaderModule(device.device, &moduleInfo, nullptr, &module), "vkCreateShaderModule");
    VkComputePipelineCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_COMPUTE_PIPELINE_CREATE_INFO;
    info.stage.sType = VK_STRUCTURE_TYPE_PIPELINE_SHADER_STAGE_CREATE_INFO;
    info.stage.stage = VK_SHADER_STAGE_COMPUTE_BIT;
    info.stage.module = module;
    info.stage.pName = "main";
    info.layout = layout.Handle();
    const VkResult r = vkCreateComputePipelines(device.device, VK_NULL_HANDLE, 1, &info, nullptr, &_pipeline);
    vkDestroyShaderModule(device.device, module, nullptr);
    Check(r, ("vkCreateComputePipelines for " + shader).c_str());
    device.SetName(VK_OBJECT_TYPE_PIPELINE, uint64_t(_pipeline), shader);
    _device = &device;
}

void ComputePipeline::Destroy() {
    if (_device && _pipeline) vkDestroyPipeline(_device->device, _pipeline, nullptr);
    _pipeline = VK_NULL_HANDLE;
    _device = nullptr;
}

}  // namespace quorl::vk
