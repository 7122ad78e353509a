#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <stdexcept>

#include "game/graphics/LightSourceInstance.h"
#include "game/graphics/RenderableInstance.h"
#include "game/graphics/RendererTest.h"

using game::graphics::GameRenderer;
using game::graphics::LightSourceInstance;
using game::graphics::RenderableData;
using game::graphics::RenderableInstance;

namespace {

class RenderableInstanceTest : public RendererTest<> {
protected:
    // An instance with three triangle geometries: "paint" on 0 and 2, "glass" on 1, "empty" on none.
    std::shared_ptr<RenderableInstance> Painted() {
        auto instance = RenderableInstance::Make<RenderableInstance>(1u, 2u);
        for (int i = 0; i < 3; ++i)
            instance->geometries.push_back(std::make_shared<RenderableInstance::TriangleGeometry>(3u, 3u));
        instance->renderableData =
            std::make_shared<RenderableInstance::DataBuffer>(renderer->GetDevice(), 3, "RenderableData");
        instance->names = {{"paint", {0, 2}}, {"glass", {1}}, {"empty", {}}};
        return instance;
    }
};

}  // namespace

TEST_F(RenderableInstanceTest, SettersWriteTheRecordsOfTheNamedGeometries) {
    auto instance = Painted();
    RenderableInstance::DataBuffer& data = *instance->renderableData;

    EXPECT_TRUE(instance->SetColor("paint", {0.1f, 0.2f, 0.3f, 0.4f}, 7.0f));
    for (size_t i : {0u, 2u}) {
        EXPECT_EQ(data[i].color[2], 0.3f);
        EXPECT_EQ(data[i].colorFactor, 7.0f);
    }
    EXPECT_EQ(data[1].color[2], 0.0f);
    EXPECT_EQ(data[1].colorFactor, 0.0f);

    EXPECT_TRUE(instance->SetPbrMetallicRoughness("glass", 1.0f, 2.0f, 3.0f));
    EXPECT_EQ(data[1].material[0], 3.0f);
    EXPECT_EQ(data[1].material[1], 1.0f);
    EXPECT_EQ(data[1].material[2], 2.0f);

    EXPECT_TRUE(instance->SetMonitorTexture("glass", 9, {0.5f, 0.5f, 0.5f}));
    EXPECT_EQ(data[1].monitorTexture, 9u);
    EXPECT_EQ(data[1].emission[1], 0.5f);
    EXPECT_TRUE(instance->SetEmission("paint", {4.0f, 5.0f, 6.0f}));
    EXPECT_EQ(data[2].emission[2], 6.0f);
    EXPECT_EQ(data[1].emission[2], 0.5f);
    EXPECT_TRUE(instance->SetEmission("empty", {1.0f, 1.0f, 1.0f}));

    // Unknown names change nothing.
    const RenderableData before = data[0];
    EXPECT_FALSE(instance->SetColor("chrome", {1, 1, 1, 1}, 1.0f));
    EXPECT_THROW(instance->SetPbrMetallicRoughness("chrome", 1, 1, 1), std::out_of_range);
    EXPECT_EQ(std::memcmp(&before, &data[0], sizeof before), 0);

    // Without a buffer every setter declines.
    auto bare = RenderableInstance::Make<RenderableInstance>(0u, 0u);
    bare->names = instance->names;
    EXPECT_FALSE(bare->SetColor("paint", {1, 1, 1, 1}, 1.0f));
    EXPECT_FALSE(bare->SetPbrMetallicRoughness("paint", 1, 1, 1));
}

TEST_F(RenderableInstanceTest, ACopyForPlacementSharesGeometryButNotNames) {
    auto instance = Painted();
    const glm::dmat4 moved = glm::dmat4(2.0);
    auto copy = RenderableInstance::Make<RenderableInstance>(instance, moved);
    EXPECT_EQ(copy->transform, moved);
    EXPECT_EQ(copy->geometries, instance->geometries);
    EXPECT_EQ(copy->renderableData, instance->renderableData);
    EXPECT_FALSE(copy->SetColor("paint", {1, 1, 1, 1}, 1.0f));
    EXPECT_TRUE(copy->fresh);
}

