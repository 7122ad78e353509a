#include <gtest/gtest.h>
#include <imgui.h>
#include <stb_image.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "GoldenImage.h"
#include "VulkanTest.h"
#include "game/Game.h"
#include "game/ModuleTestFixture.h"
#include "game/MultiFont.h"
#include "game/graphics/GameRenderer.h"
#include "game/graphics/ui/ImGuiBackend.h"
#include "quorl/graphics/Window.h"

using game::Game;
using game::graphics::GameRenderer;

namespace {

// An offscreen renderer whose interface frame runs `panel` where the game's panels would.
class PanelRenderer : public GameRenderer {
public:
    PanelRenderer(quorl::graphics::Window* window, VkExtent2D extent)
        : GameRenderer(window, "ImGuiBackendTest", 1, quorl::vk::PhysicalDevice::Features{}, extent) {}
    void FrameUpdateUi() override {
        GameRenderer::FrameUpdateUi();
        if (panel) panel();
    }
    std::function<void()> panel;
};

class ImGuiBackendTest : public VulkanTestOf<ModuleTestBase> {
protected:
    void SetUp() override {
        VulkanTestOf<ModuleTestBase>::SetUp();
        Game::settings = nullptr;
    }
    void TearDown() override {
        Game::renderer = nullptr;
        VulkanTestOf<ModuleTestBase>::TearDown();
    }

    std::unique_ptr<PanelRenderer> MakeRenderer(VkExtent2D extent) {
        auto r = std::make_unique<PanelRenderer>(&window, extent);
        r->Imgui().fixedDeltaTime = 1.0f / 60.0f;
        r->showCrosshair = false;
        Game::renderer = r.get();
        Game::SetupUiStyle();
        return r;
    }

    static std::vector<uint8_t> Pixels(GameRenderer& r) {
        const std::string path = std::string(ZENDOLA_BINARY_DIR) + "/test-output/imgui_frame.png";
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        EXPECT_TRUE(r.SaveImage(r.GetOutputVkImage(), {0, 0}, r.GetOutputImageExtent(), r.GetOutputImageFormat(),
                                r.OutputFinalLayout(), path));
        int w = 0, h = 0, n = 0;
        stbi_uc* png = stbi_load(path.c_str(), &w, &h, &n, 4);
        if (!png) return {};
        std::vector<uint8_t> pixels(png, png + size_t(w) * size_t(h) * 4);
        stbi_image_free(png);
        return pixels;
    }

    quorl::graphics::Window window;
};

}  // namespace

TEST_F(ImGuiBackendTest, WindowWithTextIsDrawnInTheOverlay) {
    auto r = MakeRenderer({240, 135});
    r->panel = [] {
        ImGui::SetNextWindowPos(ImVec2(8, 8));
        ImGui::SetNextWindowSize(ImVec2(224, 100));
        ImGui::Begin("Zendola", nullptr, ImGuiWindowFlags_NoSavedSettings);
        ImGui::TextUnformatted("Hello, overlay");
        ImGui::Button("OK");
        ImGui::End();
    };
    // A new window is measured in its first frame and shown from the second.
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(r->Frame());
    const auto pixels = Pixels(*r);
    EXPECT_TRUE(MatchesGolden("imgui_window_text", pixels, 240, 135));
}

TEST_F(ImGuiBackendTest, ScriptedMouseInputClicksAButtonAcrossFrames) {
    auto r = MakeRenderer({160, 90});
    int clicks = 0;
    ImVec2 centre;
    r->panel = [&] {
        ImGui::SetNextWindowPos(ImVec2(0, 0));
        ImGui::Begin("Input", nullptr, ImGuiWindowFlags_NoSavedSettings | ImGuiWindowFlags_NoTitleBar);
        if (ImGui::Button("Press")) ++clicks;
        centre = ImVec2((ImGui::GetItemRectMin().x + ImGui::GetItemRectMax().x) * 0.5f,
                        (ImGui::GetItemRectMin().y + ImGui::GetItemRectMax().y) * 0.5f);
        ImGui::End();
    };
    ImGuiIO& io = ImGui::GetIO();
    for (int i = 0; i < 2; ++i) ASSERT_TRUE(r->Frame());
    // Down away from the button and up over it: no click; down and up over it: one.
    const std::vector<std::pair<ImVec2, bool>> script = {
        {{150, 85}, true}, {centre, false}, {centre, false}, {centre, true}, {centre, true}, {centre, false}};
    std::vector<int> counts;
    for (auto& [at, down] : script) {
        io.MousePos = at;
        io.MouseDown[0] = down;
        ASSERT_TRUE(r->Frame());
        counts.push_back(clicks);
    }
    EXPECT_EQ(counts, (std::vector<int>{0, 0, 0, 0, 0, 1}));
}

TEST_F(ImGuiBackendTest, MissingOrBrokenFontFilesLeaveAWorkingFace) {
    auto r = MakeRenderer({64, 64});
    ASSERT_TRUE(r->Frame());
    game::MultiFont fonts;  // adds to the renderer's atlas
    testing::internal::CaptureStderr();
    EXPECT_FALSE(fonts.AddFont("game/graphics/ui/fonts/NoSuchFace.ttf", nullptr));
    const std::string junk = std::string(ZENDOLA_BINARY_DIR) + "/test-output/junk.ttf";
    std::ofstream(junk) << "not a font at all";
    EXPECT_FALSE(fonts.AddFont(junk, nullptr));
    const std::string messages = testing::internal::GetCapturedStderr();
    EXPECT_NE(messages.find("Font file does not exist: game/graphics/ui/fonts/NoSuchFace.ttf"), std::string::npos);
    EXPECT_NE(messages.find("Font file cannot be read: "), std::string::npos);
    ASSERT_NE(fonts.font, nullptr);
    // The atlas changed: the next frame builds and uploads it again and still draws.
    r->panel = [] { ImGui::Text("still here"); };
    ASSERT_TRUE(r->Frame());
    EXPECT_TRUE(ImGui::GetIO().Fonts->IsBuilt());
}
