#define TINYGLTF_IMPLEMENTATION
#define TINYGLTF_NO_STB_IMAGE
#define TINYGLTF_NO_STB_IMAGE_WRITE
#define TINYGLTF_NO_EXTERNAL_IMAGE
#include <tiny_gltf.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <functional>

#include "TestFiles.h"
#include "game/graphics/Mesh.h"
#include "game/graphics/RendererTest.h"
#include "quorl/vk/Buffer.h"

using game::graphics::GameRenderer;
using game::graphics::Mesh;
using nlohmann::json;

namespace {

const std::string kDir = std::string(ZENDOLA_SOURCE_DIR) + "/tests/game/graphics/meshes";
const std::string kParts = kDir + "/parts.gltf";
constexpr uint64_t kAbsent = Mesh::PrimitiveLayout::kAbsent;

json ReadJson(const std::string& path) { return json::parse(testfiles::ReadAll(path)); }

std::vector<std::byte> ReadBytes(const std::string& path) {
    const std::string text = testfiles::ReadAll(path);
    const auto* bytes = reinterpret_cast<const std::byte*>(text.data());
    return {bytes, bytes + text.size()};
}

std::vector<Mesh::NodeLayout> Parse(const json& gltf) {
    const auto buffers = Mesh::ParseBuffers(gltf, kDir);
    return Mesh::ParseNodes(gltf, 0, buffers.at(0).byteLength, kDir);
}

// The second reader's view of an attribute: where its data starts in the buffer, or kAbsent.
// `gltf` written as `name` in a folder of its own (cases run in parallel), with parts.bin but no
// image beside it.
std::string WriteModel(const std::string& name, const json& gltf) {
    const std::string dir = ::testing::TempDir() + "mesh_" + name;
    std::filesystem::create_directories(dir);
    testfiles::WriteAll(dir + "/" + name, gltf.dump());
    std::filesystem::copy_file(kDir + "/parts.bin", dir + "/parts.bin",
                               std::filesystem::copy_options::overwrite_existing);
    return dir + "/" + name;
}

uint64_t Offset(const tinygltf::Model& model, int accessorIndex) {
    if (accessorIndex < 0) return kAbsent;
    const tinygltf::Accessor& a = model.accessors[size_t(accessorIndex)];
    return model.bufferViews[size_t(a.bufferView)].byteOffset + a.byteOffset;
}
uint64_t Attribute(const tinygltf::Model& model, const tinygltf::Primitive& p, const std::string& name) {
    const auto it = p.attributes.find(name);
    return it == p.attributes.end() ? kAbsent : Offset(model, it->second);
}

}  // namespace

// Every glTF file of the project: the test samples and the game's models.
std::vector<std::string> SampleFiles() {
    std::vector<std::string> files;
    for (const std::string& dir : {kDir, std::string(ZENDOLA_SOURCE_DIR) + "/data/models"})
        for (const auto& entry : std::filesystem::directory_iterator(dir))
            if (entry.path().extension() == ".gltf") files.push_back(entry.path().string());
    return files;
}

