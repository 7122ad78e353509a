#pragma once
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <unordered_set>
#include <utility>
#include <vector>

#include <glm/geometric.hpp>
#include <glm/gtc/matrix_inverse.hpp>
#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/quaternion.hpp>
#include <glm/mat3x3.hpp>
#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

#include "game/AssertSites.h"
#include "game/UniqueId.h"
#include "game/entity/ConvexMeshCollider.h"
#include "game/physics/AerodynamicSurface.h"
#include "game/physics/Collision.h"
#include "game/physics/ContactPatch.h"
#include "game/physics/ConvexCollision.h"
#include "game/physics/MatrixMath.h"
#include "game/physics/EnvironmentInfo.h"
#include "game/physics/PhysicsLineDebug.h"
#include "game/physics/RigidbodyBase.h"
#include "game/physics/Tuning.h"
#include "quorl/Assert.h"

// Rigid bodies: one short-lived snapshot per entity and physics step. Rigidbody<Entity> is a body
// that collides but doesn't move in this step; DynamicRigidbody<Entity> moves, collides and
// answers contacts. All state is in doubles; collider geometry stays in floats.
//
// What Entity must offer (the server-side entity does): mass, position, rotation (dquat),
// boundsMin, boundsMax, centerOfMass, velocity, angularVelocity, localAcceleration, parentEntity,
// ignoredEntities, id, colliders (a map from name to ConvexMeshCollider), linearImpulse,
// angularImpulse, impulseExtra, externalAcceleration, interactsWithEnvironment, restTime,
// isDetachable, GetID(), GetPositionAtCenterOfMass(), AddChild(std::shared_ptr<Entity>&),
// RemoveChild(std::shared_ptr<Entity>&) and the static Get(Id).
namespace game::physics {

namespace detail {

inline glm::dmat4 PoseTransform(const glm::dvec3& position, const glm::dquat& rotation) {
    return Multiply(glm::translate(glm::dmat4(1.0), position), glm::mat4_cast(rotation));
}

// A callback that calls another collider's. Small and trivially copied, so a std::function holds
// it in place: making or copying one never allocates.
struct CallOther {
    const entity::ConvexMeshCollider::Callback* target;
    bool operator()(RigidbodyBase* body, entity::ConvexMeshCollider* collider, entity::ConvexMeshCollider* other,
                    Collision& collision, double deltaTime) const {
        return (*target)(body, collider, other, collision, deltaTime);
    }
};

// `to` becomes `from` for the step, in the memory it already has: geometry, name and friction
// copied, children shared, and a callback that calls from's own rather than a copy of it, so
// that a collider kept from frame to frame is refilled without allocating. `from` must outlive
// the calls of to's callback.
inline void CopyForStep(entity::ConvexMeshCollider& to, const entity::ConvexMeshCollider& from) {
    to.enabled = from.enabled;
    to.transform = from.transform;
    to.box_min = from.box_min;
    to.box_max = from.box_max;
    to.radius = from.radius;
    to.fill = from.fill;
    to.displacement = from.displacement;
    to.vertexCount = from.vertexCount;
    to.faceNormalCount = from.faceNormalCount;
    to.triangleCount = from.triangleCount;
    std::memcpy(to.vertices, from.vertices, sizeof to.vertices);
    std::memcpy(to.faceNormals, from.faceNormals, sizeof to.faceNormals);
    std::memcpy(to.triangles, from.triangles, sizeof to.triangles);
    to.children = from.children;
    to.name.assign(from.name);
    to.groundQueryWithoutBit4 = from.groundQueryWithoutBit4;
    to.isSphere = from.isSphere;
    to.friction = from.friction;
    if (from.callback) {
        to.callback = CallOther{&from.callback};
    } else {
        to.callback = nullptr;
    }
}

// What a released collider holds instead of its children, so that it keeps none alive.
inline const std::shared_ptr<std::vector<entity::ConvexMeshCollider>>& NoChildren() {
    static const auto none = std::make_shared<std::vector<entity::ConvexMeshCollider>>();
    return none;
}
}  // namespace detail

template <class Entity>
class Rigidbody : public RigidbodyBase {
public:
    std::weak_ptr<Entity> entity;
    glm::dvec3 position{0.0};  // centre of mass, in the frame of the physics parent
    glm::dquat rotation{1.0, 0.0, 0.0, 0.0};
    game::entity::Id id;
    glm::dvec3 boundsCenterWorld{0.0};
    double radius = 0;
    std::vector<entity::ConvexMeshCollider> colliders;  // transforms relative to the centre of mass
    glm::dvec3 boundsMin{0.0};                          // relative to the centre of mass, body axes
    glm::dvec3 boundsMax{0.0};
    glm::dvec3 centerOfMass{0.0};  // in the entity's own space
    glm::dvec3 boundsCenter{0.0};
    glm::dvec3 frameAcceleration{0.0};  // of the frame the body lives in
    double displacedVolume = 0;

    explicit Rigidbody(std::shared_ptr<Entity>& owner) { Reset(owner); }
    // A body kept for reuse starts with room for one collider, which keeps the colliders of
    // one-collider bodies close together, and one spare collider with room for a name of up to
    // kKeptNameLength characters: its first frame allocates nothing. A list that grows keeps its
    // room.
    static constexpr size_t kKeptNameLength = 63;
    Rigidbody() {
        colliders.reserve(1);
        _placed.shapes.reserve(1);
        _spareColliders.emplace_back().name.reserve(kKeptNameLength);
    }

    // Rebuilds the body from its entity as the constructor does, keeping the memory of the
    // collider list so a body can be reused from frame to frame.
    void Reset(std::shared_ptr<Entity>& owner) {
        entity = owner;
        rotation = owner->rotation;
        id = owner->id;
        centerOfMass = owner->centerOfMass;
        frameAcceleration = glm::dvec3(0.0);
        displacedVolume = 0;
        position = owner->position + rotation * centerOfMass;
        boundsMin = owner->boundsMin - centerOfMass;
        boundsMax = owner->boundsMax - centerOfMass;
        _placed.kept = false;
        // The colliders are refilled in place; those left over wait in the spare list.
        size_t used = 0;
        for (const auto& entry : owner->colliders) {
            if (!entry.second.enabled) continue;
            if (used == colliders.size()) AppendSpare();
            entity::ConvexMeshCollider& c = colliders[used++];
            detail::CopyForStep(c, entry.second);
            c.transform[3] -= glm::dvec4(centerOfMass, 0.0);
            displacedVolume += std::abs(double(c.box_max.x) - c.box_min.x) * std::abs(double(c.box_max.y) - c.box_min.y) *
                               std::abs(double(c.box_max.z) - c.box_min.z) * c.fill;
            const glm::dvec3 p0 = TransformPoint(c.transform, glm::dvec3(c.box_min));
            const glm::dvec3 p1 = TransformPoint(c.transform, glm::dvec3(c.box_max));
            boundsMin = glm::min(boundsMin, glm::min(p0, p1));
            boundsMax = glm::max(boundsMax, glm::max(p0, p1));
        }
        while (colliders.size() > used) {
            _spareColliders.push_back(std::move(colliders.back()));
            colliders.pop_back();
        }
        ComputeBounds();
    }

