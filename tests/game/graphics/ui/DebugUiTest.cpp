#include "game/graphics/ui/DebugUi.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "ScriptedUi.h"
#include "TestFiles.h"
#include "game/Game.h"
#include "game/GameSettings.h"
#include "game/graphics/ui/SettingsSaver.h"

using game::Game;
using game::GameSettings;

namespace {

TEST(DebugUiTest, SettingsChangeInMemoryAndOnlySaveSettingsWritesThem) {
    testfiles::TempFolder folder{"zendola-debug-ui"};
    const std::filesystem::path path = std::filesystem::path(folder.path) / "settings.ini";
    GameSettings settings(path.string(), 0);
    game::graphics::ui::DebugUi panel;
    game::graphics::ui::SettingsSaver saver;
    game::graphics::ui::testing::ScriptedUi ui([&] {
        panel.Draw(settings, nullptr, saver);
        ImGui::SetWindowSize("Debug Window", ImVec2(700, 3000));  // all of it within reach
    });
    ui.Click("Settings");
    ui.Click("Brightness", 0.95f);
    ui.Click("Tone Mapping");
    ui.Click("Test Slider 0", 0.95f);
    EXPECT_GT(settings.brightness, 1.9f);
    EXPECT_FALSE(settings.tone_mapping);
    EXPECT_GT(Game::testSlider, 0.9);
    EXPECT_FALSE(std::filesystem::exists(path));

    ui.Click("Save Settings");
    GameSettings saved(path.string(), 0);
    EXPECT_EQ(saved.brightness, settings.brightness);
    EXPECT_FALSE(saved.tone_mapping);
    Game::testSlider = 0;
}

}  // namespace
