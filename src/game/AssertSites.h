#pragma once
// The library's assertions whose messages name a fixed place: the expression as the message
// spells it, and a path and line of their own, which tools and tests match whatever the code
// around the check looks like. One row per site; the check stays where it is written and reads
// its row from here. Assertions that name where they are written use QUORL_ASSERT instead.
#include "quorl/Assert.h"

namespace game {

struct AssertSite {
    const char* expression;
    const char* path;
    int line;
};

namespace assert_sites {

inline constexpr const char* kServerEntityPath = "src/game/entity/ServerSideEntity.cpp";

// Molecule::GetMaximumLiquidDensity of a molecule without atoms.
inline constexpr AssertSite kMoleculeVolume{"atomicVolume > 0", "src/game/Chemistry", 109};
// Controller's hold accessors given both or neither limit: one line per action, from this one on,
// in the order of the action table.
inline constexpr AssertSite kHoldLimits{"(millisecondsMin == 0) != (millisecondsMax == 0)",
                                        "src/game/input/Controller", 443};
// A server entity whose registered kind made no behaviour.
inline constexpr AssertSite kEntityBehaviour{"_interface", kServerEntityPath, 21};
// The entity tree: a child of itself, and removing what is not a plain child.
inline constexpr AssertSite kAddChildNotSelf{"entity->GetID() != GetID()", kServerEntityPath, 261};
inline constexpr AssertSite kRemoveChildOfThis{"entity->parentEntity == GetID()", kServerEntityPath, 271};
inline constexpr AssertSite kRemoveChildNotComponent{"!entity->isComponent", kServerEntityPath, 272};
inline constexpr AssertSite kRemoveChildNotParent{"entity->GetID() != parentEntity", kServerEntityPath, 275};


// Physics. The rigid body's checks are reported under the path and lines of its first form.
inline constexpr const char* kRigidbodyPath = "src/game/physics/Rigidbody.hpp";
// A rigid body rebuilt from its entity: a step of no time, an entity of no mass.
inline constexpr AssertSite kBodyStep{"deltaTime > 0", kRigidbodyPath, 179};
inline constexpr AssertSite kBodyMass{"mass > 0", kRigidbodyPath, 181};
// The body's inertia tensor: one line per edge of its box (x, y, z).
inline constexpr AssertSite kBodyBoxEdgeX{"box_size.x > 0.0", kRigidbodyPath, 200};
inline constexpr AssertSite kBodyBoxEdgeY{"box_size.y > 0.0", kRigidbodyPath, 201};
inline constexpr AssertSite kBodyBoxEdgeZ{"box_size.z > 0.0", kRigidbodyPath, 202};
// The fixed contacts of a body: one point per normal.
inline constexpr AssertSite kStaticContacts{"staticContactNormals.size() == staticRelativeContactPoints.size()",
                                            kRigidbodyPath, 113};
// A body attaching to a new parent that is already its parent.
inline constexpr AssertSite kNewParent{"potentialNewParent->GetID() != entity->parentEntity", kRigidbodyPath, 908};
// The entity's inertia tensor: a mass, then one line per edge of its box (x, y, z).
inline constexpr AssertSite kInertiaMass{"mass > 0.0", kServerEntityPath, 236};
inline constexpr AssertSite kInertiaBoxEdgeX{"box_size.x > 0.0", kServerEntityPath, 237};
inline constexpr AssertSite kInertiaBoxEdgeY{"box_size.y > 0.0", kServerEntityPath, 238};
inline constexpr AssertSite kInertiaBoxEdgeZ{"box_size.z > 0.0", kServerEntityPath, 239};
// The environment's forces on a moving body, which must have a finite mass.
inline constexpr AssertSite kEnvironmentMass{"this->invMass > 0", kRigidbodyPath, 628};
// A drag force that came out not a number.
inline constexpr AssertSite kDragFinite{"!isnan(drag.x) && !isnan(drag.y) && !isnan(drag.z)", kRigidbodyPath, 648};
// Aerodynamic surface cells of no area, facing the flow (drag) and along it (lift).
inline constexpr AssertSite kDragArea{"dragArea > 0", kRigidbodyPath, 701};
inline constexpr AssertSite kLiftArea{"liftArea > 0", kRigidbodyPath, 712};

// The renderer: hit shaders added after the pipelines were built.
inline constexpr AssertSite kShadersLocked{"!renderableShadersLocked", "src/game/graphics/../graphics/GameRenderer.h",
                                           237};

}  // namespace assert_sites

// Aborts with the site's message when `ok` is false. `lineOffset` picks the member of a site that
// stands for a family (one line per member).
inline void CheckSite(bool ok, const AssertSite& site, int lineOffset = 0) {
    if (!ok) quorl::AssertionFailed(site.expression, site.path, site.line + lineOffset);
}

}  // namespace game