    // Appends a copy of `from` (see detail::CopyForStep) in kept memory; `from` must outlive the
    // step. Returns the copy.
    entity::ConvexMeshCollider& AddCollider(const entity::ConvexMeshCollider& from) {
        AppendSpare();
        detail::CopyForStep(colliders.back(), from);
        _placed.kept = false;
        return colliders.back();
    }

    // Drops the references to the entity and to the colliders' shared parts and callbacks,
    // keeping the memory.
    void Release() {
        entity.reset();
        for (entity::ConvexMeshCollider& c : colliders) {
            c.children = detail::NoChildren();
            c.callback = nullptr;
        }
    }

    // boundsCenter, radius and boundsCenterWorld from boundsMin and boundsMax.
    void ComputeBounds() {
        boundsCenter = (boundsMin + boundsMax) * 0.5;
        radius = 0.5 * glm::length(boundsMax - boundsMin);
        boundsCenterWorld = GetPositionAtCenterOfBounds();
    }

    glm::dvec3 GetPositionAtCenterOfBounds() const { return position + rotation * boundsCenter; }

    // The pose as a matrix. Kept with the pose it was made from, and made again only when the pose
    // has changed: a body's transform is asked for by every body it may touch, each substep.
    [[gnu::always_inline]] const glm::dmat4& GetTransform() const {
        if (!_transformKept || std::memcmp(&_transformPosition, &position, sizeof position) != 0 ||
            std::memcmp(&_transformRotation, &rotation, sizeof rotation) != 0) [[unlikely]] {
            KeepTransform();
        }
        return _transform;
    }

    // Collider i placed by the pose, Multiply(GetTransform(), colliders[i].transform), with what
    // the collision test works out from it: kept with the transform like it, since a body is tested
    // by every body near it, each substep. The colliders count as fixed while it is kept: whoever
    // may have changed one (a collision callback) calls ForgetPlacements.
    [[gnu::always_inline]] PlacedShape& GetPlacedShape(size_t i) const {
        GetTransform();
        if (!_placed.kept || _placed.shapes.size() != colliders.size()) [[unlikely]] PlaceColliders();
        return _placed.shapes[i];
    }
    void ForgetPlacements() const { _placed.kept = false; }

private:
    // One more collider at the end of the list, from the spare ones when there are any.
    void AppendSpare() {
        if (_spareColliders.empty()) {
            colliders.emplace_back();
        } else {
            colliders.push_back(std::move(_spareColliders.back()));
            _spareColliders.pop_back();
        }
    }

    std::vector<entity::ConvexMeshCollider> _spareColliders;

    [[gnu::noinline]] void KeepTransform() const {
        _transform = detail::PoseTransform(position, rotation);
        _transformPosition = position;
        _transformRotation = rotation;
        _transformKept = true;
        _placed.kept = false;
    }

    [[gnu::noinline]] void PlaceColliders() const {
        _placed.shapes.clear();
        for (const entity::ConvexMeshCollider& c : colliders) {
            _placed.shapes.emplace_back(c, Multiply(_transform, c.transform));
        }
        _placed.kept = true;
    }

    mutable glm::dmat4 _transform{1.0};
    mutable glm::dvec3 _transformPosition{0.0};
    mutable glm::dquat _transformRotation{1.0, 0.0, 0.0, 0.0};
    mutable bool _transformKept = false;
    // The placed colliders point into this body's own collider list: a copied or moved body places
    // its colliders again (a moved one in the memory it takes over).
    struct Placements {
        std::vector<PlacedShape> shapes;
        bool kept = false;
        Placements() = default;
        Placements(const Placements& other) { shapes.reserve(other.shapes.capacity()); }
        Placements(Placements&& other) noexcept : shapes(std::move(other.shapes)) {}
        Placements& operator=(const Placements&) {
            kept = false;
            return *this;
        }
        Placements& operator=(Placements&& other) noexcept {
            shapes = std::move(other.shapes);
            kept = false;
            return *this;
        }
    };
    mutable Placements _placed;
};

template <class Entity>
class DynamicRigidbody : public Rigidbody<Entity> {
    using Base = Rigidbody<Entity>;

public:
    using Base::boundsCenter;
    using Base::boundsCenterWorld;
    using Base::boundsMax;
    using Base::boundsMin;
    using Base::centerOfMass;
    using Base::colliders;
    using Base::displacedVolume;
    using Base::entity;
    using Base::frameAcceleration;
    using Base::GetPositionAtCenterOfBounds;
    using Base::ForgetPlacements;
    using Base::GetPlacedShape;
    using Base::GetTransform;
    using Base::id;
    using Base::position;
    using Base::radius;
    using Base::rotation;

    glm::dvec3 velocity{0.0};
    glm::dvec3 angularVelocity{0.0};  // world axes, radians per second
    double invMass = 0;
    glm::dmat3 invInertiaTensorWorld{0.0};
    glm::dvec3 linearAcceleration{0.0};   // from the entity's impulse of the frame
    glm::dvec3 angularAcceleration{0.0};  // likewise
    double restCount = 0;                 // steps at rest; any impulse clears it
    // What the body accelerates by besides its impulses and its frame: the entity's own
    // externalAcceleration (which a module may write during a frame, as for a thrust) plus, for a
    // top-level body in an environment, the environment's gravity. The physics step takes gravity
    // before the first substep (TakeEnvironmentGravity) and each substep's environment pass
    // refreshes it for the next, so that gravity acts in every substep whatever their count.
    glm::dvec3 externalAcceleration{0.0};
    bool interactsWithEnvironment = false;
    bool touchingParent = false;
    bool touchingEnvironment = false;
    double largestTouchedRadius = 0;
    std::weak_ptr<Entity> potentialNewParent;  // the largest fixed body touched in this step
    Rigidbody<Entity>* parentBody = nullptr;   // body of the physics parent, if any
    double broadphaseRadius = 0;
    std::vector<DynamicRigidbody*> dynamicCandidates;
    std::vector<Rigidbody<Entity>*> fixedCandidates;
    std::vector<AerodynamicSurface> aerodynamicSurfaces;
    std::vector<glm::dvec3> staticContactNormals;
    std::vector<glm::dvec3> staticRelativeContactPoints;
    std::vector<PhysicsLineDebug> debugLines;
    std::vector<entity::ConvexMeshCollider> debugColliders;
    std::unordered_set<game::entity::Id> ignoredIds;  // bodies this one never collides with

