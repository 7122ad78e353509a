#include "game/graphics/RenderableInstance.h"

#include <cstring>

#include "game/Game.h"
#include "game/graphics/GameRenderer.h"
#include "quorl/Assert.h"

namespace game::graphics {

std::vector<std::weak_ptr<RenderableInstance>> RenderableInstance::_sharedObjects;
quorl::SharedMutex RenderableInstance::_sharedObjectsMutex;

namespace {

quorl::vk::Device& Device() {
    QUORL_ASSERT(Game::renderer);
    return Game::renderer->GetDevice();
}

}  // namespace

RenderableInstance::AabbGeometry::AabbGeometry(unsigned int voxelCount)
    : boxes((QUORL_ASSERT(voxelCount > 0), Device()), voxelCount, "AabbGeometry AabbData") {}

RenderableInstance::AabbGeometry::AabbGeometry(AabbData* data, unsigned long long count)
    : AabbGeometry(static_cast<unsigned int>(count)) {
    std::memcpy(static_cast<void*>(boxes.Data()), data, sizeof(AabbData) * count);
}

RenderableInstance::TriangleGeometry::TriangleGeometry(unsigned int vertexCount, unsigned int indexCount)
    : vertices((QUORL_ASSERT(vertexCount > 0), Device()), vertexCount, "TriangleGeometry vertices"),
      _indexCount(indexCount) {
    indexType = vertexCount - 1 < 65536 ? kIndex16 : kIndex32;
    if (indexType == kIndex16)
        indices16 = quorl::vk::MappedBuffer<uint16_t>(Device(), indexCount, "TriangleGeometry indices16");
    else
        indices32 = quorl::vk::MappedBuffer<uint32_t>(Device(), indexCount, "TriangleGeometry indices32");
}

RenderableInstance::RenderableInstance(unsigned int renderableType, unsigned int shaderIndex)
    : renderableType(renderableType), shaderIndex(shaderIndex) {}

RenderableInstance::RenderableInstance(std::shared_ptr<RenderableInstance> other, const glm::dmat4& transform)
    : renderableType(other->renderableType),
      shaderIndex(other->shaderIndex),
      transform(transform),
      initialised(other->initialised),
      alwaysUpdate(other->alwaysUpdate),
      mainGeometry(other->mainGeometry),
      renderableData(other->renderableData),
      geometries(other->geometries),
      renderableDataAddress(other->renderableDataAddress) {}

template <class F>
bool RenderableInstance::Write(const std::vector<uint32_t>& indices, F&& write) {
    for (uint32_t index : indices) write((*renderableData)[index]);
    return true;
}

bool RenderableInstance::SetEmission(const std::string& name, const glm::vec3& emission) {
    if (!renderableData) return false;
    const auto it = names.find(name);
    if (it == names.end()) return false;
    return Write(it->second, [&](RenderableData& d) { std::memcpy(d.emission, &emission, sizeof d.emission); });
}

bool RenderableInstance::SetColor(const std::string& name, const glm::vec4& color, float factor) {
    if (!renderableData) return false;
    const auto it = names.find(name);
    if (it == names.end()) return false;
    return Write(it->second, [&](RenderableData& d) {
        std::memcpy(d.color, &color, sizeof d.color);
        d.colorFactor = factor;
    });
}

bool RenderableInstance::SetPbrMetallicRoughness(const std::string& name, float a, float b, float c) {
    if (!renderableData) return false;
    return Write(names.at(name), [&](RenderableData& d) {
        d.material[0] = c;
        d.material[1] = a;
        d.material[2] = b;
    });
}

bool RenderableInstance::SetMonitorTexture(const std::string& name, unsigned int textureIndex,
                                           const glm::vec3& emission) {
    if (!renderableData) return false;
    const auto it = names.find(name);
    if (it == names.end()) return false;
    return Write(it->second, [&](RenderableData& d) {
        std::memcpy(d.emission, &emission, sizeof d.emission);
        d.monitorTexture = textureIndex;
    });
}

}  // namespace game::graphics
