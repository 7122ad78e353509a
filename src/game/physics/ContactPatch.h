#pragma once
#include <glm/vec3.hpp>

#include "game/physics/ConvexCollision.h"

namespace game::physics {

// Where two boxes touch, as an area rather than a point: the face of one box that meets the
// contact normal best (the reference face) and the face of the other turned most against it (the
// incident face); the incident face clipped to the reference face's outline, keeping the corners
// of the clipped polygon that are into the reference face or within kSlop of it, laid onto its
// plane. A box that lands flat on a face touches along the whole overlap of the two faces, and an
// impulse at the area's centroid turns none of the landing into spin; a box that lands on an edge
// or a corner touches there only.
struct ContactPatch {
    static constexpr int kMaxPoints = 8;
    // m: a corner this close above the reference face still touches, so that a box lying flat
    // keeps all its corners in the patch from one substep to the next, not only the lowest.
    static constexpr double kSlop = 0.005;
    glm::dvec3 points[kMaxPoints];
    int count = 0;
    glm::dvec3 centre{0.0};  // the centroid of the area, or of the points when it has none

    // The patch between box a and box b, `normal` pointing from b towards a. Empty when the two
    // faces don't meet (an edge pressed into an edge).
    static ContactPatch Between(const PlacedBox& a, const PlacedBox& b, const glm::dvec3& normal);
};

}  // namespace game::physics