// Counts, offsets and materials as a second reader sees them.
void CompareWithSecondReader(const std::string& path) {
    SCOPED_TRACE(path);
    const std::string dir = std::filesystem::path(path).parent_path().string();
    tinygltf::TinyGLTF loader;
    tinygltf::Model model;
    std::string err, warn;
    ASSERT_TRUE(loader.LoadASCIIFromFile(&model, &err, &warn, path)) << err;

    const json gltf = ReadJson(path);
    const auto buffers = Mesh::ParseBuffers(gltf, dir);
    ASSERT_EQ(buffers.size(), 1u);
    ASSERT_EQ(model.buffers.size(), 1u);
    EXPECT_EQ(buffers[0].byteLength, model.buffers[0].data.size());
    EXPECT_EQ(buffers[0].path, dir + "/" + model.buffers[0].uri);
    const auto nodes = Mesh::ParseNodes(gltf, 0, buffers[0].byteLength, dir);
    const std::vector<std::byte> bytes = ReadBytes(buffers[0].path);

    size_t n = 0;
    for (const tinygltf::Node& node : model.nodes) {
        if (node.mesh < 0) continue;
        ASSERT_LT(n, nodes.size());
        const Mesh::NodeLayout& ours = nodes[n++];
        EXPECT_EQ(ours.name, node.name);
        const auto& primitives = model.meshes[size_t(node.mesh)].primitives;
        ASSERT_EQ(ours.primitives.size(), primitives.size()) << node.name;
        for (size_t i = 0; i < primitives.size(); ++i) {
            SCOPED_TRACE(node.name + " primitive " + std::to_string(i));
            const tinygltf::Primitive& p = primitives[i];
            const Mesh::PrimitiveLayout& o = ours.primitives[i];
            const tinygltf::Accessor& position = model.accessors[size_t(p.attributes.at("POSITION"))];
            EXPECT_EQ(o.positions, Attribute(model, p, "POSITION"));
            EXPECT_EQ(o.vertexCount, position.count);
            EXPECT_EQ(o.indices, Offset(model, p.indices));
            if (p.indices >= 0) {
                const tinygltf::Accessor& indices = model.accessors[size_t(p.indices)];
                EXPECT_EQ(o.indexCount, indices.count);
                EXPECT_EQ(o.indexStride, uint64_t(tinygltf::GetComponentSizeInBytes(uint32_t(indices.componentType))));
                EXPECT_EQ(o.indexType, o.indexStride == 2 ? 2u : 3u);
            } else {
                EXPECT_EQ(o.indexType, 1u);
                EXPECT_EQ(o.indexCount, 0u);
            }
            EXPECT_EQ(o.normals, Attribute(model, p, "NORMAL"));
            EXPECT_EQ(o.texcoord0, Attribute(model, p, "TEXCOORD_0"));
            EXPECT_EQ(o.texcoord1, Attribute(model, p, "TEXCOORD_1"));
            const uint64_t colors = Attribute(model, p, "COLOR_0");
            const bool byteColors = colors != kAbsent &&
                model.accessors[size_t(p.attributes.at("COLOR_0"))].componentType == TINYGLTF_COMPONENT_TYPE_UNSIGNED_BYTE;
            EXPECT_EQ(o.byteColors, byteColors ? colors : kAbsent);
            EXPECT_EQ(o.floatColors, byteColors ? kAbsent : colors);

            const tinygltf::Material& m = model.materials[size_t(p.material)];
            EXPECT_EQ(o.materialName, m.name);
            EXPECT_FLOAT_EQ(o.metallic, float(m.pbrMetallicRoughness.metallicFactor));
            EXPECT_FLOAT_EQ(o.roughness, float(m.pbrMetallicRoughness.roughnessFactor));
            for (int k = 0; k < 3; ++k) EXPECT_FLOAT_EQ(o.emission[k], float(m.emissiveFactor[size_t(k)]));
            const int texture = m.pbrMetallicRoughness.baseColorTexture.index;
            if (m.name == "screen") {
                // The monitor surface: black, and its image is never read.
                EXPECT_EQ(o.baseColor, glm::vec4(0, 0, 0, 1));
                EXPECT_EQ(o.baseColorImage, "");
            } else {
                for (int k = 0; k < 4; ++k)
                    EXPECT_FLOAT_EQ(o.baseColor[k], float(m.pbrMetallicRoughness.baseColorFactor[size_t(k)]));
                const std::string image =
                    texture < 0 ? "" : dir + "/" + model.images[size_t(model.textures[size_t(texture)].source)].uri;
                EXPECT_EQ(o.baseColorImage, image);
            }
            Mesh::CheckIndices(o, bytes.data());
        }
    }
    EXPECT_EQ(n, nodes.size());
}

TEST(Mesh, AgreesWithASecondReader) {
    const auto files = SampleFiles();
    EXPECT_GE(files.size(), 3u);
    for (const std::string& path : files) CompareWithSecondReader(path);
    EXPECT_EQ(Parse(ReadJson(kParts)).size(), 3u);  // the camera node has no mesh
}

