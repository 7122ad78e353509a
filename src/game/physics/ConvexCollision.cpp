#include "game/physics/ConvexCollision.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include <glm/geometric.hpp>
#include <glm/gtc/matrix_inverse.hpp>
#include <glm/mat4x4.hpp>

#include "game/physics/ConvexCollisionReference.h"
#include "game/physics/MatrixMath.h"
#include "game/physics/ShapeFacts.h"
#include "game/physics/WideLoops.h"
#include "quorl/cpu/Profiler.h"

#if ZENDOLA_WIDE_SSE2
#include <emmintrin.h>
#endif

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

inline void Project(const PlacedVertices& v, const glm::dvec3& axis, double& lo, double& hi) {
    if (v.count == 0) {
        lo = kMaxDouble;
        hi = -kMaxDouble;
        return;
    }
#if ZENDOLA_WIDE_SSE2
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

// -1, 0 or 1; 0 for a NaN (coincident centres).
inline double Sign(double x) { return double((0.0 < x) - (x < 0.0)); }

// Candidate axes laid out per coordinate, with their overlaps, in blocks of kLanes so that the
// projections run over several axes at once.
constexpr uint32_t kLanes = 8;

template <uint32_t Capacity>
struct AxisList {
    static_assert(Capacity % kLanes == 0);
    uint32_t count = 0;
    alignas(64) double x[Capacity];
    alignas(64) double y[Capacity];
    alignas(64) double z[Capacity];
    alignas(64) double overlap[Capacity];

    void Add(const glm::dvec3& axis) {
        x[count] = axis.x;
        y[count] = axis.y;
        z[count] = axis.z;
        ++count;
    }
    // Axes without a direction up to the end of the last block, so no lane reads an unset value.
    void Pad() {
        for (uint32_t k = count; k % kLanes; ++k) x[k] = y[k] = z[k] = std::numeric_limits<double>::quiet_NaN();
    }
};

using FaceAxes = AxisList<24>;           // 12 face normals of each shape at most
using EdgeAxes = AxisList<28 * 28 + 8>;  // every pair of edge directions

// Every vertex placed by t, as TransformPoint places one: (t0 x + t1 y) + (t2 z + t3 1), a
// coordinate of all vertices at a time. Unused slots repeat the first vertex, which leaves every
// minimum and maximum as it is and lets each projection run a fixed loop over 8.
template <int W>
__attribute__((always_inline)) inline void PlaceVerticesBody(const ConvexMeshCollider& c, const glm::dmat4& t,
                                                             PlacedVertices& out) {
    using Lanes = typename VectorOf<W>::type;
    out.count = UsedVertexCount(c);
    if (out.count == 0) return;
    if (out.count == 8) {
        // All eight: the coordinates taken apart with shuffles, never through memory, where a wide
        // load of narrow stores would stall.
        typedef float Floats __attribute__((vector_size(32)));
        typedef double Doubles __attribute__((vector_size(64)));
        static_assert(sizeof(c.vertices[0]) == 3 * sizeof(float));
        Floats f0, f1, f2;
        std::memcpy(&f0, &c.vertices[0], sizeof f0);
        std::memcpy(&f1, reinterpret_cast<const char*>(&c.vertices[0]) + sizeof f0, sizeof f1);
        std::memcpy(&f2, reinterpret_cast<const char*>(&c.vertices[0]) + 2 * sizeof f0, sizeof f2);
        const Floats xs = __builtin_shufflevector(__builtin_shufflevector(f0, f1, 0, 3, 6, 9, 12, 15, 0, 0), f2, 0, 1, 2,
                                                  3, 4, 5, 10, 13);
        const Floats ys = __builtin_shufflevector(__builtin_shufflevector(f0, f1, 1, 4, 7, 10, 13, 0, 0, 0), f2, 0, 1, 2,
                                                  3, 4, 8, 11, 14);
        const Floats zs = __builtin_shufflevector(__builtin_shufflevector(f0, f1, 2, 5, 8, 11, 14, 0, 0, 0), f2, 0, 1, 2,
                                                  3, 4, 9, 12, 15);
        const Doubles x = __builtin_convertvector(xs, Doubles);
        const Doubles y = __builtin_convertvector(ys, Doubles);
        const Doubles z = __builtin_convertvector(zs, Doubles);
        double* placed[3] = {out.x, out.y, out.z};
        for (int k = 0; k < 3; ++k) {
            const Doubles p = (t[0][k] * x + t[1][k] * y) + (t[2][k] * z + t[3][k] * 1.0);
            std::memcpy(placed[k], &p, sizeof p);
        }
        return;
    }
    alignas(64) double local[3][8];
    for (uint32_t i = 0; i < 8; ++i) {
        const glm::vec3& v = c.vertices[i < out.count ? i : 0];
        local[0][i] = v.x;
        local[1][i] = v.y;
        local[2][i] = v.z;
    }
    double* placed[3] = {out.x, out.y, out.z};
    for (int k = 0; k < 3; ++k) {
        for (int i = 0; i < 8; i += W) {
            Lanes x, y, z;
            ZENDOLA_LOAD_LANES(x, local[0] + i);
            ZENDOLA_LOAD_LANES(y, local[1] + i);
            ZENDOLA_LOAD_LANES(z, local[2] + i);
            const Lanes p = (t[0][k] * x + t[1][k] * y) + (t[2][k] * z + t[3][k] * 1.0);
            std::memcpy(placed[k] + i, &p, sizeof p);
        }
    }
}

ZENDOLA_WIDE_FUNCTION(void, PlaceVertices, (const ConvexMeshCollider& c, const glm::dmat4& t, PlacedVertices& out),
                      (c, t, out))

// A bit for each vertex of c that t places within [lo, hi], bounds included: the vertices placed
// and compared in registers.
template <int W>
__attribute__((always_inline)) inline uint32_t PlacedInsideBody(const ConvexMeshCollider& c, const glm::dmat4& t,
                                                                const glm::dvec3& lo, const glm::dvec3& hi) {
    using Lanes = typename VectorOf<W>::type;
    PlacedVertices placed;
    PlaceVerticesBody<W>(c, t, placed);
    uint32_t inside = 0;
    const Lanes zero = Lanes{};
    for (uint32_t i = 0; i < 8; i += W) {
        Lanes x, y, z;
        ZENDOLA_LOAD_LANES(x, placed.x + i);
        ZENDOLA_LOAD_LANES(y, placed.y + i);
        ZENDOLA_LOAD_LANES(z, placed.z + i);
        // Selections rather than masks combined with '&', which would be built a lane at a time.
        Lanes in = zero + 1.0;
        in = x >= lo.x ? in : zero;
        in = y >= lo.y ? in : zero;
        in = z >= lo.z ? in : zero;
        in = x <= hi.x ? in : zero;
        in = y <= hi.y ? in : zero;
        in = z <= hi.z ? in : zero;
        inside |= LaneBits(in != zero) << i;
    }
    return placed.count == 0 ? 0u : inside & ((1u << placed.count) - 1u);
}

ZENDOLA_WIDE_FUNCTION(uint32_t, PlacedInside,
                      (const ConvexMeshCollider& c, const glm::dmat4& t, const glm::dvec3& lo, const glm::dvec3& hi),
                      (c, t, lo, hi))

// What a run of axes says: whether one of them separates the shapes, and the least overlap.
struct RunSummary {
    double least;
    bool separated;
};

// overlap[k] = min(maxA, maxB) - max(minA, minB) of the projections of both vertex sets onto
// axis k, for k in [begin, end) (whole blocks). Per lane exactly the operations of one
// projection: the dot product summed x, y then z; a minimum taken only on a strictly smaller
// value (a not-a-number never enters); std::min and std::max for the overlap. An axis with a
// component that is not finite has no direction: its overlap is set to infinity, which neither
// separates nor is ever the least, just as if it were skipped.
template <int W>
__attribute__((always_inline)) inline RunSummary OverlapsBody(const PlacedVertices& a, const PlacedVertices& b,
                                                              const double* x, const double* y, const double* z,
                                                              double* overlaps, uint32_t begin, uint32_t end) {
    using Lanes = typename VectorOf<W>::type;
    static_assert(sizeof(Lanes) == W * sizeof(double));
    const Lanes greatest = Lanes{} + kMaxDouble;
    const Lanes infinity = Lanes{} + std::numeric_limits<double>::infinity();
    const Lanes zero = Lanes{}, one = Lanes{} + 1.0;
    Lanes least = infinity, apart = zero;
    for (uint32_t k = begin; k < end; k += W) {
        Lanes ax, ay, az;
        ZENDOLA_LOAD_LANES(ax, x + k);
        ZENDOLA_LOAD_LANES(ay, y + k);
        ZENDOLA_LOAD_LANES(az, z + k);
        // Unused vertex slots repeat the first vertex, so all 8 are taken.
        Lanes minA = greatest, maxA = -greatest, minB = greatest, maxB = -greatest;
        if (a.count > 0) {
            for (uint32_t i = 0; i < 8; ++i) {
                const Lanes d = a.x[i] * ax + a.y[i] * ay + a.z[i] * az;
                minA = d < minA ? d : minA;
                maxA = d > maxA ? d : maxA;
            }
        }
        if (b.count > 0) {
            for (uint32_t i = 0; i < 8; ++i) {
                const Lanes d = b.x[i] * ax + b.y[i] * ay + b.z[i] * az;
                minB = d < minB ? d : minB;
                maxB = d > maxB ? d : maxB;
            }
        }
        const Lanes upper = maxB < maxA ? maxB : maxA;
        const Lanes lower = minA < minB ? minB : minA;
        const Lanes probe = ax * 0.0 + ay * 0.0 + az * 0.0;  // zero exactly when the axis is finite
        const Lanes overlap = probe == zero ? upper - lower : infinity;
        std::memcpy(overlaps + k, &overlap, sizeof overlap);
        apart = overlap > zero ? apart : one;
        least = overlap < least ? overlap : least;
    }
    double leastLane, greatestLane, fewest, most;
    LaneBounds<W>(least, leastLane, greatestLane);
    LaneBounds<W>(apart, fewest, most);
    return RunSummary{leastLane, most != 0.0};
}

ZENDOLA_WIDE_FUNCTION(RunSummary, Overlaps,
                      (const PlacedVertices& a, const PlacedVertices& b, const double* x, const double* y,
                       const double* z, double* overlaps, uint32_t begin, uint32_t end),
                      (a, b, x, y, z, overlaps, begin, end))

// The axes [begin, end) of a list in order: one that doesn't overlap separates the shapes
// (false); only a strictly smaller overlap replaces the kept axis, so the first of equal axes
// wins. Whole blocks are computed; the axes before `begin` in the first block were kept or
// passed over already and change nothing.
template <class List>
bool TestAxes(const PlacedVertices& a, const PlacedVertices& b, List& axes, uint32_t begin, uint32_t end,
              double& best, glm::dvec3& bestAxis) {
    const RunSummary run = Overlaps(a, b, axes.x, axes.y, axes.z, axes.overlap, begin / kLanes * kLanes,
                                    (end + kLanes - 1) / kLanes * kLanes);
    if (run.separated) return false;
    if (run.least < best) {
        uint32_t k = begin;
        while (axes.overlap[k] != run.least) ++k;
        best = run.least;
        bestAxis = glm::dvec3(axes.x[k], axes.y[k], axes.z[k]);
    }
    return true;
}

// x, y, z[k] *= 1 / sqrt(x^2 + y^2 + z^2) for k in [begin, end) (whole blocks): per lane what
// glm's normalize does to one vector.
template <int W>
__attribute__((always_inline)) inline void NormalizeBody(double* x, double* y, double* z, uint32_t begin,
                                                         uint32_t end) {
    using Lanes = typename VectorOf<W>::type;
    for (uint32_t k = begin; k < end; k += W) {
        Lanes vx, vy, vz;
        ZENDOLA_LOAD_LANES(vx, x + k);
        ZENDOLA_LOAD_LANES(vy, y + k);
        ZENDOLA_LOAD_LANES(vz, z + k);
        const Lanes length2 = vx * vx + vy * vy + vz * vz;
        Lanes scale;
        for (int l = 0; l < W; ++l) scale[l] = 1.0 / std::sqrt(length2[l]);
        vx *= scale;
        vy *= scale;
        vz *= scale;
        std::memcpy(x + k, &vx, sizeof vx);
        std::memcpy(y + k, &vy, sizeof vy);
        std::memcpy(z + k, &vz, sizeof vz);
    }
}

ZENDOLA_WIDE_FUNCTION(void, Normalize, (double* x, double* y, double* z, uint32_t begin, uint32_t end),
                      (x, y, z, begin, end))

// The first `count` axes of a padded list normalised. Square roots and divisions wait longer on
// wider vectors, and a test normalises only a few axes at a time: two lanes for two axes, else four
// lanes at a time where the processor has them.
void NormalizeFew(double* x, double* y, double* z, uint32_t count) {
    if (count == 0) return;
#if ZENDOLA_WIDE_X86_BUILDS
    if (count <= 2) return Normalize128(x, y, z, 0, 2);
    if (gWideLoopWidth.load(std::memory_order_relaxed) != Width::k128) return Normalize256(x, y, z, 0, (count + 3) / 4 * 4);
#endif
    Normalize(x, y, z, 0, (count + 1) / 2 * 2);
}

// cross(e, f) for e and every f of (fx, fy, fz)[0, count), appended to the list unnormalised,
// as glm's cross makes it.
template <class List>
void AddCrossProducts(const glm::dvec3& e, const double* fx, const double* fy, const double* fz, uint32_t count,
                      List& axes) {
    for (uint32_t j = 0; j < count; ++j) axes.Add(glm::cross(e, glm::dvec3(fx[j], fy[j], fz[j])));
}

// `colliderCenter` is the collider's centre under t, which is the box's when the collider's box is
// the box of its vertices.
PlacedBox PlaceBox(const ShapeFacts& facts, const ConvexMeshCollider& c, const glm::dmat4& t,
                   const glm::dvec3& colliderCenter) {
    PlacedBox box;
    const glm::dvec3 low(facts.low), high(facts.high);
    const bool sameBox = std::memcmp(&facts.low, &c.box_min, sizeof facts.low) == 0 &&
                         std::memcmp(&facts.high, &c.box_max, sizeof facts.high) == 0;
    box.center = sameBox ? colliderCenter : TransformPoint(t, (low + high) * 0.5);
    box.size = std::abs(box.center.x) + std::abs(box.center.y) + std::abs(box.center.z);
    for (int k = 0; k < 3; ++k) {
        box.half[k] = glm::dvec3(t[k]) * ((high[k] - low[k]) * 0.5);
        box.size += std::abs(box.half[k].x) + std::abs(box.half[k].y) + std::abs(box.half[k].z);
    }
    return box;
}

// What the closed form says of the edge axes of one row, cross(e, f_j), before they are
// normalised: above zero in `passed` when the axis is passed over; else the overlap along the
// unnormalised axis and its squared length, from which the axis is judged one by one.
struct Judged {
    alignas(64) double passed[32];
    alignas(64) double overlap[32];
    alignas(64) double length2[32];
};

// For two box shapes the overlap along an unnormalised axis c has a closed form: with the
// centres' distance d = (cA - cB) . c and the extents rA = sum |hA_k . c|, rB likewise, it is
// min(rA + rB - |d|, 2 min(rA, rB)), which is |c| times the overlap along c / |c|. Computed in
// doubles it is within a few units of rounding times the shapes' size of what the vertex
// projections give, so with a margin far above that: an axis whose overlap is surely above
// `limit` (the kept least overlap plus the margin) can neither separate the shapes nor become
// the least, and is passed over; one whose overlap is surely below -margin separates them for
// certain; any other is tested exactly. Squares stand in for |c|: limit2 and margin2 are
// squared and the products with |c|^2 carry the rounding of the squares. An axis whose squared
// length is exactly zero has no direction once normalised, and is passed over as the exact test
// would skip it.
// |v| per lane, by clearing the sign bits.
template <class Lanes>
__attribute__((always_inline)) inline void Magnitude(const Lanes& v, Lanes& out) {
    if constexpr (sizeof(v[0]) == sizeof(int64_t)) {
        typedef int64_t Bits __attribute__((vector_size(sizeof(Lanes))));
        Bits bits;
        std::memcpy(&bits, &v, sizeof v);
        bits &= Bits{} + INT64_MAX;
        std::memcpy(&out, &bits, sizeof bits);
    } else {
        typedef int32_t Bits __attribute__((vector_size(sizeof(Lanes))));
        Bits bits;
        std::memcpy(&bits, &v, sizeof v);
        bits &= Bits{} + INT32_MAX;
        std::memcpy(&out, &bits, sizeof bits);
    }
}

template <class Lanes>
__attribute__((always_inline)) inline void BoxOverlap(const Lanes& cx, const Lanes& cy, const Lanes& cz,
                                                      const PlacedBox& A, const PlacedBox& B, Lanes& overlap,
                                                      Lanes& length2) {
    const glm::dvec3 d = A.center - B.center;
    length2 = cx * cx + cy * cy + cz * cz;
    // |p . c| for the centres' offset and each half edge.
    Lanes extent[7];
    const glm::dvec3* points[7] = {&d, &A.half[0], &A.half[1], &A.half[2], &B.half[0], &B.half[1], &B.half[2]};
    for (int k = 0; k < 7; ++k) {
        const Lanes v = points[k]->x * cx + points[k]->y * cy + points[k]->z * cz;
        Magnitude(v, extent[k]);
    }
    const Lanes rA = extent[1] + extent[2] + extent[3];
    const Lanes rB = extent[4] + extent[5] + extent[6];
    const Lanes smaller = rA < rB ? rA : rB;
    const Lanes crossing = rA + rB - extent[0];
    overlap = crossing < smaller + smaller ? crossing : smaller + smaller;
}

// The same closed form along one axis: the extent of each box, then the overlap.
inline double BoxExtent(const PlacedBox& box, const glm::dvec3& c) {
    return std::abs(glm::dot(box.half[0], c)) + std::abs(glm::dot(box.half[1], c)) + std::abs(glm::dot(box.half[2], c));
}

inline double BoxOverlapAlong(const glm::dvec3& c, double rA, const PlacedBox& A, const PlacedBox& B) {
    const double rB = BoxExtent(B, c);
    const double crossing = rA + rB - std::abs(glm::dot(A.center - B.center, c));
    return std::min(crossing, 2.0 * std::min(rA, rB));
}

// The closed form on the row of edge axes cross(e, f_j), j < count. True when every axis of the
// row is passed over.
template <int W>
__attribute__((always_inline)) inline bool JudgeCrossAxesBody(const glm::dvec3& e, const double* fx, const double* fy,
                                                              const double* fz, uint32_t count, const PlacedBox& A,
                                                              const PlacedBox& B, double limit2, Judged& judged) {
    using Lanes = typename VectorOf<W>::type;
    static_assert(sizeof(Lanes) == W * sizeof(double));
    const Lanes zero = Lanes{}, one = zero + 1.0;
    Lanes allPassed = one;  // stays one in a lane while every axis of it is passed over or has no direction
    for (uint32_t j = 0; j < count; j += W) {
        Lanes x, y, z;
        ZENDOLA_LOAD_LANES(x, fx + j);
        ZENDOLA_LOAD_LANES(y, fy + j);
        ZENDOLA_LOAD_LANES(z, fz + j);
        const Lanes cx = e.y * z - y * e.z;
        const Lanes cy = e.z * x - z * e.x;
        const Lanes cz = e.x * y - x * e.y;
        Lanes overlap, length2;
        BoxOverlap(cx, cy, cz, A, B, overlap, length2);
        // Above zero exactly when the axis is passed over on its closed form (no blends: the
        // rare others are judged one by one from the overlap and the squared length).
        const Lanes slack = overlap * overlap - limit2 * length2;
        const Lanes passed = slack < overlap ? slack : overlap;
        std::memcpy(judged.passed + j, &passed, sizeof passed);
        std::memcpy(judged.overlap + j, &overlap, sizeof overlap);
        std::memcpy(judged.length2 + j, &length2, sizeof length2);
        const Lanes settled = length2 == zero ? one : passed;
        allPassed = settled > zero ? allPassed : zero;
    }
    double fewest, most;
    LaneBounds<W>(allPassed, fewest, most);
    return fewest != 0.0;
}

ZENDOLA_WIDE_FUNCTION(bool, JudgeCrossAxes,
                      (const glm::dvec3& e, const double* fx, const double* fy, const double* fz, uint32_t count,
                       const PlacedBox& A, const PlacedBox& B, double limit2, Judged& judged),
                      (e, fx, fy, fz, count, A, B, limit2, judged))

alignas(64) constexpr float kLaneIndex[32] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15,
                                              16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31};

