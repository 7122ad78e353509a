#include "game/graphics/SceneRenderer.h"

#include <algorithm>
#include <cstring>
#include <glm/gtc/matrix_transform.hpp>
#include <iostream>
#include <mutex>
#include <shared_mutex>
#include <stdexcept>

#include "game/graphics/LightSourceInstance.h"
#include "game/graphics/Mesh.h"
#include "game/graphics/PlasmaTrail.h"
#include "game/graphics/RenderableInstance.h"
#include "quorl/renderer/QuorlRenderer.h"
#include "quorl/vk/Device.h"

namespace game::graphics {

namespace {

// Push constants of the three materials (ScenePush in scene.glsl).
struct ScenePush {
    uint64_t rendererData;
    uint64_t draws;
    uint64_t lights;
    uint32_t lightCount;
    uint32_t textureArraySize;
};

constexpr uint32_t kVerticesPerBox = 36;

}  // namespace

SceneRenderer::SceneRenderer(quorl::renderer::QuorlRenderer& renderer)
    : _renderer(renderer), _flow(renderer.GetDevice()) {
    quorl::vk::Device& device = renderer.GetDevice();
    if (renderer.TextureArraySize() < kShaderTextureSlots)
        throw std::runtime_error("The Vulkan device " + std::string(device.properties.deviceName) + " holds " +
                                 std::to_string(renderer.TextureArraySize()) +
                                 " textures per shader stage; the scene's materials need " +
                                 std::to_string(kShaderTextureSlots));
    _layout.Create(device, sizeof(ScenePush), {renderer.TextureSetLayout()});
    const VkRenderPass pass = renderer.ScenePass();
    const uint32_t colors = quorl::renderer::QuorlRenderer::kSceneColorCount;
    quorl::vk::GraphicsPipeline::Config surface;
    surface.depthTest = true;
    surface.depthWrite = true;
    surface.shader = "game/graphics/rt/entity_tri";
    _triangles.Create(device, _layout, pass, colors, surface, renderer.SceneExtent());
    surface.shader = "game/graphics/rt/entity_box";
    _boxes.Create(device, _layout, pass, colors, surface, renderer.SceneExtent());
    surface.shader = "game/graphics/rt/entity_sphere";
    _spheres.Create(device, _layout, pass, colors, surface, renderer.SceneExtent());
    // The glow adds light to what is behind it, hides nothing and is not aimed at.
    quorl::vk::GraphicsPipeline::Config glow;
    glow.shader = "game/graphics/rt/plasma";
    glow.depthTest = true;
    glow.blend = true;
    glow.additive = true;
    glow.writtenAttachments = 1u;
    _plasma.Create(device, _layout, pass, colors, glow, renderer.SceneExtent());
}

SceneRenderer::Material SceneRenderer::MaterialOf(const std::string& name) {
    if (name == "game/graphics/rt/entity_tri" || name == "game/graphics/rt/entity_box") return Material::Surface;
    if (name == "game/graphics/rt/entity_sphere") return Material::Sphere;
    if (name == "game/graphics/rt/plasma") return Material::Plasma;
    return Material::None;
}

template <class T>
T* SceneRenderer::Reserve(quorl::vk::Buffer& buffer, size_t count, const char* name) {
    const VkDeviceSize size = VkDeviceSize(std::max<size_t>(count, 1)) * sizeof(T);
    if (!buffer || buffer.Size() < size) {
        VkDeviceSize capacity = buffer ? buffer.Size() : sizeof(T) * 64;
        while (capacity < size) capacity *= 2;
        // No frame is in flight while this one is recorded: the old buffer is free to go.
        buffer = quorl::vk::Buffer(_renderer.GetDevice(), capacity, VK_BUFFER_USAGE_STORAGE_BUFFER_BIT,
                                   VMA_MEMORY_USAGE_CPU_TO_GPU, 16, name);
    }
    return static_cast<T*>(buffer.Data());
}

void SceneRenderer::Collect(const RenderableInstance& instance, Material material, const glm::dmat4& toOrigin) {
    const glm::mat4 model(toOrigin * instance.transform);
    const auto* data = instance.renderableData.get();
    uint64_t plasmaData = 0;
    if (material == Material::Plasma) {
        if (!data || data->Count() == 0) return;  // nothing shapes the glow
        std::memcpy(&plasmaData, data->Data(), sizeof plasmaData);
        if (plasmaData == 0) return;
    }
    const auto add = [&](const GeometryInterface* geometry, size_t index) {
        if (!geometry || geometry->GetPrimitiveCount() == 0) return;
        DrawRecord r;
        r.model = model;
        r.aimId = instance.aimId;
        r.positions = geometry->GetPrimitivesAddr();
        r.plasmaData = plasmaData;
        if (data && index < data->Count()) r.renderableData = data->DeviceAddress() + index * sizeof(RenderableData);
        const uint32_t record = uint32_t(_records.size());
        if (const auto* box = dynamic_cast<const RenderableInstance::AabbGeometry*>(geometry)) {
            r.baseColor = box->baseColor;
            const uint32_t vertices = uint32_t(geometry->GetPrimitiveCount()) * kVerticesPerBox;
            (material == Material::Plasma   ? _plasmaDraws
             : material == Material::Sphere ? _sphereDraws
                                            : _boxDraws)
                .push_back({record, vertices});
        } else if (material == Material::Plasma) {
            return;  // the glow is made for boxes
        } else {
            if (const auto* mesh = dynamic_cast<const Mesh::Geometry*>(geometry)) {
                r.baseColor = mesh->baseColor;
                std::memcpy(r.emission, &mesh->emission, sizeof r.emission);
                r.metallic = mesh->metallic;
                r.roughness = mesh->roughness;
                r.baseColorTexture = mesh->baseColorTexture;
                r.normals = mesh->normalsAddr;
                r.texcoord0 = mesh->texcoord0Addr;
                r.floatColors = mesh->floatColorsAddr;
                r.byteColors = mesh->byteColorsAddr;
            } else if (const auto* triangles = dynamic_cast<const RenderableInstance::TriangleGeometry*>(geometry)) {
                r.baseColor = triangles->baseColor;
            }
            r.indexType = geometry->indexType;
            r.indices = geometry->GetIndicesAddr();
            const unsigned long long count =
                r.indices ? geometry->GetIndexCount() : geometry->GetPrimitiveCount();
            if (r.indices == 0) r.indexType = GeometryInterface::kIndexNone;
            if (count == 0) return;
            _triangleDraws.push_back({record, uint32_t(count)});
        }
        _records.push_back(r);
    };
    if (instance.geometries.empty())
        add(instance.mainGeometry, 0);
    else
        for (size_t i = 0; i < instance.geometries.size(); ++i) add(instance.geometries[i].get(), i);
}

void SceneRenderer::Release() {
    _shown.clear();
    _shownLights.clear();
    _flowJobs.clear();
}

void SceneRenderer::Compute(VkCommandBuffer cmd) {
    _flowJobs.clear();
    {
        std::shared_lock lock(RenderableInstance::_sharedObjectsMutex);
        for (const auto& slot : RenderableInstance::_sharedObjects) {
            const std::shared_ptr<RenderableInstance> instance = slot.lock();
            if (!instance || !instance->visible || instance->shaderIndex != kPlasmaTrailShaderIndex) continue;
            const auto* trail = dynamic_cast<const PlasmaTrail*>(instance.get());
            if (!trail || !trail->texture || trail->texture->layout != VK_IMAGE_LAYOUT_GENERAL) continue;
            // The texture index tells trails apart the same way on every run.
            _flowJobs.push_back({trail->texture, trail->data.flowIntensity, float(trail->data.texture % 97u) * 7.31f});
        }
    }
    // Frames, not the clock, drive the flow: a frame shows the same on every run.
    _flow.Dispatch(cmd, _flowJobs, float(_renderer.Data().frameIndex) / 60.0f);
}

void SceneRenderer::Draw(VkCommandBuffer cmd, const std::vector<std::string>& hitShaders,
                         const glm::dvec4& worldOrigin) {
    if (_materials.size() != hitShaders.size()) {
        _materials.clear();
        for (const std::string& name : hitShaders) {
            Material material = MaterialOf(name);
            // A module's own hit shader has no raster twin: its instances are drawn with the lit
            // surface of their geometry (triangles or boxes), so they can be seen and aimed at.
            if (material == Material::None) {
                material = Material::Surface;
                if (_warned.insert(name).second)
                    std::cerr << "Hit shader " << name
                              << " has no raster material: its instances are drawn as lit surfaces\n";
            }
            _materials.push_back(material);
        }
    }
    // The previous frame is complete: what it drew may go now (this frame's flow jobs stay).
    _shown.clear();
    _shownLights.clear();
    _records.clear();
    _triangleDraws.clear();
    _boxDraws.clear();
    _sphereDraws.clear();
    _plasmaDraws.clear();
    _counts = {};
    const glm::dmat4 toOrigin = glm::translate(glm::dmat4(1.0), -glm::dvec3(worldOrigin));

    {
        std::shared_lock lock(RenderableInstance::_sharedObjectsMutex);
        for (const auto& slot : RenderableInstance::_sharedObjects) {
            std::shared_ptr<RenderableInstance> instance = slot.lock();
            // The first flag only says the instance moved: a still one is drawn all the same.
            if (!instance || !instance->visible) continue;
            const unsigned index = instance->shaderIndex;
            // Index 4 is both the plasma trail's and the first module shader's: the trail says which.
            const bool trail = index == kPlasmaTrailShaderIndex && dynamic_cast<const PlasmaTrail*>(instance.get());
            const Material material = trail                      ? Material::Plasma
                                      : index < _materials.size() ? _materials[index]
                                                                  : Material::None;
            if (material == Material::None) continue;
            ++_counts.instances;
            Collect(*instance, material, toOrigin);
            _shown.push_back(std::move(instance));
        }
    }

    std::vector<LightEntry> lights;
    LightSourceInstance::ForEach([&](LightSourceInstance& light) {
        if (!light.active) return;
        if (auto held = light.weak_from_this().lock()) _shownLights.push_back(std::move(held));
        LightEntry e;
        e.position = glm::vec4(toOrigin * light.transform * glm::dvec4(glm::dvec3(light.position), 1.0));
        e.direction = glm::vec4(light.transform * glm::dvec4(glm::dvec3(light.direction), 0.0));
        e.data = light.data.DeviceAddress();
        lights.push_back(e);
    });
    _counts.draws = _records.size();
    _counts.lights = lights.size();
    if (_records.empty()) return;

    DrawRecord* records = Reserve<DrawRecord>(_drawBuffer, _records.size(), "SceneRenderer Draws");
    std::memcpy(static_cast<void*>(records), _records.data(), _records.size() * sizeof(DrawRecord));
    LightEntry* lightRecords = Reserve<LightEntry>(_lightBuffer, lights.size(), "SceneRenderer Lights");
    if (!lights.empty()) std::memcpy(static_cast<void*>(lightRecords), lights.data(), lights.size() * sizeof(LightEntry));

    const ScenePush push{_renderer.DataAddress(), _drawBuffer.DeviceAddress(), _lightBuffer.DeviceAddress(),
                         uint32_t(lights.size()), _renderer.TextureArraySize()};
    const VkDescriptorSet textures = _renderer.TextureSet();
    vkCmdBindDescriptorSets(cmd, VK_PIPELINE_BIND_POINT_GRAPHICS, _layout.Handle(), 0, 1, &textures, 0, nullptr);
    _layout.Push(cmd, &push, sizeof push);
    const VkExtent2D extent = _renderer.SceneExtent();
    for (auto [pipeline, draws] : {std::pair{&_triangles, &_triangleDraws}, std::pair{&_boxes, &_boxDraws},
                                   std::pair{&_spheres, &_sphereDraws}, std::pair{&_plasma, &_plasmaDraws}}) {
        if (draws->empty()) continue;
        pipeline->RefreshViewport(extent);
        pipeline->Bind(cmd);
        for (const Pending& d : *draws) vkCmdDraw(cmd, d.vertexCount, 1, 0, d.record);
    }
}

}  // namespace game::graphics