    // Set by the physics step from the game's debug switch: contacts then leave debug lines.
    static inline bool recordDebugLines = false;

    DynamicRigidbody(std::shared_ptr<Entity>& owner, double deltaTime) { Reset(owner, deltaTime); }
    // A body kept for reuse starts with room for a crowd of contacts, so that its lists rarely grow.
    DynamicRigidbody() {
        dynamicCandidates.reserve(64);
        fixedCandidates.reserve(64);
        staticContactNormals.reserve(64);
        staticRelativeContactPoints.reserve(64);
        _touchPoints.reserve(64);
        for (entity::ConvexMeshCollider& c : _callout) c.name.reserve(Base::kKeptNameLength);
    }

    // Rebuilds the body from its entity as the constructor does; every list keeps its memory.
    void Reset(std::shared_ptr<Entity>& owner, double deltaTime) {
        Base::Reset(owner);
        CheckSite(deltaTime > 0, assert_sites::kBodyStep);
        const double mass = owner->mass;
        CheckSite(mass > 0, assert_sites::kBodyMass);
        restCount = 0;
        _supported = _supportedNow = false;
        touchingParent = false;
        touchingEnvironment = false;
        potentialNewParent.reset();
        parentBody = nullptr;
        dynamicCandidates.clear();
        fixedCandidates.clear();
        aerodynamicSurfaces.clear();
        staticContactNormals.clear();
        staticRelativeContactPoints.clear();
        debugLines.clear();
        debugColliders.clear();
        largestTouchedRadius = radius;
        invMass = 1.0 / mass;
        ComputeInertiaTensor();
        velocity = owner->velocity;
        angularVelocity = owner->angularVelocity;
        externalAcceleration = owner->externalAcceleration;
        _entityAcceleration = owner->externalAcceleration;
        linearAcceleration = owner->linearImpulse / deltaTime * invMass;
        angularAcceleration = invInertiaTensorWorld * (owner->angularImpulse / deltaTime);
        interactsWithEnvironment = owner->interactsWithEnvironment;
        ignoredIds = owner->ignoredEntities;
        broadphaseRadius = radius + 0.5 * deltaTime * glm::length(velocity);
        _startCentre = boundsCenterWorld;
        _frameDeltaTime = deltaTime;
        _stillSteps = 0;
        _touchPoints.clear();
    }

    void Release() {
        Base::Release();
        for (entity::ConvexMeshCollider& c : _callout) {
            c.children = detail::NoChildren();
            c.callback = nullptr;
        }
        potentialNewParent.reset();
        parentBody = nullptr;
        dynamicCandidates.clear();
        fixedCandidates.clear();
        debugColliders.clear();
    }

    // Inverse world inertia of a solid box of the body's bounds and mass.
    void ComputeInertiaTensor() {
        const glm::dvec3 box_size = boundsMax - boundsMin;
        CheckSite(box_size.x > 0.0, assert_sites::kBodyBoxEdgeX);
        CheckSite(box_size.y > 0.0, assert_sites::kBodyBoxEdgeY);
        CheckSite(box_size.z > 0.0, assert_sites::kBodyBoxEdgeZ);
        const double mass = 1.0 / invMass;
        const double x2 = box_size.x * box_size.x, y2 = box_size.y * box_size.y, z2 = box_size.z * box_size.z;
        glm::dmat3 inertia(0.0);
        inertia[0][0] = (y2 + z2) * mass / 12.0;
        inertia[1][1] = (x2 + z2) * mass / 12.0;
        inertia[2][2] = (x2 + y2) * mass / 12.0;
        const glm::dmat3 r = glm::mat3_cast(rotation);
        invInertiaTensorWorld = glm::inverse(r * inertia * glm::transpose(r));
    }

    // Impulse through a point given relative to the centre of mass. The tensor isn't refreshed
    // while the body turns inside a frame.
    void ApplyImpulse(const glm::dvec3& impulse, const glm::dvec3& relativePoint) {
        velocity += invMass * impulse;
        angularVelocity += invInertiaTensorWorld * glm::cross(relativePoint, impulse);
        restCount = 0;
    }

    // Velocity Verlet with constant acceleration, and the first-order quaternion update.
    void IntegrateMotion(double deltaTime) {
        const glm::dvec3 a = linearAcceleration + frameAcceleration + externalAcceleration;
        position += (velocity + a * deltaTime / 2.0) * deltaTime;
        velocity += a * deltaTime;
        const glm::dvec3 w = angularVelocity + angularAcceleration * deltaTime / 2.0;
        rotation += glm::dquat(0.0, w * deltaTime / 2.0) * rotation;
        const double length = glm::length(rotation);
        rotation = length > 0 ? rotation / length : glm::dquat(1.0, 0.0, 0.0, 0.0);
        angularVelocity += angularAcceleration * deltaTime;
    }

    // Contact with a fixed body (which doesn't change): perfectly inelastic along the normal, the
    // whole depth taken by this body, and a friction impulse that removes `friction` times the
    // sliding at the contact.
    void RespondToCollision(const Rigidbody<Entity>* /*other*/, const Collision& collision, double friction) {
        const glm::dvec3 r = collision.position - position;
        const glm::dvec3 n = collision.normal;
        const glm::dvec3 v = velocity + glm::cross(angularVelocity, r);
        const glm::dvec3 u = invInertiaTensorWorld * glm::cross(r, n);
        const double k = invMass + glm::dot(n, glm::cross(u, r));
        position += n * collision.depth;
        ApplyImpulse(-glm::dot(v, n) / k * n, r);
        if (friction > 0) {
            const glm::dvec3 t = v - glm::dot(v, n) * n;
            const double tangentialSpeed = glm::length(t);
            if (tangentialSpeed > tuning::kMinSlidingSpeed) {
                const glm::dvec3 tangent = t / tangentialSpeed;
                const glm::dvec3 ut = invInertiaTensorWorld * glm::cross(r, tangent);
                const double kt = invMass + glm::dot(tangent, glm::cross(ut, r));
                if (kt > 0) ApplyImpulse(tangent * friction * -glm::dot(v, tangent) / kt, r);
            }
        }
    }

