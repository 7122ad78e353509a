#include <gtest/gtest.h>

#include <vector>

#include "game/VoxelType.h"

using game::VoxelType;

namespace {

// The registry is process-wide and ForEach closes it for good: each test starts from _empty
// alone and leaves it so.
class VoxelTypeTest : public ::testing::Test {
protected:
    void SetUp() override { Reset(); }
    void TearDown() override { Reset(); }
    static void Reset() {
        VoxelType::locked = false;
        VoxelType::allVoxelTypes.erase(VoxelType::allVoxelTypes.begin() + 1, VoxelType::allVoxelTypes.end());
        VoxelType::allVoxelTypesByName = {{".", 0}};
    }
};

}  // namespace

TEST_F(VoxelTypeTest, RepeatsShareAnIdAndPassTheirValueOn) {
    ASSERT_EQ(VoxelType::allVoxelTypes.size(), 1u);
    EXPECT_EQ(VoxelType::_empty.id, 0);
    EXPECT_EQ(VoxelType::allVoxelTypesByName.at("."), 0);

    VoxelType rock("SP_terrain", "rock", 0, {});
    VoxelType sand("SP_terrain", "sand", 7, {});
    EXPECT_EQ(rock.id, 1);
    EXPECT_EQ(sand.id, 2);
    VoxelType rockAgain("SP_terrain", "rock", 5, {});
    EXPECT_EQ(rockAgain.id, 1);
    EXPECT_EQ(VoxelType::allVoxelTypes.size(), 3u);
    EXPECT_EQ(VoxelType::allVoxelTypes[1].value, 5u);
    VoxelType rockThird("SP_terrain", "rock", 0, {});
    EXPECT_EQ(rockThird.value, 5u);
    // Same name, other module: another type.
    EXPECT_EQ(VoxelType("SP_other", "rock", 0, {}).id, 3);
}

TEST_F(VoxelTypeTest, ForEachSkipsEmptyAndClosesTheList) {
    std::vector<unsigned short> seen;
    VoxelType::ForEach([&](unsigned short id, const VoxelType&) { seen.push_back(id); });
    EXPECT_TRUE(seen.empty());
    EXPECT_TRUE(VoxelType::locked);
    EXPECT_THROW(VoxelType("SP_terrain", "late", 0, {}), std::runtime_error);

    Reset();
    VoxelType("SP_terrain", "rock", 0, {});
    VoxelType("SP_terrain", "ice", 3, {});
    std::vector<std::string> names;
    VoxelType::ForEach([&](unsigned short id, const VoxelType& t) {
        EXPECT_EQ(id, t.id);
        names.push_back(t.name);
    });
    EXPECT_EQ(names, (std::vector<std::string>{"rock", "ice"}));
    try {
        VoxelType("SP_terrain", "rock", 0, {});  // known, and still refused
        ADD_FAILURE();
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "Trying to add more voxel types after executing VoxelType::ForEach()");
    }
}
