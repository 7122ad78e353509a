#pragma once
// Vulkan tests with an offscreen GameRenderer of W x H as Game::renderer.
#include <memory>

#include "VulkanTest.h"
#include "game/Game.h"
#include "game/graphics/GameRenderer.h"
#include "quorl/graphics/Window.h"

template <uint32_t W = 64, uint32_t H = 64>
class RendererTest : public VulkanTest {
protected:
    void SetUp() override {
        VulkanTest::SetUp();
        renderer = std::make_unique<game::graphics::GameRenderer>(&window, "RendererTest", 1,
                                                                  quorl::vk::PhysicalDevice::Features{}, VkExtent2D{W, H});
        game::Game::renderer = renderer.get();
    }
    void TearDown() override {
        game::Game::renderer = nullptr;
        renderer.reset();
        VulkanTest::TearDown();
    }

    quorl::graphics::Window window;
    std::unique_ptr<game::graphics::GameRenderer> renderer;
};

// Runs body(renderer) with a fresh 64 x 64 renderer as Game::renderer: a death test's child.
template <class Body>
void WithRenderer(Body&& body) {
    quorl::graphics::Window window;
    game::graphics::GameRenderer renderer(&window, "RendererTest", 1, quorl::vk::PhysicalDevice::Features{},
                                          VkExtent2D{64, 64});
    game::Game::renderer = &renderer;
    body(renderer);
}
