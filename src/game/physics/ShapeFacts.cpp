#include "game/physics/ShapeFacts.h"

#include <cmath>
#include <cstring>
#include <memory>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <glm/common.hpp>
#include <glm/geometric.hpp>

namespace game::physics {

using entity::ConvexMeshCollider;

namespace {

bool Finite(const glm::vec3& v) { return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z); }

void FindShapeFacts(const ConvexMeshCollider& c, ShapeFacts& out) {
    out.edgeCount = 0;
    const uint32_t n = UsedVertexCount(c);
    for (uint32_t i = 0; i < n; ++i) {
        for (uint32_t j = i + 1; j < n; ++j) {
            const glm::vec3 e = glm::normalize(c.vertices[i] - c.vertices[j]);
            if (!Finite(e)) continue;  // coincident vertices: every axis made with it is not a number
            bool seen = false;
            for (uint32_t k = 0; k < out.edgeCount && !seen; ++k) seen = out.edges[k] == e || out.edges[k] == -e;
            if (!seen) out.edges[out.edgeCount++] = e;
        }
    }
    for (uint32_t k = 0; k < 32; ++k) {
        const glm::dvec3 e = k < out.edgeCount ? glm::dvec3(out.edges[k]) : glm::dvec3(0.0);
        out.edgeX[k] = e.x;
        out.edgeY[k] = e.y;
        out.edgeZ[k] = e.z;
    }

    out.isBox = false;
    if (n != 8) return;
    out.low = out.high = c.vertices[0];
    for (uint32_t i = 1; i < 8; ++i) {
        out.low = glm::min(out.low, c.vertices[i]);
        out.high = glm::max(out.high, c.vertices[i]);
    }
    if (!Finite(out.low) || !Finite(out.high)) return;
    uint32_t corners = 0;
    for (uint32_t i = 0; i < 8; ++i) {
        uint32_t corner = 0;
        for (int k = 0; k < 3; ++k) {
            if (c.vertices[i][k] == out.high[k] && out.high[k] != out.low[k]) corner |= 1u << k;
            else if (c.vertices[i][k] != out.low[k]) return;
        }
        corners |= 1u << corner;
    }
    out.isBox = corners == 0xffu;
}

}  // namespace

constinit thread_local ShapeCache* ShapeCache::tThisThread = nullptr;

ShapeCache& ShapeCache::MakeForThisThread() {
    // The owner, destroyed when the thread ends; the table itself (tens of kilobytes) is on the heap.
    thread_local std::unique_ptr<ShapeCache> owner;
    owner = std::make_unique<ShapeCache>();
    tThisThread = owner.get();
    return *owner;
}

void ShapeCache::Get(const ConvexMeshCollider& a, const ConvexMeshCollider& b, const ShapeFacts*& factsA,
                     const ShapeFacts*& factsB) {
    const size_t slotA = Find(a, kEntries);
    const size_t slotB = Find(b, slotA);
    factsA = &_entries[slotA].facts;
    factsB = &_entries[slotB].facts;
}

size_t ShapeCache::Find(const ConvexMeshCollider& c, size_t taken) {
    for (size_t slot : _recent) {
        if (Holds(_entries[slot], c)) return slot;
    }
    Key key;
    MakeKey(c, key);
    size_t slot = Slot(key);
    if (slot == taken && !Same(_entries[taken].key, key)) slot ^= 1;  // two shapes in one slot: the next takes it
    Fill(slot, key, c);
    _recent[1] = _recent[0];
    _recent[0] = slot;
    return slot;
}

bool ShapeCache::Holds(const Entry& e, const ConvexMeshCollider& c) {
    static_assert(sizeof(c.vertices) == 96 && sizeof(e.key.words) >= 96);
    if (!e.used || e.key.words[12] != UsedVertexCount(c)) return false;
    // The vertex bits 16 bytes at a time: six compares and one mask, where word by word it
    // takes a copy and a chain of twelve.
    const char* vertices = reinterpret_cast<const char*>(c.vertices);
    const char* key = reinterpret_cast<const char*>(e.key.words);
#if defined(__SSE2__)
    __m128i same = _mm_set1_epi32(-1);
    for (int i = 0; i < 96; i += 16) {
        const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(vertices + i));
        const __m128i y = _mm_load_si128(reinterpret_cast<const __m128i*>(key + i));
        same = _mm_and_si128(same, _mm_cmpeq_epi32(x, y));
    }
    return _mm_movemask_epi8(same) == 0xffff;
#else
    return std::memcmp(vertices, key, 96) == 0;
#endif
}

void ShapeCache::MakeKey(const ConvexMeshCollider& c, Key& key) {
    static_assert(sizeof(c.vertices) == 12 * sizeof(uint64_t));
    std::memcpy(key.words, c.vertices, sizeof(c.vertices));
    key.words[12] = UsedVertexCount(c);
}

bool ShapeCache::Same(const Key& x, const Key& y) {
    uint64_t differ = 0;
    for (int i = 0; i < 13; ++i) differ |= x.words[i] ^ y.words[i];
    return differ == 0;
}

size_t ShapeCache::Slot(const Key& key) {
    uint64_t hash = key.words[12];
    for (int i = 0; i < 12; ++i) hash += key.words[i] * (0x9E3779B97F4A7C15ull + 2 * uint64_t(i));
    return (hash ^ (hash >> 32) ^ (hash >> 17)) % kEntries;
}

const ShapeFacts& ShapeCache::Fill(size_t slot, const Key& key, const ConvexMeshCollider& c) {
    Entry& e = _entries[slot];
    if (!e.used || !Same(e.key, key)) {
        ++_fills;
        e.used = true;
        e.key = key;
        FindShapeFacts(c, e.facts);
    }
    return e.facts;
}

}  // namespace game::physics
