#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "quorl/modular/DynamicLibrary.h"

using quorl::modular::DynamicLibrary;

namespace {

std::string ModuleFile(const std::string& name) {
    return std::string(ZENDOLA_BINARY_DIR) + "/modules/" + name + "/" + name + ".GAME_Mod" + DynamicLibrary::Suffix;
}

}  // namespace

TEST(ModularDynamicLibrary, ErrorNumbersTellMissingFromBroken) {
    uint32_t error = 99;
    EXPECT_EQ(DynamicLibrary::Open(ModuleFile("TS_nothere"), error), nullptr);
    EXPECT_EQ(error, DynamicLibrary::ErrorFileNotFound);
    EXPECT_EQ(DynamicLibrary::Open(ModuleFile("TS_broken"), error), nullptr);
    EXPECT_EQ(error, DynamicLibrary::ErrorLoadFailed);

    // A bare name is a file in the current directory, not a search of the library path.
    EXPECT_EQ(DynamicLibrary::Open("libc.so.6", error), nullptr);
    EXPECT_EQ(error, DynamicLibrary::ErrorFileNotFound);
}

TEST(ModularDynamicLibrary, SymbolFindsOnlyTheLibrarysOwnDefinitions) {
    uint32_t error = 99;
    void* handle = DynamicLibrary::Open(ModuleFile("TS_full"), error);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(error, 0u);
    EXPECT_NE(DynamicLibrary::Symbol(handle, "Game_ClientUpdate"), nullptr);
    EXPECT_EQ(DynamicLibrary::Symbol(handle, "TS_BenchCalls"), nullptr);
    // malloc is reachable through the library's dependencies but is not its export.
    ASSERT_NE(dlsym(handle, "malloc"), nullptr);
    EXPECT_EQ(DynamicLibrary::Symbol(handle, "malloc"), nullptr);
    EXPECT_EQ(DynamicLibrary::Symbol(nullptr, "Game_ClientUpdate"), nullptr);
    DynamicLibrary::Close(handle);
    DynamicLibrary::Close(nullptr);
}
