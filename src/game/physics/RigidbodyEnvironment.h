#pragma once
// What the world outside the entities does to a moving body: gravity, lift and drag of its
// aerodynamic surfaces, contact with the environment's ground, buoyancy and damping in liquids.
// The environment is seen only through its function, which answers queries about points.
//
// Members of DynamicRigidbody<Entity>, declared in Rigidbody.h, which includes this file.
#include <algorithm>
#include <cmath>
#include <limits>

#include <glm/gtc/matrix_inverse.hpp>

#include "game/AssertSites.h"
#include "game/physics/Aerodynamics.h"
#include "game/physics/EnvironmentInfo.h"
#include "game/physics/EnvironmentRandom.h"
#include "game/physics/Rigidbody.h"

namespace game::physics {

namespace detail {
inline constexpr double kDoubleEpsilon = std::numeric_limits<double>::epsilon();
// Query bits: medium only, ground test, gravity and altitude with the ground test, and that with
// the ground normal under a collider.
inline constexpr EnvironmentInfoFlags kMediumQuery = 0;
inline constexpr EnvironmentInfoFlags kGroundQuery = 1;
inline constexpr EnvironmentInfoFlags kGravityQuery = 5;
inline constexpr EnvironmentInfoFlags kGroundNormalQuery = 7;
// Container colliders: below this fill only their children are solid for contact and buoyancy,
// and below the second for the aerodynamic surfaces.
inline constexpr double kSolidFill = tuning::kSolidFill;
inline constexpr double kSurfaceSolidFill = tuning::kSurfaceSolidFill;

// The draws of one pass over a body: they follow from the seed and the body's state alone.
inline StateRandom StartDraws(uint64_t seed, const glm::dvec3& position, const glm::dquat& rotation,
                              const glm::dvec3& velocity, const glm::dvec3& angularVelocity) {
    StateRandom draws(seed);
    draws.Absorb(position).Absorb(rotation).Absorb(velocity).Absorb(angularVelocity);
    return draws;
}
}  // namespace detail

// State of one environment pass over a body. For a body inside a parent, queries go through the
// parent's transform to the environment's frame and the answers come back to the parent's frame.
template <class Entity>
struct DynamicRigidbody<Entity>::EnvironmentPass {
    const EnvironmentFunction& function;
    double deltaTime;
    bool inParent = false;
    glm::dmat4 toEnvironment{1.0};
    glm::dmat4 fromEnvironment{1.0};
    glm::dvec3 gravity{0.0};  // in the body's frame
    double lastDensity = 0;   // of the latest query, whatever it asked
    int samples = 0;          // buoyancy samples, with the sums of what they found
    double densitySum = 0;
    double viscositySum = 0;
    double minFriction = 1.0;  // lowered by ground contacts; the bound of the rest test
    StateRandom buoyancyDraws{0};  // from the body's state at the start of the pass
};

template <class Entity>
EnvironmentInfo DynamicRigidbody<Entity>::QueryEnvironment(EnvironmentPass& pass, const glm::dvec3& point,
                                                           EnvironmentInfoFlags flags, double sampledRadius) {
    EnvironmentInfo info;
    if (!pass.inParent) {
        info = pass.function(point, flags, sampledRadius);
    } else {
        info = pass.function(TransformPoint(pass.toEnvironment, point), flags, sampledRadius);
        const glm::dmat3 back(pass.fromEnvironment);
        info.gravity = back * info.gravity;
        info.collision.position = TransformPoint(pass.fromEnvironment, info.collision.position);
        info.collision.normal = back * info.collision.normal;
    }
    pass.lastDensity = info.density;
    return info;
}

template <class Entity>
void DynamicRigidbody<Entity>::TakeEnvironmentGravity(const EnvironmentFunction& function) {
    const EnvironmentInfo here = function(GetPositionAtCenterOfBounds(), detail::kGravityQuery, radius / 2);
    externalAcceleration = _entityAcceleration + here.gravity;
}

template <class Entity>
void DynamicRigidbody<Entity>::InteractWithEnvironment(const EnvironmentFunction& function, double deltaTime) {
    EnvironmentPass pass{function, deltaTime};
    pass.buoyancyDraws = detail::StartDraws(BuoyancySeed(), position, rotation, velocity, angularVelocity);
    const EnvironmentInfo here = QueryEnvironment(pass, GetPositionAtCenterOfBounds(), detail::kGravityQuery, radius / 2);
    externalAcceleration = _entityAcceleration + here.gravity;
    const double altitude = here.altitude;
    if (here.gravity == glm::dvec3(0.0)) return;
    pass.gravity = here.gravity;
    const glm::dvec3 up = glm::normalize(-here.gravity);
    CheckSite(this->invMass > 0, assert_sites::kEnvironmentMass);

    ApplySurfaceForces(pass);
    GroundAndBuoyancy(pass, altitude);
    if (pass.samples == 0) {
        const EnvironmentInfo medium =
            QueryEnvironment(pass, GetPositionAtCenterOfBounds(), detail::kMediumQuery, 0.0);
        pass.samples = 1;
        pass.densitySum = medium.density;
        pass.viscositySum = medium.viscosity;
    }
    DampInMedium(pass, up);

    glm::dvec3 n;
    if (GetStaticContact(n)) {
        const glm::dvec3 t = velocity - glm::dot(velocity, n) * n;
        if (glm::length(t) < pass.minFriction && glm::length(angularVelocity) < pass.minFriction) restCount += 1;
    }
}

template <class Entity>
void DynamicRigidbody<Entity>::InteractWithEnvironmentFromParent(const glm::dmat4& parentTransform,
                                                                 const EnvironmentFunction& function,
                                                                 double deltaTime) {
    EnvironmentPass pass{function, deltaTime};
    pass.inParent = true;
    pass.toEnvironment = parentTransform;
    pass.fromEnvironment = glm::affineInverse(parentTransform);
    pass.buoyancyDraws = detail::StartDraws(BuoyancySeed(), position, rotation, velocity, angularVelocity);
    const EnvironmentInfo here = QueryEnvironment(pass, GetPositionAtCenterOfBounds(), detail::kGravityQuery, radius / 2);
    if (here.gravity == glm::dvec3(0.0)) return;
    // Gravity reaches a child through its frame's acceleration; it is kept here only as the weight
    // of the liquid that buoyancy displaces, and isn't written to externalAcceleration.
    pass.gravity = here.gravity;
    CheckSite(this->invMass > 0, assert_sites::kEnvironmentMass);
    GroundAndBuoyancy(pass, here.altitude);
}

template <class Entity>
void DynamicRigidbody<Entity>::ApplySurfaceForces(EnvironmentPass& pass) {
    using std::isnan;
    for (const AerodynamicSurface& s : aerodynamicSurfaces) {
        const glm::dvec3 u = velocity + glm::cross(angularVelocity, s.position);
        const double speed = glm::length(u);
        if (!(speed > detail::kDoubleEpsilon)) continue;
        const glm::dvec3 d = u / speed;
        // A face turned away from the flow acts as its mirror: thin plates lift from both sides.
        glm::dvec3 n = glm::normalize(rotation * s.normal);
        if (glm::dot(n, d) < 0) n = -n;
        const EnvironmentInfo medium = QueryEnvironment(pass, position + s.position, detail::kMediumQuery, 0.0);
        glm::dvec3 drag =
            medium.density * speed * speed * s.area * (-n * s.liftCoefficient - d * s.dragCoefficient / 2.0);
        const double size2 = glm::dot(drag, drag);
        if (!(size2 > detail::kDoubleEpsilon)) continue;
        // One step can never reverse the motion: the speed change of this step, F dt / m, is at
        // most the speed.
        const double limit = speed / (invMass * pass.deltaTime);
        if (size2 > limit * limit) drag *= limit / std::sqrt(size2);
        CheckSite(!isnan(drag.x) && !isnan(drag.y) && !isnan(drag.z), assert_sites::kDragFinite);
        ApplyImpulse(drag * pass.deltaTime, s.position);
        if (recordDebugLines) {
            // Scaled to the acceleration the surface gives, a tenth of a metre per m/s^2.
            const glm::dvec3 at = position + s.position;
            RecordDebugLine(at, at + drag * invMass * 0.1, 0, 0.5f, 1);
        }
    }
}

template <class Entity>
template <class Visit>
void DynamicRigidbody<Entity>::ForEachSolidPart(const entity::ConvexMeshCollider& c, const glm::dmat4& relative,
                                                Visit&& visit) {
    QUORL_ASSERT(c.children);
    if (c.fill < detail::kSolidFill && !c.children->empty()) {
        for (const entity::ConvexMeshCollider& e : *c.children) {
            if (IsCollidableChild(e)) ForEachSolidPart(e, relative * e.transform, visit);
        }
        return;
    }
    visit(c, relative);
}

// Ground contact of colliders near the ground, then one buoyancy sample per solid part.
template <class Entity>
void DynamicRigidbody<Entity>::GroundAndBuoyancy(EnvironmentPass& pass, double altitude) {
    const double h = altitude - 3.0 * radius;
    for (const entity::ConvexMeshCollider& c : colliders) {
        if (h < 0) {
            const glm::dvec3 centre = ColliderCenter(c, Multiply(GetTransform(), c.transform));
            const EnvironmentInfo under = QueryEnvironment(pass, centre, detail::kGroundNormalQuery, c.radius / 2);
            const EnvironmentInfoFlags flags = c.groundQueryWithoutBit4 ? detail::kGroundQuery : detail::kGravityQuery;
            GroundTest(pass, c, c.transform, under.collision.normal, flags);
        }
        ForEachSolidPart(c, c.transform, [&](const entity::ConvexMeshCollider& part, const glm::dmat4& relative) {
            SampleBuoyancy(pass, part, relative);
        });
    }
}

// The lowest point of the collider's sphere first: if it is above the ground nothing of the
// collider can touch. A sphere touches there. A container passes the test on to its children.
// A hull touches with each of its vertices in the ground, queried at the pose of the test and
// answered as one set of contacts.
template <class Entity>
void DynamicRigidbody<Entity>::GroundTest(EnvironmentPass& pass, const entity::ConvexMeshCollider& c,
                                          const glm::dmat4& relative, const glm::dvec3& groundNormal,
                                          EnvironmentInfoFlags flags) {
    QUORL_ASSERT(c.children);
    const glm::dmat4 placed = Multiply(GetTransform(), relative);
    const glm::dvec3 bottom = ColliderCenter(c, placed) - c.radius * groundNormal;
    const EnvironmentInfo hit = QueryEnvironment(pass, bottom, flags, 0.0);
    if (!(hit.collision.depth > 0)) return;
    const glm::dvec3 before = position;
    if (c.fill < detail::kSolidFill && !c.children->empty()) {
        for (const entity::ConvexMeshCollider& e : *c.children) {
            if (IsCollidableChild(e)) GroundTest(pass, e, relative * e.transform, groundNormal, flags);
        }
        return;
    }
    if (c.isSphere || c.vertexCount == 0) {
        GroundContact(pass, c, relative, hit.collision, before);
        return;
    }
    // Vertices clearly above the ground plane found under the sphere aren't queried.
    const glm::dvec3 surfacePoint = bottom + hit.collision.normal * hit.collision.depth;
    const glm::dvec3 surfaceNormal = hit.collision.normal;
    const double margin = 0.25 * c.radius;
    Collision contacts[8];
    int count = 0;
    const uint32_t vertexCount = std::min<uint32_t>(c.vertexCount, 8);
    for (uint32_t i = 0; i < vertexCount; ++i) {
        const glm::dvec3 v = TransformPoint(placed, glm::dvec3(c.vertices[i]));
        if (glm::dot(v - surfacePoint, surfaceNormal) > margin) continue;
        const EnvironmentInfo at = QueryEnvironment(pass, v, flags, 0.0);
        if (at.collision.depth > 0) contacts[count++] = at.collision;
    }
    for (int i = 0; i < count; ++i) GroundContact(pass, c, relative, contacts[i], before);
}

template <class Entity>
void DynamicRigidbody<Entity>::GroundContact(EnvironmentPass& pass, const entity::ConvexMeshCollider& c,
                                             const glm::dmat4& relative, Collision collision,
                                             const glm::dvec3& positionBeforeContacts) {
    if (recordDebugLines) RecordDebugLine(collision.position, collision.position + collision.normal, 1, 0, 1);
    bool holds = true;
    double friction = c.friction;
    if (c.callback) {
        // The callback sees the collider as placed for the test, and the response obeys the
        // friction it leaves there.
        entity::ConvexMeshCollider& placed = _callout[0];
        detail::CopyForStep(placed, c);
        placed.transform = Multiply(GetTransform(), relative);
        holds = c.callback(this, &placed, nullptr, collision, pass.deltaTime);
        friction = placed.friction;
    }
    if (holds) AddStaticContactPoint(collision.normal, collision.position);
    if (collision.depth > 0) {
        // Contacts found together share the way out: what earlier ones of the set have already
        // moved the body along this normal isn't moved again.
        Collision response = collision;
        response.depth = std::max(0.0, collision.depth - glm::dot(position - positionBeforeContacts, collision.normal));
        RespondToCollision(this, response, 0.1 * friction);
    }
    if (friction > 0) pass.minFriction = std::min({0.1, friction, pass.minFriction});
    touchingEnvironment = true;
}

// Archimedes at one uniform random point of the collider's box: the whole box's displaced volume
// times the density found there. Averaged over substeps, the force follows the submerged share.
// The point is drawn from the body's own state (EnvironmentRandom.h), so that no other body's
// draws change it. The force acts at the box's centre: a body floats upright only where the
// centres of its colliders' boxes lie above its centre of mass in the balance of their lifts.
template <class Entity>
void DynamicRigidbody<Entity>::SampleBuoyancy(EnvironmentPass& pass, const entity::ConvexMeshCollider& c,
                                              const glm::dmat4& relative) {
    const glm::dvec3 lo(c.box_min), hi(c.box_max);
    const glm::dvec3 size = hi - lo;
    const double volume = std::abs(size.x * size.y * size.z) * c.displacement;
    if (!(volume > 0) || !(pass.lastDensity > 0)) return;
    StateRandom& random = pass.buoyancyDraws;
    glm::dvec3 point;
    point.z = hi.z + (lo.z - hi.z) * double(random.UnitFloat());
    point.y = hi.y + (lo.y - hi.y) * double(random.UnitFloat());
    point.x = hi.x + (lo.x - hi.x) * double(random.UnitFloat());
    const glm::dmat4 placed = Multiply(GetTransform(), relative);
    const EnvironmentInfo medium =
        QueryEnvironment(pass, TransformPoint(placed, point), detail::kMediumQuery, 0.0);
    pass.samples += 1;
    pass.viscositySum += medium.viscosity;
    pass.densitySum += medium.density;
    const glm::dvec3 force = -pass.gravity * volume * medium.density;
    ApplyImpulse(force * pass.deltaTime, ColliderCenter(c, placed) - position);
}

// Between the viscosity of air and that of water the body is (partly) in a liquid: its motion is
// damped, more the more liquid its samples found. Fast through a thin medium, its spin is damped.
template <class Entity>
void DynamicRigidbody<Entity>::DampInMedium(const EnvironmentPass& pass, const glm::dvec3& up) {
    if (pass.viscositySum == 0 && pass.samples == 0) return;
    const double viscosity = pass.viscositySum / pass.samples;
    const double density = pass.densitySum / pass.samples;
    const double dt = pass.deltaTime;
    if (viscosity > 1.51e-05 && viscosity < 0.000999) {
        const double t = (viscosity - 1.5e-05) / 0.000985;
        const double w = t * t * (3.0 - 2.0 * t);
        const double a = std::clamp(dt * w, 0.0, 1.0);
        const double b = std::clamp(dt * w, 0.0, 0.5);
        const glm::dvec3 vertical = up * glm::dot(velocity, up);
        const glm::dvec3 horizontal = velocity - vertical;
        velocity -= vertical * 0.99 * dt;
        velocity -= horizontal * 0.5 * a;
        const glm::dvec3 spinVertical = up * glm::dot(angularVelocity, up);
        const glm::dvec3 spinHorizontal = angularVelocity - spinVertical;
        angularVelocity -= spinVertical * 0.5 * b;
        angularVelocity -= spinHorizontal * 0.9 * a;
        touchingEnvironment = true;
    } else if (glm::dot(velocity, velocity) > 100) {
        const double k = std::clamp(glm::length(velocity) * dt / 25.0, 0.0, 0.4);
        const double m = std::min(density, 1.0);
        angularVelocity -= angularVelocity * m * k;
    }
}

// Surfaces are made on the faces of the colliders that meet the flow. Each such face is cut into
// cells of about kSurfaceCellSize metres (at most kMaxSurfaceCellsPerSide along a side); a cell
// is exposed when a ray from a random point of it, towards the flow, meets no other collider of
// the body. An exposed cell gives a drag surface at its centre with the cell's area seen from the
// flow, or on the broad face of a wing a lift surface with the wing's normal-force coefficient
// at the present angle of attack (the flip of a face turned away makes the plate two-sided). Surfaces sit at cell centres so that a free face
// pulls the same way every frame; the random points only decide the partly shadowed cells.
// A wing's thin wake deflects the flow more than it hides what lies behind, so wings don't
// shadow the lift of other wings: a tail plane level with the main wing still steadies the
// aircraft.
template <class Entity>
void DynamicRigidbody<Entity>::ComputeAerodynamicSurfaces(const EnvironmentFunction& function) {
    aerodynamicSurfaces.clear();
    const double pointSample = 0;
    const EnvironmentInfo medium = function(GetPositionAtCenterOfBounds(), detail::kMediumQuery, pointSample);
    if (!(glm::dot(velocity, velocity) > detail::kDoubleEpsilon)) return;
    if (!(medium.density > 0)) return;  // nothing to push on in a vacuum
    const double minVolume = displacedVolume / 200.0;
    SurfaceDraws() = detail::StartDraws(SurfaceSeed(), position, rotation, velocity, angularVelocity);
    const glm::dmat4 body = GetTransform();
    for (const entity::ConvexMeshCollider& c : colliders) SurfaceWalk(c, Multiply(body, c.transform), minVolume);
}

template <class Entity>
void DynamicRigidbody<Entity>::SurfaceWalk(const entity::ConvexMeshCollider& c, const glm::dmat4& placed,
                                           double minVolume) {
    QUORL_ASSERT(c.children);
    const glm::dvec3 extent = glm::abs(glm::dvec3(c.box_max) - glm::dvec3(c.box_min));
    double s[3] = {extent.x, extent.y, extent.z};
    std::sort(s, s + 3);
    const double volume = s[0] * s[1] * s[2] * c.displacement;
    const double faceArea = s[1] * s[2];
    const bool wing = IsWingShape(s[0], s[1], s[2]);
    if (!(wing || volume > minVolume * c.displacement || (!wing && faceArea > 6))) return;
    if (c.fill < detail::kSurfaceSolidFill && !c.children->empty()) {
        for (const entity::ConvexMeshCollider& e : *c.children) {
            if (IsCollidableChild(e)) SurfaceWalk(e, placed * e.transform, minVolume);
        }
        return;
    }
    AddColliderSurfaces(c, placed, wing, wing ? s[2] / s[1] : 0.0);
}

template <class Entity>
void DynamicRigidbody<Entity>::AddColliderSurfaces(const entity::ConvexMeshCollider& c, const glm::dmat4& placed,
                                                   bool wing, double aspectRatio) {
    const glm::dvec3 lo(c.box_min), hi(c.box_max);
    const glm::dvec3 extent = hi - lo;
    const glm::dvec3 centre = TransformPoint(placed, (lo + hi) * 0.5);
    const glm::dvec3 u = velocity + glm::cross(angularVelocity, centre - position);
    const double speed = glm::length(u);
    if (!(speed > detail::kDoubleEpsilon)) return;
    const glm::dvec3 flow = u / speed;  // the way the body moves, where the air comes from
    const glm::dquat toBody = glm::conjugate(rotation);
    glm::dvec3 length;  // edge lengths in metres
    for (int k = 0; k < 3; ++k) length[k] = std::abs(extent[k]) * glm::length(glm::dvec3(placed[k]));
    int thin = 0;
    for (int k = 1; k < 3; ++k) {
        if (length[k] < length[thin]) thin = k;
    }
    StateRandom& random = SurfaceDraws();
    auto unit = [&random] { return random.Unit(); };

    for (int k = 0; k < 3; ++k) {
        const int k1 = (k + 1) % 3, k2 = (k + 2) % 3;
        if (!(length[k1] > 0) || !(length[k2] > 0)) continue;
        const glm::dvec3 axis = glm::normalize(glm::dvec3(placed[k]));
        const double cosine = glm::dot(axis, flow);
        const double side = cosine >= 0 ? 1.0 : -1.0;
        const glm::dvec3 outward = axis * side;
        const bool lift = wing && k == thin;
        const double liftCoefficient = lift ? 0.5 * WingNormalForceCoefficient(std::abs(cosine), aspectRatio) : 0.0;
        const bool dragFace = !lift && std::abs(cosine) > 1e-6;
        if (!dragFace && !(liftCoefficient > 0)) continue;
        const int n1 = std::clamp(int(std::ceil(length[k1] / kSurfaceCellSize)), 1, kMaxSurfaceCellsPerSide);
        const int n2 = std::clamp(int(std::ceil(length[k2] / kSurfaceCellSize)), 1, kMaxSurfaceCellsPerSide);
        const double cellArea = length[k1] * length[k2] / (n1 * n2);
        glm::dvec3 local(0.0), cell(0.0);
        local[k] = cell[k] = side > 0 ? hi[k] : lo[k];
        for (int i = 0; i < n1; ++i) {
            for (int j = 0; j < n2; ++j) {
                local[k1] = lo[k1] + (i + unit()) / n1 * extent[k1];
                local[k2] = lo[k2] + (j + unit()) / n2 * extent[k2];
                // Just off the face, so that the face's own plane can't stop the ray.
                const glm::dvec3 start = TransformPoint(placed, local) + outward * 1e-3;
                if (RayHitsBody(start, flow, &c, !lift)) continue;
                cell[k1] = lo[k1] + (i + 0.5) / n1 * extent[k1];
                cell[k2] = lo[k2] + (j + 0.5) / n2 * extent[k2];
                AerodynamicSurface surface;
                surface.position = TransformPoint(placed, cell) - position;
                surface.normal = toBody * outward;
                if (dragFace) {
                    const double dragArea = cellArea * std::abs(cosine);
                    CheckSite(dragArea > 0, assert_sites::kDragArea);
                    surface.area = dragArea;
                    surface.liftCoefficient = 0;
                    surface.dragCoefficient = kSurfaceDragCoefficient;
                    aerodynamicSurfaces.push_back(surface);
                    if (recordDebugLines) AddSurfaceDebug(surface, false);
                }
                if (liftCoefficient > 0) {
                    const double liftArea = cellArea;
                    CheckSite(liftArea > 0, assert_sites::kLiftArea);
                    surface.area = liftArea;
                    surface.liftCoefficient = liftCoefficient;
                    surface.dragCoefficient = 0;
                    aerodynamicSurfaces.push_back(surface);
                    if (recordDebugLines) AddSurfaceDebug(surface, true);
                }
            }
        }
    }
}

namespace detail {
// Whether a ray meets a collider placed by `placed`, or for a container one of its children;
// `self` and what lies under it in the walk never count.
inline bool RayHitsCollider(const entity::ConvexMeshCollider& o, const glm::dmat4& placed, const glm::dvec3& origin,
                            const glm::dvec3& direction, const entity::ConvexMeshCollider* self, bool wingsShadow) {
    QUORL_ASSERT(o.children);
    const bool container = o.fill < kSurfaceSolidFill && !o.children->empty();
    if (&o == self && !container) return false;
    if (!wingsShadow && !container) {
        const glm::dvec3 extent = glm::abs(glm::dvec3(o.box_max) - glm::dvec3(o.box_min));
        double s[3] = {extent.x, extent.y, extent.z};
        std::sort(s, s + 3);
        if (IsWingShape(s[0], s[1], s[2])) return false;
    }
    const glm::dmat4 inverse = glm::affineInverse(placed);
    const glm::dvec3 localOrigin = TransformPoint(inverse, origin);
    const glm::dvec3 localDirection = glm::dmat3(inverse) * direction;
    const bool hit =
        RayBoxIntersection(glm::dvec3(o.box_min), glm::dvec3(o.box_max), localOrigin, localDirection);
    if (!container) return hit;
    if (!hit) return false;
    for (const entity::ConvexMeshCollider& e : *o.children) {
        if (IsCollidableChild(e) && RayHitsCollider(e, placed * e.transform, origin, direction, self, wingsShadow)) {
            return true;
        }
    }
    return false;
}
}  // namespace detail

template <class Entity>
bool DynamicRigidbody<Entity>::RayHitsBody(const glm::dvec3& origin, const glm::dvec3& direction,
                                           const entity::ConvexMeshCollider* self, bool wingsShadow) const {
    const glm::dmat4 body = GetTransform();
    for (const entity::ConvexMeshCollider& o : colliders) {
        if (detail::RayHitsCollider(o, body * o.transform, origin, direction, self, wingsShadow)) return true;
    }
    return false;
}

// A thin square of the surface's area lying on it, and its normal: green for drag, yellow for lift.
template <class Entity>
void DynamicRigidbody<Entity>::AddSurfaceDebug(const AerodynamicSurface& surface, bool lift) {
    const glm::dvec3 at = glm::conjugate(rotation) * surface.position;  // body axes
    const glm::dvec3 z = glm::normalize(surface.normal);
    const glm::dvec3 helper = std::abs(z.x) < 0.9 ? glm::dvec3(1, 0, 0) : glm::dvec3(0, 1, 0);
    const glm::dvec3 x = glm::normalize(glm::cross(helper, z));
    const glm::dvec3 y = glm::cross(z, x);
    const float half = float(0.5 * std::sqrt(surface.area));
    entity::ConvexMeshCollider shape;
    shape.SetBox({-half, -half, -0.005f}, {half, half, 0.005f});
    shape.transform = glm::dmat4(glm::dvec4(x, 0), glm::dvec4(y, 0), glm::dvec4(z, 0), glm::dvec4(at, 1));
    shape.name = lift ? "lift surface" : "drag surface";
    debugColliders.push_back(shape);
    const glm::dvec3 from = position + surface.position;
    RecordDebugLine(from, from + rotation * z, lift ? 1.0f : 0.0f, 1, 0);
}

// A line given in the body's frame, recorded in the body's own space.
template <class Entity>
void DynamicRigidbody<Entity>::RecordDebugLine(const glm::dvec3& from, const glm::dvec3& to, float r, float g,
                                               float b) {
    const glm::dmat4 toBody = glm::affineInverse(GetTransform());
    PhysicsLineDebug& line = debugLines.emplace_back();
    line.entity = id;
    line.from = TransformPoint(toBody, from);
    line.to = TransformPoint(toBody, to);
    line.color[0] = r;
    line.color[1] = g;
    line.color[2] = b;
    line.color[3] = 1;
}

}  // namespace game::physics
