#include "game/graphics/PlasmaFlow.h"

#include <algorithm>

#include "quorl/graphics/Texture.h"
#include "quorl/vk/Descriptors.h"
#include "quorl/vk/Device.h"
#include "quorl/vk/Result.h"

namespace game::graphics {

namespace {

struct FlowPush {
    float time;
    float flowIntensity;
    float seed;
};

constexpr uint32_t kSetsPerPool = 16;

}  // namespace

PlasmaFlow::PlasmaFlow(quorl::vk::Device& device) : _device(device) {
    _setLayout = quorl::vk::CreateSetLayout(device.device, VK_DESCRIPTOR_TYPE_STORAGE_IMAGE, 1, VK_SHADER_STAGE_COMPUTE_BIT,
                                            "vkCreateDescriptorSetLayout (plasma flow)");
    try {
        _layout.Create(device, sizeof(FlowPush), {_setLayout}, VK_SHADER_STAGE_COMPUTE_BIT);
        _pipeline.Create(device, _layout, "game/graphics/rt/plasma_flow");
    } catch (...) {
        vkDestroyDescriptorSetLayout(device.device, _setLayout, nullptr);
        throw;
    }
}

PlasmaFlow::~PlasmaFlow() {
    for (VkDescriptorPool pool : _pools) vkDestroyDescriptorPool(_device.device, pool, nullptr);
    vkDestroyDescriptorSetLayout(_device.device, _setLayout, nullptr);
}

void PlasmaFlow::ForgetExpired() {
    std::erase_if(_sets, [&](const Entry& e) {
        if (!e.texture.expired()) return false;
        vkFreeDescriptorSets(_device.device, e.pool, 1, &e.set);
        return true;
    });
}

VkDescriptorSet PlasmaFlow::SetOf(const std::shared_ptr<quorl::graphics::Texture>& texture) {
    for (const Entry& e : _sets)
        if (e.key == texture.get()) return e.set;
    VkDescriptorSet set = VK_NULL_HANDLE;
    VkDescriptorPool from = VK_NULL_HANDLE;
    VkDescriptorSetAllocateInfo alloc{};
    alloc.sType = VK_STRUCTURE_TYPE_DESCRIPTOR_SET_ALLOCATE_INFO;
    alloc.descriptorSetCount = 1;
    alloc.pSetLayouts = &_setLayout;
    for (VkDescriptorPool pool : _pools) {
        alloc.descriptorPool = pool;
        if (vkAllocateDescriptorSets(_device.device, &alloc, &set) == VK_SUCCESS) {
            from = pool;
            break;
        }
    }
    if (!from) {  // every pool is full: one more
        from = quorl::vk::CreatePool(_device.device, VK_DESCRIPTOR_TYPE_STORAGE_IMAGE, kSetsPerPool, kSetsPerPool,
                                     "vkCreateDescriptorPool (plasma flow)", VK_DESCRIPTOR_POOL_CREATE_FREE_DESCRIPTOR_SET_BIT);
        _pools.push_back(from);
        alloc.descriptorPool = from;
        quorl::vk::Check(vkAllocateDescriptorSets(_device.device, &alloc, &set), "vkAllocateDescriptorSets (plasma flow)");
    }
    quorl::vk::WriteImage(_device.device, set, VK_DESCRIPTOR_TYPE_STORAGE_IMAGE,
                          {VK_NULL_HANDLE, texture->View(), VK_IMAGE_LAYOUT_GENERAL});
    _sets.push_back({texture, texture.get(), from, set});
    return set;
}

void PlasmaFlow::Dispatch(VkCommandBuffer cmd, const std::vector<Job>& jobs, float time) {
    ForgetExpired();
    if (jobs.empty()) return;
    // The last frame's fragment reads are done before the field is written again.
    VkMemoryBarrier2 before{};
    before.sType = VK_STRUCTURE_TYPE_MEMORY_BARRIER_2;
    before.srcStageMask = VK_PIPELINE_STAGE_2_FRAGMENT_SHADER_BIT;
    before.srcAccessMask = VK_ACCESS_2_SHADER_SAMPLED_READ_BIT;
    before.dstStageMask = VK_PIPELINE_STAGE_2_COMPUTE_SHADER_BIT;
    before.dstAccessMask = VK_ACCESS_2_SHADER_STORAGE_WRITE_BIT;
    VkDependencyInfo dependency{};
    dependency.sType = VK_STRUCTURE_TYPE_DEPENDENCY_INFO;
    dependency.memoryBarrierCount = 1;
    dependency.pMemoryBarriers = &before;
    vkCmdPipelineBarrier2(cmd, &dependency);

    _pipeline.Bind(cmd);
    for (const Job& job : jobs) {
        const VkDescriptorSet set = SetOf(job.texture);
        vkCmdBindDescriptorSets(cmd, VK_PIPELINE_BIND_POINT_COMPUTE, _layout.Handle(), 0, 1, &set, 0, nullptr);
        const FlowPush push{time, job.flowIntensity, job.seed};
        _layout.Push(cmd, &push, sizeof push);
        const VkExtent2D extent = job.texture->Extent();
        vkCmdDispatch(cmd, (extent.width + kGroupSize - 1) / kGroupSize, (extent.height + kGroupSize - 1) / kGroupSize,
                      1);
    }

    VkMemoryBarrier2 after{};
    after.sType = VK_STRUCTURE_TYPE_MEMORY_BARRIER_2;
    after.srcStageMask = VK_PIPELINE_STAGE_2_COMPUTE_SHADER_BIT;
    after.srcAccessMask = VK_ACCESS_2_SHADER_STORAGE_WRITE_BIT;
    after.dstStageMask = VK_PIPELINE_STAGE_2_FRAGMENT_SHADER_BIT;
    after.dstAccessMask = VK_ACCESS_2_SHADER_SAMPLED_READ_BIT;
    dependency.pMemoryBarriers = &after;
    vkCmdPipelineBarrier2(cmd, &dependency);
}

}  // namespace game::graphics
