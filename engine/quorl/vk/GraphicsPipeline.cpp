#include "quorl/vk/GraphicsPipeline.h"

#include "quorl/vk/Device.h"
#include "quorl/vk/PipelineLayout.h"
#include "quorl/vk/Result.h"
#include "quorl/vk/ShaderFile.h"

namespace quorl::vk {

namespace {

VkShaderModule MakeModule(Device& device, const std::vector<uint32_t>& words) {
    VkShaderModuleCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_SHADER_MODULE_CREATE_INFO;
    info.codeSize = words.size() * 4;
    info.pCode = words.data();
    VkShaderModule module = VK_NULL_HANDLE;
    Check(vkCreateShaderModule(device.device, &info, nullptr, &module), "vkCreateShaderModule");
    return module;
}

}  // namespace

void GraphicsPipeline::Create(Device& device, const PipelineLayout& layout, VkRenderPass pass, uint32_t colorCount,
                              const Config& config, VkExtent2D extent) {
    Destroy();
    const std::vector<uint32_t> vert = ShaderFile::Load(config.shader, "vert");
    const std::vector<uint32_t> frag = ShaderFile::Load(config.shader, "frag");
    VkShaderModule modules[2] = {MakeModule(device, vert), VK_NULL_HANDLE};
    try {
        modules[1] = MakeModule(device, frag);
    } catch (...) {
        vkDestroyShaderModule(device.device, modules[0], nullptr);
        throw;
    }
    VkPipelineShaderStageCreateInfo stages[2]{};
    for (int i = 0; i < 2; ++i) {
        stages[i].sType = VK_STRUCTURE_TYPE_PIPELINE_SHADER_STAGE_CREATE_INFO;
        stages[i].stage = i == 0 ? VK_SHADER_STAGE_VERTEX_BIT : VK_SHADER_STAGE_FRAGMENT_BIT;
        stages[i].module = modules[i];
        stages[i].pName = "main";
    }
    VkPipelineVertexInputStateCreateInfo vertexInput{};
    vertexInput.sType = VK_STRUCTURE_TYPE_PIPELINE_VERTEX_INPUT_STATE_CREATE_INFO;
    vertexInput.vertexBindingDescriptionCount = uint32_t(config.bindings.size());
    vertexInput.pVertexBindingDescriptions = config.bindings.data();
    vertexInput.vertexAttributeDescriptionCount = uint32_t(config.attributes.size());
    vertexInput.pVertexAttributeDescriptions = config.attributes.data();
    VkPipelineInputAssemblyStateCreateInfo assembly{};
    assembly.sType = VK_STRUCTURE_TYPE_PIPELINE_INPUT_ASSEMBLY_STATE_CREATE_INFO;
    assembly.topology = config.topology;
    VkPipelineViewportStateCreateInfo viewport{};
    viewport.sType = VK_STRUCTURE_TYPE_PIPELINE_VIEWPORT_STATE_CREATE_INFO;
    viewport.viewportCount = 1;
    viewport.scissorCount = 1;
    VkPipelineRasterizationStateCreateInfo raster{};
    raster.sType = VK_STRUCTURE_TYPE_PIPELINE_RASTERIZATION_STATE_CREATE_INFO;
    raster.polygonMode = device.enabled.fillModeNonSolid ? config.polygonMode : VK_POLYGON_MODE_FILL;
    raster.cullMode = config.cullMode;
    raster.frontFace = VK_FRONT_FACE_COUNTER_CLOCKWISE;
    raster.lineWidth = 1.0f;
    VkPipelineMultisampleStateCreateInfo multisample{};
    multisample.sType = VK_STRUCTURE_TYPE_PIPELINE_MULTISAMPLE_STATE_CREATE_INFO;
    multisample.rasterizationSamples = VK_SAMPLE_COUNT_1_BIT;
    VkPipelineDepthStencilStateCreateInfo depth{};
    depth.sType = VK_STRUCTURE_TYPE_PIPELINE_DEPTH_STENCIL_STATE_CREATE_INFO;
    depth.depthTestEnable = config.depthTest;
    depth.depthWriteEnable = config.depthWrite;
    depth.depthCompareOp = VK_COMPARE_OP_LESS_OR_EQUAL;
    std::vector<VkPipelineColorBlendAttachmentState> blends(colorCount);
    for (uint32_t i = 0; i < colorCount; ++i) {
        VkPipelineColorBlendAttachmentState& b = blends[i];
        if (config.writtenAttachments & (1u << i))
            b.colorWriteMask = VK_COLOR_COMPONENT_R_BIT | VK_COLOR_COMPONENT_G_BIT | VK_COLOR_COMPONENT_B_BIT |
                               VK_COLOR_COMPONENT_A_BIT;
        if (i == 0 && config.blend) {
            b.blendEnable = VK_TRUE;
            b.srcColorBlendFactor = VK_BLEND_FACTOR_SRC_ALPHA;
            b.dstColorBlendFactor = config.additive ? VK_BLEND_FACTOR_ONE : VK_BLEND_FACTOR_ONE_MINUS_SRC_ALPHA;
            b.colorBlendOp = VK_BLEND_OP_ADD;
            b.srcAlphaBlendFactor = config.additive ? VK_BLEND_FACTOR_ZERO : VK_BLEND_FACTOR_ONE;
            b.dstAlphaBlendFactor = config.additive ? VK_BLEND_FACTOR_ONE : VK_BLEND_FACTOR_ONE_MINUS_SRC_ALPHA;
            b.alphaBlendOp = VK_BLEND_OP_ADD;
        }
    }
    VkPipelineColorBlendStateCreateInfo blend{};
    blend.sType = VK_STRUCTURE_TYPE_PIPELINE_COLOR_BLEND_STATE_CREATE_INFO;
    blend.attachmentCount = colorCount;
    blend.pAttachments = blends.data();
    const VkDynamicState dynamics[] = {VK_DYNAMIC_STATE_VIEWPORT, VK_DYNAMIC_STATE_SCISSOR};
    VkPipelineDynamicStateCreateInfo dynamic{};
    dynamic.sType = VK_STRUCTURE_TYPE_PIPELINE_DYNAMIC_STATE_CREATE_INFO;
    dynamic.dynamicStateCount = 2;
    dynamic.pDynamicStates = dynamics;

    VkGraphicsPipelineCreateInfo info{};

    info.sType = VK_STRUCTURE_TYPE_GRAPHICS_PIPELINE_CREATE_INFO;
    info.stageCount = 2;
    info.pStages = stages;
    info.pVertexInputState = &vertexInput;
    info.pInputAssemblyState = &assembly;
    info.pViewportState = &viewport;
    info.pRasterizationState = &raster;
    info.pMultisampleState = &multisample;
    info.pDepthStencilState = &depth;
    info.pColorBlendState = &blend;
    info.pDynamicState = &dynamic;
    info.layout = layout.Handle();
    info.renderPass = pass;
    info.subpass = 0;
    const VkResult r = vkCreateGraphicsPipelines(device.device, VK_NULL_HANDLE, 1, &info, nullptr, &_pipeline);
    vkDestroyShaderModule(device.device, modules[0], nullptr);
    vkDestroyShaderModule(device.device, modules[1], nullptr);
    Check(r, ("vkCreateGraphicsPipelines for " + config.shader).c_str());
    device.SetName(VK_OBJECT_TYPE_PIPELINE, uint64_t(_pipeline), config.shader);
    _device = &device;
    _extent = extent;
}

void GraphicsPipeline::Destroy() {
    if (_device && _pipeline) vkDestroyPipeline(_device->device, _pipeline, nullptr);
    _pipeline = VK_NULL_HANDLE;
    _device = nullptr;
}

void GraphicsPipeline::Bind(VkCommandBuffer cmd) const {
    vkCmdBindPipeline(cmd, VK_PIPELINE_BIND_POINT_GRAPHICS, _pipeline);
    VkViewport viewport{0.0f, 0.0f, float(_extent.width), float(_extent.height), 0.0f, 1.0f};
    VkRect2D scissor{{0, 0}, _extent};
    vkCmdSetViewport(cmd, 0, 1, &viewport);
    vkCmdSetScissor(cmd, 0, 1, &scissor);
}

}  // namespace quorl::vk
