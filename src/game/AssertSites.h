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

}  // namespace assert_sites

// Aborts with the site's message when `ok` is false. `lineOffset` picks the member of a site that
// stands for a family (one line per member).
inline void CheckSite(bool ok, const AssertSite& site, int lineOffset = 0) {
    if (!ok) quorl::AssertionFailed(site.expression, site.path, site.line + lineOffset);
}

}  // namespace game
