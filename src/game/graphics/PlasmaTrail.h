#pragma once
#include <memory>

#include <glm/vec3.hpp>

#include "game/graphics/GpuRecords.h"
#include "game/graphics/RenderableInstance.h"
#include "game/physics/EnvironmentInfo.h"
#include "quorl/graphics/ComputeTexture.h"
#include "quorl/vk/MappedBuffer.h"

namespace game::graphics {

// The glowing wake of a fast body in a gas: one box that the plasma hit shader raymarches,
// shaped by a PlasmaData record and a compute texture. The box runs from the body along +y; the
// owner's transform turns +y against the flight direction.
//
// With Game::renderer the box, the RenderableData record (holding PlasmaData's device address)
// and the PlasmaData buffer live on the GPU; without one the trail keeps only `data` and `box`,
// so its rules still run.
class PlasmaTrail : public RenderableInstance {
public:
    static constexpr unsigned kShaderIndex = 4;
    // Compute texture: 256 x 256 two-channel float.
    static constexpr uint32_t kTextureSize = 256;

    // Made through RenderableInstance::Make<PlasmaTrail>(): active, not visible.
    PlasmaTrail();

    // Whether the trail shows at this speed, size (metres) and medium; updates the box, the
    // record and, at the first visible update, makes the compute texture.
    bool Update(const glm::vec3& velocity, float size, const game::physics::EnvironmentInfo& environment);

    // The last values written (mirrored in the GPU records when there are any).
    PlasmaData data;
    AabbData box;
    glm::vec3 lastVelocity{0.0f};
    float lastSize = 0.0f;
    std::shared_ptr<quorl::graphics::ComputeTexture> texture;
    std::shared_ptr<quorl::vk::MappedBuffer<PlasmaData>> plasmaData;

private:
    RenderableInstance::AabbGeometry* _geometry = nullptr;
};

}  // namespace game::graphics