TEST(Mesh, FormatViolationsNameTheBrokenRule) {
    const json good = ReadJson(kParts);
    struct Case {
        std::function<void(json&)> edit;
        const char* text;
    };
    const std::vector<Case> cases = {
        {[](json& g) { g["accessors"][0]["type"] = "VEC4"; }, "positionAccessor.at(\"type\") == \"VEC3\""},
        {[](json& g) { g["accessors"][0]["componentType"] = 5125; },
         "positionAccessor.at(\"componentType\") == GL_FLOAT"},
        {[](json& g) { g["accessors"][0]["byteStride"] = 16; },
         "!positionAccessor.contains(\"byteStride\") || positionAccessor.at(\"byteStride\") == 0 || "
         "positionAccessor.at(\"byteStride\") == sizeof(float) * 3"},
        {[](json& g) { g["accessors"][3]["type"] = "VEC2"; }, "indicesAccessor.at(\"type\") == \"SCALAR\""},
        {[](json& g) { g["accessors"][3]["componentType"] = 5121; }, "!\"Index ComponentType not supported\""},
        {[](json& g) { g["accessors"][3]["byteStride"] = 4; },
         "!indicesAccessor.contains(\"byteStride\") || indicesAccessor.at(\"byteStride\") == 0 || "
         "indicesAccessor.at(\"byteStride\") == sizeof(uint16_t)"},
        {[](json& g) { g["bufferViews"][3]["buffer"] = 1; }, "indicesBufferView.at(\"buffer\") == bufferIndex"},
        {[](json& g) { g["bufferViews"][1]["buffer"] = 1; }, "bufferView.at(\"buffer\") == bufferIndex"},
        {[](json& g) { g["accessors"][1]["type"] = "VEC2"; }, "accessor.at(\"type\") == \"VEC3\""},
        {[](json& g) { g["accessors"][2]["type"] = "VEC3"; }, "accessor.at(\"type\") == \"VEC4\""},
        {[](json& g) { g["accessors"][2]["componentType"] = 5123; }, "!\"Color ComponentType not supported\""},
        {[](json& g) { g["accessors"][2]["byteStride"] = 16; },
         "!accessor.contains(\"byteStride\") || accessor.at(\"byteStride\") == 0 || "
         "accessor.at(\"byteStride\") == sizeof(uint8_t) * 4"},
        {[](json& g) { g["meshes"][1]["primitives"][0].erase("material"); }, "!\"Material not found\""},
        // Ranges the GPU would read: checked against the buffer's byteLength.
        {[](json& g) { g["bufferViews"][9]["byteLength"] = 28; }, "!\"bufferView reaches past the end of its buffer\""},
        {[](json& g) { g["bufferViews"][0]["byteOffset"] = ~uint64_t(0) - 4; },
         "!\"bufferView reaches past the end of its buffer\""},
        {[](json& g) { g["accessors"][4]["count"] = 4; }, "!\"Accessor reaches past the end of its bufferView\""},
        {[](json& g) { g["accessors"][3]["count"] = uint64_t(1) << 63; },
         "!\"Accessor reaches past the end of its bufferView\""},
        {[](json& g) { g["accessors"][8]["byteOffset"] = 2; },
         "!\"Accessor data is not aligned to its component size\""},
        {[](json& g) { g["accessors"][8]["byteOffset"] = -12; },
         "!\"Offsets, lengths, counts and indices must be non-negative integers\""},
    };
    for (const Case& c : cases) {
        json gltf = good;
        c.edit(gltf);
        try {
            Parse(gltf);
            ADD_FAILURE() << "accepted; expected " << c.text;
        } catch (const Mesh::FormatError& e) {
            EXPECT_STREQ(e.what(), c.text);
        }
    }
    // A missing key is the parser's own error.
    json gltf = good;
    gltf["accessors"][0].erase("count");
    EXPECT_THROW(Parse(gltf), json::exception);
}

