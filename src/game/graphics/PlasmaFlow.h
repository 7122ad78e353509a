#pragma once
#include <vulkan/vulkan_core.h>

#include <memory>
#include <vector>

#include "quorl/vk/ComputePipeline.h"
#include "quorl/vk/PipelineLayout.h"

namespace quorl::graphics {
class Texture;
}
namespace quorl::vk {
class Device;
}

namespace game::graphics {

// Fills plasma trails' compute textures with their animated flow field
// (data/game/graphics/rt/plasma_flow.comp) before the scene pass samples them.
//
// Each texture is written as a storage image through a descriptor set of its own, made at its
// first dispatch and freed once the texture is gone. The renderer keeps one frame in flight and
// waits for it, so a set is never freed under the GPU.
class PlasmaFlow {
public:
    static constexpr uint32_t kGroupSize = 8;

    struct Job {
        std::shared_ptr<quorl::graphics::Texture> texture;  // in the GENERAL layout, storage usage
        float flowIntensity = 0.0f;
        float seed = 0.0f;
    };

    explicit PlasmaFlow(quorl::vk::Device& device);
    ~PlasmaFlow();
    PlasmaFlow(const PlasmaFlow&) = delete;
    PlasmaFlow& operator=(const PlasmaFlow&) = delete;

    // Records one dispatch per job at `time` seconds, then the barrier that makes the writes
    // visible to the fragment shaders that follow. Outside a render pass.
    void Dispatch(VkCommandBuffer cmd, const std::vector<Job>& jobs, float time);
    // Descriptor sets held for live textures.
    size_t SetCount() const { return _sets.size(); }

private:
    struct Entry {
        std::weak_ptr<quorl::graphics::Texture> texture;
        const quorl::graphics::Texture* key;
        VkDescriptorPool pool;
        VkDescriptorSet set;
    };
    VkDescriptorSet SetOf(const std::shared_ptr<quorl::graphics::Texture>& texture);
    void ForgetExpired();

    quorl::vk::Device& _device;
    VkDescriptorSetLayout _setLayout = VK_NULL_HANDLE;
    std::vector<VkDescriptorPool> _pools;
    quorl::vk::PipelineLayout _layout;
    quorl::vk::ComputePipeline _pipeline;
    std::vector<Entry> _sets;
};

}  // namespace game::graphics
