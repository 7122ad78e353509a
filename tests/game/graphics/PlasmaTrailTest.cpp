#include <gtest/gtest.h>

#include "game/graphics/PlasmaTrail.h"
#include "game/graphics/RendererTest.h"

using game::Game;
using game::graphics::PlasmaTrail;
using game::graphics::RenderableInstance;

namespace {

game::physics::EnvironmentInfo Medium(double density, double viscosity) {
    game::physics::EnvironmentInfo info;
    info.density = density;
    info.viscosity = viscosity;
    return info;
}

}  // namespace

// Without a renderer the rules run on the trail's CPU half.
TEST(PlasmaTrail, ShowsInFastGasOnly) {
    ASSERT_EQ(Game::renderer, nullptr);
    auto trail = RenderableInstance::Make<PlasmaTrail>();
    EXPECT_FALSE(trail->Update({0, 0, 0}, 2.0f, Medium(1.0, 0.0)));
    // a = 1000^2 * 1 / 1e8 = 0.01 is not above its threshold: b = 1000 * 1 / 1000 = 1 shows it.
    ASSERT_TRUE(trail->Update({0, 1000, 0}, 2.0f, Medium(1.0, 0.0)));
    EXPECT_FLOAT_EQ(trail->data.glow, 2.0f);
    EXPECT_FLOAT_EQ(trail->data.flowIntensity, 600.0f);
    EXPECT_FLOAT_EQ(trail->data.color[2], 0.05f);  // b = 1: all orange
    EXPECT_FLOAT_EQ(trail->box.maxY, 32.0f);
    EXPECT_FLOAT_EQ(trail->box.minX, -2.0f);
    // A liquid never glows, however fast, and a shown trail goes dark.
    EXPECT_FALSE(trail->Update({0, 50000, 0}, 2.0f, Medium(1000.0, 0.001)));
    EXPECT_FALSE(trail->visible);
    // Clamps: glow 500, flow 2500; halfway grey to orange at b = 0.5.
    ASSERT_TRUE(trail->Update({0, 0, 20000}, 1.0f, Medium(1.0, 0.0)));
    EXPECT_FLOAT_EQ(trail->data.glow, 500.0f);
    EXPECT_FLOAT_EQ(trail->data.flowIntensity, 2500.0f);
    ASSERT_TRUE(trail->Update({0, 500, 0}, 1.0f, Medium(1.0, 0.0)));
    EXPECT_FLOAT_EQ(trail->data.color[1], 0.375f);
}

using PlasmaTrailGpu = RendererTest<>;

// What the records hold reaches the pictures (SceneRendererTest, the client's glider).
TEST_F(PlasmaTrailGpu, TheFlowTextureIsMadeOnce) {
    auto trail = RenderableInstance::Make<PlasmaTrail>();
    const size_t textures = renderer->TextureCount();
    EXPECT_FALSE(trail->Update({0, 10, 0}, 1.0f, Medium(1.0, 0.0)));
    EXPECT_FALSE(trail->texture) << "made at the first visible update only";
    ASSERT_TRUE(trail->Update({0, 3000, 0}, 1.5f, Medium(1.0, 0.0)));
    const auto texture = trail->texture;
    ASSERT_TRUE(trail->Update({0, 4000, 0}, 1.5f, Medium(1.0, 0.0)));
    EXPECT_EQ(trail->texture, texture);
    EXPECT_EQ(renderer->TextureCount(), textures + 1);
    EXPECT_EQ(renderer->GetTexture((*trail->plasmaData)[0].texture), texture);
}
