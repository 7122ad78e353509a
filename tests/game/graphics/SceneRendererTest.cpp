#include <gtest/gtest.h>
#include <stb_image.h>

#include <any>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <glm/gtc/matrix_transform.hpp>
#include <string>
#include <vector>

#include "GoldenImage.h"
#include "VulkanTest.h"
#include "game/Game.h"
#include "game/QuorlScreen.h"
#include "game/graphics/GameRenderer.h"
#include "game/graphics/LightSourceInstance.h"
#include "game/graphics/Mesh.h"
#include "game/graphics/RenderableInstance.h"
#include "game/graphics/SceneRenderer.h"
#include "quorl/graphics/DynamicAsyncTexture.h"
#include "quorl/graphics/Texture.h"
#include "quorl/graphics/Window.h"

using game::Game;
using game::graphics::GameRenderer;
using game::graphics::LightSourceInstance;
using game::graphics::Mesh;
using game::graphics::PlasmaData;
using game::graphics::RenderableInstance;

namespace {

constexpr uint32_t kWidth = 256, kHeight = 144;

class SceneRendererTest : public VulkanTest {
protected:
    void SetUp() override {
        VulkanTest::SetUp();
        renderer = std::make_unique<GameRenderer>(&window, "SceneRendererTest", 1,
                                                  quorl::vk::PhysicalDevice::Features{}, VkExtent2D{kWidth, kHeight});
        Game::renderer = renderer.get();
        renderer->showCrosshair = false;
    }
    void TearDown() override {
        renderer.reset();
        Game::renderer = nullptr;
        VulkanTest::TearDown();
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
        instance->visible = instance->initialised = true;
        return instance;
    }

    std::vector<uint8_t> Shot(const std::string& name) {
        const std::string path = std::string(ZENDOLA_BINARY_DIR) + "/test-output/" + name + ".png";
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        EXPECT_TRUE(renderer->SaveImage(renderer->GetOutputVkImage(), {0, 0}, {kWidth, kHeight},
                                        renderer->GetOutputImageFormat(), renderer->OutputFinalLayout(), path));
        int w = 0, h = 0, n = 0;
        stbi_uc* png = stbi_load(path.c_str(), &w, &h, &n, 4);
        if (!png) return {};
        std::vector<uint8_t> pixels(png, png + size_t(w) * size_t(h) * 4);
        stbi_image_free(png);
        return pixels;
    }
    static const uint8_t* At(const std::vector<uint8_t>& pixels, uint32_t x, uint32_t y) {
        return &pixels[(size_t(y) * kWidth + x) * 4];
    }

