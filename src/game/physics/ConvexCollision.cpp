#include "game/physics/ConvexCollision.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <glm/geometric.hpp>
#include <glm/gtc/matrix_inverse.hpp>
#include <glm/mat4x4.hpp>

#include "quorl/cpu/Profiler.h"

namespace game::physics {

namespace {

constexpr double kMaxDouble = std::numeric_limits<double>::max();

// The vertices of one shape placed in the space of the test, computed once per test and laid
// out per coordinate so that each projection is a short, vectorisable loop.
struct PlacedVertices {
    uint32_t count = 0;
    alignas(16) double x[8];
    alignas(16) double y[8];
    alignas(16) double z[8];
};

// Unique edge directions of one shape (unit, up to sign) turned into the space of the test. The
// edges between all pairs of vertices repeat a few directions many times (a box has 28 pairs but
// 13 directions); a repeated or reversed edge gives the same axis, and with it exactly the same
// overlap, as its first occurrence, so only first occurrences are kept, in order.
struct PlacedEdges {
    uint32_t count = 0;
    glm::dvec3 world[28];
};

inline uint32_t VertexCount(const ConvexMeshCollider& c) { return std::min<uint32_t>(c.vertexCount, 8); }

void PlaceVertices(const ConvexMeshCollider& c, const glm::dmat4& t, PlacedVertices& out) {
    out.count = VertexCount(c);
    for (uint32_t i = 0; i < out.count; ++i) {
        const glm::dvec3 p(t * glm::dvec4(glm::dvec3(c.vertices[i]), 1.0));
        out.x[i] = p.x;
        out.y[i] = p.y;
        out.z[i] = p.z;
    }
    // Unused slots repeat the first vertex, which leaves every minimum and maximum as it is and
    // lets each projection run a fixed, unrolled loop over 8.
    for (uint32_t i = out.count; i < 8 && out.count > 0; ++i) {
        out.x[i] = out.x[0];
        out.y[i] = out.y[0];
        out.z[i] = out.z[0];
    }
}

inline void Project(const PlacedVertices& v, const glm::dvec3& axis, double& lo, double& hi) {
    if (v.count == 0) {
        lo = kMaxDouble;
        hi = -kMaxDouble;
        return;
    }
#if defined(__SSE2__)
    // Two vertices per instruction; the same products and sums, in the same order, as a dot
    // product of one vertex (finite values: the order of the minimum search doesn't matter).
    const __m128d ax = _mm_set1_pd(axis.x), ay = _mm_set1_pd(axis.y), az = _mm_set1_pd(axis.z);
    __m128d low = _mm_set1_pd(kMaxDouble), high = _mm_set1_pd(-kMaxDouble);
    for (int i = 0; i < 8; i += 2) {
        const __m128d d = _mm_add_pd(_mm_add_pd(_mm_mul_pd(_mm_load_pd(v.x + i), ax), _mm_mul_pd(_mm_load_pd(v.y + i), ay)),
                                     _mm_mul_pd(_mm_load_pd(v.z + i), az));
        low = _mm_min_pd(d, low);
        high = _mm_max_pd(d, high);
    }
    low = _mm_min_pd(low, _mm_unpackhi_pd(low, low));
    high = _mm_max_pd(high, _mm_unpackhi_pd(high, high));
    lo = _mm_cvtsd_f64(low);
    hi = _mm_cvtsd_f64(high);
#else
    lo = kMaxDouble;
    hi = -kMaxDouble;
    for (int i = 0; i < 8; ++i) {
        const double d = v.x[i] * axis.x + v.y[i] * axis.y + v.z[i] * axis.z;
        lo = d < lo ? d : lo;
        hi = d > hi ? d : hi;
    }
#endif
}

inline bool IsFinite(const glm::dvec3& v) { return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z); }
inline bool IsFinite(const glm::vec3& v) { return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z); }

// -1, 0 or 1; 0 for a NaN (coincident centres).
inline double Sign(double x) { return double((0.0 < x) - (x < 0.0)); }

void PlaceEdges(const ConvexMeshCollider& c, const glm::dmat4& t, PlacedEdges& out) {
    glm::vec3 local[28];
    out.count = 0;
    const uint32_t n = VertexCount(c);
    for (uint32_t i = 0; i < n; ++i) {
        for (uint32_t j = i + 1; j < n; ++j) {
            const glm::vec3 e = glm::normalize(c.vertices[i] - c.vertices[j]);
            if (!IsFinite(e)) continue;  // coincident vertices: every axis made with it is not a number
            bool seen = false;
            for (uint32_t k = 0; k < out.count && !seen; ++k) seen = local[k] == e || local[k] == -e;
            if (seen) continue;
            local[out.count] = e;
            out.world[out.count++] = glm::dvec3(t * glm::dvec4(glm::dvec3(e), 0.0));
        }
    }
}