template <int W>
__attribute__((always_inline)) inline void TurnEdgesBody(const ShapeFacts& facts, const glm::dmat4& t,
                                                         TurnedEdges& out) {
    using Lanes = typename VectorOf<W>::type;
    const Lanes zero = Lanes{};
    Lanes largest = zero;
    // Whole vectors of 16 floats, as the single-precision rows read them.
    const uint32_t end = (facts.edgeCount + 15) / 16 * 16;
    for (uint32_t k = 0; k < end; k += W) {
        Lanes x, y, z;
        ZENDOLA_LOAD_LANES(x, facts.edgeX + k);
        ZENDOLA_LOAD_LANES(y, facts.edgeY + k);
        ZENDOLA_LOAD_LANES(z, facts.edgeZ + k);
        const Lanes px = (t[0][0] * x + t[1][0] * y) + (t[2][0] * z + t[3][0] * 0.0);
        const Lanes py = (t[0][1] * x + t[1][1] * y) + (t[2][1] * z + t[3][1] * 0.0);
        const Lanes pz = (t[0][2] * x + t[1][2] * y) + (t[2][2] * z + t[3][2] * 0.0);
        std::memcpy(out.x + k, &px, sizeof px);
        std::memcpy(out.y + k, &py, sizeof py);
        std::memcpy(out.z + k, &pz, sizeof pz);
        const auto sx = __builtin_convertvector(px, typename VectorOf<W>::narrow);
        const auto sy = __builtin_convertvector(py, typename VectorOf<W>::narrow);
        const auto sz = __builtin_convertvector(pz, typename VectorOf<W>::narrow);
        std::memcpy(out.sx + k, &sx, sizeof sx);
        std::memcpy(out.sy + k, &sy, sizeof sy);
        std::memcpy(out.sz + k, &sz, sizeof sz);
        Lanes mx, my, mz;
        Magnitude(px, mx);
        Magnitude(py, my);
        Magnitude(pz, mz);
        typename VectorOf<W>::narrow lane;
        ZENDOLA_LOAD_LANES(lane, kLaneIndex + k);
        const Lanes index = __builtin_convertvector(lane, Lanes);
        const Lanes sum = (mx + my) + mz;
        // Not-a-numbers count as the greatest, which keeps the screening off.
        const Lanes counted = index < double(facts.edgeCount) ? (sum == sum ? sum : zero + kMaxDouble) : zero;
        largest = counted > largest ? counted : largest;
    }
    double least;
    LaneBounds<W>(largest, least, out.largest);
}

