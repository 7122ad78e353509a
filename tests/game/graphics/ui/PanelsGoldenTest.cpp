// The panels as a player sees them: rendered offscreen with the game's fonts and style, and
// compared with golden pictures.
#include <gtest/gtest.h>
#include <imgui.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>

#include "GoldenImage.h"
#include "TestFiles.h"
#include "VulkanTest.h"
#include "game/Game.h"
#include "game/GameSettings.h"
#include "game/QuorlCodeEditor.h"
#include "game/graphics/GameRenderer.h"
#include "game/graphics/OutputPixels.h"
#include "game/graphics/ui/ImGuiBackend.h"
#include "game/graphics/ui/ItemProbe.h"
#include "quorl/graphics/Window.h"

using game::Game;

namespace {

// The game's renderer; `panel` runs after the game's own interface.
class PanelRenderer : public game::graphics::GameRenderer {
public:
    PanelRenderer(quorl::graphics::Window* window, VkExtent2D extent)
        : GameRenderer(window, "PanelsGoldenTest", 1, quorl::vk::PhysicalDevice::Features{}, extent) {}
    void FrameUpdateUi() override {
        GameRenderer::FrameUpdateUi();
        if (panel) panel();
    }
    std::function<void()> panel;
};

class PanelsGoldenTest : public VulkanTest {
protected:
    void SetUp() override {
        VulkanTest::SetUp();
        std::filesystem::remove(path);
        settings = std::make_unique<game::GameSettings>(path.string(), 0);
        settings->graphics_preset = 3;
        settings->ui_scaling = 0.5f;  // small text, so that small pictures hold a panel
        Game::settings = settings.get();
        Game::window = &window;
        game::graphics::ui::ItemProbe::SetObserver([this](const std::string& name, ImVec2 min, ImVec2 max) {
            items[name] = ImVec2((min.x + max.x) / 2, (min.y + max.y) / 2);
        });
    }
    void TearDown() override {
        game::graphics::ui::ItemProbe::SetObserver(nullptr);
        renderer.reset();
        Game::renderer = nullptr;
        Game::settings = nullptr;
        Game::window = nullptr;
        Game::settingsWindowOpen = false;
        std::filesystem::remove(path);
        VulkanTest::TearDown();
    }
    void Start(VkExtent2D extent) {
        renderer = std::make_unique<PanelRenderer>(&window, extent);
        renderer->Imgui().fixedDeltaTime = 1.0f / 60.0f;
        renderer->showCrosshair = false;
        Game::renderer = renderer.get();
        const auto previous = std::filesystem::current_path();
        std::filesystem::current_path(std::string(ZENDOLA_SOURCE_DIR) + "/data");
        Game::LoadFonts();
        std::filesystem::current_path(previous);
        Game::SetupUiStyle();
        for (int i = 0; i < 3; ++i) ASSERT_TRUE(renderer->Frame());
    }
    void Click(const std::string& name) {
        ASSERT_TRUE(items.count(name)) << name;
        ImGuiIO& io = ImGui::GetIO();
        io.MousePos = items[name];
        for (bool down : {false, true, false}) {
            io.MouseDown[0] = down;
            ASSERT_TRUE(renderer->Frame());
        }
        io.MousePos = ImVec2(-1, -1);
        for (int i = 0; i < 2; ++i) ASSERT_TRUE(renderer->Frame());
    }
    // The output's pixels in [x, x + w) x [y, y + h).
    std::vector<uint8_t> Pixels(int32_t x, int32_t y, uint32_t w, uint32_t h) {
        return OutputPixels(*renderer, "panels_frame", {x, y}, {w, h});
    }

    // A folder of this test's own: ctest runs these cases in parallel processes.
    testfiles::TempFolder folder{"zendola-panels"};
    std::filesystem::path path = std::filesystem::path(folder.path) / "settings.ini";
    quorl::graphics::Window window;
    std::unique_ptr<game::GameSettings> settings;
    std::unique_ptr<PanelRenderer> renderer;
    std::map<std::string, ImVec2> items;
};

TEST_F(PanelsGoldenTest, SettingsWithEachTreeOpen) {
    Game::settingsWindowOpen = true;
    Start({400, 225});
    EXPECT_TRUE(MatchesGolden("settings_help", Pixels(0, 0, 400, 225), 400, 225));
    Click("Help##Settings");  // closed, to make room for the others
    for (const char* tree : {"Graphics", "Input"}) {  // the audio tree has only sliders like these
        Click(std::string(tree) + "##Settings");
        EXPECT_TRUE(MatchesGolden(std::string("settings_") + tree, Pixels(0, 0, 400, 225), 400, 225)) << tree;
        Click(std::string(tree) + "##Settings");
    }
}

TEST_F(PanelsGoldenTest, DebugWindow) {
    // The frame-rate lines show the process's counters, which earlier tests may have ticked.
    for (quorl::FPSCounter* counter : {&Game::mainRenderingFramerate, &Game::gameFramerate, &Game::inputFramerate})
        for (int i = 0; i < 100; ++i) counter->Tick(1.0 / 50.0);
    settings->debug_window = true;
    Start({1024, 160});
    Click("Settings");
    EXPECT_TRUE(MatchesGolden("debug_window", Pixels(704, 0, 312, 160), 312, 160));
}

TEST_F(PanelsGoldenTest, NodeEditorBesideItsProgramText) {
    game::QuorlCodeEditor::Editor editor("door");
    std::ifstream file(std::string(ZENDOLA_SOURCE_DIR) + "/data/nodes/door.main.qc");
    std::stringstream text;
    text << file.rdbuf();
    editor.LoadProgram(text.str());
    editor.Serialize(false);
    Start({480, 200});
    renderer->panel = [&] {
        ImGui::SetNextWindowPos(ImVec2(0, 0));
        ImGui::SetNextWindowSize(ImVec2(480, 200));
        ImGui::Begin("door", nullptr, ImGuiWindowFlags_NoSavedSettings);
        ImGui::BeginChild("graph", ImVec2(200, 0));
        editor.Render();
        ImGui::EndChild();
        ImGui::SameLine();
        editor.textEditor.Render("program");
        ImGui::End();
    };
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(renderer->Frame());
    EXPECT_TRUE(MatchesGolden("node_editor_program", Pixels(0, 0, 480, 200), 480, 200));
}

}  // namespace