// normalize(cross(e, edges[j])) for every j, two at a time: per lane the same operations in the
// same order as glm's cross and normalize.
void CrossAxes(const glm::dvec3& e, const PlacedEdges& edges, glm::dvec3* out) {
    uint32_t j = 0;
#if defined(__SSE2__)
    const __m128d ex = _mm_set1_pd(e.x), ey = _mm_set1_pd(e.y), ez = _mm_set1_pd(e.z);
    const __m128d one = _mm_set1_pd(1.0);
    for (; j + 1 < edges.count; j += 2) {
        const glm::dvec3& f0 = edges.world[j];
        const glm::dvec3& f1 = edges.world[j + 1];
        const __m128d fx = _mm_set_pd(f1.x, f0.x), fy = _mm_set_pd(f1.y, f0.y), fz = _mm_set_pd(f1.z, f0.z);
        const __m128d cx = _mm_sub_pd(_mm_mul_pd(ey, fz), _mm_mul_pd(fy, ez));
        const __m128d cy = _mm_sub_pd(_mm_mul_pd(ez, fx), _mm_mul_pd(fz, ex));
        const __m128d cz = _mm_sub_pd(_mm_mul_pd(ex, fy), _mm_mul_pd(fx, ey));
        const __m128d d = _mm_add_pd(_mm_add_pd(_mm_mul_pd(cx, cx), _mm_mul_pd(cy, cy)), _mm_mul_pd(cz, cz));
        const __m128d scale = _mm_div_pd(one, _mm_sqrt_pd(d));
        alignas(16) double x[2], y[2], z[2];
        _mm_store_pd(x, _mm_mul_pd(cx, scale));
        _mm_store_pd(y, _mm_mul_pd(cy, scale));
        _mm_store_pd(z, _mm_mul_pd(cz, scale));
        out[j] = glm::dvec3(x[0], y[0], z[0]);
        out[j + 1] = glm::dvec3(x[1], y[1], z[1]);
    }
#endif
    for (; j < edges.count; ++j) out[j] = glm::normalize(glm::cross(e, edges.world[j]));
}

inline glm::dvec3 RotatedNormal(const glm::vec3& n, const glm::dmat4& t) {
    return glm::normalize(glm::dvec3(t * glm::dvec4(glm::dvec3(n), 0.0)));
}

inline glm::dvec3 Clamped(const glm::dmat4& t, const glm::dmat4& inverse, const ConvexMeshCollider& c,
                          const glm::dvec3& p) {
    const glm::dvec3 local(inverse * glm::dvec4(p, 1.0));
    return glm::dvec3(t * glm::dvec4(glm::clamp(local, glm::dvec3(c.box_min), glm::dvec3(c.box_max)), 1.0));
}

// Sphere of a.radius around cA against the hull of b.
Collision SphereCollision(const ConvexMeshCollider& a, const glm::dvec3& cA, const ConvexMeshCollider& b,
                          const glm::dmat4& tb, const glm::dvec3& cB) {
    PlacedVertices wb;
    PlaceVertices(b, tb, wb);
    const double r = a.radius;
    double best = kMaxDouble;
    glm::dvec3 bestAxis(0.0);
    auto overlaps = [&](const glm::dvec3& axis) {
        double minB, maxB;
        Project(wb, axis, minB, maxB);
        const double c = glm::dot(cA, axis);
        const double minS = c - r, maxS = c + r;
        if (minS > maxB || minB > maxS) return false;
        const double overlap = std::min(maxS, maxB) - std::max(minS, minB);
        if (!(overlap > 0)) return false;
        if (overlap < best) {
            best = overlap;
            bestAxis = axis;
        }
        return true;
    };

    for (uint32_t i = 0, n = std::min<uint32_t>(b.faceNormalCount, 12); i < n; ++i) {
        const glm::dvec3 axis = RotatedNormal(b.faceNormals[i], tb);
        if (IsFinite(axis) && !overlaps(axis)) return {};
    }
    glm::dvec3 toVertex[8];
    for (uint32_t i = 0; i < wb.count; ++i) {
        toVertex[i] = glm::normalize(glm::dvec3(wb.x[i], wb.y[i], wb.z[i]) - cA);
        if (IsFinite(toVertex[i]) && !overlaps(toVertex[i])) return {};
    }
    // Unit edges between the vertices, each pair normalised once: the reversed edge is exactly
    // the negated one.
    glm::dvec3 edge[8][8];
    for (uint32_t i = 0; i < wb.count; ++i) {
        for (uint32_t j = i + 1; j < wb.count; ++j) {
            edge[i][j] = glm::normalize(glm::dvec3(wb.x[j] - wb.x[i], wb.y[j] - wb.y[i], wb.z[j] - wb.z[i]));
            edge[j][i] = -edge[i][j];
        }
    }
    for (uint32_t i = 0; i < wb.count; ++i) {
        for (uint32_t j = 0; j < wb.count; ++j) {
            if (i == j) continue;
            const glm::dvec3 c = glm::cross(toVertex[i], edge[i][j]);
            const double length = std::sqrt(glm::dot(c, c));
            if (length < 1e-6) continue;
            const glm::dvec3 axis = c * (1.0 / length);  // glm::normalize, with the length reused
            if (IsFinite(axis) && !overlaps(axis)) return {};
        }
    }

    Collision hit;
    hit.normal = Sign(glm::dot(glm::normalize(cA - cB), bestAxis)) * bestAxis;
    hit.position = cA - hit.normal * r;
    hit.depth = best;
    return hit;
}

}  // namespace