ZENDOLA_WIDE_FUNCTION(void, TurnEdges, (const ShapeFacts& facts, const glm::dmat4& t, TurnedEdges& out),
                      (facts, t, out))

// A first look at the edge axes of two boxes in single precision, 2W axes to a vector. The
// closed form in floats is within `tolerance` of its exact value on the double inputs, and the
// float axis within a known length of the double one; an axis passed over even so needs no other
// look, and the few others are tested exactly. Worth it because nearly every edge axis of two
// touching boxes is passed over by far.
struct EdgeRows {
    const TurnedEdges* a;
    const TurnedEdges* b;
    uint32_t countA = 0, countB = 0;
    float points[7][3];  // the centres' offset, then A's and B's half edges
    float tolerance;     // on the overlap
    float scale;         // limit^2, with room for the rounding of the comparison
    float constant;      // limit^2 times what the float |c| may fall short of the double one, squared
    // Out: for column j and row i, above zero when the axis is surely passed over.
    alignas(64) float passed[28][32];
};

// A bit set for every row i of edge axes cross(e_i, f_j) that is not surely passed over. The rows
// lie across the lanes, so that each lane keeps its own row's verdict over the columns.
template <int W>
__attribute__((always_inline)) inline uint32_t OpenEdgeRowsBody(EdgeRows& rows) {
    using Lanes = typename VectorOf<W>::single;
    constexpr uint32_t kFloats = 2 * W;
    const Lanes zero = Lanes{}, one = zero + 1.0f;
    uint32_t open = 0;
    for (uint32_t i = 0; i < rows.countA; i += kFloats) {
        Lanes ex, ey, ez, index;
        ZENDOLA_LOAD_LANES(ex, rows.a->sx + i);
        ZENDOLA_LOAD_LANES(ey, rows.a->sy + i);
        ZENDOLA_LOAD_LANES(ez, rows.a->sz + i);
        ZENDOLA_LOAD_LANES(index, kLaneIndex + i);
        Lanes allPassed = one;  // stays one in a lane while every axis of its row is surely passed over
        for (uint32_t j = 0; j < rows.countB; ++j) {
            const float x = rows.b->sx[j], y = rows.b->sy[j], z = rows.b->sz[j];
            const Lanes cx = ey * z - y * ez;
            const Lanes cy = ez * x - z * ex;
            const Lanes cz = ex * y - x * ey;
            const Lanes length2 = cx * cx + cy * cy + cz * cz;
            Lanes extent[7];
            for (int k = 0; k < 7; ++k) {
                const Lanes v = rows.points[k][0] * cx + rows.points[k][1] * cy + rows.points[k][2] * cz;
                Magnitude(v, extent[k]);
            }
            const Lanes rA = extent[1] + extent[2] + extent[3];
            const Lanes rB = extent[4] + extent[5] + extent[6];
            const Lanes smaller = rA < rB ? rA : rB;
            const Lanes crossing = rA + rB - extent[0];
            const Lanes overlap = crossing < smaller + smaller ? crossing : smaller + smaller;
            // Above zero exactly when both the overlap less its tolerance and its square less
            // the bound are (a not-a-number is never above zero).
            const Lanes sure = overlap - rows.tolerance;
            const Lanes slack = sure * sure - (rows.scale * length2 + rows.constant);
            const Lanes passed = sure < slack ? sure : slack;
            allPassed = passed > zero ? allPassed : zero;
            std::memcpy(rows.passed[j] + i, &passed, sizeof passed);
        }
        const Lanes verdict = index < float(rows.countA) ? allPassed : one;
        open |= LaneBits(verdict == zero) << i;
    }
    return open;
}