    // Contact between two moving bodies, the normal pointing towards a; depth shared by inverse mass.
    static void RespondToCollision(DynamicRigidbody* a, DynamicRigidbody* b, const Collision& collision,
                                   double friction) {
        const glm::dvec3 ra = collision.position - a->position;
        const glm::dvec3 rb = collision.position - b->position;
        const glm::dvec3 n = collision.normal;
        const glm::dvec3 v = (a->velocity + glm::cross(a->angularVelocity, ra)) -
                             (b->velocity + glm::cross(b->angularVelocity, rb));
        auto effectiveInverseMass = [&](const glm::dvec3& d) {
            const glm::dvec3 ua = a->invInertiaTensorWorld * glm::cross(ra, d);
            const glm::dvec3 ub = b->invInertiaTensorWorld * glm::cross(rb, d);
            return a->invMass + b->invMass + glm::dot(d, glm::cross(ua, ra)) + glm::dot(d, glm::cross(ub, rb));
        };
        const double k = effectiveInverseMass(n);
        const double s = a->invMass + b->invMass;
        a->position += n * collision.depth * a->invMass / s;
        b->position -= n * collision.depth * b->invMass / s;
        const double j = -glm::dot(v, n) / k;
        a->ApplyImpulse(j * n, ra);
        b->ApplyImpulse(-j * n, rb);
        if (friction > 0) {
            const glm::dvec3 t = v - glm::dot(v, n) * n;
            const double tangentialSpeed = glm::length(t);
            if (tangentialSpeed > tuning::kMinSlidingSpeed) {
                const glm::dvec3 tangent = t / tangentialSpeed;
                const double kt = effectiveInverseMass(tangent);
                if (kt > 0) {
                    const glm::dvec3 impulse = tangent * friction * -glm::dot(v, tangent) / kt;
                    a->ApplyImpulse(impulse, ra);
                    b->ApplyImpulse(-impulse, rb);
                }
            }
        }
    }

    // Remembers a contact with the world, unless one closer than 0.1 is already known.
    void AddStaticContactPoint(const glm::dvec3& normal, const glm::dvec3& point) {
        const glm::dvec3 r = point - position;
        for (const glm::dvec3& p : staticRelativeContactPoints) {
            if (glm::length(p - r) < tuning::kContactMergeDistance) return;
        }
        staticContactNormals.push_back(normal);
        staticRelativeContactPoints.push_back(r);
    }

    // Whether the stored contacts hold the body up: the newest three agree and the centre of mass
    // stands over their triangle, or all contacts agree and surround it. Writes the contact normal.
    bool GetStaticContact(glm::dvec3& normal) const {
        CheckSite(staticContactNormals.size() == staticRelativeContactPoints.size(), assert_sites::kStaticContacts);
        const size_t count = staticRelativeContactPoints.size();
        if (count < 3) return false;
        constexpr double kParallel = tuning::kParallelContacts;
        const auto& points = staticRelativeContactPoints;
        const auto& normals = staticContactNormals;
        const size_t i = count - 1, j = count - 2, k = count - 3;
        glm::dvec3 plane = glm::normalize(glm::cross(points[k] - points[i], points[j] - points[i]));
        if (glm::dot(plane, normals[i]) < 0) plane = -plane;
        normal = plane;
        if (glm::dot(plane, normals[i]) < kParallel) return false;
        if (glm::dot(normals[i], normals[j]) < kParallel || glm::dot(plane, normals[j]) < kParallel) return false;
        if (glm::dot(normals[i], normals[k]) < kParallel || glm::dot(plane, normals[k]) < kParallel) return false;

        // Barycentric coordinates of the centre of mass, projected onto the triangle's plane.
        const glm::dvec3 centre = glm::dot(points[i], plane) * plane;
        const glm::dvec3 e0 = points[j] - points[i], e1 = points[k] - points[i], e2 = centre - points[i];
        const double d00 = glm::dot(e0, e0), d01 = glm::dot(e0, e1), d11 = glm::dot(e1, e1);
        const double d20 = glm::dot(e2, e0), d21 = glm::dot(e2, e1);
        const double denominator = d00 * d11 - d01 * d01;
        const double u = (d11 * d20 - d01 * d21) / denominator;
        const double v = (d00 * d21 - d01 * d20) / denominator;
        if (u >= 0 && u <= 1 && v >= 0 && v <= 1 && u + v <= 1) return true;
        if (count < 4) return false;

        glm::dvec3 normalSum = plane;
        for (size_t m = 0; m < count; ++m) {
            if (glm::dot(normals[i], normals[m]) < kParallel) return false;
            normalSum += normals[m];
        }
        normal = glm::normalize(normalSum);

        // Do the contacts surround the centre of mass in the contact plane?
        const glm::dvec3 helper = std::abs(normal.x) < 0.9 ? glm::dvec3(1, 0, 0) : glm::dvec3(0, 1, 0);
        const glm::dvec3 axisU = glm::normalize(glm::cross(normal, helper));
        const glm::dvec3 axisV = glm::cross(normal, axisU);
        const double big = std::numeric_limits<float>::max();
        double minU = big, maxU = -big, minV = big, maxV = -big;
        for (const glm::dvec3& p : points) {
            // The in-plane part of p is its projection relative to the projection of the origin.
            const double pu = glm::dot(p, axisU), pv = glm::dot(p, axisV);
            minU = std::min(minU, pu);
            maxU = std::max(maxU, pu);
            minV = std::min(minV, pv);
            maxV = std::max(maxV, pv);
        }
        return minU < 0 && minV < 0 && maxU > 0 && maxV > 0;
    }

