#include <gtest/gtest.h>

#include <memory>

#include "GoldenImage.h"
#include "VulkanTest.h"
#include "game/Game.h"
#include "game/MainMenu.h"
#include "game/ModuleTestFixture.h"
#include "game/graphics/OutputPixels.h"
#include "game/graphics/GameRenderer.h"
#include "quorl/graphics/Window.h"

using game::Game;
using game::graphics::GameRenderer;

namespace {

// The menu on a 640 x 360 offscreen renderer, clicked through a headless window of that size.
class MainMenuTest : public VulkanTestOf<ModuleTestBase> {
protected:
    void SetUp() override {
        VulkanTestOf<ModuleTestBase>::SetUp();
        Game::settings = nullptr;
        window.SetSize(640, 360);
        renderer = std::make_unique<GameRenderer>(&window, "MainMenuTest", 1, quorl::vk::PhysicalDevice::Features{},
                                                  VkExtent2D{640, 360});
        renderer->showCrosshair = false;
        Game::renderer = renderer.get();
        Game::window = &window;
        menu.Init();
    }
    void TearDown() override {
        menu = game::MainMenu();
        renderer.reset();
        Game::renderer = nullptr;
        Game::window = nullptr;
        Game::_mouseLook = false;
        Game::_inputMode = 0;
        VulkanTestOf<ModuleTestBase>::TearDown();
    }

    // Press and release button 0 at a point given in the elements' coordinates.
    void ClickAt(float x, float y) {
        window.SetCursorPos((1.0 + x) * 0.5 * 640, (1.0 + y) * 0.5 * 360);
        window.SetMouseButton(0, quorl::graphics::PRESS);
        ASSERT_TRUE(renderer->Frame());
        window.SetMouseButton(0, quorl::graphics::RELEASE);
        ASSERT_TRUE(renderer->Frame());
    }

    quorl::graphics::Window window;
    std::unique_ptr<GameRenderer> renderer;
    game::MainMenu menu;
};

}  // namespace

TEST_F(MainMenuTest, DrawnInTheOverlayAboveTheScene) {
    window.SetCursorPos(320, 169);  // over PLAY: its text turns white
    ASSERT_TRUE(renderer->Frame());
    ASSERT_TRUE(renderer->Frame());
    EXPECT_TRUE(MatchesGolden("main_menu", OutputPixels(*renderer, "main_menu_frame"), 640, 360));
}

TEST_F(MainMenuTest, ScriptedClicksPlayAndQuit) {
    Game::isActive = true;
    ClickAt(0.4f, 0.2f);  // outside both buttons
    ClickAt(0.0f, 0.0f);  // between them: neither
    EXPECT_EQ(Game::_inputMode, 0);
    EXPECT_TRUE(Game::isActive);

    ClickAt(0.0f, -0.06f);
    EXPECT_EQ(Game::_inputMode, 1);
    EXPECT_TRUE(Game::isActive);

    menu.Hide();  // hidden buttons take no click
    ClickAt(0.0f, 0.06f);
    EXPECT_TRUE(Game::isActive);
    menu.Show();
    ClickAt(0.0f, 0.06f);
    EXPECT_FALSE(Game::isActive);
}
