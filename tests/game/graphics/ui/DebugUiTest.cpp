#include "game/graphics/ui/DebugUi.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "ScriptedUi.h"
#include "game/Game.h"
#include "game/GameSettings.h"
#include "game/graphics/ui/SettingsSaver.h"

using game::Game;
using game::GameSettings;
using game::graphics::ui::DebugUi;
using game::graphics::ui::SettingsSaver;
using game::graphics::ui::testing::ScriptedUi;

namespace {

TEST(DebugUiTest, SettingsChangeInMemoryAndAreWrittenOnlyBySaveSettings) {
    const auto path = std::filesystem::temp_directory_path() / "zendola_debug_ui_test.ini";
    std::filesystem::remove(path);
    GameSettings settings(path.string(), 0);
    DebugUi panel;
    SettingsSaver saver;
    const bool wasServer = Game::_is_server;
    Game::_is_server = false;
    ScriptedUi ui([&] {
        panel.Draw(settings, nullptr, saver);
        ImGui::SetWindowSize("Debug Window", ImVec2(700, 3000));  // all of it within reach
    });
    EXPECT_FALSE(ui.Has("Debug Server-Side Physics"));  // only with a server

    ui.Click("Settings");
    ui.Click("Brightness", 0.95f);
    ui.Click("Tone Mapping");
    ui.Click("Test Slider 0", 0.95f);
    ui.Click("Test Slider 3", 0.95f);
    EXPECT_GT(settings.brightness, 1.9f);
    EXPECT_FALSE(settings.tone_mapping);
    EXPECT_GT(Game::testSlider, 0.9);
    EXPECT_GT(panel.testSliders[3], 0.9f);
    EXPECT_FALSE(std::filesystem::exists(path));

    ui.Click("Save Settings");
    GameSettings saved(path.string(), 0);
    EXPECT_EQ(saved.brightness, settings.brightness);
    EXPECT_FALSE(saved.tone_mapping);

    // The limit slider stands only while vsync is off.
    EXPECT_TRUE(ui.Has("Limit Render Framerate"));
    settings.vsync = true;
    ui.Frame();
    EXPECT_FALSE(ui.Has("Limit Render Framerate"));

    Game::_is_server = wasServer;
    Game::testSlider = 0;
    std::filesystem::remove(path);
}

}  // namespace
