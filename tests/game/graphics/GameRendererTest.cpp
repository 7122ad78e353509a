#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <glm/gtc/matrix_transform.hpp>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "GoldenImage.h"
#include "game/ModuleTestFixture.h"
#include "VulkanTest.h"
#include "game/GAME_Mod.h"
#include "game/Game.h"
#include "game/GameSettings.h"
#include "game/graphics/GameRenderer.h"
#include "game/graphics/OutputPixels.h"
#include "quorl/graphics/Window.h"

using game::GAME_Mod;
using game::Game;
using game::graphics::GameRenderer;

namespace {

// A 64 x 64 offscreen GameRenderer with the two renderer test modules loaded.
class GameRendererTest : public VulkanTestOf<ModuleTestBase> {
protected:
    void SetUp() override {
        VulkanTestOf<ModuleTestBase>::SetUp();
        for (const char* key : {"TS_render.order", "TS_render.drawer", "TS_render.throw"}) Game::SetIMC(key, "");
        Game::settings = nullptr;
    }
    void TearDown() override {
        Game::renderer = nullptr;
        Game::settings = nullptr;
        VulkanTestOf<ModuleTestBase>::TearDown();
    }

    std::unique_ptr<GameRenderer> MakeRenderer() {
        auto r = std::make_unique<GameRenderer>(&window, "GameRendererTest", 1, quorl::vk::PhysicalDevice::Features{},
                                                VkExtent2D{64, 64});
        Game::renderer = r.get();
        return r;
    }

    static void LoadBoth() {
        ASSERT_TRUE(GAME_Mod::LoadModule("TS_render", true));
        ASSERT_TRUE(GAME_Mod::LoadModule("TS_render2", true));
    }

    static void Draw(double x, double y, double w, double h, double aimId) {
        Game::SetIMC("TS_render.drawer", "TS_render");
        Game::SetIMC("TS_render.x", x);
        Game::SetIMC("TS_render.y", y);
        Game::SetIMC("TS_render.w", w);
        Game::SetIMC("TS_render.h", h);
        Game::SetIMC("TS_render.aimId", aimId);
    }

    static std::vector<std::string> Order() {
        std::istringstream in(Game::GetIMC("TS_render.order", ""));
        std::vector<std::string> words;
        for (std::string w; in >> w;) words.push_back(w);
        return words;
    }

    quorl::graphics::Window window;
};

}  // namespace

TEST_F(GameRendererTest, CallbacksWalkTheModulesInOrderSortedOrAll) {
    LoadBoth();
    auto r = MakeRenderer();
    // "render" sorted by name backwards, "post" forwards; "ui", "update" and "overlay" never sorted.
    GAME_Mod::SortModules("render", [](GAME_Mod::Ptr a, GAME_Mod::Ptr b) { return a->name > b->name; });
    GAME_Mod::SortModules("post", [](GAME_Mod::Ptr a, GAME_Mod::Ptr b) { return a->name < b->name; });
    std::vector<std::string> all;
    GAME_Mod::ForEachModule([&](GAME_Mod::Ptr& m) { all.push_back(m->name); });
    const std::vector<std::string> render = {"TS_render2", "TS_render"}, post = {"TS_render", "TS_render2"}, none;

    ASSERT_TRUE(r->Frame());
    const std::vector<std::pair<const char*, const std::vector<std::string>*>> table = {
        {"FrameInit", &all},           {"FrameUpdateUi", &none},        {"FrameBeforeUpdate", &none},
        {"FrameUpdate", &none},        {"FrameAfterUpdate", &none},     {"FrameBeforeRender", &render},
        {"FrameUpdateDescriptorSets", &all}, {"FramePushCommands", &all}, {"FrameBuildCommands", &all},
        {"FrameRenderCommands", &render}, {"FrameBeforePost", &all},     {"FrameResolveCommands", &post},
        {"FrameBlitCommands", &post},  {"FramePostCommands", &post},    {"FrameOverlayCommands", &none},
        {"FrameAfterRender", &render}, {"FrameCollectGarbage", &all}};
    std::vector<std::string> expected;
    for (auto& [hook, modules] : table)
        for (const std::string& m : *modules) expected.push_back(m + ":Renderer_" + hook);
    EXPECT_EQ(Order(), expected);
}

TEST_F(GameRendererTest, ModuleHookClearsARegionAndItsAimIdsComeBack) {
    ASSERT_TRUE(GAME_Mod::LoadModule("TS_render", true));
    GAME_Mod::SortModules("render", [](GAME_Mod::Ptr a, GAME_Mod::Ptr b) { return a->name < b->name; });
    auto r = MakeRenderer();
    Draw(8, 40, 20, 16, 0);
    Game::SetIMC("TS_render.r", 0.0);
    Game::SetIMC("TS_render.g", 0.8);
    Game::SetIMC("TS_render.b", 0.2);
    ASSERT_TRUE(r->Frame());
    // Sky, the module's green region at the lower left, the crosshair at the centre.
    const std::vector<uint8_t> pixels = OutputPixels(*r, "game_frame");
    EXPECT_TRUE(MatchesGolden("game_frame_module_region", pixels, 64, 64));
    ASSERT_EQ(pixels.size(), 64u * 64 * 4);
    EXPECT_EQ(pixels[(50 * 64 + 12) * 4 + 1], 204);  // the module's exact green

    // The reference of the id under the centre comes back with it (0 means nothing).
    const unsigned id = r->AddAimReference("TS_render", std::string("the box"));
    Draw(24, 24, 16, 16, id);
    ASSERT_TRUE(r->Frame());
    EXPECT_EQ(r->aim.aimBuffer.AimId(), id);
    EXPECT_EQ(r->aim.module, quorl::modular::ModuleID("TS_render"));
    EXPECT_EQ(std::any_cast<std::string>(r->aim.data), "the box");
    Draw(24, 24, 16, 16, 77);  // an id beyond the list
    ASSERT_TRUE(r->Frame());
    EXPECT_EQ(r->aim.aimBuffer.AimId(), 77u);
    EXPECT_EQ(r->aim.module, quorl::modular::ModuleID());
    EXPECT_FALSE(r->aim.data.has_value());
    Draw(0, 0, 8, 8, id);  // nothing under the centre
    ASSERT_TRUE(r->Frame());
    EXPECT_EQ(r->aim.aimBuffer.AimId(), 0u);
    EXPECT_FALSE(r->aim.data.has_value());
}

