#include <gtest/gtest.h>

#include <any>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/quaternion.hpp>
#include <string>
#include <tuple>
#include <vector>

#include "GoldenImage.h"
#include "game/graphics/LightSourceInstance.h"
#include "game/graphics/Mesh.h"
#include "game/graphics/OutputPixels.h"
#include "game/graphics/PlasmaTrail.h"
#include "game/graphics/RenderableInstance.h"
#include "game/graphics/RendererTest.h"
#include "game/graphics/SceneRenderer.h"
#include "quorl/graphics/Texture.h"

using game::graphics::LightSourceInstance;
using game::graphics::Mesh;
using game::graphics::RenderableInstance;

namespace {

constexpr uint32_t kWidth = 256, kHeight = 144;

class SceneRendererTest : public RendererTest<kWidth, kHeight> {
protected:
    void SetUp() override {
        RendererTest::SetUp();
        renderer->showCrosshair = false;
    }

    // A shown instance of a mesh node (material kind entity_tri), one RenderableData per geometry.
    std::shared_ptr<RenderableInstance> Show(const Mesh& mesh, const std::string& node, const glm::dmat4& transform) {
        auto instance = RenderableInstance::Make<RenderableInstance>(0u, 0u);
        for (const auto& g : mesh.nodes.at(node)) {
            instance->names[g->materialName].push_back(uint32_t(instance->geometries.size()));
            instance->geometries.push_back(g);
        }
        instance->renderableData = std::make_shared<RenderableInstance::DataBuffer>(
            renderer->GetDevice(), instance->geometries.size(), "RenderableData");
        instance->transform = transform;
        instance->visible = true;
        return instance;
    }

    std::vector<uint8_t> Shot(const std::string& name) { return OutputPixels(*renderer, name); }
    static const uint8_t* At(const std::vector<uint8_t>& pixels, uint32_t x, uint32_t y) {
        return &pixels[(size_t(y) * kWidth + x) * 4];
    }
};

glm::dmat4 Place(glm::dvec3 position, double yawDegrees = 0.0) {
    return glm::rotate(glm::translate(glm::dmat4(1.0), position), glm::radians(yawDegrees), glm::dvec3(0, 1, 0));
}

// A 2 x 1 quad facing +z, node "quad", in a folder of its own; its material "paint" has the base
// colour image halves.png, which is not written here.
std::string WriteTexturedQuad() {
    const std::filesystem::path dir = std::filesystem::path(ZENDOLA_BINARY_DIR) / "test-output" / "textured_quad";
    std::filesystem::create_directories(dir);
    const float positions[12] = {-1, -0.5f, 0, 1, -0.5f, 0, 1, 0.5f, 0, -1, 0.5f, 0};
    const float uvs[8] = {0, 1, 1, 1, 1, 0, 0, 0};
    const uint16_t indices[6] = {0, 1, 2, 0, 2, 3};
    std::ofstream bin(dir / "quad.bin", std::ios::binary);
    bin.write(reinterpret_cast<const char*>(positions), sizeof positions);
    bin.write(reinterpret_cast<const char*>(uvs), sizeof uvs);
    bin.write(reinterpret_cast<const char*>(indices), sizeof indices);
    std::ofstream(dir / "quad.gltf") << R"({"asset": {"version": "2.0"},
      "nodes": [{"name": "quad", "mesh": 0}],
      "meshes": [{"primitives": [{"attributes": {"POSITION": 0, "TEXCOORD_0": 1}, "indices": 2, "material": 0}]}],
      "materials": [{"name": "paint", "pbrMetallicRoughness": {"baseColorTexture": {"index": 0}}}],
      "textures": [{"source": 0}], "images": [{"uri": "halves.png"}],
      "buffers": [{"uri": "quad.bin", "byteLength": 92}],
      "bufferViews": [{"buffer": 0, "byteOffset": 0, "byteLength": 48}, {"buffer": 0, "byteOffset": 48, "byteLength": 32},
                      {"buffer": 0, "byteOffset": 80, "byteLength": 12}],
      "accessors": [{"bufferView": 0, "componentType": 5126, "count": 4, "type": "VEC3"},
                    {"bufferView": 1, "componentType": 5126, "count": 4, "type": "VEC2"},
                    {"bufferView": 2, "componentType": 5123, "count": 6, "type": "SCALAR"}]})";
    return (dir / "quad.gltf").string();
}

}  // namespace