    quorl::graphics::Window window;
    std::unique_ptr<GameRenderer> renderer;
};

glm::dmat4 Place(glm::dvec3 position, double yawDegrees = 0.0) {
    return glm::rotate(glm::translate(glm::dmat4(1.0), position), glm::radians(yawDegrees), glm::dvec3(0, 1, 0));
}

// A 2 x 1 quad facing +z with texture coordinates and the material "screen".
std::string WriteScreenQuad() {
    const std::filesystem::path dir = std::filesystem::path(ZENDOLA_BINARY_DIR) / "test-output" / "screen_quad";
    std::filesystem::create_directories(dir);
    const float positions[12] = {-1, -0.5f, 0, 1, -0.5f, 0, 1, 0.5f, 0, -1, 0.5f, 0};
    const float uvs[8] = {0, 1, 1, 1, 1, 0, 0, 0};
    const uint16_t indices[6] = {0, 1, 2, 0, 2, 3};
    std::ofstream bin(dir / "quad.bin", std::ios::binary);
    bin.write(reinterpret_cast<const char*>(positions), sizeof positions);
    bin.write(reinterpret_cast<const char*>(uvs), sizeof uvs);
    bin.write(reinterpret_cast<const char*>(indices), sizeof indices);
    std::ofstream(dir / "quad.gltf") << R"({"asset": {"version": "2.0"},
      "nodes": [{"name": "monitor", "mesh": 0}],
      "meshes": [{"primitives": [{"attributes": {"POSITION": 0, "TEXCOORD_0": 1}, "indices": 2, "material": 0}]}],
      "materials": [{"name": "screen", "pbrMetallicRoughness": {"baseColorTexture": {"index": 0}}}],
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
    // The slab's file is z-up; the game's y is up.
    auto ground = Show(slab, "slab", glm::rotate(Place({0, -0.5, -4}), glm::radians(-90.0), glm::dvec3(1, 0, 0)));
    auto lit = Show(cube, "cube", Place({0, 0, -3}, 30));
    auto glowing = Show(cube, "cube", Place({1.7, 0, -3.5}, -20));
    ASSERT_TRUE(glowing->SetEmission("paint", {0.1f, 0.5f, 1.0f}));
    ASSERT_TRUE(glowing->SetColor("paint", {0.1f, 0.1f, 0.1f, 1.0f}, 1.0f));
    auto hidden = Show(cube, "cube", Place({-1.7, 0, -3}));
    hidden->visible = false;
    auto disabled = Show(cube, "cube", Place({-1.7, 1.2, -3}));
    disabled->initialised = false;
    LightSourceInstance light({-1.5f, 2.5f, -1.5f}, 0.1f, {0, 0, 0}, 0.0f, {1.0f, 0.95f, 0.85f}, 120.0f);
    LightSourceInstance off({1.5f, 0.6f, -2.5f}, 0.1f, {0, 0, 0}, 0.0f, {0, 1, 0}, 0.0f);  // power 0: dark
    lit->SetAimID(renderer->AddAimReference("TS_scene", std::string("lit cube")));
    renderer->camera.worldTransform =
        glm::rotate(glm::translate(glm::dmat4(1.0), glm::dvec3(0, 0.8, 0)), glm::radians(-12.0), glm::dvec3(1, 0, 0));

    ASSERT_TRUE(renderer->Frame());
    EXPECT_EQ(renderer->Scene().LastCounts().instances, 3u);
    EXPECT_EQ(renderer->Scene().LastCounts().lights, 1u);
    EXPECT_EQ(renderer->aim.aimBuffer.AimId(), lit->aimId);
    EXPECT_EQ(std::any_cast<std::string>(renderer->aim.data), "lit cube");
    const std::vector<uint8_t> pixels = Shot("scene_lit_meshes");
    ASSERT_FALSE(pixels.empty());
    EXPECT_TRUE(MatchesGolden("scene_lit_meshes", pixels, kWidth, kHeight));

    // The same scene far from the world's zero: drawn relative to the origin, it looks the same.
    const glm::dmat4 far = glm::translate(glm::dmat4(1.0), glm::dvec3(250000.4, 0, -130000.7));
    for (auto* instance : {ground.get(), lit.get(), glowing.get()}) instance->transform = far * instance->transform;
    light.transform = far;
    renderer->camera.worldTransform = far * renderer->camera.worldTransform;
    ASSERT_TRUE(renderer->Frame());
    ASSERT_TRUE(renderer->OriginWasReset());
    EXPECT_TRUE(MatchesGolden("scene_lit_meshes", Shot("scene_lit_meshes_far"), kWidth, kHeight));
}

// A QuorlScreen's drawing on a "screen" material: the texture is pushed in the first frame and
// shown from the second.
TEST_F(SceneRendererTest, AMonitorShowsAScreenDrawing) {
    game::QuorlScreen screen(64, 32, 0xFF102040);
    screen.DrawRect(2, 2, 61, 29, 0xFFFFFFFF, 0);
    screen.DrawCircle(48, 16, 9, 0, 0xFFFF8000);
    screen.Write(6, 12, 0xFF40FF40, "ZEN");
    std::vector<uint8_t> rgba;
    for (uint32_t p : screen.pixels)
        rgba.insert(rgba.end(), {uint8_t(p >> 16), uint8_t(p >> 8), uint8_t(p), 255});
    auto texture = std::make_shared<quorl::graphics::DynamicAsyncTexture>(renderer->GetDevice(), 64, 32, "screen");
    ASSERT_TRUE(texture->SetPixels(rgba));
    renderer->PushTexture(texture);
    const uint32_t index = renderer->AddTexture(texture, renderer->SamplerNearest());

    const Mesh quad(WriteScreenQuad());
    auto monitor = Show(quad, "monitor", Place({0, 0, -1.5}));
    ASSERT_TRUE(monitor->SetMonitorTexture("screen", index, {1, 1, 1}));
    ASSERT_TRUE(renderer->Frame());
    ASSERT_TRUE(renderer->Frame());
    const std::vector<uint8_t> pixels = Shot("scene_monitor");
    ASSERT_FALSE(pixels.empty());
    EXPECT_TRUE(MatchesGolden("scene_monitor", pixels, kWidth, kHeight));
}

// A plasma glow: an instance of shader index 4 with one box, shaped by the PlasmaData whose
// address its first RenderableData record holds; bright near the body, fading along the trail.
TEST_F(SceneRendererTest, PlasmaGlowFromItsRecord) {
    quorl::vk::MappedBuffer<PlasmaData> plasma(renderer->GetDevice(), 1, "PlasmaData");
    plasma[0] = PlasmaData{5.6f, 0.35f, 600.0f, 0, {1.0f, 0.25f, 0.05f}, 200.0f};
    auto trail = RenderableInstance::Make<RenderableInstance>(1u, 4u);
    game::graphics::AabbData box{-0.35f, 0.0f, -0.35f, 0.35f, 5.6f, 0.35f, {0, 0}};
    trail->geometries.push_back(std::make_shared<RenderableInstance::AabbGeometry>(&box, 1ull));
    trail->renderableData = std::make_shared<RenderableInstance::DataBuffer>(renderer->GetDevice(), 1, "RenderableData");
    const uint64_t address = plasma.DeviceAddress();
    std::memcpy(static_cast<void*>(&(*trail->renderableData)[0]), &address, sizeof address);
    // The trail grows along -x from the body at x = 2, over the ground.
    trail->transform = glm::rotate(Place({2, 0.6, -4}), glm::radians(90.0), glm::dvec3(0, 0, 1));
    trail->visible = trail->initialised = true;
    renderer->camera.worldTransform =
        glm::rotate(glm::translate(glm::dmat4(1.0), glm::dvec3(0, 1.5, 0)), glm::radians(-13.0), glm::dvec3(1, 0, 0));

    ASSERT_TRUE(renderer->Frame());
    const std::vector<uint8_t> pixels = Shot("scene_plasma");
    ASSERT_FALSE(pixels.empty());
    EXPECT_TRUE(MatchesGolden("scene_plasma", pixels, kWidth, kHeight));
    // Near the body the glow saturates red over the sky; far along the trail less is added.
    const uint8_t *sky = At(pixels, 170, 20), *body = At(pixels, 170, kHeight / 2), *tail = At(pixels, 60, kHeight / 2);
    EXPECT_GT(body[0], sky[0] + 60);
    EXPECT_GT(body[0], tail[0]);
    EXPECT_EQ(renderer->aim.aimBuffer.AimId(), 0u);  // glow is not aimed at
}
