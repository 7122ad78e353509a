// Renderer hooks for the frame chain tests. Channels read:
//   TS_render.drawer   name of the module that draws
//   TS_render.x/.y/.w/.h, TS_render.aimId, TS_render.r/.g/.b   the region, its aim id and colour
//   TS_render.throw    name of a hook that throws (in every copy of the module)
// Channels written: TS_render.order, TS_render.engineRunningAt<hook>.
#include <vulkan/vulkan_core.h>

#include <stdexcept>
#include <string>

#include "game/GAME_Mod.h"
#include "game/Game.h"
#include "game/graphics/GameRenderer.h"

#include "../RendererHooks.h"

using game::Game;

namespace {

void Record(const char* hook) {
    Game::SetIMC("TS_render.order", Game::GetIMC("TS_render.order", "") + TS_RENDER_NAME + ":" + hook + " ");
    if (Game::GetIMC("TS_render.throw", "") == hook) throw std::runtime_error(std::string("TS_render: ") + hook);
}

// Clears a region of the scene's colour and aim id attachments in the command buffer handed over.
void DrawRegion(VkCommandBuffer cmd) {
    if (Game::GetIMC("TS_render.drawer", "") != TS_RENDER_NAME) return;
    VkClearAttachment clears[2]{};
    clears[0].aspectMask = VK_IMAGE_ASPECT_COLOR_BIT;
    clears[0].colorAttachment = 0;
    clears[0].clearValue.color = {{float(Game::GetNumericIMC("TS_render.r", 1.0)),
                                   float(Game::GetNumericIMC("TS_render.g", 0.0)),
                                   float(Game::GetNumericIMC("TS_render.b", 0.0)), 1.0f}};
    clears[1].aspectMask = VK_IMAGE_ASPECT_COLOR_BIT;
    clears[1].colorAttachment = 1;
    clears[1].clearValue.color.uint32[0] = uint32_t(Game::GetNumericIMC("TS_render.aimId", 0));
    VkClearRect rect{};
    rect.rect.offset = {int32_t(Game::GetNumericIMC("TS_render.x", 0)), int32_t(Game::GetNumericIMC("TS_render.y", 0))};
    rect.rect.extent = {uint32_t(Game::GetNumericIMC("TS_render.w", 1)), uint32_t(Game::GetNumericIMC("TS_render.h", 1))};
    rect.layerCount = 1;
    vkCmdClearAttachments(cmd, 2, clears, 1, &rect);
}

// Start and stop also note whether the engine renders at that moment.
void Hook(const std::string& hook) {
    Record(hook.c_str());
    if (hook == "Renderer_StartRendering" || hook == "Renderer_StopRendering")
        Game::SetIMC("TS_render.engineRunningAt" + hook, Game::renderer && Game::renderer->IsRendering() ? 1.0 : 0.0);
}

void HookCmd(const std::string& hook, VkCommandBuffer cmd) {
    Record(hook.c_str());
    if (hook == "Renderer_FrameRenderCommands") DrawRegion(cmd);
}

}  // namespace

#define TS_HOOK(name) \
    extern "C" void name() { Hook(#name); }
#define TS_HOOK_CMD(name) \
    extern "C" void name(VkCommandBuffer cmd) { HookCmd(#name, cmd); }
TS_RENDERER_HOOKS(TS_HOOK, TS_HOOK_CMD)