// The cube and slab meshes lit by a light, a second cube glowing by its emission, a third one not
// visible; the aim id of the cube under the centre comes back.
TEST_F(SceneRendererTest, LitMeshesEmissionHiddenInstancesAndTheAimedOne) {
    const Mesh cube(quorl::graphics::Texture::DataPath("models/cube.gltf"));
    const Mesh slab(quorl::graphics::Texture::DataPath("models/slab.gltf"));
    auto ground = Show(slab, "slab", Place({0, -0.5, -4}));
    auto lit = Show(cube, "cube", Place({0, 0, -3}, 30));
    auto glowing = Show(cube, "cube", Place({1.7, 0, -3.5}, -20));
    ASSERT_TRUE(glowing->SetEmission("paint", {0.1f, 0.5f, 1.0f}));
    ASSERT_TRUE(glowing->SetColor("paint", {0.1f, 0.1f, 0.1f, 1.0f}, 1.0f));
    // Boxes (entity_box) and a sphere (entity_sphere) from box geometries.
    game::graphics::AabbData stack[2] = {{-0.4f, -0.5f, -0.4f, 0.4f, 0.1f, 0.4f, {0, 0}},
                                         {-0.2f, 0.1f, -0.2f, 0.2f, 0.7f, 0.2f, {0, 0}}};
    auto boxes = RenderableInstance::Make<RenderableInstance>(1u, 1u);
    auto ball = RenderableInstance::Make<RenderableInstance>(1u, 2u);
    for (auto& [instance, count, at] : {std::tuple{boxes, 2ull, glm::dvec3(3.4, 0, -5)},
                                        std::tuple{ball, 1ull, glm::dvec3(-2.2, 0.1, -4.5)}}) {
        auto geometry = std::make_shared<RenderableInstance::AabbGeometry>(stack, count);
        geometry->baseColor = {0.3f, 0.7f, 0.35f, 1.0f};
        instance->geometries.push_back(geometry);
        instance->transform = Place(at, 25);
        instance->visible = true;
    }
    auto hidden = Show(cube, "cube", Place({-1.7, 0, -3}));
    hidden->visible = false;
    LightSourceInstance light({-1.5f, 2.5f, -1.5f}, 0.1f, {0, 0, 0}, 0.0f, {1.0f, 0.95f, 0.85f}, 120.0f);
    LightSourceInstance off({1.5f, 0.6f, -2.5f}, 0.1f, {0, 0, 0}, 0.0f, {0, 1, 0}, 0.0f);  // power 0: dark
    lit->SetAimID(renderer->AddAimReference("TS_scene", std::string("lit cube")));
    renderer->camera.worldTransform =
        glm::rotate(glm::translate(glm::dmat4(1.0), glm::dvec3(0, 0.8, 0)), glm::radians(-12.0), glm::dvec3(1, 0, 0));

    ASSERT_TRUE(renderer->Frame());
    EXPECT_EQ(renderer->Scene().LastCounts().instances, 5u);
    EXPECT_EQ(renderer->Scene().LastCounts().lights, 1u);
    EXPECT_EQ(renderer->aim.aimBuffer.AimId(), lit->aimId);
    EXPECT_EQ(std::any_cast<std::string>(renderer->aim.data), "lit cube");
    const std::vector<uint8_t> pixels = Shot("scene_lit_meshes");
    ASSERT_FALSE(pixels.empty());
    EXPECT_TRUE(MatchesGolden("scene_lit_meshes", pixels, kWidth, kHeight));

    // The same scene far from the world's zero: drawn relative to the origin, it looks the same.
    const glm::dmat4 far = glm::translate(glm::dmat4(1.0), glm::dvec3(250000.4, 0, -130000.7));
    for (auto* instance : {ground.get(), lit.get(), glowing.get(), boxes.get(), ball.get()})
        instance->transform = far * instance->transform;
    light.transform = far;
    renderer->camera.worldTransform = far * renderer->camera.worldTransform;
    ASSERT_TRUE(renderer->Frame());
    ASSERT_TRUE(renderer->OriginWasReset());
    EXPECT_TRUE(MatchesGolden("scene_lit_meshes", Shot("scene_lit_meshes_far"), kWidth, kHeight));
}

