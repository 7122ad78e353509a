#pragma once
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include <glm/geometric.hpp>
#include <glm/vec3.hpp>

#include "game/physics/Rigidbody.h"

namespace game::physics {

// Pairs the moving bodies of a group with each other and with the fixed bodies of the same frame:
// every pair for small groups, a sweep along one axis for large ones. The scratch is kept between
// calls, so a steady world allocates nothing here.
class BroadPhase {
public:
    // Groups up to this many pair tests are paired by testing every pair.
    static constexpr size_t kDirectPairLimit = 512;

    // Fills the candidate lists of the moving bodies d[0..n) against each other and against the
    // fixed bodies f[0..m). Each list holds exactly the bodies that pass the pair test, in vector
    // order. Large groups are swept along the axis on which the centres spread most, with
    // intervals padded so that no pair that passes the exact test is missed.
    // With `pairMoving` false only the fixed candidates are added (for a second set of fixed bodies).
    template <class Entity>
    void FindCandidates(DynamicRigidbody<Entity>* d, size_t n, Rigidbody<Entity>* f, size_t m, bool pairMoving = true);

    // Whether `a` never collides with the body `other`.
    template <class Entity>
    static bool Ignores(const DynamicRigidbody<Entity>& a, const game::entity::Id& other) {
        return !a.ignoredIds.empty() && a.ignoredIds.count(other) != 0;
    }
    // The pair test between two moving bodies of a group; only the first gets the pair.
    template <class Entity>
    static bool DynamicPair(const DynamicRigidbody<Entity>& a, const DynamicRigidbody<Entity>& b) {
        if (Ignores(a, b.id) || Ignores(b, a.id)) return false;
        return glm::distance(a.boundsCenterWorld, b.boundsCenterWorld) < a.broadphaseRadius + b.broadphaseRadius;
    }
    template <class Entity>
    static bool FixedPair(const DynamicRigidbody<Entity>& a, const Rigidbody<Entity>& f) {
        if (Ignores(a, f.id)) return false;
        return glm::distance(a.boundsCenterWorld, f.boundsCenterWorld) < a.broadphaseRadius + f.radius;
    }

private:
    // Interval of a body's broad-phase sphere on the sweep axis.
    struct SweepItem {
        double lo, hi;
        glm::dvec3 centre;
        double reach;  // padded radius, for the test on the other two axes
        uint32_t index;
        bool fixed;
    };

    // The intervals of a sweep still open, per coordinate, in the order they opened. Closed ones are
    // dropped from the front; one that closes behind a longer one is only passed over until it
    // reaches the front (similar bodies close nearly in the order they open).
    struct ActiveSet {
        std::vector<double> hi, u, v, reach;
        std::vector<uint32_t> index;  // of the body in its array
        std::vector<uint8_t> near;    // scratch: per entry, whether it is near the item tested
        size_t first = 0;

        // Empty, with room for `capacity` intervals so that the sweep never grows it.
        void Clear(size_t capacity);
        void Add(const SweepItem& item, int axisU, int axisV) {
            hi.push_back(item.hi);
            u.push_back(item.centre[axisU]);
            v.push_back(item.centre[axisV]);
            reach.push_back(item.reach);
            index.push_back(item.index);
        }
        // Drops the intervals at the front that close before `from`, and the room they held once it
        // is half of all.
        void CloseBefore(double from) {
            while (first < hi.size() && hi[first] < from) ++first;
            if (first >= 8 && 2 * first >= hi.size()) Compact();
        }
        void Compact();
        // Calls visit(index) for each open interval whose body is near the item on the other two
        // axes (|du| and |dv| within the sum of the reaches), in the order they opened.
        template <class Visit>
        void ForEachNear(const SweepItem& item, int axisU, int axisV, Visit&& visit);
    };

    // Sorts a candidate list by address: the bodies of a group lie in one array, so that is index
    // order. The lists are short; insertion sort.
    template <class List>
    static void SortByAddress(List& list, size_t from = 0) {
        for (size_t a = from + 1; a < list.size(); ++a) {
            auto* value = list[a];
            size_t b = a;
            for (; b > 0 && list[b - 1] > value; --b) list[b] = list[b - 1];
            list[b] = value;
        }
    }