ZENDOLA_WIDE_FUSED_FUNCTION(uint32_t, OpenEdgeRows, (EdgeRows& rows), (rows))

// Fills the single-precision look at the edge axes of two placed boxes; false where floats would
// overflow or lose their relative precision, or the inputs are not finite.
bool FillEdgeRows(const TurnedEdges& edgesA, uint32_t countA, const TurnedEdges& edgesB, uint32_t countB,
                  const PlacedBox& A, const PlacedBox& B, double limit, EdgeRows& rows) {
    rows.a = &edgesA;
    rows.b = &edgesB;
    rows.countA = countA;
    rows.countB = countB;
    const double e = edgesA.largest, f = edgesB.largest;
    const glm::dvec3 points[7] = {A.center - B.center, A.half[0], A.half[1], A.half[2], B.half[0], B.half[1], B.half[2]};
    double s = 0;
    for (int k = 0; k < 7; ++k) {
        s += std::abs(points[k].x) + std::abs(points[k].y) + std::abs(points[k].z);
        for (int m = 0; m < 3; ++m) rows.points[k][m] = float(points[k][m]);
    }
    // Boxes from a tenth of a millimetre to ten kilometres, under transforms that scale little.
    if (!(s >= 1e-4 && s <= 1e4 && e >= 1e-2 && e <= 1e2 && f >= 1e-2 && f <= 1e2 && limit <= 1e4)) return false;
    // With u the unit of rounding of floats, the float axis is within 8 u e f of the double one,
    // and the float closed form within 14 u s e f of the exact one; both bounds are doubled, and
    // the factors (1 + 2^-18) cover the rounding of the comparison itself.
    constexpr double u = 0x1p-24, room = 1.0 + 0x1p-18;
    const double lengthTolerance = 8 * u * e * f;
    const double limit2 = limit * limit;
    rows.tolerance = float(32 * u * s * e * f * room);
    rows.scale = float(limit2 * room);
    rows.constant = float(limit2 * lengthTolerance * (2.01 * e * f + lengthTolerance) * room);
    return true;
}

