// The demo's scene document: items that can't be read are skipped with a reason and the others
// are still made; a broken file makes nothing.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "../TestFiles.h"
#include "DemoScene.h"
#include "DemoWorld.h"

extern "C" {
void Load();
void Unload();
}

using game::entity::ServerSideEntity;

namespace {

size_t CountEntities() {
    size_t n = 0;
    ServerSideEntity::ForEach([&n](std::shared_ptr<ServerSideEntity>) { ++n; });
    return n;
}

}  // namespace

TEST(DemoSceneDocument, UnreadableItemsAreSkippedWithTheirReason) {
    Load();
    ASSERT_TRUE(ServerSideEntity::_registered_interfaces.count(demo::kModuleText));
    std::string text =
        "scene:\n"
        "  - {kind: box, position: [1, 2, 3], turn: {axis: [0, 0, 2], angle: 0.5}, velocity: [0, -1, 0]}\n"
        "  - {kind: rock, position: [0, 0, 0]}\n"
        "  - {kind: box}\n"
        "  - {kind: box, position: [0, 0, 0], velocity: [1, 2]}\n"
        "  - {kind: box, position: [0, 0, 0], turn: {axis: [0, 0, 0], angle: 1}}\n"
        "  - {kind: box, position: [0, 0, x]}\n"
        "  - just text\n";
    game::Config document;
    document.Parse(text.data());
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(demo::SpawnScene(document), 1u);
    std::string err = ::testing::internal::GetCapturedStderr();
    for (const char* reason : {"item 1 has an unknown kind 'rock'", "item 2 has no position", "item 3 has a velocity",
                               "item 4 has a turn", "item 5 has no position", "item 6 has not a map"})
        EXPECT_NE(err.find(reason), std::string::npos) << err;
    ASSERT_EQ(CountEntities(), 1u);
    ServerSideEntity::ForEach([](std::shared_ptr<ServerSideEntity> e) {
        EXPECT_EQ(e->position, glm::dvec3(1, 2, 3));
        EXPECT_EQ(e->velocity, glm::dvec3(0, -1, 0));
        glm::dquat expected = glm::angleAxis(0.5, glm::dvec3(0, 0, 1));
        EXPECT_NEAR(glm::dot(e->rotation, expected), 1.0, 1e-12);
    });

    // A broken file, looked for from the run folder, makes nothing and says why.
    const std::filesystem::path run = std::filesystem::current_path();
    const testfiles::TempFolder temp("zendola_demo_scene");
    std::filesystem::create_directories(temp.path + "/data/scenes");
    std::ofstream(std::filesystem::path(temp.path) / demo::kSceneFile) << "scene: [\n";
    std::filesystem::current_path(temp.path);
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(demo::SpawnScene(), 0u);
    err = ::testing::internal::GetCapturedStderr();
    std::filesystem::current_path(run);
    EXPECT_NE(err.find("is not valid YAML"), std::string::npos) << err;
    EXPECT_EQ(CountEntities(), 1u);

    Unload();
    EXPECT_EQ(CountEntities(), 0u);
}
