#pragma once
#include "game/entity/ServerSideEntity.h"

namespace demo {

// Behaviour of every demo entity on the server. It makes the entity a rigid body of the planet
// that is saved on unload, counts the simulated time the entity has lived, and, for the vehicle,
// sweeps the turret on its hinge; the glider flies its circuit (GliderAutopilot).
//
// Interface block: u32 format version (1), f64 age in seconds, f32 turret angle in degrees.
class DemoEntity : public game::entity::ServerSideEntity::Interface {
public:
    static constexpr uint32_t kFormat = 1;

    void Serialize(quorl::filesystem::WriteOnlyStream& out) override;
    // Raises std::runtime_error for a block of another format; a short block raises StreamError.
    void Deserialize(quorl::filesystem::ReadOnlyStream& in) override;
    void Init() override;
    void Update(double deltaTime) override;

    double age = 0;
    float turretAngle = 0;
};

}  // namespace demo
