#include "DemoEntity.h"

#include <cmath>
#include <stdexcept>

#include "DemoWorld.h"
#include "GliderAutopilot.h"
#include "quorl/filesystem/ReadOnlyStream.h"
#include "quorl/filesystem/WriteOnlyStream.h"

namespace demo {

void DemoEntity::Serialize(quorl::filesystem::WriteOnlyStream& out) {
    out.Write(kFormat);
    out.Write(age);
    out.Write(turretAngle);
}

void DemoEntity::Deserialize(quorl::filesystem::ReadOnlyStream& in) {
    uint32_t format = 0;
    in.Read(format);
    if (format != kFormat) throw std::runtime_error("demo: unknown entity data format " + std::to_string(format));
    in.Read(age);
    in.Read(turretAngle);
    if (!std::isfinite(age) || !std::isfinite(turretAngle)) throw std::runtime_error("demo: entity data is not finite");
}

void DemoEntity::Init() {
    std::shared_ptr<game::entity::ServerSideEntity> e = entity.lock();
    if (!e) return;
    // Not part of the state file: set again on every load.
    e->isRigidbody = true;
    e->interactsWithEnvironment = true;
    e->saveOnUnload = 1;
    // The demo's models are closed hulls: the whole box of each collider displaces air and water
    // (the library leaves displacement at 0 for modules to decide). This is what floats the buoy.
    for (auto& [name, collider] : e->colliders) collider.displacement = 1.0;
    // The glider's engine and autopilot hold it on its circuit: no gravity, air or ground acts on it.
    if (e->type == "glider") e->interactsWithEnvironment = false;
    if (e->type == "vehicle") {
        auto joint = e->joints.find("turret_hinge");
        if (joint != e->joints.end()) {
            joint->second.rotation.z = turretAngle;
            e->jointsMoved = true;
        }
    }
}

void DemoEntity::Update(double deltaTime) {
    age += deltaTime;
    std::shared_ptr<game::entity::ServerSideEntity> e = entity.lock();
    if (!e) return;
    if (e->type == "glider") {
        const GliderAutopilot::Command c = GliderAutopilot::Steer(e->position, deltaTime);
        e->velocity = c.velocity;
        e->rotation = c.rotation;
        e->angularVelocity = c.angularVelocity;
        return;
    }
    if (e->type != "vehicle") return;
    auto joint = e->joints.find("turret_hinge");
    if (joint == e->joints.end()) return;
    // A slow sweep of 60 degrees either way, 16 s per period.
    turretAngle = float(60.0 * std::sin(age * (2.0 * M_PI / 16.0)));
    joint->second.rotation.z = turretAngle;
    e->jointsMoved = true;
}

}  // namespace demo