// 16-bit indices while the largest vertex number fits them.
TEST_F(RenderableInstanceTest, TrianglesTakeTheNarrowestIndices) {
    RenderableInstance::TriangleGeometry small(65536, 6);
    EXPECT_EQ(small.GetIndexStride(), 2u);
    EXPECT_EQ(small.GetIndicesAddr(), small.indices16.DeviceAddress());
    RenderableInstance::TriangleGeometry large(65537, 6);
    EXPECT_EQ(large.GetIndexStride(), 4u);
    EXPECT_EQ(large.GetIndicesAddr(), large.indices32.DeviceAddress());
}

TEST_F(RenderableInstanceTest, ALightsBoxEndsWhereItHasFadedTo1Percent) {
    const glm::vec3 p(10.0f, -4.0f, 2.0f);
    LightSourceInstance bulb(p, 0.5f, {0, 0, 0}, 0.0f, {1, 0.5f, 0}, 100.0f);
    const auto& d = bulb.Data();
    EXPECT_TRUE(bulb.active && bulb.boundsChanged);
    const float r = d.reach - 0.5f;  // the reach past the bulb's surface
    EXPECT_NEAR(100.0f / (4.0f * float(M_PI) * r * r), 0.01f, 1e-4f);
    for (int i = 0; i < 3; ++i) {
        EXPECT_FLOAT_EQ((d.boxMin[i] + d.boxMax[i]) / 2.0f, p[i]);
        EXPECT_FLOAT_EQ(d.boxMax[i] - d.boxMin[i], 2.0f * d.reach);
    }
    // The same power again only recolours.
    bulb.boundsChanged = false;
    bulb.SetPower(100.0f, {0, 0, 1}, 0.0f);
    EXPECT_FALSE(bulb.boundsChanged);
    EXPECT_EQ(d.color[2], 1.0f);
    // Power 0 switches off and keeps the box.
    bulb.SetPower(0.0f, {1, 1, 1}, 0.0f);
    EXPECT_FALSE(bulb.active);
    EXPECT_EQ(d.color[2], 1.0f);

    // A spot: focus narrows the reach, the box moves along the direction.
    LightSourceInstance spot(p, 0.0f, {0, 1, 0}, 2.0f, {1, 1, 1}, 100.0f);
    const auto& s = spot.Data();
    EXPECT_NEAR(s.reach, std::sqrt(100.0f / 0.01f - 1.0f) / 4.0f, 1e-3f);
    EXPECT_FLOAT_EQ((s.boxMin[1] + s.boxMax[1]) / 2.0f, p[1] + s.reach);
    EXPECT_FLOAT_EQ((s.boxMin[0] + s.boxMax[0]) / 2.0f, p[0]);
    spot.SetPower(50.0f, {1, 1, 1}, 4.0f);
    EXPECT_EQ(s.focus, 4.0f);
    EXPECT_NEAR(s.reach, std::sqrt(50.0f / 0.01f - 1.0f) / 8.0f, 1e-3f);
}

TEST(RenderableInstanceDeathTest, EmptyOrOutOfRangeIsABrokenInvariant) {
    EXPECT_DEATH(WithRenderer([](GameRenderer&) { RenderableInstance::AabbGeometry g(0u); }),
                 "ASSERTION FAILED: \\(voxelCount > 0\\)");
    EXPECT_DEATH(WithRenderer([](GameRenderer& r) {
                     RenderableInstance instance(0, 0);
                     instance.renderableData = std::make_shared<RenderableInstance::DataBuffer>(r.GetDevice(), 1);
                     instance.names["paint"] = {1};
                     instance.SetColor("paint", {1, 1, 1, 1}, 1.0f);
                 }),
                 "ASSERTION FAILED: \\(index < _count\\)");
}
