#pragma once
#include <cstdint>

namespace game::graphics {

// One bottom-level item of a renderable: primitives (vertices or boxes) and optional indices,
// each reached through a device address.
class GeometryInterface {
public:
    virtual ~GeometryInterface() = default;
    virtual unsigned long long GetPrimitiveCount() const = 0;
    virtual unsigned long long GetPrimitiveStride() const = 0;
    virtual unsigned long long GetIndexCount() const = 0;
    virtual unsigned long long GetPrimitivesAddr() const = 0;
    virtual unsigned long long GetIndicesAddr() const = 0;
    // 2 for 16-bit indices, 4 for 32-bit, 0 when not indexed.
    virtual unsigned long long GetIndexStride() const {
        return indexType == kIndex16 ? 2 : indexType == kIndex32 ? 4 : 0;
    }

    static constexpr uint32_t kIndexNone = 1, kIndex16 = 2, kIndex32 = 3;
    uint32_t indexType = kIndexNone;
};

}  // namespace game::graphics
