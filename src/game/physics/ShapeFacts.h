#pragma once
#include <cstddef>
#include <cstdint>

#include <glm/vec3.hpp>

#include "game/entity/ConvexMeshCollider.h"

// What the separating-axis test knows of a shape from its vertices alone, kept per thread.
namespace game::physics {

// The vertices a test uses: the first 8 at most.
inline uint32_t UsedVertexCount(const entity::ConvexMeshCollider& c) { return c.vertexCount < 8 ? c.vertexCount : 8; }

// What the separating-axis test needs to know of a shape beyond its placed vertices, which
// depends on its vertices alone.
struct ShapeFacts {
    // Unique edge directions in the shape's own space (unit, up to sign). The edges between all
    // pairs of vertices repeat a few directions many times (a box has 28 pairs but 13
    // directions); a repeated or reversed edge gives the same axis, and with it exactly the same
    // overlap, as its first occurrence, so only first occurrences are kept, in order.
    uint32_t edgeCount = 0;
    glm::vec3 edges[28];
    // The same per coordinate in doubles, zero past the last, for loops over many at once.
    alignas(64) double edgeX[32], edgeY[32], edgeZ[32];
    // The vertices are the 8 distinct corners of the box [low, high]: placed by a transform they
    // stay a parallelepiped, whose extent along an axis has a closed form.
    bool isBox = false;
    glm::vec3 low{0.0f}, high{0.0f};
};

// Shape facts are kept per thread in a small table keyed by the vertex count and the bits of the
// vertex array: a world holds few distinct shapes.
class __attribute__((visibility("hidden"))) ShapeCache {
public:
    // The calling thread's table, made on its first use. Only a pointer is thread-local, in the
    // default model: libzendola may be opened late with dlopen, where large or initial-exec
    // thread-local data has no room.
    static ShapeCache& ForThisThread() {
        if (!tThisThread) [[unlikely]] return MakeForThisThread();
        return *tThisThread;
    }

    // The facts of one shape, valid until the next call.
    const ShapeFacts& Get(const entity::ConvexMeshCollider& c) { return _entries[Find(c, kEntries)].facts; }
    // How many times an entry has been filled: facts found earlier are still valid while this
    // stays the same.
    uint64_t Fills() const { return _fills; }
    // The facts of both shapes; both stay valid until the next call.
    void Get(const entity::ConvexMeshCollider& a, const entity::ConvexMeshCollider& b, const ShapeFacts*& factsA,
             const ShapeFacts*& factsB);

private:
    static constexpr size_t kEntries = 32;
    struct alignas(16) Key {
        uint64_t words[13];  // the 8 vertices' bits, then the vertex count
    };
    struct Entry {
        bool used = false;
        Key key;
        ShapeFacts facts;
    };

    static ShapeCache& MakeForThisThread();
    static constinit thread_local ShapeCache* tThisThread;

    // The slot of c's facts, filled if need be; `taken` is a slot that must keep its entry.
    size_t Find(const entity::ConvexMeshCollider& c, size_t taken);
    static bool Holds(const Entry& e, const entity::ConvexMeshCollider& c);
    static void MakeKey(const entity::ConvexMeshCollider& c, Key& key);
    static bool Same(const Key& x, const Key& y);
    static size_t Slot(const Key& key);
    const ShapeFacts& Fill(size_t slot, const Key& key, const entity::ConvexMeshCollider& c);

    Entry _entries[kEntries];
    uint64_t _fills = 0;
    size_t _recent[2] = {0, 1};  // the slots found last, looked at first: a world has few shapes
};

}  // namespace game::physics