    // Tests every collider against the candidates of the broad phase and the physics parent, and
    // answers each contact at once. Counts a step at rest when the body stands still on its
    // contacts.
    void CollisionDetection(double deltaTime) {
        Walk walk{deltaTime};
        _supportedNow = false;
        _touchedNow = false;
        for (size_t ci = 0; ci < colliders.size(); ++ci) {
            entity::ConvexMeshCollider& c = colliders[ci];
            PlacedShape* shapeC = &GetPlacedShape(ci);  // fetched again whenever the body has moved
            const glm::dvec3 cMin(c.box_min), cMax(c.box_max);

            for (DynamicRigidbody* o : dynamicCandidates) {
                if (o->colliders.size() > 3 &&
                    !PotentialBoxBoxIntersection(shapeC->transform(), o->GetTransform(), cMin, cMax, o->boundsMin,
                                                 o->boundsMax, true, true)) {
                    continue;
                }
                for (size_t di = 0; di < o->colliders.size(); ++di) {
                    entity::ConvexMeshCollider& d = o->colliders[di];
                    PlacedShape& shapeD = o->GetPlacedShape(di);
                    const glm::dmat4& placedD = shapeD.transform();
                    Collision collision;
                    if (d.isSphere) {
                        collision = ConvexCollision(d, placedD, c, shapeC->transform());
                        collision.normal = -collision.normal;
                    } else {
                        collision = ConvexCollision(*shapeC, shapeD);
                    }
                    if (!(collision.depth > 0)) continue;
                    if (recordDebugLines) RecordContactLine(collision);
                    if (d.callback) {
                        collision.normal = -collision.normal;
                        d.callback(o, &d, &c, collision, deltaTime);
                        collision.normal = -collision.normal;
                    }
                    if (c.callback) c.callback(this, &c, &d, collision, deltaTime);
                    const bool called = d.callback || c.callback;
                    if (called) {
                        ForgetPlacements();
                        o->ForgetPlacements();
                    }
                    if (collision.depth > 0) {
                        // At the middle of the touching corners, as against a fixed body; after a
                        // callback, which may have moved the colliders, at the reported point.
                        TouchArea touch;
                        if (!called && !d.isSphere) {
                            const glm::dmat4& placedC = shapeC->transform();
                            touch = TouchingCorners({&c, &placedC, shapeC}, {&d, &placedD, &shapeD}, collision.normal);
                            collision = touch.Centred(collision);
                        }
                        // A body lying on a body that is held up meets it as a fixed body (see
                        // HeldUpContacts below); other pairs share the contact.
                        const double friction = c.friction * d.friction;
                        if (o->_supported && glm::dot(collision.normal, Up()) > tuning::kParallelContacts) {
                            AddStaticContactPoint(collision.normal, collision.position);
                            for (int k = 0; k < touch.count; ++k) AddStaticContactPoint(collision.normal, touch.corners[k]);
                            RespondToCollision(o, collision, friction);
                            HoldOnFace(this, nullptr, touch, collision.normal, friction);
                            _supportedNow = true;
                        } else if (_supported && glm::dot(-collision.normal, o->Up()) > tuning::kParallelContacts) {
                            Collision flipped = collision;
                            flipped.normal = -collision.normal;
                            o->AddStaticContactPoint(flipped.normal, flipped.position);
                            for (int k = 0; k < touch.count; ++k) o->AddStaticContactPoint(flipped.normal, touch.corners[k]);
                            o->RespondToCollision(this, flipped, friction);
                            HoldOnFace(o, nullptr, touch, flipped.normal, friction);
                            o->_supportedNow = true;
                            if (o < this) o->_supported = true;  // o's pass of this substep is over
                        } else {
                            RespondToCollision(this, o, collision, friction);
                            HoldOnFace(this, o, touch, collision.normal, friction);
                        }
                        AddTouch(collision.position, touch);
                        o->AddTouch(collision.position, touch);
                    }
                    shapeC = &GetPlacedShape(ci);
                }
            }

            if (restCount > 0.99) {
                _supported = true;
                return;
            }

            walk.touched = false;
            for (Rigidbody<Entity>* f : fixedCandidates) {
                if (f->colliders.size() > 3 &&
                    !PotentialBoxBoxIntersection(shapeC->transform(), f->GetTransform(), cMin, cMax, f->boundsMin,
                                                 f->boundsMax, true, true)) {
                    continue;
                }
                for (size_t di = 0; di < f->colliders.size(); ++di) {
                    if (walk.touched) {
                        shapeC = &GetPlacedShape(ci);
                        walk.touched = false;
                    }
                    PlacedShape& shapeD = f->GetPlacedShape(di);
                    Collide(walk, {&c, &shapeC->transform(), shapeC}, {&f->colliders[di], &shapeD.transform(), &shapeD});
                    if (walk.touched && f->radius > largestTouchedRadius) {
                        potentialNewParent = f->entity;
                        largestTouchedRadius = f->radius;
                    }
                }
            }

            if (parentBody && !parentBody->colliders.empty()) {
                // The parent's colliders in the parent's own frame, the frame this body lives in.
                const glm::dmat4 placedParent = glm::translate(glm::dmat4(1.0), parentBody->centerOfMass);
                for (const entity::ConvexMeshCollider& d : parentBody->colliders) {
                    if (walk.touched) {
                        shapeC = &GetPlacedShape(ci);
                        walk.touched = false;
                    }
                    const glm::dmat4 placedD = Multiply(placedParent, d.transform);
                    Collide(walk, {&c, &shapeC->transform(), shapeC}, {&d, &placedD});
                    if (walk.touched) touchingParent = true;
                }
            }
        }

        _supported = _supportedNow;
        glm::dvec3 n;
        if (GetStaticContact(n)) {
            const glm::dvec3 t = velocity - glm::dot(velocity, n) * n;
            if (walk.minFriction > glm::length(t) && walk.minFriction > glm::length(angularVelocity)) restCount += 1;
        }
        // Still through a whole frame, see StillAmongContacts.
        _stillSteps = StillAmongContacts() ? _stillSteps + 1 : 0;
        if (restCount < 1 && double(_stillSteps) * deltaTime >= _frameDeltaTime * (1 - 1e-9)) restCount += 1;
    }

    // Writes the simulated state back into the entity, moves it between parents, and updates the
    // acceleration it feels.
    void ApplyToEntity(double deltaTime) {
        std::shared_ptr<Entity> owner = entity.lock();
        if (!owner) return;
        const glm::dvec3 dv = velocity - owner->velocity;
        owner->rotation = rotation;
        owner->position = position - rotation * owner->centerOfMass;
        owner->velocity = velocity;
        owner->angularVelocity = angularVelocity;
        owner->linearImpulse = glm::dvec3(0.0);
        owner->angularImpulse = glm::dvec3(0.0);
        owner->impulseExtra = 0;
        owner->externalAcceleration = glm::dvec3(0.0);
        owner->restTime += restCount;

        ChangeParent(owner);

        const glm::dvec3 felt = frameAcceleration + externalAcceleration - dv / deltaTime;
        const glm::dvec3 local = glm::inverse(glm::mat3_cast(owner->rotation)) * felt;
        if constexpr (requires { owner->localAccelerationDirty = false; }) owner->localAccelerationDirty = false;
        owner->localAcceleration = 0.9 * owner->localAcceleration + 0.1 * local;
    }

    // Before the first substep of a top-level body in an environment: externalAcceleration becomes
    // the entity's own plus the environment's gravity at the body, as each substep's environment
    // pass will make it again. Defined in RigidbodyEnvironment.h.
    void TakeEnvironmentGravity(const EnvironmentFunction& function);
    // Environment forces, defined in RigidbodyEnvironment.h. Per substep of a top-level body:
    // gravity, its aerodynamic surfaces, ground contact, buoyancy, damping in liquids, rest.
    void InteractWithEnvironment(const EnvironmentFunction& function, double deltaTime);
    // Once per frame for a body living in the frame of a top-level parent whose transform is
    // `parentTransform`: ground contact and buoyancy only.
    void InteractWithEnvironmentFromParent(const glm::dmat4& parentTransform, const EnvironmentFunction& function,
                                           double deltaTime);
    // Once per frame: rebuilds the aerodynamic surfaces from the colliders and the motion.
    void ComputeAerodynamicSurfaces(const EnvironmentFunction& function);