// Both shapes of a test and what is known of them.
struct ShapePair {
    const ShapeFacts* factsA = nullptr;
    const ShapeFacts* factsB = nullptr;
    bool boxes = false;  // both are boxes, and the closed form may be used with `margin`
    const PlacedBox* placedA = nullptr;  // set when `boxes` is
    const PlacedBox* placedB = nullptr;
    double margin = 0;
};

// The edge axes of two shapes: false when one separates them. Every pair of edge directions,
// the first shape's in the outer loop, in order.
__attribute__((noinline)) bool TestEdgeAxes(const TurnedEdges& edgesA, const TurnedEdges& edgesB,
                                            const ShapePair& shapes, const PlacedVertices& wa,
                                            const PlacedVertices& wb, double& best, glm::dvec3& bestAxis) {
    const uint32_t countA = shapes.factsA->edgeCount, countB = shapes.factsB->edgeCount;
    const double* fx = edgesB.x;
    const double* fy = edgesB.y;
    const double* fz = edgesB.z;
    auto edgeA = [&](uint32_t i) { return glm::dvec3(edgesA.x[i], edgesA.y[i], edgesA.z[i]); };

    EdgeAxes axes;
    constexpr uint32_t kRun = 8 * kLanes;
    // Normalises the axes gathered, then tests them in runs.
    auto testAll = [&] {
        axes.Pad();
        NormalizeFew(axes.x, axes.y, axes.z, axes.count);
        for (uint32_t begin = 0; begin < axes.count; begin = (begin / kRun + 1) * kRun) {
            if (!TestAxes(wa, wb, axes, begin, std::min(axes.count, (begin / kRun + 1) * kRun), best, bestAxis))
                return false;
        }
        return true;
    };

    const double limit = (best + shapes.margin) * (1.0 + 1e-12);
    if (!shapes.boxes || !std::isfinite(limit * limit)) {
        for (uint32_t i = 0; i < countA; ++i) AddCrossProducts(edgeA(i), fx, fy, fz, countB, axes);
        return testAll();
    }

    // Two boxes: most edge axes are passed over on their closed form, and only the rest are
    // normalised and tested exactly, still in order.
    const double margin2 = shapes.margin * shapes.margin * (1.0 + 1e-12);
    const PlacedBox& A = *shapes.placedA;
    const PlacedBox& B = *shapes.placedB;
    // Axes that floats pass over are not looked at again; the rest are tested exactly.
    EdgeRows rows;
    if (FillEdgeRows(edgesA, countA, edgesB, countB, A, B, limit, rows)) {
        const uint32_t open = OpenEdgeRows(rows);
        for (uint32_t i = 0; i < countA; ++i) {
            if (!((open >> i) & 1)) continue;
            // Every axis written, and kept by moving on only where it was not passed over: no
            // branch to guess.
            const glm::dvec3 e = edgeA(i);
            for (uint32_t j = 0; j < countB; ++j) {
                const glm::dvec3 c = glm::cross(e, glm::dvec3(fx[j], fy[j], fz[j]));
                axes.x[axes.count] = c.x;
                axes.y[axes.count] = c.y;
                axes.z[axes.count] = c.z;
                axes.count += !(rows.passed[j][i] > 0);
            }
        }
        return testAll();
    }
    Judged judged;
    for (uint32_t i = 0; i < countA; ++i) {
        if (JudgeCrossAxes(edgeA(i), fx, fy, fz, countB, A, B, limit * limit, judged)) continue;
        for (uint32_t j = 0; j < countB; ++j) {
            if (judged.passed[j] > 0 || judged.length2[j] == 0) continue;
            const double overlap = judged.overlap[j];
            if (overlap < 0 && overlap * overlap > margin2 * judged.length2[j]) return false;
            axes.Add(glm::cross(edgeA(i), glm::dvec3(fx[j], fy[j], fz[j])));
        }
    }
    return testAll();
}