    std::vector<SweepItem> _items;
    ActiveSet _activeDynamic, _activeFixed;
};

template <class Visit>
void BroadPhase::ActiveSet::ForEachNear(const SweepItem& item, int axisU, int axisV, Visit&& visit) {
    const size_t n = hi.size();
    if (first == n) return;
    near.resize(n - first + 8);
    const double lo = item.lo, cu = item.centre[axisU], cv = item.centre[axisV], r = item.reach;
    const double* h = hi.data() + first;
    const double* pu = u.data() + first;
    const double* pv = v.data() + first;
    const double* pr = reach.data() + first;
    uint8_t* flags = near.data();
    const size_t count = n - first;
    // One flag per entry without a branch, so that the loop runs on vectors.
    for (size_t k = 0; k < count; ++k) {
        const double both = pr[k] + r;
        flags[k] = uint8_t(h[k] >= lo) & uint8_t(std::abs(pu[k] - cu) <= both) & uint8_t(std::abs(pv[k] - cv) <= both);
    }
    for (size_t k = count; k < count + 8; ++k) flags[k] = 0;
    for (size_t k = 0; k < count; k += 8) {
        uint64_t word;
        std::memcpy(&word, flags + k, sizeof word);
        while (word) {
            const int bit = __builtin_ctzll(word);
            word &= word - 1;
            visit(index[first + k + bit / 8]);
        }
    }
}

template <class Entity>
void BroadPhase::FindCandidates(DynamicRigidbody<Entity>* d, size_t n, Rigidbody<Entity>* f, size_t m, bool pairMoving) {
    if (n * (n + m) <= kDirectPairLimit) {
        for (size_t i = 0; i < n; ++i) {
            for (size_t j = pairMoving ? i + 1 : n; j < n; ++j)
                if (DynamicPair(d[i], d[j])) d[i].dynamicCandidates.push_back(&d[j]);
            for (size_t k = 0; k < m; ++k)
                if (FixedPair(d[i], f[k])) d[i].fixedCandidates.push_back(&f[k]);
        }
        return;
    }

    glm::dvec3 lo(std::numeric_limits<double>::max()), hi(-std::numeric_limits<double>::max());
    for (size_t i = 0; i < n; ++i) {
        lo = glm::min(lo, d[i].boundsCenterWorld);
        hi = glm::max(hi, d[i].boundsCenterWorld);
    }
    for (size_t k = 0; k < m; ++k) {
        lo = glm::min(lo, f[k].boundsCenterWorld);
        hi = glm::max(hi, f[k].boundsCenterWorld);
    }
    const glm::dvec3 spread = hi - lo;
    const int axis = spread.x >= spread.y && spread.x >= spread.z ? 0 : (spread.y >= spread.z ? 1 : 2);
    auto interval = [axis](const glm::dvec3& c, double r, uint32_t index, bool fixed) {
        const double x = c[axis];
        const double pad = r * 1e-9 + 1e-9 * (1.0 + glm::length(c));
        return SweepItem{x - r - pad, x + r + pad, c, r + pad, index, fixed};
    };
    // Intervals overlapping on the sweep axis; a pair must also overlap on the other two.
    const int u = (axis + 1) % 3, v = (axis + 2) % 3;

    _items.clear();
    for (size_t i = 0; i < n; ++i)
        _items.push_back(interval(d[i].boundsCenterWorld, d[i].broadphaseRadius, uint32_t(i), false));
    for (size_t k = 0; k < m; ++k) _items.push_back(interval(f[k].boundsCenterWorld, f[k].radius, uint32_t(k), true));
    std::sort(_items.begin(), _items.end(), [](const SweepItem& a, const SweepItem& b) { return a.lo < b.lo; });

    _activeDynamic.Clear(n + m);
    _activeFixed.Clear(n + m);
    // Each pair goes straight to the list of its first body, in sweep order.
    for (const SweepItem& item : _items) {
        _activeDynamic.CloseBefore(item.lo);
        _activeFixed.CloseBefore(item.lo);
        if (item.fixed) {
            _activeDynamic.ForEachNear(item, u, v, [&](uint32_t i) {
                if (FixedPair(d[i], f[item.index])) d[i].fixedCandidates.push_back(&f[item.index]);
            });
            _activeFixed.Add(item, u, v);
        } else {
            if (pairMoving) _activeDynamic.ForEachNear(item, u, v, [&](uint32_t other) {
                const uint32_t i = std::min(other, item.index), j = std::max(other, item.index);
                if (DynamicPair(d[i], d[j])) d[i].dynamicCandidates.push_back(&d[j]);
            });
            _activeFixed.ForEachNear(item, u, v, [&](uint32_t k) {
                if (FixedPair(d[item.index], f[k])) d[item.index].fixedCandidates.push_back(&f[k]);
            });
            _activeDynamic.Add(item, u, v);
        }
    }
    // Restore the order of the direct test.
    // A second set of fixed bodies keeps its candidates after the first's: only the tail that
    // points into f[0..m) is sorted.
    for (size_t i = 0; i < n; ++i) {
        SortByAddress(d[i].dynamicCandidates);
        auto& fixed = d[i].fixedCandidates;
        size_t from = fixed.size();
        while (from > 0 && fixed[from - 1] >= f && fixed[from - 1] < f + m) --from;
        SortByAddress(fixed, pairMoving ? 0 : from);
    }
}

}  // namespace game::physics