    // Held-up contacts. Answered one contact at a time, a column of moving bodies can't carry its
    // own weight: a pair shares its overlap by inverse mass, the lower body is pushed into the
    // one under it, and a tall pile sinks into itself, deep enough for the least overlap to turn
    // sideways and squeeze bodies out of the pile. So a body remembers whether its last pass of
    // contacts held it up (a contact pushing against the acceleration it falls with, from a fixed
    // body, or from a body that was itself held up); a moving body that lies on a held-up body
    // meets it as it meets a fixed body: the whole overlap and the impulse are its own, and the
    // contact counts for its rest test. The weight of a pile then rests on what holds it, and a
    // pile comes to rest from the bottom up within a few frames. Only contacts that hold a body up
    // count for its rest test: a box wedged among fixed neighbours touches their sides too, and
    // those contacts, not parallel to the ones under it, would keep it from ever resting.
    // Without an acceleration to fall with, every contact counts and pairs share as before.
    //
    // Whether a contact whose normal is `n` can hold the body up: it pushes against the
    // acceleration the body falls with. Any contact can when it falls with none.
    bool HoldsUp(const glm::dvec3& n) const {
        const glm::dvec3 up = Up();
        return up == glm::dvec3(0.0) || glm::dot(n, up) > tuning::kParallelContacts;
    }

    // Against the acceleration the body falls with; zero when it falls with none.
    glm::dvec3 Up() const {
        const glm::dvec3 a = frameAcceleration + externalAcceleration;
        const double length = glm::length(a);
        return length > 0 ? -a / length : glm::dvec3(0.0);
    }

    // A body wedged among others (leaning on a neighbour, held between two) is held up by contacts
    // that aren't parallel, and the rest test, made for a body lying on a face, never passes: a
    // settled pile keeps a crowd of such bodies awake, each nudged by gravity and stopped by its
    // contacts every substep. So a body also counts a step at rest when, through every substep of
    // a frame, it touched something, moved slower than tuning::kStillSpeed and turned slower than
    // tuning::kStillSpin, and the points it touched this frame surround its centre of mass across
    // the direction it falls in. A body tipping over an edge touches along that edge only, and
    // stays awake, however slow.
    bool StillAmongContacts() const {
        if (!_touchedNow || !(glm::length(velocity) < tuning::kStillSpeed) ||
            !(glm::length(angularVelocity) < tuning::kStillSpin) || _touchPoints.size() < 3)
            return false;
        const glm::dvec3 up = Up();
        if (up == glm::dvec3(0.0)) return false;
        const glm::dvec3 helper = std::abs(up.x) < 0.9 ? glm::dvec3(1, 0, 0) : glm::dvec3(0, 1, 0);
        const glm::dvec3 u = glm::normalize(glm::cross(up, helper));
        const glm::dvec3 v = glm::cross(up, u);
        double minU = 0, maxU = 0, minV = 0, maxV = 0;
        for (const glm::dvec3& p : _touchPoints) {
            minU = std::min(minU, glm::dot(p, u));
            maxU = std::max(maxU, glm::dot(p, u));
            minV = std::min(minV, glm::dot(p, v));
            maxV = std::max(maxV, glm::dot(p, v));
        }
        return minU < 0 && maxU > 0 && minV < 0 && maxV > 0;
    }

    // Remembers where the body touched something in this frame (relative to its centre of mass),
    // the contact point and the corners of the touch, merged as the rest test's points are.
    template <class Touch>
    void AddTouch(const glm::dvec3& point, const Touch& touch) {
        _touchedNow = true;
        auto add = [this](const glm::dvec3& p) {
            const glm::dvec3 r = p - position;
            for (const glm::dvec3& q : _touchPoints)
                if (glm::length(q - r) < tuning::kContactMergeDistance) return;
            _touchPoints.push_back(r);
        };
        add(point);
        for (int i = 0; i < touch.count; ++i) add(touch.corners[i]);
    }

private:
    bool _touchedNow = false;                 // touched something in this collision pass
    int _stillSteps = 0;                      // collision passes in a row that found it still
    double _frameDeltaTime = 0;               // of the frame the body was made for
    std::vector<glm::dvec3> _touchPoints;     // see AddTouch
    bool _supported = false;     // held up from below at its last collision pass
    bool _supportedNow = false;  // in this pass so far
    glm::dvec3 _entityAcceleration{0.0};  // the entity's own externalAcceleration of this frame
    glm::dvec3 _startCentre{0.0};         // boundsCenterWorld when the frame began
    // What a contact callback is handed: copies of the colliders as placed for the test, kept
    // with the body so that handing them over doesn't allocate.
    entity::ConvexMeshCollider _callout[2];

    struct EnvironmentPass;
    EnvironmentInfo QueryEnvironment(EnvironmentPass& pass, const glm::dvec3& point, EnvironmentInfoFlags flags,
                                     double sampledRadius);
    void ApplySurfaceForces(EnvironmentPass& pass);
    void GroundAndBuoyancy(EnvironmentPass& pass, double altitude);
    void GroundTest(EnvironmentPass& pass, const entity::ConvexMeshCollider& c, const glm::dmat4& relative,
                    const glm::dvec3& groundNormal, EnvironmentInfoFlags flags);
    void GroundContact(EnvironmentPass& pass, const entity::ConvexMeshCollider& c, const glm::dmat4& relative,
                       Collision collision, const glm::dvec3& positionBeforeContacts);
    void SampleBuoyancy(EnvironmentPass& pass, const entity::ConvexMeshCollider& c, const glm::dmat4& relative);
    void DampInMedium(const EnvironmentPass& pass, const glm::dvec3& up);
    void SurfaceWalk(const entity::ConvexMeshCollider& c, const glm::dmat4& placed, double minVolume);
    void AddColliderSurfaces(const entity::ConvexMeshCollider& c, const glm::dmat4& placed, bool wing,
                             double aspectRatio);
    bool RayHitsBody(const glm::dvec3& origin, const glm::dvec3& direction, const entity::ConvexMeshCollider* self,
                     bool wingsShadow) const;
    void AddSurfaceDebug(const AerodynamicSurface& surface, bool lift);
    void RecordDebugLine(const glm::dvec3& from, const glm::dvec3& to, float r, float g, float b);
    template <class Visit>
    static void ForEachSolidPart(const entity::ConvexMeshCollider& c, const glm::dmat4& relative, Visit&& visit);

    // State of one CollisionDetection call shared by the nested collider walk.
    struct Walk {
        double deltaTime;
        double minFriction = 1.0;  // smallest friction touched among the fixed contacts
        bool touched = false;      // a fixed contact since the collider's transform was refreshed
    };