// Each vertex p of a placed set pulled onto the box [lo, hi] that `inverse` brings points into and
// `to` places, q = TransformPoint(to, clamp(TransformPoint(inverse, p), lo, hi)), and its distance
// |p - q|: per lane the operations of the scalar forms, in their order.
struct NearestOnBox {
    alignas(64) double x[8], y[8], z[8], distance[8];
};

template <int W>
__attribute__((always_inline)) inline void PullOntoBoxBody(const PlacedVertices& v, const glm::dmat4& to,
                                                           const glm::dmat4& inverse, const glm::dvec3& lo,
                                                           const glm::dvec3& hi, NearestOnBox& out) {
    using Lanes = typename VectorOf<W>::type;
    for (int i = 0; i < 8; i += W) {
        Lanes x, y, z;
        ZENDOLA_LOAD_LANES(x, v.x + i);
        ZENDOLA_LOAD_LANES(y, v.y + i);
        ZENDOLA_LOAD_LANES(z, v.z + i);
        Lanes local[3], q[3];
        for (int k = 0; k < 3; ++k) {
            const Lanes l = (inverse[0][k] * x + inverse[1][k] * y) + (inverse[2][k] * z + inverse[3][k] * 1.0);
            const Lanes raised = l < lo[k] ? lo[k] + Lanes{} : l;  // glm::clamp: min(max(l, lo), hi)
            local[k] = hi[k] < raised ? hi[k] + Lanes{} : raised;
        }
        for (int k = 0; k < 3; ++k) {
            q[k] = (to[0][k] * local[0] + to[1][k] * local[1]) + (to[2][k] * local[2] + to[3][k] * 1.0);
        }
        const Lanes dx = x - q[0], dy = y - q[1], dz = z - q[2];
        const Lanes length2 = (dx * dx + dy * dy) + dz * dz;
        Lanes distance;
        for (int l = 0; l < W; ++l) distance[l] = std::sqrt(length2[l]);
        std::memcpy(out.x + i, &q[0], sizeof(Lanes));
        std::memcpy(out.y + i, &q[1], sizeof(Lanes));
        std::memcpy(out.z + i, &q[2], sizeof(Lanes));
        std::memcpy(out.distance + i, &distance, sizeof(Lanes));
    }
}

