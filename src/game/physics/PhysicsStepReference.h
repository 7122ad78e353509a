#pragma once
// The physics step written plainly, table for table: fresh maps of vectors of bodies every call,
// every pair tested. It is the yardstick of the phased step (`PhysicsStep`): both give the same
// poses bit for bit, which the step's tests check on random scenes. Configuring with
// -DZENDOLA_REFERENCE_STEP=ON makes `ServerSideEntity::PhysicsUpdate` run it instead, to tell a
// fault of the phased step from one of the rules. No debug lines.
namespace game::physics {

// One step of every body: the caller holds the entity registry's shared lock.
void ReferencePhysicsStep(double deltaTime, int substeps);

}  // namespace game::physics
