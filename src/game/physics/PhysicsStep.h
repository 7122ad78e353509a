#pragma once
#include <cstddef>
#include <memory>

namespace game::physics {

// One frame of the world's rigid-body physics, as the phases ServerSideEntity::PhysicsUpdate runs
// in order. Bodies are rebuilt from the entities, merged per vehicle, given the acceleration of their
// frame, paired by the broad phase, stepped and written back.
//
// Bodies live in flat vectors that are kept from one step to the next: a step resets the bodies it
// needs in place (their lists are cleared, not freed) and Release drops their references to
// entities and colliders, so a steady world allocates nothing per frame. The bodies of a group
// (same environment, same physics parent) are contiguous and in the order of the entity walk;
// groups are ordered by environment, then by first appearance.
//
// Bodies of different groups meet in two ways only: a body and its own parent, and a top-level
// moving body and the bodies carried by a fixed top-level body of its environment, which it meets
// as fixed bodies placed in the world as they stand at the start of the step (the carried bodies
// don't feel it until it joins their frame). Without the second, a body falling on a box that
// rests on a slab (and has joined the slab's frame) passed through that box until it touched the
// slab, and ended inside it. Grouping by frame is there to keep pair tests few; the extra pairs go
// through the same broad phase and cost one world-placed snapshot per carried body and step, so
// that purpose holds.
//
// The phases run under the entity registry's shared lock, which the caller holds.
class PhysicsStep {
public:
    PhysicsStep();
    ~PhysicsStep();
    PhysicsStep(const PhysicsStep&) = delete;
    PhysicsStep& operator=(const PhysicsStep&) = delete;

    // The step the server runs, kept for the life of the process.
    static PhysicsStep& Kept();

    // Files each entity of the walk (at most `population`) by kind and group; rebuilds the bodies.
    void PrepareBodies(double deltaTime, size_t population);
    // Components lend their colliders to their vehicle's root body.
    void MergeVehicles();
    // Environment gravity for top-level moving bodies, the frame's acceleration for carried ones.
    void FrameAccelerations();
    // Candidate pairs and the parent's body of every moving body.
    void FindPairs();
    // Bodies that left their environment: paired, tested and moved once per step.
    void OrbitingBodies();
    // Moving bodies: surfaces, then `substeps` rounds of motion, collision and environment.
    void DynamicSubsteps(int substeps);
    // The moving bodies' poses and velocities back into their entities.
    void WriteBack();
    // Colliders and lines of the step into the debug drawing's staging buffers.
    void Debug();
    // Drops the bodies' references to entities and colliders; the memory stays for the next step.
    void Release();

private:
    struct Storage;
    std::unique_ptr<Storage> _s;
};

}  // namespace game::physics