// A material's base colour image is read beside the model, added to the texture array and drawn
// on the quad.
TEST_F(SceneRendererTest, BaseColourImagesOfMaterials) {
    const std::string path = WriteTexturedQuad();
    const std::string image = (std::filesystem::path(path).parent_path() / "halves.png").string();
    std::vector<uint8_t> halves;  // 8 x 4: red on the left, blue on the right
    for (int i = 0; i < 32; ++i)
        halves.insert(halves.end(), {uint8_t(i % 8 < 4 ? 230 : 20), 20, uint8_t(i % 8 < 4 ? 20 : 230), 255});
    ASSERT_TRUE(quorl::graphics::Texture::SaveFile(image, 8, 4, 4, halves.data()));
    Mesh quad(path);
    const auto geometry = quad.nodes.at("quad").at(0);
    ASSERT_NE(geometry->baseColorTexture, 0u);
    EXPECT_EQ(renderer->GetTexture(geometry->baseColorTexture)->Extent().width, 8u);
    auto shown = Show(quad, "quad", Place({0, 0, -1.5}));
    LightSourceInstance light({0.0f, 0.3f, -0.5f}, 0.1f, {0, 0, 0}, 0.0f, {1.0f, 1.0f, 1.0f}, 20.0f);
    ASSERT_TRUE(renderer->Frame());
    const std::vector<uint8_t> pixels = Shot("scene_textured_quad");
    ASSERT_FALSE(pixels.empty());
    const uint8_t *left = At(pixels, kWidth / 2 - 30, kHeight / 2), *right = At(pixels, kWidth / 2 + 30, kHeight / 2);
    EXPECT_GT(left[0], left[2] + 80);
    EXPECT_GT(right[2], right[0] + 80);
}

// Hit shaders that modules add have no raster twin: their instances are drawn as lit surfaces
// (and so can be aimed at), with one warning per name. The first module shader shares index 4
// with the plasma trails; an instance that is no trail is drawn by its own shader's material.
TEST_F(SceneRendererTest, ModuleHitShadersFallBackToLitSurfaces) {
    ASSERT_EQ(renderer->AddRenderableHitShader("TS_module/rt/glass"), 4);
    ASSERT_EQ(renderer->AddRenderableHitShader("TS_module/rt/water"), 5);
    game::graphics::AabbData unit{-0.5f, -0.5f, -0.5f, 0.5f, 0.5f, 0.5f, {0, 0}};
    std::vector<std::shared_ptr<RenderableInstance>> boxes;
    for (unsigned shader : {4u, 5u}) {
        auto box = RenderableInstance::Make<RenderableInstance>(1u, shader);
        box->geometries.push_back(std::make_shared<RenderableInstance::AabbGeometry>(&unit, 1ull));
        box->transform = Place({shader == 4u ? -1.2 : 0.0, 0, -3});
        box->visible = true;
        boxes.push_back(box);
    }
    boxes[1]->SetAimID(renderer->AddAimReference("TS_module", std::string("water")));
    LightSourceInstance light({0.0f, 2.0f, 0.0f}, 0.1f, {0, 0, 0}, 0.0f, {1.0f, 1.0f, 1.0f}, 60.0f);
    testing::internal::CaptureStderr();
    ASSERT_TRUE(renderer->Frame());
    ASSERT_TRUE(renderer->Frame());
    const std::string warnings = testing::internal::GetCapturedStderr();
    EXPECT_EQ(renderer->Scene().LastCounts().instances, 2u);
    EXPECT_EQ(renderer->Scene().LastCounts().draws, 2u);
    EXPECT_EQ(renderer->aim.aimBuffer.AimId(), boxes[1]->aimId);
    for (const char* name : {"TS_module/rt/glass", "TS_module/rt/water"}) {
        const size_t at = warnings.find(name);
        ASSERT_NE(at, std::string::npos) << warnings;
        EXPECT_EQ(warnings.find(name, at + 1), std::string::npos) << "warned once: " << warnings;
    }
}

