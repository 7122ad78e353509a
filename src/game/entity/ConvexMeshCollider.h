#pragma once
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

#include "game/physics/Collision.h"

namespace game::physics {
class RigidbodyBase;  // the non-template base of Rigidbody<Entity>
}

namespace game::entity {

// Run-time convex shape of one collider of one entity instance, a plain value: copies share only
// their children. The physics step doesn't copy colliders whole every frame: its bodies keep their
// own copies of the geometry in memory kept from frame to frame, with a callback that calls the
// entity's own (see Rigidbody.h).
struct ConvexMeshCollider {
    // Contact callback: (rigidbody, collider, otherCollider or null, collision, deltaTime). The
    // body is always a DynamicRigidbody of the entity type. It may set collision.depth to 0 to
    // cancel the response, and change the friction of the colliders it is handed for this
    // response; for fixed contacts, false keeps the contact out of the body's static contacts.
    using Function = std::function<bool(physics::RigidbodyBase*, ConvexMeshCollider*, ConvexMeshCollider*,
                                        physics::Collision&, double)>;
    using Callback = Function;

    bool enabled = true;
    glm::dmat4 transform{1.0};
    glm::vec3 box_min{0.0f};
    glm::vec3 box_max{0.0f};
    double radius = 0;
    double fill = 1.0;
    double displacement = 1.0;
    uint32_t vertexCount = 0;
    uint32_t faceNormalCount = 0;
    uint32_t triangleCount = 0;
    glm::vec3 vertices[8]{};
    glm::vec3 faceNormals[12]{};
    uint16_t triangles[12][3]{};
    std::shared_ptr<std::vector<ConvexMeshCollider>> children = std::make_shared<std::vector<ConvexMeshCollider>>();
    std::string name;
    bool groundQueryWithoutBit4 = false;  // the ground query for this collider leaves out bit 4
    bool isSphere = false;
    double friction = 0.2;
    Callback callback;

    // Makes the shape the box between two corners: 8 vertices (index bits 4, 2, 1 pick the
    // maximum in x, y, z), the 3 axis normals and 12 triangles; then RecomputeBounds().
    void SetBox(const glm::vec3& cornerA, const glm::vec3& cornerB);
    // box_min/box_max become the bounds of the vertices (+/- the greatest float with no vertex),
    // radius half the box diagonal.
    void RecomputeBounds();
};

}  // namespace game::entity
