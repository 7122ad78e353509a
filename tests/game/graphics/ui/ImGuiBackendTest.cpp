// Dear ImGui on the renderer. Windows drawn in the overlay with the game's fonts, and clicks on
// them, are PanelsGoldenTest's; here, font files that fail to load.
#include <gtest/gtest.h>
#include <imgui.h>

#include <fstream>
#include <string>

#include "TestFiles.h"
#include "VulkanTest.h"
#include "game/Game.h"
#include "game/ModuleTestFixture.h"
#include "game/MultiFont.h"
#include "game/graphics/GameRenderer.h"
#include "game/graphics/ui/ImGuiBackend.h"
#include "quorl/graphics/Window.h"

using game::Game;

namespace {

// An offscreen renderer whose interface frame draws a line of text where the game's panels would.
class TextRenderer : public game::graphics::GameRenderer {
public:
    explicit TextRenderer(quorl::graphics::Window* window)
        : GameRenderer(window, "ImGuiBackendTest", 1, quorl::vk::PhysicalDevice::Features{}, {64, 64}) {}
    void FrameUpdateUi() override {
        GameRenderer::FrameUpdateUi();
        ImGui::Text("still here");
    }
};

using ImGuiBackendTest = VulkanTestOf<ModuleTestBase>;

TEST_F(ImGuiBackendTest, MissingOrBrokenFontFilesLeaveAWorkingFace) {
    quorl::graphics::Window window;
    TextRenderer r(&window);
    Game::settings = nullptr;
    Game::renderer = &r;
    struct Reset {
        ~Reset() { Game::renderer = nullptr; }
    } reset;
    Game::SetupUiStyle();
    ASSERT_TRUE(r.Frame());
    game::MultiFont fonts;  // adds to the renderer's atlas
    testing::internal::CaptureStderr();
    EXPECT_FALSE(fonts.AddFont("game/graphics/ui/fonts/NoSuchFace.ttf", nullptr));
    testfiles::TempFolder folder("zendola_fonts");
    const std::string junk = folder.path + "/junk.ttf";
    std::ofstream(junk) << "not a font at all";
    EXPECT_FALSE(fonts.AddFont(junk, nullptr));
    const std::string messages = testing::internal::GetCapturedStderr();
    EXPECT_NE(messages.find("Font file does not exist: game/graphics/ui/fonts/NoSuchFace.ttf"), std::string::npos);
    EXPECT_NE(messages.find("Font file cannot be read: "), std::string::npos);
    ASSERT_NE(fonts.font, nullptr);
    // The atlas changed: the next frame builds and uploads it again and still draws.
    ASSERT_TRUE(r.Frame());
    EXPECT_TRUE(ImGui::GetIO().Fonts->IsBuilt());
}

}  // namespace