    // A collider placed by a transform to the space of the test, without copying either;
    // with the same placing worked out for a run of tests when there is one.
    struct Placed {
        const entity::ConvexMeshCollider* shape;
        const glm::dmat4* transform;  // lives at least as long as the call it is passed to
        PlacedShape* prepared = nullptr;
    };

    // One collider of this body against one collider of a fixed body or of the parent. A collider
    // whose fill is below tuning::kSolidFill is only a container: its children are tested instead, behind a box
    // pre-test.
    void Collide(Walk& walk, const Placed& a, const Placed& b) {
        const entity::ConvexMeshCollider& as = *a.shape;
        const entity::ConvexMeshCollider& bs = *b.shape;
        QUORL_ASSERT(as.children && bs.children);
        if (bs.fill < tuning::kSolidFill && !bs.children->empty()) {
            if (!PotentialBoxBoxIntersection(as, *a.transform, bs, *b.transform)) return;
            for (const entity::ConvexMeshCollider& e : *bs.children) {
                if (!IsCollidableChild(e)) continue;
                const glm::dmat4 placedE = Multiply(*b.transform, e.transform);
                Collide(walk, a, {&e, &placedE});
            }
            return;
        }
        if (as.fill < tuning::kSolidFill && !as.children->empty()) {
            if (!PotentialBoxBoxIntersection(bs, *b.transform, as, *a.transform)) return;
            for (const entity::ConvexMeshCollider& e : *as.children) {
                if (!IsCollidableChild(e)) continue;
                const glm::dmat4 placedE = Multiply(*a.transform, e.transform);
                Collide(walk, {&e, &placedE}, b);
            }
            return;
        }
        Collision collision = a.prepared && b.prepared ? ConvexCollision(*a.prepared, *b.prepared)
                              : a.prepared           ? ConvexCollision(*a.prepared, bs, *b.transform)
                                                     : ConvexCollision(as, *a.transform, bs, *b.transform);
        if (!(collision.depth > 0)) return;
        KeepStartingSide(collision, a, b);
        if (recordDebugLines) RecordContactLine(collision);
        bool holds = true;
        double frictionA = as.friction, frictionB = bs.friction;
        if (as.callback) {
            // The callback sees copies of the colliders as placed for the test, and the response
            // obeys the friction it leaves on them.
            entity::ConvexMeshCollider& placedA = _callout[0];
            entity::ConvexMeshCollider& placedB = _callout[1];
            detail::CopyForStep(placedA, as);
            detail::CopyForStep(placedB, bs);
            placedA.transform = *a.transform;
            placedB.transform = *b.transform;
            holds = as.callback(this, &placedA, &placedB, collision, walk.deltaTime);
            frictionA = placedA.friction;
            frictionB = placedB.friction;
            ForgetPlacements();  // the callback may have changed this body's colliders
            if (a.prepared) a.prepared->Forget();
        }
        const TouchArea touch = TouchingCorners(a, b, collision.normal);
        if (holds && HoldsUp(collision.normal)) {
            AddStaticContactPoint(collision.normal, collision.position);
            for (int i = 0; i < touch.count; ++i) AddStaticContactPoint(collision.normal, touch.corners[i]);
        }
        if (collision.depth > 0) {
            if (glm::dot(collision.normal, Up()) > tuning::kParallelContacts) _supportedNow = true;
            RespondToCollision(this, touch.Centred(collision), frictionA * frictionB);
            HoldOnFace(this, nullptr, touch, collision.normal, frictionA * frictionB);
            walk.minFriction = std::min({frictionB, frictionA, walk.minFriction});
        }
        walk.touched = true;
        AddTouch(collision.position, touch);
    }

    // The contact test turns its normal by the centres of the two shapes and reports the least
    // overlap. A body pressed into a fixed body thinner than itself (by the bodies piled on it)
    // has its centre pass the fixed body's middle, and the normal would then push it on through.
    // When the normal points away from the side where the body's centre began the frame, the
    // body is pushed out on that side instead, far enough to clear it.
    void KeepStartingSide(Collision& collision, const Placed& a, const Placed& b) const {
        if (a.shape->isSphere || b.shape->isSphere || a.shape->vertexCount == 0 || b.shape->vertexCount == 0) return;
        if (!(glm::dot(_startCentre - ColliderCenter(*b.shape, *b.transform), collision.normal) < 0)) return;
        const glm::dvec3 n = -collision.normal;
        const double clear = Extent(b, n).second - Extent(a, n).first;
        if (!(clear > 0)) return;
        collision.normal = n;
        collision.depth = clear;
    }

    // Least and greatest of a placed shape's vertices along an axis.
    static std::pair<double, double> Extent(const Placed& p, const glm::dvec3& axis) {
        double lo = std::numeric_limits<double>::max(), hi = -lo;
        for (uint32_t i = 0; i < p.shape->vertexCount && i < 8; ++i) {
            const double d = glm::dot(TransformPoint(*p.transform, glm::dvec3(p.shape->vertices[i])), axis);
            lo = std::min(lo, d);
            hi = std::max(hi, d);
        }
        return {lo, hi};
    }

    // The contact test reports one point per pair: the first corner of the smaller shape found
    // inside the other. A body lying on a face touches along a whole area: for two boxes, the
    // clipped face of ContactPatch, whose centroid takes no side; for other hulls, the corners of
    // each shape that lie inside the other's box. Their points are kept as support points,
    // since with one point per substep a body would collect the same corner again and again and
    // never pass the rest test; and the response acts at their middle. An impulse at one corner of
    // a face that lands flat would set the body spinning, and the next corner's impulse would
    // throw it up: a bounce, where contacts are meant to be perfectly inelastic.
    struct TouchArea {
        glm::dvec3 corners[16];
        int count = 0;
        bool patch = false;       // the corners are a contact patch's, with its centroid
        glm::dvec3 centre{0.0};
        // The collision moved to the centroid of the patch, or to the middle of the corners when
        // there are several.
        Collision Centred(const Collision& collision) const {
            Collision centred = collision;
            if (patch) {
                centred.position = centre;
                return centred;
            }
            if (count < 2) return collision;
            glm::dvec3 sum(0.0);
            for (int i = 0; i < count; ++i) sum += corners[i];
            centred.position = sum / double(count);
            return centred;
        }
    };