ZENDOLA_WIDE_FUNCTION(void, PullOntoBox,
                      (const PlacedVertices& v, const glm::dmat4& to, const glm::dmat4& inverse, const glm::dvec3& lo,
                       const glm::dvec3& hi, NearestOnBox& out),
                      (v, to, inverse, lo, hi, out))

inline glm::dvec3 RotatedNormal(const glm::vec3& n, const glm::dmat4& t) {
    return glm::normalize(TransformDirection(t, glm::dvec3(n)));
}

inline glm::dvec3 Clamped(const glm::dmat4& t, const glm::dmat4& inverse, const ConvexMeshCollider& c,
                          const glm::dvec3& p) {
    const glm::dvec3 local = TransformPoint(inverse, p);
    return TransformPoint(t, glm::clamp(local, glm::dvec3(c.box_min), glm::dvec3(c.box_max)));
}

// glm::length(v) > r, deciding on the squares where they settle it beyond the rounding of the
// square root, and taking the root only in the thin band where they don't.
inline bool Farther(const glm::dvec3& v, double r) {
    const double length2 = glm::dot(v, v);
    if (r > 1e-150 && r < 1e150 && length2 < kMaxDouble) {
        const double r2 = r * r;
        if (length2 > r2 * (1.0 + 0x1p-46)) return true;
        if (length2 < r2 * (1.0 - 0x1p-46)) return false;
    }
    return std::sqrt(length2) > r;
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

uint32_t CornersInside(const ConvexMeshCollider& c, const glm::dmat4& toBox, const glm::dvec3& lo,
                       const glm::dvec3& hi) {
#if ZENDOLA_WIDE_X86_BUILDS
    // The compiler builds the chain of selections a lane at a time on 512-bit vectors, so eight
    // corners take two 256-bit steps instead.
    if (gWideLoopWidth.load(std::memory_order_relaxed) != Width::k128) return PlacedInside256(c, toBox, lo, hi);
#endif
    return PlacedInside(c, toBox, lo, hi);
}

int LimitVectorWidth(int bits) {
    const Width limit = bits >= 512 ? Width::k512 : bits >= 256 ? Width::k256 : Width::k128;
    const Width width = std::min(limit, WidestWidthAvailable());
    gWideLoopWidth.store(width, std::memory_order_relaxed);
    return width == Width::k512 ? 512 : width == Width::k256 ? 256 : 128;
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

// The test proper, on both shapes placed.
struct PlacedShapeAccess {
    static Collision Test(PlacedShape& A, PlacedShape& B);
    // Whether the shape is a box, and where.
    static void KnowBox(PlacedShape& S, ShapeCache& cache) {
        if (S._boxKnown) return;
        const ShapeFacts& facts = cache.Get(*S._collider);
        S._facts = &facts;
        S._factsTable = &cache;
        S._factsFills = cache.Fills();
        S._isBox = facts.isBox;
        if (S._isBox) S._box = PlaceBox(facts, *S._collider, S._transform, S._center);
        S._boxKnown = true;
    }
    static bool Box(PlacedShape& S, PlacedBox& box) {
        if (S._collider->isSphere || UsedVertexCount(*S._collider) != 8) return false;
        KnowBox(S, ShapeCache::ForThisThread());
        if (S._isBox) box = S._box;
        return S._isBox;
    }
    // The edge directions turned by the transform; `facts` are the shape's.
    static const TurnedEdges& Edges(PlacedShape& S, const ShapeFacts& facts) {
        if (!S._edgesKnown) {
            TurnEdges(facts, S._transform, S._edges);
            S._edgesKnown = true;
        }
        return S._edges;
    }
    // Face axis k, with the face axes before it.
    static const glm::dvec3& Face(PlacedShape& S, uint32_t k) {
        for (; S._facesPlaced <= k; ++S._facesPlaced) {
            const uint32_t f = S._facesPlaced;
            const glm::dvec3 axis = TransformDirection(S._transform, glm::dvec3(S._collider->faceNormals[f]));
            S._faces[f] = axis;
            S._faceLength2[f] = glm::dot(axis, axis);
            if (S._isBox) S._faceExtent[f] = BoxExtent(S._box, axis);
        }
        return S._faces[k];
    }
};

Collision ConvexCollision(const ConvexMeshCollider& a, const glm::dmat4& ta, const ConvexMeshCollider& b,
                          const glm::dmat4& tb) {
    quorl::cpu::Profiler profile("ConvexCollision", true);
    PlacedShape A(a, ta), B(b, tb);
    return PlacedShapeAccess::Test(A, B);
}

Collision ConvexCollision(PlacedShape& a, PlacedShape& b) {
    quorl::cpu::Profiler profile("ConvexCollision", true);
    return PlacedShapeAccess::Test(a, b);
}

bool PlacedBoxOf(PlacedShape& shape, PlacedBox& box) {
    return PlacedShapeAccess::Box(shape, box);
}

Collision ConvexCollision(PlacedShape& a, const ConvexMeshCollider& b, const glm::dmat4& tb) {
    quorl::cpu::Profiler profile("ConvexCollision", true);
    PlacedShape B(b, tb);
    return PlacedShapeAccess::Test(a, B);
}

Collision PlacedShapeAccess::Test(PlacedShape& A, PlacedShape& B) {
    const ConvexMeshCollider& a = *A._collider;
    const ConvexMeshCollider& b = *B._collider;
    const glm::dmat4& ta = A._transform;
    const glm::dmat4& tb = B._transform;
#if ZENDOLA_REFERENCE_COLLISION
    // Built with the plain reading in place of this test, for when a result is in doubt: the same
    // answers, bit for bit, at many times the cost.
    {
        ConvexMeshCollider placedA = a, placedB = b;
        placedA.transform = ta;
        placedB.transform = tb;
        return ReferenceConvexCollision(placedA, placedB);
    }
#endif
    const glm::dvec3 cA = A._center, cB = B._center;
    if (Farther(cB - cA, a.radius + b.radius)) return {};
    if (a.isSphere) return SphereCollision(a, cA, b, tb, cB);

    ShapeCache& cache = ShapeCache::ForThisThread();
    KnowBox(A, cache);
    KnowBox(B, cache);
    ShapePair shapes;
    shapes.boxes = A._isBox && B._isBox;
    if (shapes.boxes) {
        shapes.placedA = &A._box;
        shapes.placedB = &B._box;
        const double size = A._box.size + B._box.size;
        shapes.margin = 1e-12 * size;
        shapes.boxes = std::isfinite(size);
    }

    // Most pairs that meet the test are parted by a face axis, which two boxes show at once; one
    // axis at a time, each placed only when it is reached, since the first usually does. Only the
    // first shape's: the few pairs that only the second's part are left to the exact test, which
    // costs less than the closed form on those axes costs every pair that touches.
    FaceAxes faces;
    const double margin2 = shapes.margin * shapes.margin * (1.0 + 1e-12);
    const uint32_t facesA = std::min<uint32_t>(a.faceNormalCount, 12), facesB = std::min<uint32_t>(b.faceNormalCount, 12);
    for (uint32_t k = 0; k < facesA; ++k) {
        const glm::dvec3& axis = Face(A, k);
        faces.Add(axis);
        if (!shapes.boxes) continue;
        const double overlap = BoxOverlapAlong(axis, A._faceExtent[k], A._box, B._box);
        if (overlap < 0 && overlap * overlap > margin2 * A._faceLength2[k]) return {};
    }
    for (uint32_t k = 0; k < facesB; ++k) faces.Add(Face(B, k));
    // Both shapes' facts at once: those found before while the table has made no new entry since.
    const uint64_t fills = cache.Fills();
    if (A._factsTable == &cache && B._factsTable == &cache && A._factsFills == fills && B._factsFills == fills) {
        shapes.factsA = A._facts;
        shapes.factsB = B._facts;
    } else {
        cache.Get(a, b, shapes.factsA, shapes.factsB);
    }
    faces.Pad();

    // The normals' square roots run while the vertices are placed.
    NormalizeFew(faces.x, faces.y, faces.z, faces.count);
    PlacedVertices wa, wb;
    PlaceVertices(a, ta, wa);
    PlaceVertices(b, tb, wb);
    double best = kMaxDouble;
    glm::dvec3 bestAxis(0.0);
    if (!TestAxes(wa, wb, faces, 0, faces.count, best, bestAxis)) return {};
    if (!TestEdgeAxes(Edges(A, *shapes.factsA), Edges(B, *shapes.factsB), shapes, wa, wb, best, bestAxis)) return {};

    Collision hit;
    hit.normal = Sign(glm::dot(glm::normalize(cA - cB), bestAxis)) * bestAxis;
    hit.depth = best;

    // Contact point: the vertex of the smaller shape nearest to the other shape's box, pulled
    // onto that box and then back into the smaller shape's own box.
    const bool walkB = a.radius > b.radius;
    PlacedShape& walked = walkB ? B : A;
    PlacedShape& other = walkB ? A : B;
    const PlacedVertices& wv = walkB ? wb : wa;
    if (wv.count > 0) {
        // All vertices pulled at once; the first nearest, below the greatest float, gives the point.
        NearestOnBox nearest;
        PullOntoBox(wv, other._transform, other.inverse(), glm::dvec3(other._collider->box_min),
                    glm::dvec3(other._collider->box_max), nearest);
        double bestDistance = std::numeric_limits<float>::max();
        uint32_t chosen = 8;
        for (uint32_t i = 0; i < wv.count; ++i) {
            if (nearest.distance[i] < bestDistance) {
                bestDistance = nearest.distance[i];
                chosen = i;
            }
        }
        if (chosen < 8) {
            const glm::dvec3 q(nearest.x[chosen], nearest.y[chosen], nearest.z[chosen]);
            hit.position = Clamped(walked._transform, walked.inverse(), *walked._collider, q);
        }
    }
    return hit;
}

bool PotentialBoxBoxIntersection(const glm::dmat4& transformA, const glm::dmat4& transformB,
                                 const glm::dvec3& minA, const glm::dvec3& maxA, const glm::dvec3& minB,
                                 const glm::dvec3& maxB, bool testSpheres, bool testBoxes) {
    if (testSpheres) {
        const glm::dvec3 ca = TransformPoint(transformA, (minA + maxA) * 0.5);
        const glm::dvec3 cb = TransformPoint(transformB, (minB + maxB) * 0.5);
        if (glm::length(cb - ca) > 0.5 * glm::length(maxA - minA) + 0.5 * glm::length(maxB - minB)) return false;
    }
    if (!testBoxes) return true;
    const glm::dmat4 bInA = Multiply(glm::affineInverse(transformA), transformB);
    glm::dvec3 lo(kMaxDouble), hi(-kMaxDouble);
    for (int i = 0; i < 8; ++i) {
        const glm::dvec3 corner((i & 4) ? maxB.x : minB.x, (i & 2) ? maxB.y : minB.y, (i & 1) ? maxB.z : minB.z);
        const glm::dvec3 p = TransformPoint(bInA, corner);
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
