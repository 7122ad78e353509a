#include <gtest/gtest.h>

#include <cstring>

#include "VulkanTest.h"
#include "game/Game.h"
#include "game/graphics/GameRenderer.h"
#include "game/graphics/PlasmaTrail.h"
#include "quorl/graphics/Window.h"

using game::Game;
using game::graphics::PlasmaTrail;
using game::graphics::RenderableInstance;
using game::physics::EnvironmentInfo;

namespace {

EnvironmentInfo Medium(double density, double viscosity) {
    EnvironmentInfo info;
    info.density = density;
    info.viscosity = viscosity;
    return info;
}

}  // namespace

// The rules run on the CPU half alone (no renderer): a server-less test sees every threshold.
TEST(PlasmaTrail, ShowsInFastGasOnly) {
    ASSERT_EQ(Game::renderer, nullptr);
    auto trail = RenderableInstance::Make<PlasmaTrail>();
    EXPECT_EQ(trail->shaderIndex, 4u);
    EXPECT_TRUE(trail->initialised && trail->alwaysUpdate);
    EXPECT_FALSE(trail->visible);

    EXPECT_FALSE(trail->Update({0, 0, 0}, 2.0f, Medium(1.0, 0.0)));
    // a = 1000^2 * 1 / 1e8 = 0.01 is not above its threshold: b = 1000 * 1 / 1000 = 1 shows it.
    ASSERT_TRUE(trail->Update({0, 1000, 0}, 2.0f, Medium(1.0, 0.0)));
    EXPECT_TRUE(trail->visible);
    EXPECT_FLOAT_EQ(trail->data.glow, 2.0f);
    EXPECT_FLOAT_EQ(trail->data.flowIntensity, 600.0f);
    EXPECT_FLOAT_EQ(trail->data.color[0], 1.0f);  // b = 1: all orange
    EXPECT_FLOAT_EQ(trail->data.color[2], 0.05f);
    EXPECT_FLOAT_EQ(trail->data.top, 32.0f);
    EXPECT_FLOAT_EQ(trail->box.minX, -2.0f);
    EXPECT_FLOAT_EQ(trail->box.minY, 0.0f);
    EXPECT_FLOAT_EQ(trail->box.maxY, 32.0f);
    EXPECT_EQ(trail->lastSize, 2.0f);

    // A liquid never glows, however fast; a visible trail goes dark on the first such update.
    EXPECT_FALSE(trail->Update({0, 50000, 0}, 2.0f, Medium(1000.0, 0.001)));
    EXPECT_FALSE(trail->visible);
    // Slow in thin gas: b = 5 * 0.01^0.2 / 1000 is far below the threshold.
    EXPECT_FALSE(trail->Update({5, 0, 0}, 1.0f, Medium(0.01, 0.0)));

    // Clamps: glow at 500, flow at 2500; colour weight at 1.
    ASSERT_TRUE(trail->Update({0, 0, 20000}, 1.0f, Medium(1.0, 0.0)));
    EXPECT_FLOAT_EQ(trail->data.glow, 500.0f);
    EXPECT_FLOAT_EQ(trail->data.flowIntensity, 2500.0f);
    // Halfway grey to orange at b = 0.5.
    ASSERT_TRUE(trail->Update({0, 500, 0}, 1.0f, Medium(1.0, 0.0)));
    EXPECT_FLOAT_EQ(trail->data.color[1], 0.375f);
}

namespace {

class PlasmaTrailGpuTest : public VulkanTest {
protected:
    void SetUp() override {
        VulkanTest::SetUp();
        renderer = std::make_unique<game::graphics::GameRenderer>(
            &window, "PlasmaTrailTest", 1, quorl::vk::PhysicalDevice::Features{}, VkExtent2D{64, 64});
        Game::renderer = renderer.get();
    }
    void TearDown() override {
        Game::renderer = nullptr;
        renderer.reset();
        VulkanTest::TearDown();
    }
    quorl::graphics::Window window;
    std::unique_ptr<game::graphics::GameRenderer> renderer;
};

}  // namespace

TEST_F(PlasmaTrailGpuTest, RecordsReachTheGpuAndTheTextureIsMadeOnce) {
    auto trail = RenderableInstance::Make<PlasmaTrail>();
    ASSERT_EQ(trail->geometries.size(), 1u);
    ASSERT_TRUE(trail->renderableData && trail->plasmaData);
    uint64_t address = 0;
    std::memcpy(&address, trail->renderableData->Data(), sizeof address);
    EXPECT_EQ(address, trail->plasmaData->DeviceAddress());
    EXPECT_EQ(trail->MainGeometry()->GetPrimitiveStride(), 32u);

    const size_t textures = renderer->TextureCount();
    EXPECT_FALSE(trail->Update({0, 10, 0}, 1.0f, Medium(1.0, 0.0)));
    EXPECT_FALSE(trail->texture) << "made at the first visible update only";
    ASSERT_TRUE(trail->Update({0, 3000, 0}, 1.5f, Medium(1.0, 0.0)));
    const auto texture = trail->texture;
    ASSERT_TRUE(texture);
    EXPECT_EQ(texture->Format(), VK_FORMAT_R32G32_SFLOAT);
    EXPECT_EQ(texture->Extent().width, 256u);
    EXPECT_EQ(renderer->GetTexture((*trail->plasmaData)[0].texture), texture);
    ASSERT_TRUE(trail->Update({0, 4000, 0}, 1.5f, Medium(1.0, 0.0)));
    EXPECT_EQ(trail->texture, texture);
    EXPECT_EQ(renderer->TextureCount(), textures + 1);

    const auto& box = static_cast<RenderableInstance::AabbGeometry&>(*trail->geometries[0]).boxes[0];
    EXPECT_FLOAT_EQ(box.maxY, 24.0f);
    EXPECT_FLOAT_EQ((*trail->plasmaData)[0].flowIntensity, 2400.0f);
}