TEST(Mesh, IndicesMustNameTheirVertices) {
    const auto nodes = Parse(ReadJson(kParts));
    std::vector<std::byte> bytes = ReadBytes(kDir + "/parts.bin");
    for (const Mesh::NodeLayout& node : nodes)
        for (const Mesh::PrimitiveLayout& p : node.primitives) EXPECT_NO_THROW(Mesh::CheckIndices(p, bytes.data()));
    // The last 32-bit index of the monitor quad, then the first 16-bit one of the body: each past its count.
    const Mesh::PrimitiveLayout& monitor = nodes[1].primitives[0];
    const uint32_t big = 4;
    std::memcpy(bytes.data() + monitor.indices + 20, &big, 4);
    EXPECT_THROW(Mesh::CheckIndices(monitor, bytes.data()), Mesh::FormatError);
    const Mesh::PrimitiveLayout& body = nodes[0].primitives[0];
    const uint16_t small = 4;
    std::memcpy(bytes.data() + body.indices, &small, 2);
    EXPECT_THROW(Mesh::CheckIndices(body, bytes.data()), Mesh::FormatError);
}

using MeshGpuTest = RendererTest<>;

// Where each attribute lies in the buffer is AgreesWithASecondReader's; the pictures draw from it.
TEST_F(MeshGpuTest, AFileIsOneBufferOfItsBytesAndReloadsThroughTheTrash) {
    Mesh mesh(kParts);
    const std::vector<std::byte> bytes = ReadBytes(kDir + "/parts.bin");
    ASSERT_EQ(mesh.nodes.size(), 3u);
    const auto& body = mesh.nodes.at("body");
    ASSERT_EQ(body.size(), 2u);
    const quorl::vk::Buffer& buffer = *body[0]->buffer;
    EXPECT_EQ(std::memcmp(buffer.Data(), bytes.data(), bytes.size()), 0);
    for (const auto& [name, geometries] : mesh.nodes) {
        for (const auto& g : geometries) {
            EXPECT_EQ(g->buffer.get(), &buffer);
            // Only "wood" has an image that is read: "screen" waits for a monitor texture.
            EXPECT_EQ(g->baseColorTexture != 0, g->materialName == "wood");
        }
    }

    // Loading again replaces each node's geometries; the old ones wait in the trash.
    const auto old = body[0];
    const size_t trashed = renderer->TrashSize();
    mesh.Load(kParts);
    EXPECT_NE(mesh.nodes.at("body")[0], old);
    EXPECT_EQ(mesh.nodes.at("body").size(), 2u);
    EXPECT_EQ(renderer->TrashSize(), trashed + 4);
    EXPECT_GT(old.use_count(), 1);
}

TEST_F(MeshGpuTest, UnreadableFilesThrowAndKeepTheLoadedMesh) {
    Mesh mesh(kParts);
    const auto before = mesh.nodes.at("monitor")[0];
    EXPECT_THROW(mesh.Load(kDir + "/no_such_mesh.gltf"), std::runtime_error);

    json gltf = ReadJson(kParts);
    gltf["buffers"][0]["byteLength"] = 400;  // more than the .bin holds
    EXPECT_THROW(mesh.Load(WriteModel("short.gltf", gltf)), std::runtime_error);
    // Whole buffers, but the "wood" material's image is not beside the model: named, nothing added.
    const size_t textures = renderer->TextureCount();
    EXPECT_THAT([&] { mesh.Load(WriteModel("no_image.gltf", ReadJson(kParts))); },
                testing::ThrowsMessage<std::runtime_error>(testing::HasSubstr("wood.png")));
    EXPECT_EQ(renderer->TextureCount(), textures);
    EXPECT_EQ(mesh.nodes.at("monitor")[0], before);
}

TEST(MeshDeathTest, ABrokenFileEndsInTheAssertionAfterItsPath) {
    json gltf = ReadJson(kParts);
    gltf["meshes"][0]["primitives"][1].erase("material");
    const std::string path = WriteModel("broken.gltf", gltf);
    EXPECT_DEATH(WithRenderer([&](GameRenderer&) { Mesh mesh(path); }),
                 "Bad mesh file: .*broken\\.gltf\nASSERTION FAILED: \\(!\"Material not found\"\\) in .*graphics/Mesh\\.cpp:");
}
