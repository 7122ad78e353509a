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
// Bodies of different groups never meet, except a body and its own parent. So a top-level body
// falling on a box that rests on a slab (and has joined the slab's frame) passes through that box
// until it touches the slab and joins it too. Meeting the bodies carried by the fixed bodies of a
// frame as fixed bodies was tried: nothing then passes through, but a tall pile of turned boxes,
// all in one group, shakes itself apart (about half of 1,024 boxes off the slab in the tall-pile
// bench), so the frames stay apart until the response holds such a pile.
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