glm::dvec3 ColliderCenter(const ConvexMeshCollider& c, const glm::dmat4& transform) {
    const glm::dvec3 middle = (glm::dvec3(c.box_min) + glm::dvec3(c.box_max)) * 0.5;
    return glm::dvec3(transform * glm::dvec4(middle, 1.0));
}

bool IsCollidableChild(const ConvexMeshCollider& child) {
    return child.radius > 0.0001 && child.box_max.x > child.box_min.x &&
           (child.vertexCount != 0 || (child.children && !child.children->empty()));
}

std::pair<double, double> ProjectOntoAxis(const ConvexMeshCollider& collider, const glm::dvec3& axis) {
    PlacedVertices v;
    PlaceVertices(collider, collider.transform, v);
    std::pair<double, double> result;
    Project(v, axis, result.first, result.second);
    return result;
}

bool RayBoxIntersection(const glm::dvec3& boxMin, const glm::dvec3& boxMax, const glm::dvec3& origin,
                        const glm::dvec3& direction) {
    float tNear = -std::numeric_limits<float>::infinity();
    float tFar = std::numeric_limits<float>::infinity();
    for (int k = 0; k < 3; ++k) {
        const float t1 = float((boxMin[k] - origin[k]) / direction[k]);
        const float t2 = float((boxMax[k] - origin[k]) / direction[k]);
        const float lo = t1 < t2 ? t1 : t2;
        const float hi = t1 < t2 ? t2 : t1;
        tNear = k == 0 || lo > tNear ? lo : tNear;
        tFar = k == 0 || hi < tFar ? hi : tFar;
    }
    return tFar > tNear && tFar > 0;
}

Collision ConvexCollision(const ConvexMeshCollider& a, const ConvexMeshCollider& b) {
    return ConvexCollision(a, a.transform, b, b.transform);
}

