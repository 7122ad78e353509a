#include "game/graphics/ui/GraphicsPipelineWrapper.h"

#include <algorithm>

#include "game/graphics/GameRenderer.h"
#include "game/graphics/ui/Element.h"
#include "quorl/vk/Descriptors.h"
#include "quorl/vk/Result.h"

namespace game::graphics::ui {

std::vector<GraphicsPipelineWrapper*>& GraphicsPipelineWrapper::Pipelines() {
    static std::vector<GraphicsPipelineWrapper*> pipelines;
    return pipelines;
}

std::mutex& GraphicsPipelineWrapper::PipelinesMutex() {
    static std::mutex mutex;
    return mutex;
}

GraphicsPipelineWrapper::GraphicsPipelineWrapper(const char* shader, VkPrimitiveTopology topology, bool textured)
    : _shader(shader), _topology(topology), _textured(textured) {
    std::lock_guard lock(PipelinesMutex());
    Pipelines().push_back(this);
}

GraphicsPipelineWrapper::~GraphicsPipelineWrapper() {
    std::lock_guard lock(PipelinesMutex());
    auto& list = Pipelines();
    list.erase(std::remove(list.begin(), list.end(), this), list.end());
    Unload();
}

void GraphicsPipelineWrapper::LoadPipelines(GameRenderer* renderer) {
    std::lock_guard lock(PipelinesMutex());
    for (GraphicsPipelineWrapper* p : Pipelines()) p->Load(renderer);
}

void GraphicsPipelineWrapper::UnloadPipelines() {
    std::lock_guard lock(PipelinesMutex());
    for (GraphicsPipelineWrapper* p : Pipelines()) p->Unload();
}

void GraphicsPipelineWrapper::RefreshViewports(VkExtent2D extent) {
    std::lock_guard lock(PipelinesMutex());
    for (GraphicsPipelineWrapper* p : Pipelines()) p->_pipeline.RefreshViewport(extent);
}

void GraphicsPipelineWrapper::Load(GameRenderer* renderer) {
    Unload();
    quorl::vk::Device& device = renderer->GetDevice();
    _device = device.device;
    std::vector<VkDescriptorSetLayout> sets;
    if (_textured) {
        _setLayout = quorl::vk::CreateSetLayout(_device, VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER, 1,
                                                VK_SHADER_STAGE_FRAGMENT_BIT, "vkCreateDescriptorSetLayout (interface)");
        sets.push_back(_setLayout);
        _pool = quorl::vk::CreatePool(_device, VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER, 1, 1,
                                      "vkCreateDescriptorPool (interface)");
        VkDescriptorSetAllocateInfo allocInfo{};
        allocInfo.sType = VK_STRUCTURE_TYPE_DESCRIPTOR_SET_ALLOCATE_INFO;
        allocInfo.descriptorPool = _pool;
        allocInfo.descriptorSetCount = 1;
        allocInfo.pSetLayouts = &_setLayout;
        quorl::vk::Check(vkAllocateDescriptorSets(_device, &allocInfo, &_set), "vkAllocateDescriptorSets (interface)");

        _sampler.Create(device, VK_FILTER_LINEAR, VK_SAMPLER_ADDRESS_MODE_CLAMP_TO_EDGE);  // glyphs are drawn at any size
        const quorl::graphics::TextureRef atlas = renderer->GetTexture(0);
        quorl::vk::WriteImage(_device, _set, VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER,
                              {_sampler.Handle(), atlas->View(), VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL});
    }
    _layout.Create(device, Element::kDataSize, sets);
    quorl::vk::GraphicsPipeline::Config config;
    config.shader = _shader;
    config.topology = _topology;
    config.blend = true;
    _pipeline.Create(device, _layout, renderer->OverlayPass(), 1, config, renderer->GetOutputImageExtent());
}

void GraphicsPipelineWrapper::Unload() {
    _pipeline.Destroy();
    _layout.Destroy();
    _sampler.Destroy();
    if (_device) {
        if (_pool) vkDestroyDescriptorPool(_device, _pool, nullptr);
        if (_setLayout) vkDestroyDescriptorSetLayout(_device, _setLayout, nullptr);
    }
    _pool = VK_NULL_HANDLE;
    _setLayout = VK_NULL_HANDLE;
    _set = VK_NULL_HANDLE;
    _device = VK_NULL_HANDLE;
}

bool GraphicsPipelineWrapper::Bind(VkCommandBuffer cmd) const {
    if (!IsLoaded()) return false;
    _pipeline.Bind(cmd);
    if (_set)
        vkCmdBindDescriptorSets(cmd, VK_PIPELINE_BIND_POINT_GRAPHICS, _layout.Handle(), 0, 1, &_set, 0, nullptr);
    return true;
}

}  // namespace game::graphics::ui
