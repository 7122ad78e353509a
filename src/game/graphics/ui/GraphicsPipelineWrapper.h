#pragma once
#include <vulkan/vulkan_core.h>

#include <mutex>
#include <vector>

#include "quorl/vk/GraphicsPipeline.h"
#include "quorl/vk/PipelineLayout.h"
#include "quorl/vk/Sampler.h"

namespace game::graphics {
class GameRenderer;
}

namespace game::graphics::ui {

// A pipeline that interface elements share: one shader pair, a 128-byte push-constant block,
// alpha blending, in the renderer's overlay pass. A textured one also reads the monospace font
// atlas (the renderer's texture 0) at set 0, binding 0.
//
// Every wrapper is listed at construction; LoadPipelines and UnloadPipelines build and free all
// of them, so elements made before the renderer draw once it exists. The renderer loads them
// after its overlay pass and unloads them before its device goes.
class GraphicsPipelineWrapper {
public:
    GraphicsPipelineWrapper(const char* shader, VkPrimitiveTopology topology, bool textured = false);
    ~GraphicsPipelineWrapper();
    GraphicsPipelineWrapper(const GraphicsPipelineWrapper&) = delete;
    GraphicsPipelineWrapper& operator=(const GraphicsPipelineWrapper&) = delete;

    static void LoadPipelines(GameRenderer* renderer);
    static void UnloadPipelines();
    // A new output size: the dynamic viewport of every pipeline follows.
    static void RefreshViewports(VkExtent2D extent);

    // Binds the pipeline (and the atlas); false when it isn't loaded.
    bool Bind(VkCommandBuffer cmd) const;
    const quorl::vk::PipelineLayout& Layout() const { return _layout; }
    bool IsLoaded() const { return _pipeline.Handle() != VK_NULL_HANDLE; }

private:
    void Load(GameRenderer* renderer);
    void Unload();

    static std::vector<GraphicsPipelineWrapper*>& Pipelines();
    static std::mutex& PipelinesMutex();

    const char* _shader;
    VkPrimitiveTopology _topology;
    bool _textured;
    VkDevice _device = VK_NULL_HANDLE;
    quorl::vk::PipelineLayout _layout;
    quorl::vk::GraphicsPipeline _pipeline;
    quorl::vk::Sampler _sampler;
    VkDescriptorSetLayout _setLayout = VK_NULL_HANDLE;
    VkDescriptorPool _pool = VK_NULL_HANDLE;
    VkDescriptorSet _set = VK_NULL_HANDLE;
};

}  // namespace game::graphics::ui