TEST_F(GameRendererTest, AThrowingHookEndsTheFrameAndTheNextOneDraws) {
    ASSERT_TRUE(GAME_Mod::LoadModule("TS_render", true));
    GAME_Mod::SortModules("render", [](GAME_Mod::Ptr a, GAME_Mod::Ptr b) { return a->name < b->name; });
    GAME_Mod::SortModules("overlay", [](GAME_Mod::Ptr a, GAME_Mod::Ptr b) { return a->name < b->name; });
    auto r = MakeRenderer();
    for (const char* hook : {"Renderer_FrameRenderCommands", "Renderer_FrameOverlayCommands"}) {
        Game::SetIMC("TS_render.throw", hook);
        EXPECT_THROW(r->Frame(), std::runtime_error) << hook;
    }
    Game::SetIMC("TS_render.throw", "");
    EXPECT_TRUE(r->Frame());
}

TEST_F(GameRendererTest, WorldOriginFollowsTheCameraPastTheThreshold) {
    auto r = MakeRenderer();
    r->camera.worldTransform = glm::translate(glm::dmat4(1.0), glm::dvec3(999.5, 0, 0));
    r->FrameInit();
    EXPECT_FALSE(r->OriginWasReset());  // rounds to 1000: not beyond 1000
    EXPECT_EQ(r->WorldOrigin(), glm::dvec4(0, 0, 0, 1));
    r->camera.worldTransform = glm::translate(glm::dmat4(1.0), glm::dvec3(1000.5, 0, -3.25));
    r->FrameInit();
    EXPECT_TRUE(r->OriginWasReset());
    EXPECT_EQ(r->WorldOrigin(), glm::dvec4(1001, 0, -3, 1));
    EXPECT_EQ(r->WorldOriginInt(), glm::i64vec3(1001, 0, -3));
    // The view is relative to the new origin: the camera sits at (-0.5, 0, -0.25) from it.
    EXPECT_FLOAT_EQ(r->Data().viewMatrix[3][0], 0.5f);
    EXPECT_FLOAT_EQ(r->Data().viewMatrix[3][2], 0.25f);
    r->FrameInit();
    EXPECT_FALSE(r->OriginWasReset());
    // 1 m at 10 m with a 70 degree field: a seventh of the 64 rows; never below the minimum.
    const double pixels = r->GetFixedBoundingSizeInScreenPixels(glm::dvec3(1000.5, 0, -13.25), 1.0);
    EXPECT_NEAR(pixels, 64.0 / (20.0 * std::tan(glm::radians(35.0))), 1e-3);
    EXPECT_EQ(r->GetFixedBoundingSizeInScreenPixels(glm::dvec3(1000.5, 0, -13.25), 1.0, 12.0), 12.0);
}

TEST_F(GameRendererTest, SettingsCopiedEachFrameAndFirstRunPreset) {
    const std::string path = std::string(ZENDOLA_BINARY_DIR) + "/test-output/renderer_settings.ini";
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::filesystem::remove(path);
    game::GameSettings settings(path, 0);
    ASSERT_EQ(settings.graphics_preset, -1);
    settings.upscaling_quality_setting = 4;
    Game::settings = &settings;
    auto r = MakeRenderer();
    // First run: preset 3, its values, and the file written at once.
    EXPECT_EQ(settings.graphics_preset, 3);
    EXPECT_EQ(settings.upscaling_quality_setting, 1);
    EXPECT_EQ(game::GameSettings(path, 0).graphics_preset, 3);

    settings.upscaling_algo = "linear";
    settings.taa = false;
    settings.fov = 90.0f;
    settings.render_scale = 0.5f;
    r->FrameInit();
    EXPECT_EQ(settings.upscaling_algo, "LINEAR");
    EXPECT_EQ(r->upscaler.algo, quorl::graphics::Upscaler::LINEAR);
    EXPECT_EQ(r->Data().options, 1u | 8u | 16u);  // tone mapping, origin-relative, dithering
    EXPECT_EQ(r->Data().fov, 90.0f);
    EXPECT_EQ(r->renderScale, 0.5f);
}

TEST(GameRendererDeath, HitShaderAfterTheListIsLocked) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            quorl::graphics::Window window;
            GameRenderer r(&window, "GameRendererTest", 1, {}, {16, 16});
            r.Frame();
            r.AddRenderableHitShader("late");
        },
        "ASSERTION FAILED: \\(!renderableShadersLocked\\) in src/game/graphics/\\.\\./graphics/GameRenderer\\.h:237");
}

TEST_F(GameRendererTest, TrashReleasesTheLastOwnerTwoCollectionsLater) {
    auto r = MakeRenderer();
    bool released = false;
    r->Trash(std::shared_ptr<int>(new int(1), [&](int* p) {
        released = true;
        delete p;
    }));
    r->CollectTrash();
    EXPECT_FALSE(released);
    r->CollectTrash();
    EXPECT_TRUE(released);
}
