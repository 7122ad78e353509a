#include "game/graphics/GameRenderer.h"

#include "game/GAME_Mod.h"

namespace game::graphics {

GameRenderer::GameRenderer(quorl::graphics::Window* window) : _window(window) {}

GameRenderer::~GameRenderer() = default;

void GameRenderer::StartRendering() {
    GAME_Mod::ForEachModule([](GAME_Mod::Ptr& mod) {
        if (mod->Renderer_StartRendering) mod->Renderer_StartRendering();
    });
    _rendering = true;
}

void GameRenderer::StopRendering() {
    _rendering = false;
    GAME_Mod::ForEachModule([](GAME_Mod::Ptr& mod) {
        if (mod->Renderer_StopRendering) mod->Renderer_StopRendering();
    });
}

void GameRenderer::Cleanup() {
    // No GPU objects or trash are held by this renderer yet: nothing to release.
}

}  // namespace game::graphics