    // Whether the corners of a touch lie on both sides of `centre` in both directions of the
    // contact plane: a body with its centre of mass there stands on the area.
    static bool StandsOn(const TouchArea& touch, const glm::dvec3& n, const glm::dvec3& centre) {
        if (touch.count < 3) return false;
        const glm::dvec3 helper = std::abs(n.x) < 0.9 ? glm::dvec3(1, 0, 0) : glm::dvec3(0, 1, 0);
        const glm::dvec3 u = glm::normalize(glm::cross(n, helper));
        const glm::dvec3 v = glm::cross(n, u);
        double minU = 0, maxU = 0, minV = 0, maxV = 0;
        for (int i = 0; i < touch.count; ++i) {
            const glm::dvec3 p = touch.corners[i] - centre;
            minU = std::min(minU, glm::dot(p, u));
            maxU = std::max(maxU, glm::dot(p, u));
            minV = std::min(minV, glm::dot(p, v));
            maxV = std::max(maxV, glm::dot(p, v));
        }
        return minU < 0 && maxU > 0 && minV < 0 && maxV > 0;
    }

    // Added to the inelastic response of a contact: a body standing on a touch area (its centre of
    // mass over the corners that touch) can't turn about an axis of the contact plane, so the
    // relative turning about those axes is removed, by an angular impulse shared by the two
    // inertias (all of it on `a` against a fixed body). One impulse at one point per contact and
    // substep leaves a box that lands on a face rocking from corner to corner: each corner's
    // impulse turns some of the fall into spin, and a pile of turned boxes then shakes itself
    // apart, its bottom boxes squeezed out sideways and over the edge of what holds them. Tipping
    // over an edge that the centre of mass is beyond is left alone. Turning about the normal loses
    // the fraction `friction` of itself, as sliding does at a contact: the response acts at the
    // middle of the touch, where that turning slides nothing, and a box spinning on its face would
    // otherwise spin for ever and never pass the rest test.
    static void HoldOnFace(DynamicRigidbody* a, DynamicRigidbody* b, const TouchArea& touch, const glm::dvec3& n,
                           double friction) {
        if (!StandsOn(touch, n, a->position) && !(b && StandsOn(touch, n, b->position))) return;
        glm::dvec3 w = a->angularVelocity - (b ? b->angularVelocity : glm::dvec3(0.0));
        w -= (1.0 - std::clamp(friction, 0.0, 1.0)) * glm::dot(w, n) * n;
        if (!b) {
            a->angularVelocity -= w;
            return;
        }
        const glm::dmat3 k = a->invInertiaTensorWorld + b->invInertiaTensorWorld;
        const glm::dvec3 l = glm::inverse(k) * w;
        a->angularVelocity -= a->invInertiaTensorWorld * l;
        b->angularVelocity += b->invInertiaTensorWorld * l;
    }

    // Two boxes touch along their contact patch (see ContactPatch); other hulls, and boxes whose
    // faces don't meet, along the corners of each inside the other's box.
    static TouchArea TouchingCorners(const Placed& a, const Placed& b, const glm::dvec3& normal) {
        TouchArea touch;
        if (a.shape->isSphere || b.shape->isSphere) return touch;
        PlacedBox boxA, boxB;
        if (BoxOf(a, boxA) && BoxOf(b, boxB)) {
            const ContactPatch patch = ContactPatch::Between(boxA, boxB, normal);
            if (patch.count > 0) {
                for (int i = 0; i < patch.count; ++i) touch.corners[i] = patch.points[i];
                touch.count = patch.count;
                touch.centre = patch.centre;
                touch.patch = true;
                return touch;
            }
        }
        AddCornersInside(touch, a, b);
        AddCornersInside(touch, b, a);
        return touch;
    }

    static bool BoxOf(const Placed& p, PlacedBox& box) {
        if (p.prepared) return PlacedBoxOf(*p.prepared, box);
        PlacedShape placed(*p.shape, *p.transform);
        return PlacedBoxOf(placed, box);
    }

    static void AddCornersInside(TouchArea& touch, const Placed& corners, const Placed& box) {
        const glm::dmat4 toBox =
            Multiply(box.prepared ? box.prepared->inverse() : glm::affineInverse(*box.transform), *corners.transform);
        for (uint32_t inside = CornersInside(*corners.shape, toBox, glm::dvec3(box.shape->box_min),
                                             glm::dvec3(box.shape->box_max));
             inside != 0 && touch.count < 16; inside &= inside - 1) {
            const glm::dvec3 v(corners.shape->vertices[__builtin_ctz(inside)]);
            touch.corners[touch.count++] = TransformPoint(*corners.transform, v);
        }
    }

    // A red line from the contact along its normal, in the body's own space.
    void RecordContactLine(const Collision& collision) {
        const glm::dmat4 toBody = glm::affineInverse(GetTransform());
        PhysicsLineDebug& line = debugLines.emplace_back();
        line.entity = id;
        line.from = TransformPoint(toBody, collision.position);
        line.to = TransformPoint(toBody, collision.position + collision.normal);
        line.color[0] = 1;
        line.color[3] = 1;
    }

    // A body leaves a parent it no longer touches, or when it moves faster than the detach speed;
    // a top-level body joins the largest fixed body it touches once slower than the attach speed.
    void ChangeParent(std::shared_ptr<Entity>& owner) {
        const double speed = glm::length(velocity);
        const bool hasParent = !owner->parentEntity.IsNull();
        std::shared_ptr<Entity> candidate = potentialNewParent.lock();
        enum class Next { Attach, LeaveUnlessTouching, Detach, Done };
        Next next;
        if (touchingEnvironment) {
            next = Next::LeaveUnlessTouching;
        } else if (hasParent && !parentBody && !candidate) {  // also covers an expired candidate
            next = !touchingParent || speed > tuning::kDetachSpeed ? Next::Detach : Next::Done;
        } else if (hasParent && speed > tuning::kDetachSpeed) {
            next = Next::LeaveUnlessTouching;
        } else {
            next = Next::Attach;
        }

        if (next == Next::Attach) {
            if (candidate) {
                // Named as the assertion reports them.
                const std::shared_ptr<Entity>& potentialNewParent = candidate;
                const std::shared_ptr<Entity>& entity = owner;
                CheckSite(potentialNewParent->GetID() != entity->parentEntity, assert_sites::kNewParent);
                if (!hasParent && candidate->parentEntity.IsNull() && speed < tuning::kAttachSpeed)
                    candidate->AddChild(owner);
            }
            return;
        }
        if (next == Next::LeaveUnlessTouching) {
            if (touchingParent && !(speed > tuning::kDetachSpeed)) return;
            if (!hasParent) return;
        }
        if (next == Next::Done || !owner->isDetachable) return;
        std::shared_ptr<Entity> parent = Entity::Get(owner->parentEntity);
        if (!parent) return;
        frameAcceleration = glm::dvec3(0.0);
        parent->RemoveChild(owner);
        position = owner->GetPositionAtCenterOfMass();
        rotation = owner->rotation;
    }
};

}  // namespace game::physics

// Out-of-class members of DynamicRigidbody that deal with the environment.
#include "game/physics/RigidbodyEnvironment.h"
