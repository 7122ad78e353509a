#include "game/graphics/Mesh.h"

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>

#include "game/Game.h"
#include "game/graphics/GameRenderer.h"
#include "quorl/Assert.h"
#include "quorl/graphics/Texture.h"
#include "quorl/vk/Buffer.h"

namespace game::graphics {

namespace {

using nlohmann::json;

// glTF component types.
constexpr int GL_UNSIGNED_BYTE = 0x1401;
constexpr int GL_UNSIGNED_SHORT = 0x1403;
constexpr int GL_UNSIGNED_INT = 0x1405;
constexpr int GL_FLOAT = 0x1406;

// A violated condition, with its text as written: the text is what the assertion reports.
#define MESH_CHECK(expr) \
    ((expr) ? static_cast<void>(0) : throw Mesh::FormatError(#expr, __LINE__))
#define MESH_FAIL(text) throw Mesh::FormatError(#text, __LINE__)
#define MESH_CHECK_STRIDE(acc, size) \
    MESH_CHECK(!acc.contains("byteStride") || acc.at("byteStride") == 0 || acc.at("byteStride") == size)

uint64_t Unsigned(const json& value) {
    if (value.is_number_unsigned() || (value.is_number_integer() && value.get<int64_t>() >= 0))
        return value.get<uint64_t>();
    MESH_FAIL(!"Offsets, lengths, counts and indices must be non-negative integers");
}

uint64_t Optional(const json& object, const char* key) {
    const auto it = object.find(key);
    return it == object.end() ? 0 : Unsigned(*it);
}

// The byte offset in the buffer of `count` elements of `size` bytes read through accessor and
// view, after checking that all of them lie inside the view and the view inside the buffer, and
// that the first is aligned to its component (the GPU reads it in place).
uint64_t Locate(const json& accessor, const json& view, uint64_t bufferLength, uint64_t size, uint64_t component,
                uint64_t count) {
    const uint64_t viewOffset = Optional(view, "byteOffset");
    const uint64_t viewLength = Unsigned(view.at("byteLength"));
    const uint64_t accessorOffset = Optional(accessor, "byteOffset");
    if (viewOffset > bufferLength || viewLength > bufferLength - viewOffset)
        MESH_FAIL(!"bufferView reaches past the end of its buffer");
    if (accessorOffset > viewLength || count > (viewLength - accessorOffset) / size)
        MESH_FAIL(!"Accessor reaches past the end of its bufferView");
    const uint64_t offset = viewOffset + accessorOffset;
    if (offset % component != 0) MESH_FAIL(!"Accessor data is not aligned to its component size");
    return offset;
}

const json& At(const json& array, const json& index) { return array.at(Unsigned(index)); }

void ReadMaterial(const json& gltf, const json& primitive, const std::string& directory, Mesh::PrimitiveLayout& out) {
    if (!primitive.contains("material")) MESH_FAIL(!"Material not found");
    const json& material = At(gltf.at("materials"), primitive.at("material"));
    out.materialName = material.value("name", std::string());
    if (const auto pbr = material.find("pbrMetallicRoughness"); pbr != material.end()) {
        if (pbr->contains("baseColorFactor")) {
            const auto c = pbr->at("baseColorFactor").get<std::array<float, 4>>();
            out.baseColor = {c[0], c[1], c[2], c[3]};
        } else if (pbr->contains("baseColorTexture")) {
            // "screen" is the surface a virtual monitor is shown on: black until one is set.
            if (out.materialName == "screen") {
                out.baseColor = {0.0f, 0.0f, 0.0f, 1.0f};
            } else {
                const json& texture = At(gltf.at("textures"), pbr->at("baseColorTexture").at("index"));
                const json& image = At(gltf.at("images"), texture.at("source"));
                out.baseColorImage = directory + "/" + image.at("uri").get<std::string>();
            }
        }
        if (pbr->contains("metallicFactor")) out.metallic = pbr->at("metallicFactor").get<float>();
        if (pbr->contains("roughnessFactor")) out.roughness = pbr->at("roughnessFactor").get<float>();
    }
    if (material.contains("emissiveFactor")) {
        const auto e = material.at("emissiveFactor").get<std::array<float, 3>>();
        out.emission = {e[0], e[1], e[2]};
    }
}

Mesh::PrimitiveLayout ReadPrimitive(const json& gltf, const json& primitive, unsigned bufferIndex,
                                    uint64_t bufferLength, const std::string& directory) {
    Mesh::PrimitiveLayout out;
    const json& accessors = gltf.at("accessors");
    const json& bufferViews = gltf.at("bufferViews");
    const json& attributes = primitive.at("attributes");

    {
        const json& positionAccessor = At(accessors, attributes.at("POSITION"));
        const json& bufferView = At(bufferViews, positionAccessor.at("bufferView"));
        MESH_CHECK(bufferView.at("buffer") == bufferIndex);
        MESH_CHECK(positionAccessor.at("type") == "VEC3");
        MESH_CHECK(positionAccessor.at("componentType") == GL_FLOAT);
        MESH_CHECK_STRIDE(positionAccessor, sizeof(float) * 3);
        out.vertexCount = Unsigned(positionAccessor.at("count"));
        out.positions = Locate(positionAccessor, bufferView, bufferLength, 12, 4, out.vertexCount);
    }
    if (primitive.contains("indices")) {
        const json& indicesAccessor = At(accessors, primitive.at("indices"));
        const json& indicesBufferView = At(bufferViews, indicesAccessor.at("bufferView"));
        MESH_CHECK(indicesBufferView.at("buffer") == bufferIndex);
        MESH_CHECK(indicesAccessor.at("type") == "SCALAR");
        if (indicesAccessor.at("componentType") == GL_UNSIGNED_SHORT) {
            MESH_CHECK_STRIDE(indicesAccessor, sizeof(uint16_t));
            out.indexType = GeometryInterface::kIndex16;
            out.indexStride = 2;
        } else if (indicesAccessor.at("componentType") == GL_UNSIGNED_INT) {
            MESH_CHECK_STRIDE(indicesAccessor, sizeof(uint32_t));
            out.indexType = GeometryInterface::kIndex32;
            out.indexStride = 4;
        } else {
            MESH_FAIL(!"Index ComponentType not supported");
        }
        out.indexCount = Unsigned(indicesAccessor.at("count"));
        out.indices = Locate(indicesAccessor, indicesBufferView, bufferLength, out.indexStride, out.indexStride,
                             out.indexCount);
    }
    // The other attributes: all optional, all read the same way.
    const auto read = [&](const char* name, auto&& check) -> uint64_t {
        if (!attributes.contains(name)) return Mesh::PrimitiveLayout::kAbsent;
        const json& accessor = At(accessors, attributes.at(name));
        const json& bufferView = At(bufferViews, accessor.at("bufferView"));
        MESH_CHECK(bufferView.at("buffer") == bufferIndex);
        const auto [size, component] = check(accessor);
        return Locate(accessor, bufferView, bufferLength, size, component, out.vertexCount);
    };
    using Size = std::pair<uint64_t, uint64_t>;
    out.normals = read("NORMAL", [](const json& accessor) {
        MESH_CHECK(accessor.at("type") == "VEC3");
        MESH_CHECK(accessor.at("componentType") == GL_FLOAT);
        MESH_CHECK_STRIDE(accessor, sizeof(float) * 3);
        return Size{12, 4};
    });
    bool byteColors = false;
    const uint64_t colors = read("COLOR_0", [&](const json& accessor) {
        MESH_CHECK(accessor.at("type") == "VEC4");
        if (accessor.at("componentType") == GL_UNSIGNED_BYTE) {
            MESH_CHECK_STRIDE(accessor, sizeof(uint8_t) * 4);
            byteColors = true;
            return Size{4, 1};
        }
        if (accessor.at("componentType") == GL_FLOAT) {
            MESH_CHECK_STRIDE(accessor, sizeof(float) * 4);
            return Size{16, 4};
        }
        MESH_FAIL(!"Color ComponentType not supported");
    });
    (byteColors ? out.byteColors : out.floatColors) = colors;
    const auto texcoord = [](const json& accessor) {
        MESH_CHECK(accessor.at("type") == "VEC2");
        MESH_CHECK(accessor.at("componentType") == GL_FLOAT);
        MESH_CHECK_STRIDE(accessor, sizeof(float) * 2);
        return Size{8, 4};
    };
    out.texcoord0 = read("TEXCOORD_0", texcoord);
    out.texcoord1 = read("TEXCOORD_1", texcoord);

    ReadMaterial(gltf, primitive, directory, out);
    return out;
}

std::string Directory(const std::string& path) {
    const std::string parent = std::filesystem::path(path).parent_path().string();
    return parent.empty() ? "." : parent;
}

}  // namespace

std::vector<Mesh::BufferLayout> Mesh::ParseBuffers(const json& gltf, const std::string& directory) {
    std::vector<BufferLayout> out;
    const auto buffers = gltf.find("buffers");
    if (buffers == gltf.end()) return out;
    for (const json& buffer : *buffers) {
        BufferLayout layout;
        layout.byteLength = Unsigned(buffer.at("byteLength"));
        if (layout.byteLength == 0) MESH_FAIL(!"Buffer byteLength is 0");
        layout.path = directory + "/" + buffer.at("uri").get<std::string>();
        out.push_back(std::move(layout));
    }
    return out;
}

std::vector<Mesh::NodeLayout> Mesh::ParseNodes(const json& gltf, unsigned bufferIndex, uint64_t bufferLength,
                                               const std::string& directory) {
    std::vector<NodeLayout> out;
    for (const json& node : gltf.at("nodes")) {
        if (!node.contains("mesh")) continue;  // an empty, a camera, a light
        NodeLayout layout;
        layout.name = node.value("name", std::string());
        for (const json& primitive : At(gltf.at("meshes"), node.at("mesh")).at("primitives"))
            layout.primitives.push_back(ReadPrimitive(gltf, primitive, bufferIndex, bufferLength, directory));
        out.push_back(std::move(layout));
    }
    return out;
}

void Mesh::CheckIndices(const PrimitiveLayout& primitive, const std::byte* data) {
    const std::byte* p = data + primitive.indices;
    // The largest index decides; one pass with no branch but the loop's.
    const auto largest = [&](auto type) {
        decltype(type) top = 0, v;
        for (uint64_t i = 0; i < primitive.indexCount; ++i) {
            std::memcpy(&v, p + i * sizeof v, sizeof v);
            top = v > top ? v : top;
        }
        return uint64_t(top);
    };
    uint64_t top;
    if (primitive.indexType == GeometryInterface::kIndex16)
        top = largest(uint16_t());
    else if (primitive.indexType == GeometryInterface::kIndex32)
        top = largest(uint32_t());
    else
        return;
    if (primitive.indexCount > 0 && top >= primitive.vertexCount)
        MESH_FAIL(!"Index refers to a vertex past POSITION's count");
}

Mesh::Mesh(const std::string& path) { Load(path); }

void Mesh::Load(const std::string& path) {
    QUORL_ASSERT(Game::renderer);
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("Mesh file can't be read: " + path);
    const json gltf = json::parse(file);
    const std::string directory = Directory(path);

    try {
        const std::vector<BufferLayout> buffers = ParseBuffers(gltf, directory);
        // Everything is read first (buffers, then base colour images), so that a file that can't
        // be read throws before a single node is replaced.
        struct Read {
            std::shared_ptr<quorl::vk::Buffer> buffer;
            std::vector<NodeLayout> nodes;
        };
        std::vector<Read> reads;
        std::map<std::string, uint32_t> images;  // path -> texture index, one texture per file
        for (unsigned bufferIndex = 0; bufferIndex < buffers.size(); ++bufferIndex) {
            const BufferLayout& layout = buffers[bufferIndex];
            // Host-visible memory: the file is read straight into it, and the GPU reads it in place.
            auto buffer = std::make_shared<quorl::vk::Buffer>(
                Game::renderer->GetDevice(), layout.byteLength, VK_BUFFER_USAGE_STORAGE_BUFFER_BIT,
                VMA_MEMORY_USAGE_CPU_TO_GPU, 1024, "Mesh " + layout.path);
            std::ifstream in(layout.path, std::ios::binary);
            in.read(static_cast<char*>(buffer->Data()), std::streamsize(layout.byteLength));
            if (uint64_t(in.gcount()) != layout.byteLength)
                throw std::runtime_error("Mesh buffer file " + layout.path + " has fewer than byteLength (" +
                                         std::to_string(layout.byteLength) + ") bytes");

            std::vector<NodeLayout> parsed = ParseNodes(gltf, bufferIndex, layout.byteLength, directory);
            for (const NodeLayout& node : parsed)
                for (const PrimitiveLayout& primitive : node.primitives) {
                    CheckIndices(primitive, static_cast<const std::byte*>(buffer->Data()));
                    if (!primitive.baseColorImage.empty()) images.emplace(primitive.baseColorImage, 0u);
                }
            reads.push_back({std::move(buffer), std::move(parsed)});
        }
        std::vector<std::shared_ptr<quorl::graphics::Texture>> textures;
        for (const auto& [image, index] : images) {
            try {
                textures.push_back(quorl::graphics::Texture::Load(Game::renderer->GetDevice(), image));
            } catch (const std::exception& e) {
                throw std::runtime_error("Mesh " + path + ": base colour image can't be read: " + e.what());
            }
        }
        // Registered only once all could be read: the texture array keeps what it is given.
        auto texture = textures.begin();
        for (auto& [image, index] : images)
            index = Game::renderer->AddTexture(std::move(*texture++), Game::renderer->SamplerRepeat());

        for (Read& read : reads) {
            const unsigned long long base = read.buffer->DeviceAddress();
            const auto address = [base](uint64_t offset) {
                return offset == PrimitiveLayout::kAbsent ? 0ull : base + offset;
            };
            for (NodeLayout& node : read.nodes) {
                auto& entry = nodes[node.name];
                for (auto& old : entry) Game::renderer->Trash(std::move(old));
                entry.clear();
                for (const PrimitiveLayout& p : node.primitives) {
                    auto g = std::make_shared<Geometry>();
                    g->indexType = p.indexType;
                    g->baseColor = p.baseColor;
                    g->emission = p.emission;
                    g->metallic = p.metallic;
                    g->roughness = p.roughness;
                    if (!p.baseColorImage.empty()) g->baseColorTexture = images.at(p.baseColorImage);
                    g->texcoord0Addr = address(p.texcoord0);
                    g->texcoord1Addr = address(p.texcoord1);
                    g->normalsAddr = address(p.normals);
                    g->floatColorsAddr = address(p.floatColors);
                    g->byteColorsAddr = address(p.byteColors);
                    g->buffer = read.buffer;
                    g->primitivesAddr = address(p.positions);
                    g->primitiveCount = p.vertexCount;
                    g->indicesAddr = address(p.indices);
                    g->indexStride = p.indexStride;
                    g->indexCount = p.indexCount;
                    g->materialName = p.materialName;
                    entry.push_back(std::move(g));
                }
            }
        }
    } catch (const FormatError& e) {
        std::cerr << "Bad mesh file: " << path << "\n";
        quorl::AssertionFailed(e.what(), __FILE__, e.line);
    }
}

}  // namespace game::graphics
