// A glTF model as JSON, a NUL byte, then the bytes of its first buffer (zero-filled up to its
// byteLength). The reader may only reject it with its format error or the JSON parser's
// exception; whatever it accepts lies inside the buffer and has indices below the vertex count.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "game/graphics/Mesh.h"

using game::graphics::Mesh;

namespace {

void Inside(uint64_t offset, uint64_t count, uint64_t size, uint64_t length) {
    if (offset == Mesh::PrimitiveLayout::kAbsent) return;
    if (offset > length || count > (length - offset) / size) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const uint8_t* nul = static_cast<const uint8_t*>(std::memchr(data, 0, size));
    const size_t jsonSize = nul ? size_t(nul - data) : size;
    try {
        const nlohmann::json gltf = nlohmann::json::parse(data, data + jsonSize);
        const auto buffers = Mesh::ParseBuffers(gltf, ".");
        if (buffers.empty() || buffers[0].byteLength > (1u << 20)) return 0;
        std::vector<std::byte> bytes(buffers[0].byteLength);
        if (nul) std::memcpy(bytes.data(), nul + 1, std::min<size_t>(bytes.size(), size - jsonSize - 1));
        const uint64_t length = bytes.size();
        for (const Mesh::NodeLayout& node : Mesh::ParseNodes(gltf, 0, length, ".")) {
            for (const Mesh::PrimitiveLayout& p : node.primitives) {
                Inside(p.positions, p.vertexCount, 12, length);
                Inside(p.indices, p.indexCount, p.indexStride, length);
                Inside(p.normals, p.vertexCount, 12, length);
                Inside(p.floatColors, p.vertexCount, 16, length);
                Inside(p.byteColors, p.vertexCount, 4, length);
                Inside(p.texcoord0, p.vertexCount, 8, length);
                Inside(p.texcoord1, p.vertexCount, 8, length);
                if (p.byteColors != Mesh::PrimitiveLayout::kAbsent && p.floatColors != Mesh::PrimitiveLayout::kAbsent)
                    std::abort();
                Mesh::CheckIndices(p, bytes.data());
            }
        }
    } catch (const Mesh::FormatError&) {
    } catch (const nlohmann::json::exception&) {
    }
    return 0;
}