Collision ConvexCollision(const ConvexMeshCollider& a, const glm::dmat4& ta, const ConvexMeshCollider& b,
                          const glm::dmat4& tb) {
    quorl::cpu::Profiler profile("ConvexCollision", true);
    const glm::dvec3 cA = ColliderCenter(a, ta), cB = ColliderCenter(b, tb);
    if (glm::length(cB - cA) > a.radius + b.radius) return {};
    if (a.isSphere) return SphereCollision(a, cA, b, tb, cB);

    PlacedVertices wa, wb;
    PlaceVertices(a, ta, wa);
    PlaceVertices(b, tb, wb);
    double best = kMaxDouble;
    glm::dvec3 bestAxis(0.0);
    // False when the axis separates the shapes. Only a strictly smaller overlap replaces the
    // kept axis, so the first of equal axes wins.
    auto overlaps = [&](const glm::dvec3& axis) {
        double minA, maxA, minB, maxB;
        Project(wa, axis, minA, maxA);
        Project(wb, axis, minB, maxB);
        const double overlap = std::min(maxA, maxB) - std::max(minA, minB);
        if (!(overlap > 0)) return false;
        if (overlap < best) {
            best = overlap;
            bestAxis = axis;
        }
        return true;
    };

    // Axes without a direction (a zero normal, parallel edges) are skipped.
    for (uint32_t i = 0, n = std::min<uint32_t>(a.faceNormalCount, 12); i < n; ++i) {
        const glm::dvec3 axis = RotatedNormal(a.faceNormals[i], ta);
        if (IsFinite(axis) && !overlaps(axis)) return {};
    }
    for (uint32_t i = 0, n = std::min<uint32_t>(b.faceNormalCount, 12); i < n; ++i) {
        const glm::dvec3 axis = RotatedNormal(b.faceNormals[i], tb);
        if (IsFinite(axis) && !overlaps(axis)) return {};
    }
    PlacedEdges ea, eb;
    PlaceEdges(a, ta, ea);
    PlaceEdges(b, tb, eb);
    glm::dvec3 axes[28];
    for (uint32_t i = 0; i < ea.count; ++i) {
        CrossAxes(ea.world[i], eb, axes);
        for (uint32_t j = 0; j < eb.count; ++j) {
            if (IsFinite(axes[j]) && !overlaps(axes[j])) return {};
        }
    }

    Collision hit;
    hit.normal = Sign(glm::dot(glm::normalize(cA - cB), bestAxis)) * bestAxis;
    hit.depth = best;

    // Contact point: the vertex of the smaller shape nearest to the other shape's box, pulled
    // onto that box and then back into the smaller shape's own box.
    const bool walkB = a.radius > b.radius;
    const ConvexMeshCollider& walked = walkB ? b : a;
    const ConvexMeshCollider& other = walkB ? a : b;
    const glm::dmat4& tw = walkB ? tb : ta;
    const glm::dmat4& to = walkB ? ta : tb;
    const PlacedVertices& wv = walkB ? wb : wa;
    if (wv.count > 0) {
        const glm::dmat4 inverseW = glm::affineInverse(tw), inverseO = glm::affineInverse(to);
        double bestDistance = std::numeric_limits<float>::max();
        for (uint32_t i = 0; i < wv.count; ++i) {
            const glm::dvec3 p(wv.x[i], wv.y[i], wv.z[i]);
            const glm::dvec3 q = Clamped(to, inverseO, other, p);
            const double d = glm::length(p - q);
            if (d < bestDistance) {
                bestDistance = d;
                hit.position = Clamped(tw, inverseW, walked, q);
            }
        }
    }
    return hit;
}

bool PotentialBoxBoxIntersection(const glm::dmat4& transformA, const glm::dmat4& transformB,
                                 const glm::dvec3& minA, const glm::dvec3& maxA, const glm::dvec3& minB,
                                 const glm::dvec3& maxB, bool testSpheres, bool testBoxes) {
    if (testSpheres) {
        const glm::dvec3 ca(transformA * glm::dvec4((minA + maxA) * 0.5, 1.0));
        const glm::dvec3 cb(transformB * glm::dvec4((minB + maxB) * 0.5, 1.0));
        if (glm::length(cb - ca) > 0.5 * glm::length(maxA - minA) + 0.5 * glm::length(maxB - minB)) return false;
    }
    if (!testBoxes) return true;
    const glm::dmat4 bInA = glm::affineInverse(transformA) * transformB;
    glm::dvec3 lo(kMaxDouble), hi(-kMaxDouble);
    for (int i = 0; i < 8; ++i) {
        const glm::dvec3 corner((i & 4) ? maxB.x : minB.x, (i & 2) ? maxB.y : minB.y, (i & 1) ? maxB.z : minB.z);
        const glm::dvec3 p(bInA * glm::dvec4(corner, 1.0));
        lo = glm::min(lo, p);
        hi = glm::max(hi, p);
    }
    for (int k = 0; k < 3; ++k) {
        if (minA[k] > hi[k] || lo[k] > maxA[k]) return false;
    }
    return true;
}

bool PotentialBoxBoxIntersection(const ConvexMeshCollider& a, const ConvexMeshCollider& b) {
    return PotentialBoxBoxIntersection(a, a.transform, b, b.transform);
}

bool PotentialBoxBoxIntersection(const ConvexMeshCollider& a, const glm::dmat4& ta, const ConvexMeshCollider& b,
                                 const glm::dmat4& tb) {
    const double distance = glm::length(ColliderCenter(b, tb) - ColliderCenter(a, ta));
    if (!(a.radius + b.radius > distance)) return false;
    return PotentialBoxBoxIntersection(ta, tb, glm::dvec3(a.box_min), glm::dvec3(a.box_max), glm::dvec3(b.box_min),
                                       glm::dvec3(b.box_max), false, true);
}

}  // namespace game::physics
