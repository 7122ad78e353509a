#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "game/VoxelType.h"

using game::VoxelType;

// The registry is process-wide and ForEach closes it for good: the test starts from _empty alone
// and leaves it so.
TEST(VoxelType, RepeatsShareAnIdAndForEachClosesTheList) {
    const auto reset = [] {
        VoxelType::locked = false;
        VoxelType::allVoxelTypes.erase(VoxelType::allVoxelTypes.begin() + 1, VoxelType::allVoxelTypes.end());
        VoxelType::allVoxelTypesByName = {{".", 0}};
    };
    reset();
    VoxelType::ForEach([](unsigned short, const VoxelType&) { ADD_FAILURE() << "id 0 is no voxel"; });
    EXPECT_THROW(VoxelType("SP_terrain", "late", 0, {}), std::runtime_error);
    reset();

    EXPECT_EQ(VoxelType("SP_terrain", "rock", 0, {}).id, 1);
    EXPECT_EQ(VoxelType("SP_terrain", "sand", 7, {}).id, 2);
    EXPECT_EQ(VoxelType("SP_terrain", "rock", 5, {}).id, 1);  // a repeat changes the value...
    EXPECT_EQ(VoxelType("SP_terrain", "rock", 0, {}).value, 5u);  // ...and 0 reads it back
    EXPECT_EQ(VoxelType("SP_other", "rock", 0, {}).id, 3);
    std::vector<std::string> seen;
    VoxelType::ForEach([&](unsigned short id, const VoxelType& t) {
        EXPECT_EQ(id, t.id);
        seen.push_back(t.name + std::to_string(t.value));
    });
    EXPECT_EQ(seen, (std::vector<std::string>{"rock5", "sand7", "rock0"}));
    // Known, and still refused.
    EXPECT_THAT([] { VoxelType("SP_terrain", "rock", 0, {}); },
                testing::ThrowsMessage<std::runtime_error>(
                    testing::StrEq("Trying to add more voxel types after executing VoxelType::ForEach()")));
    reset();
}
