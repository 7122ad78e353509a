#pragma once
// Shared set-up for tests of the module loader: runs in the build folder, where the test
// modules lie under modules/<name>/, and leaves every module list empty and every callback
// reset afterwards.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "game/GAME_Init.h"
#include "game/GAME_Mod.h"
#include "game/Game.h"
#include "game/SERVER_Mod.h"
#include "game/ZENDOLA_Mod.h"

class ModuleTestBase : public ::testing::Test {
protected:
    void SetUp() override {
        _previousDir = std::filesystem::current_path();
        std::filesystem::current_path(ZENDOLA_BINARY_DIR);
        ResetAll();
        game::GAME_Mod::ModulesSetLoadErrorCallback([this](const char* text) { errors.emplace_back(text); });
    }

    void TearDown() override {
        ResetAll();
        std::filesystem::current_path(_previousDir);
    }

    // The current value of a counting channel written by a test module.
    static double Counter(const std::string& channel) { return game::Game::GetNumericIMC(channel, 0); }

    static std::string ModuleFile(const std::string& name, const std::string& classWord) {
        return std::string(ZENDOLA_BINARY_DIR) + "/modules/" + name + "/" + name + "." + classWord + ".so";
    }

    std::vector<std::string> errors;

private:
    template <class M>
    static void Reset() {
        M::UnloadModules();
        M::ModulesSetLoadCallback([](typename M::Ptr) {});
        M::ModulesSetUnloadCallback([](typename M::Ptr) {});
        M::ModulesSetLoadErrorCallback([](const char*) {});
    }

    static void ResetAll() {
        Reset<game::GAME_Init>();
        Reset<game::GAME_Mod>();
        Reset<game::SERVER_Mod>();
        Reset<game::ZENDOLA_Mod>();
    }

    std::filesystem::path _previousDir;
};
