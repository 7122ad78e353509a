#pragma once
#include <vulkan/vulkan_core.h>

#include <string>
#include <vector>

namespace quorl::vk {

class Device;
class PipelineLayout;

// A graphics pipeline from the SPIR-V of one shader name (vertex and fragment stages, see
// ShaderFile). Viewport and scissor are dynamic: Bind sets them to the extent of the last
// RefreshViewport, so a viewport change needs no new pipeline.
class GraphicsPipeline {
public:
    struct Config {
        std::string shader;  // e.g. "game/graphics/crosshair"
        VkPrimitiveTopology topology = VK_PRIMITIVE_TOPOLOGY_TRIANGLE_LIST;
        VkPolygonMode polygonMode = VK_POLYGON_MODE_FILL;
        VkCullModeFlags cullMode = VK_CULL_MODE_NONE;
        bool depthTest = false;
        bool depthWrite = false;
        bool blend = false;     // alpha blending on colour attachment 0
        bool additive = false;  // with blend: source times alpha added to what is there
        uint32_t writtenAttachments = ~0u;  // bit i: colour attachment i is written
        std::vector<VkVertexInputBindingDescription> bindings;
        std::vector<VkVertexInputAttributeDescription> attributes;
    };

    GraphicsPipeline() = default;
    ~GraphicsPipeline() { Destroy(); }
    GraphicsPipeline(const GraphicsPipeline&) = delete;
    GraphicsPipeline& operator=(const GraphicsPipeline&) = delete;

    // colorCount colour attachments in the render pass's subpass 0. Throws std::runtime_error
    // when a shader file is missing or the pipeline can't be made.
    void Create(Device& device, const PipelineLayout& layout, VkRenderPass pass, uint32_t colorCount,
                const Config& config, VkExtent2D extent);
    void Destroy();
    void RefreshViewport(VkExtent2D extent) { _extent = extent; }
    void Bind(VkCommandBuffer cmd) const;

    VkPipeline Handle() const { return _pipeline; }
    VkExtent2D Extent() const { return _extent; }

private:
    Device* _device = nullptr;
    VkPipeline _pipeline = VK_NULL_HANDLE;
    VkExtent2D _extent{};
};

}  // namespace quorl::vk