// A body flying at 300 m/s through air (-x) with its PlasmaTrail behind it (how the wake looks is
// the client's glider picture): the flow field, computed each frame, makes the glow move from one
// frame to the next while the rest of the picture stays.
TEST_F(SceneRendererTest, PlasmaTrailOnAFastBody) {
    const Mesh cube(quorl::graphics::Texture::DataPath("models/cube.gltf"));
    const glm::dvec3 at(-4.5, 1.5, -9.0), velocity(-300.0, 0.0, 0.0);
    auto body = Show(cube, "cube", Place(at, 30));
    game::physics::EnvironmentInfo air;
    air.density = 1.2;
    air.viscosity = 1.8e-5;
    auto trail = RenderableInstance::Make<game::graphics::PlasmaTrail>();
    ASSERT_TRUE(trail->Update(glm::vec3(velocity), 0.6f, air));
    // As a client entity places it: +y of the trail against the flight.
    trail->transform = glm::translate(glm::dmat4(1.0), at) *
                       glm::mat4_cast(glm::dquat(glm::dvec3(0, 1, 0), -glm::normalize(velocity)));
    LightSourceInstance light({-4.0f, 6.0f, -8.0f}, 0.1f, {0, 0, 0}, 0.0f, {1.0f, 0.95f, 0.85f}, 400.0f);
    // From above, so that the wake is seen against the ground: over the bright sky an added glow
    // only whitens.
    renderer->camera.worldTransform =
        glm::rotate(glm::translate(glm::dmat4(1.0), glm::dvec3(0, 5, 0)), glm::radians(-22.0), glm::dvec3(1, 0, 0));

    ASSERT_TRUE(renderer->Frame());
    EXPECT_EQ(renderer->Scene().LastFlowCount(), 1u);
    const std::vector<uint8_t> first = Shot("scene_plasma_trail_0");
    ASSERT_TRUE(renderer->Frame());
    const std::vector<uint8_t> pixels = Shot("scene_plasma_trail");
    ASSERT_FALSE(pixels.empty());

    // Where a point on the trail's axis is drawn.
    const auto pixel = [&](double x) {
        const glm::dvec4 clip = glm::dmat4(renderer->Data().projectionMatrix) *
                                glm::dmat4(renderer->Data().viewMatrix) *
                                glm::dvec4(glm::dvec3(x, at.y, at.z) - glm::dvec3(renderer->WorldOrigin()), 1.0);
        return glm::uvec2((clip.x / clip.w * 0.5 + 0.5) * kWidth, (clip.y / clip.w * 0.5 + 0.5) * kHeight);
    };
    const uint32_t row = pixel(at.x).y;
    EXPECT_EQ(renderer->aim.aimBuffer.AimId(), 0u);  // glow is not aimed at
    // The flow moved: pixels in the wake changed, the rest did not.
    ASSERT_EQ(first.size(), pixels.size());
    int changed = 0;
    for (uint32_t x = pixel(at.x + 1.0).x; x < pixel(at.x + 8.0).x; ++x)
        changed += std::abs(int(At(first, x, row)[0]) - int(At(pixels, x, row)[0])) > 2;
    EXPECT_GT(changed, 3);
    EXPECT_EQ(std::memcmp(At(first, 0, kHeight - 4), At(pixels, 0, kHeight - 4), kWidth * 4), 0);
}
