#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

#include <glm/vec3.hpp>
#include <glm/vec4.hpp>
#include <nlohmann/json.hpp>

#include "game/graphics/GeometryInterface.h"

namespace quorl::vk {
class Buffer;
}

namespace game::graphics {

// The game's 3D models: glTF 2.0 files (JSON with separate binary buffers), read into geometry for
// the renderer. Only a strict subset of the format is accepted, since the files are the game's own
// art. The binary buffer goes unchanged to the GPU: a geometry is a set of device addresses into
// it. Parsing (ParseBuffers, ParseNodes, CheckIndices) needs no device; Load adds the upload.
class Mesh {
public:
    // One glTF primitive.
    class Geometry : public GeometryInterface {
    public:
        unsigned long long GetPrimitiveCount() const override { return primitiveCount; }
        unsigned long long GetPrimitiveStride() const override { return primitiveStride; }
        unsigned long long GetIndexCount() const override { return indexCount; }
        unsigned long long GetPrimitivesAddr() const override { return primitivesAddr; }
        unsigned long long GetIndicesAddr() const override { return indicesAddr; }
        unsigned long long GetIndexStride() const override { return indexStride; }

        glm::vec4 baseColor{1.0f};
        glm::vec3 emission{0.0f};
        uint32_t baseColorTexture = 0;  // from AddTexture; 0 when none
        uint32_t reserved = 0;
        float metallic = 1.0f;
        float roughness = 1.0f;
        unsigned long long texcoord0Addr = 0;
        unsigned long long texcoord1Addr = 0;
        unsigned long long normalsAddr = 0;
        unsigned long long floatColorsAddr = 0;
        unsigned long long byteColorsAddr = 0;
        std::shared_ptr<quorl::vk::Buffer> buffer;
        unsigned long long primitivesAddr = 0;
        unsigned long long primitiveStride = 12;
        unsigned long long primitiveCount = 0;
        unsigned long long indicesAddr = 0;
        unsigned long long indexStride = 0;
        unsigned long long indexCount = 0;
        std::string materialName;
    };

    // A format violation: the failed condition as text and the line of its check. Load turns it
    // into the library's assertion.
    class FormatError : public std::runtime_error {
    public:
        FormatError(const char* expression, int line) : std::runtime_error(expression), line(line) {}
        int line;
    };

    // Where one primitive's data lies: byte offsets into the buffer it was parsed against
    // (kAbsent for attributes it lacks), its material, and the image file of its base colour
    // texture ("" when none).
    struct PrimitiveLayout {
        static constexpr uint64_t kAbsent = ~uint64_t(0);
        uint32_t indexType = GeometryInterface::kIndexNone;
        uint64_t positions = kAbsent, vertexCount = 0;
        uint64_t indices = kAbsent, indexStride = 0, indexCount = 0;
        uint64_t normals = kAbsent, floatColors = kAbsent, byteColors = kAbsent;
        uint64_t texcoord0 = kAbsent, texcoord1 = kAbsent;
        std::string materialName;
        glm::vec4 baseColor{1.0f};
        glm::vec3 emission{0.0f};
        float metallic = 1.0f, roughness = 1.0f;
        std::string baseColorImage;
    };
    struct NodeLayout {
        std::string name;
        std::vector<PrimitiveLayout> primitives;
    };
    struct BufferLayout {
        std::string path;  // the uri beside the model file
        uint64_t byteLength = 0;
    };

    // Builds an empty mesh and loads path.
    explicit Mesh(const std::string& path);

    // Reads the model and its buffers into one device buffer per file, replacing the geometries of
    // the nodes it names (old ones go to the renderer's trash: the GPU may still read them).
    // Base colour images (PNG files beside the model) are added to the renderer's texture array,
    // once per file, and their index stored in the geometries' baseColorTexture.
    // A format violation is an assertion, after a line naming the file; a model, buffer or image
    // file that can't be read throws std::runtime_error before anything is replaced.
    void Load(const std::string& path);

    // The buffers of a parsed model; uris are resolved against directory.
    static std::vector<BufferLayout> ParseBuffers(const nlohmann::json& gltf, const std::string& directory);
    // The nodes with a mesh whose geometry lies in buffer bufferIndex of bufferLength bytes, in
    // file order. Throws FormatError on a violation (also for data outside the buffer), the
    // parser's exception for a missing key.
    static std::vector<NodeLayout> ParseNodes(const nlohmann::json& gltf, unsigned bufferIndex, uint64_t bufferLength,
                                              const std::string& directory);
    // Checks that every index of the primitive names one of its vertices (the GPU would read
    // outside the positions otherwise). data: the buffer the layout was parsed against.
    static void CheckIndices(const PrimitiveLayout& primitive, const std::byte* data);

    std::unordered_map<std::string, std::vector<std::shared_ptr<Geometry>>> nodes;
};

}  // namespace game::graphics
