#pragma once
#include <vulkan/vulkan_core.h>

#include <string>

namespace quorl::vk {

class Device;
class PipelineLayout;

// A compute pipeline from the SPIR-V of one shader name, stage "comp" (see ShaderFile).
class ComputePipeline {
public:
    ComputePipeline() = default;
    ~ComputePipeline() { Destroy(); }
    ComputePipeline(const ComputePipeline&) = delete;
    ComputePipeline& operator=(const ComputePipeline&) = delete;

    // Throws std::runtime_error when the shader file is missing or the pipeline can't be made.
    void Create(Device& device, const PipelineLayout& layout, const std::string& shader);
    void Destroy();
    void Bind(VkCommandBuffer cmd) const { vkCmdBindPipeline(cmd, VK_PIPELINE_BIND_POINT_COMPUTE, _pipeline); }
    VkPipeline Handle() const { return _pipeline; }

private:
    Device* _device = nullptr;
    VkPipeline _pipeline = VK_NULL_HANDLE;
};

}  // namespace quorl::vk
