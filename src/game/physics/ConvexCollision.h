#pragma once
#include <utility>

#include <glm/gtc/matrix_inverse.hpp>
#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

#include "game/entity/ConvexMeshCollider.h"
#include "game/physics/Collision.h"
#include "game/physics/MatrixMath.h"

// Narrow-phase tests between convex colliders. A collider's `transform` is taken as the full
// transform to the space of the test. The forms that take the transforms apart test a shape at a
// pose without copying it; they give exactly the same results as the plain forms.
namespace game::physics {

using entity::ConvexMeshCollider;
struct ShapeFacts;

// Minimum and maximum of the first (at most 8) vertices, placed by `transform`, along `axis`.
// No vertices: (greatest double, -greatest double).
std::pair<double, double> ProjectOntoAxis(const ConvexMeshCollider& collider, const glm::dvec3& axis);

// Slab test of a ray against an axis-aligned box; the per-axis distances are rounded to float.
bool RayBoxIntersection(const glm::dvec3& boxMin, const glm::dvec3& boxMax, const glm::dvec3& origin,
                        const glm::dvec3& direction);

// World-space centre of a collider's box under `transform`.
inline glm::dvec3 ColliderCenter(const ConvexMeshCollider& c, const glm::dmat4& transform) {
    const glm::dvec3 middle = (glm::dvec3(c.box_min) + glm::dvec3(c.box_max)) * 0.5;
    return TransformPoint(transform, middle);
}

// Separating-axis test. Depth above 0 is a hit; the normal points from b towards a; the position
// is a contact point in the space of the transforms. A sphere `a` is tested as the sphere of its
// radius around its box centre; `b` is always tested as a hull.
Collision ConvexCollision(const ConvexMeshCollider& a, const ConvexMeshCollider& b);
Collision ConvexCollision(const ConvexMeshCollider& a, const glm::dmat4& transformA, const ConvexMeshCollider& b,
                          const glm::dmat4& transformB);

// A box shape placed in the space of a test: its centre, three half edges, and the sum of the
// magnitudes of all their components, which bounds every |p . axis| / |axis|.
struct PlacedBox {
    glm::dvec3 center, half[3];
    double size;
};

// The edge directions of a shape placed in the space of a test, per coordinate: in doubles, as
// TransformDirection places each, and the same in single precision. Zero past the last (for a
// transform with finite entries).
struct TurnedEdges {
    alignas(64) double x[32], y[32], z[32];
    alignas(64) float sx[32], sy[32], sz[32];
    double largest;  // the greatest sum of magnitudes of an edge's coordinates
};

// A shape placed in the space of a separating-axis test, for more tests than one: what a test
// works out from this shape alone (its centre, whether it is a box and where, its face axes and
// turned edges, the inverse of its transform) is kept for the next test it takes part in. The
// transform is copied; the collider is read where it lies, so Forget must follow anything that may
// have changed it. A placed shape belongs to one thread at a time.
class PlacedShape {
public:
    PlacedShape(const ConvexMeshCollider& collider, const glm::dmat4& transform) { Place(collider, transform); }
    // Starts over with another collider or transform.
    void Place(const ConvexMeshCollider& collider, const glm::dmat4& transform) {
        _collider = &collider;
        _transform = transform;
        Forget();
    }
    void Forget() {
        _center = ColliderCenter(*_collider, _transform);
        _boxKnown = false;
        _inverseKnown = false;
        _edgesKnown = false;
        _facesPlaced = 0;
    }
    const ConvexMeshCollider& collider() const { return *_collider; }
    const glm::dmat4& transform() const { return _transform; }
    // glm::affineInverse(transform()).
    const glm::dmat4& inverse() {
        if (!_inverseKnown) {
            _inverse = glm::affineInverse(_transform);
            _inverseKnown = true;
        }
        return _inverse;
    }

private:
    friend struct PlacedShapeAccess;
    const ConvexMeshCollider* _collider;
    glm::dmat4 _transform;
    glm::dvec3 _center;
    bool _boxKnown;            // _facts, _isBox and _box follow the collider's vertices
    bool _inverseKnown;
    bool _edgesKnown;
    bool _isBox;
    PlacedBox _box;            // set when _isBox is
    const ShapeFacts* _facts;  // valid while the table it came from has made no new entry
    const void* _factsTable;
    uint64_t _factsFills;
    uint32_t _facesPlaced;     // face axes placed so far, in order
    glm::dvec3 _faces[12];     // turned by the transform, not normalised
    double _faceLength2[12], _faceExtent[12];  // |axis|^2 and the box's extent along the axis (boxes)
    glm::dmat4 _inverse;
    TurnedEdges _edges;
};

// The same test as ConvexCollision(a, transformA, b, transformB) on shapes placed beforehand.
Collision ConvexCollision(PlacedShape& a, PlacedShape& b);
Collision ConvexCollision(PlacedShape& a, const ConvexMeshCollider& b, const glm::dmat4& transformB);

// Whether the shape's vertices are the 8 corners of a box; when they are, `box` is that box placed.
bool PlacedBoxOf(PlacedShape& shape, PlacedBox& box);

// Cheap pre-test of two boxes under their matrices: optionally their bounding spheres, then the
// corners of box B, brought into A's space, against box A (one way only; touching counts).
bool PotentialBoxBoxIntersection(const glm::dmat4& transformA, const glm::dmat4& transformB,
                                 const glm::dvec3& minA, const glm::dvec3& maxA, const glm::dvec3& minB,
                                 const glm::dvec3& maxB, bool testSpheres, bool testBoxes);
// The same on two colliders: their radii first (false unless the sum exceeds the distance of
// the centres), then the box test.
bool PotentialBoxBoxIntersection(const ConvexMeshCollider& a, const ConvexMeshCollider& b);
bool PotentialBoxBoxIntersection(const ConvexMeshCollider& a, const glm::dmat4& transformA,
                                 const ConvexMeshCollider& b, const glm::dmat4& transformB);

// The separating-axis test runs its inner loops on the widest vectors the processor has, up to
// `bits` (128, 256 or 512); gives the width now in use. The results are the same at every width:
// this is for tests and benchmarks that compare them.
int LimitVectorWidth(int bits);

// A bit for each of the first (at most 8) vertices of c that TransformPoint(toBox, vertex) places
// within [lo, hi], bounds included.
uint32_t CornersInside(const ConvexMeshCollider& c, const glm::dmat4& toBox, const glm::dvec3& lo,
                       const glm::dvec3& hi);

// Whether a child of a container collider takes part in collision: a real size, a non-empty box
// in x, and either vertices or children of its own.
bool IsCollidableChild(const ConvexMeshCollider& child);

}  // namespace game::physics
