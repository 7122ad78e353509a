#pragma once
#include <vulkan/vulkan_core.h>

#include <vector>

namespace quorl::vk {

class Device;

// Descriptor set layouts and one push constant range for all stages. Shaders of this engine
// take most of their input through buffer device addresses passed as push constants.
class PipelineLayout {
public:
    PipelineLayout() = default;
    ~PipelineLayout() { Destroy(); }
    PipelineLayout(const PipelineLayout&) = delete;
    PipelineLayout& operator=(const PipelineLayout&) = delete;

    // stages: where the push constants are read (all graphics stages, or the compute stage).
    void Create(Device& device, uint32_t pushConstantSize, const std::vector<VkDescriptorSetLayout>& sets = {},
                VkShaderStageFlags stages = VK_SHADER_STAGE_ALL_GRAPHICS);
    void Destroy();
    VkPipelineLayout Handle() const { return _layout; }
    uint32_t PushConstantSize() const { return _pushSize; }
    // Pushes `size` bytes at offset 0 for the layout's stages.
    void Push(VkCommandBuffer cmd, const void* data, uint32_t size) const;

private:
    Device* _device = nullptr;
    VkPipelineLayout _layout = VK_NULL_HANDLE;
    uint32_t _pushSize = 0;
    VkShaderStageFlags _stages = VK_SHADER_STAGE_ALL_GRAPHICS;
};

}  // namespace quorl::vk
