#pragma once

namespace game::physics {

// Non-template base of every rigid body, so that a collider's contact callback can name the body
// without knowing the entity type. The callbacks always receive a DynamicRigidbody<Entity>; a
// module casts back with static_cast<DynamicRigidbody<ServerSideEntity>*>(body).
class RigidbodyBase {};

}  // namespace game::physics
