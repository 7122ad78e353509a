#include "game/graphics/PlasmaTrail.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include <glm/common.hpp>

#include "game/Game.h"
#include "game/graphics/GameRenderer.h"
#include "quorl/vk/CommandBuffer.h"

namespace game::graphics {

PlasmaTrail::PlasmaTrail() : RenderableInstance(0, kShaderIndex) {
    initialised = true;
    alwaysUpdate = true;
    visible = false;
    if (!Game::renderer) return;
    quorl::vk::Device& device = Game::renderer->GetDevice();
    auto geometry = std::make_shared<AabbGeometry>(1);
    _geometry = geometry.get();
    geometries.push_back(std::move(geometry));
    plasmaData = std::make_shared<quorl::vk::MappedBuffer<PlasmaData>>(device, 1, "PlasmaData");
    renderableData = std::make_shared<DataBuffer>(device, 1, "RenderableData");
    renderableDataAddress = renderableData->DeviceAddress();
    // The plasma shader finds its record through the first 8 bytes of the instance's record.
    const uint64_t address = plasmaData->DeviceAddress();
    std::memcpy(static_cast<void*>(&(*renderableData)[0]), &address, sizeof address);
}

bool PlasmaTrail::Update(const glm::vec3& velocity, float size, const game::physics::EnvironmentInfo& environment) {
    lastVelocity = velocity;
    lastSize = size;
    const double density = environment.density;
    const double s2 = double(glm::dot(velocity, velocity));
    const double s = std::sqrt(s2);
    const double p = std::pow(density, 0.2);

    // Plasma forms in gas only.
    if (!(environment.viscosity < 0.0005)) return visible = false;
    const double a = s2 * density / 1e8;
    const double b = s * p / 1000.0;
    if (!(a > 0.01) && !(b > 0.01)) return visible = false;

    box = AabbData{};
    box.minX = -size, box.minY = 0.0f, box.minZ = -size;
    box.maxX = size, box.maxY = 16.0f * size, box.maxZ = size;
    data.top = 16.0f * size;
    data.size = size;
    const glm::vec3 color = glm::mix(glm::vec3(0.5f), glm::vec3(1.0f, 0.25f, 0.05f), float(std::clamp(b, 0.0, 1.0)));
    data.color[0] = color.r, data.color[1] = color.g, data.color[2] = color.b;
    data.glow = float(std::clamp(a * 200.0, 0.0, 500.0));
    data.flowIntensity = float(std::clamp(b * 600.0, 0.0, 2500.0));

    if (!texture && Game::renderer) {
        texture = std::make_shared<quorl::graphics::ComputeTexture>(Game::renderer->GetDevice(), kTextureSize,
                                                                    kTextureSize, VK_FORMAT_R32G32_SFLOAT,
                                                                    "PlasmaTrail texture");
        // In the GENERAL layout the flow shader writes in before anyone can sample it, so that the
        // texture array holds it from the next frame on. Repeating: the field wraps around the trail.
        quorl::vk::CommandBuffer::Run(Game::renderer->GetDevice(), "PlasmaTrail texture layout",
                                      [&](VkCommandBuffer cmd) { texture->Push(cmd); });
        data.texture = Game::renderer->AddTexture(texture, Game::renderer->SamplerRepeat());
    }
    if (_geometry) _geometry->boxes[0] = box;
    if (plasmaData) (*plasmaData)[0] = data;
    return visible = true;
}

}  // namespace game::graphics
