#pragma once
#include "game/entity/ConvexMeshCollider.h"
#include "game/physics/Collision.h"

namespace game::physics {

// The separating-axis test read literally: every axis in order, all vertices placed again for
// each, every pair of vertices for the edge axes, no shortcut, no screen. ConvexCollision gives
// bit for bit the same depth, normal and position (docs/collision-exactness.md says why); this is
// the slow, plain form to compare it with and to run in its place when a result is in doubt.
Collision ReferenceConvexCollision(const entity::ConvexMeshCollider& a, const entity::ConvexMeshCollider& b);

}  // namespace game::physics
