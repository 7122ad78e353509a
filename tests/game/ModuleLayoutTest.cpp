// The fields of the module tables are read by hosts built against the library: their offsets
// are a binary contract (x86-64, libstdc++).
#include <gtest/gtest.h>

#include <cstddef>

#include "game/GAME_Init.h"
#include "game/GAME_Mod.h"
#include "game/SERVER_Mod.h"
#include "game/ZENDOLA_Mod.h"

#pragma GCC diagnostic ignored "-Winvalid-offsetof"

namespace {

constexpr size_t kCommonSize = 144;  // the fields every kind shares, up to ModuleGetCustomPtr

}  // namespace

TEST(ModuleLayout, CommonFields) {
    using M = game::Module<game::GAME_Mod>;
    EXPECT_EQ(offsetof(M, moduleId), 0u);
    EXPECT_EQ(offsetof(M, name), 16u);
    EXPECT_EQ(offsetof(M, path), 48u);
    EXPECT_EQ(offsetof(M, lastWriteTime), 80u);
    EXPECT_EQ(offsetof(M, handle), 88u);
    EXPECT_EQ(offsetof(M, lastError), 96u);
    EXPECT_EQ(offsetof(M, ModuleLoad), 104u);
    EXPECT_EQ(offsetof(M, ModuleGetCustomPtr), 136u);
    EXPECT_EQ(sizeof(M), kCommonSize);
}

// Each kind's exports follow the common fields; their order and spacing, one pointer each, is
// checked against the built modules in ModuleLoaderTest.
TEST(ModuleLayout, ExportTables) {
    using namespace game;
    EXPECT_EQ(offsetof(GAME_Init, Vulkan_Init), kCommonSize);
    EXPECT_EQ(sizeof(GAME_Init), kCommonSize + 4 * 8);

    EXPECT_EQ(offsetof(GAME_Mod, Game_Start), kCommonSize);
    EXPECT_EQ(sizeof(GAME_Mod), kCommonSize + 41 * 8);

    EXPECT_EQ(offsetof(SERVER_Mod, Server_Load), kCommonSize);
    EXPECT_EQ(sizeof(SERVER_Mod), kCommonSize + 8 * 8);

    EXPECT_EQ(offsetof(ZENDOLA_Mod, _ZENDOLA_Mod_VERSION), kCommonSize);
    EXPECT_EQ(sizeof(ZENDOLA_Mod), kCommonSize + 3 * 8);
}
