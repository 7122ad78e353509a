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

using game::Game;

namespace {

void Record(const char* hook) {
    Game::SetIMC("TS_render.order", Game::GetIMC("TS_render.order", "") + TS_RENDER_NAME + ":" + hook + " ");
    if (Game::GetIMC("TS_render.throw", "") == hook) throw std::runtime_error(std::string("TS_render: ") + hook);
}

void RecordEngineState(const char* hook) {
    Record(hook);
    Game::SetIMC(std::string("TS_render.engineRunningAt") + hook,
                 Game::renderer && Game::renderer->IsRendering() ? 1.0 : 0.0);
}

}  // namespace

#define TS_HOOK(name) \
    extern "C" void name() { Record(#name); }
#define TS_HOOK_CMD(name) \
    extern "C" void name(VkCommandBuffer) { Record(#name); }

extern "C" void Renderer_StartRendering() { RecordEngineState("Renderer_StartRendering"); }
extern "C" void Renderer_StopRendering() { RecordEngineState("Renderer_StopRendering"); }
TS_HOOK(Renderer_RefreshViewport)
TS_HOOK(Renderer_FrameCollectGarbage)
TS_HOOK(Renderer_FrameUpdateDescriptorSets)
TS_HOOK(Renderer_FrameBeforePost)
TS_HOOK(Renderer_FrameInit)
TS_HOOK(Renderer_FrameUpdateUi)
TS_HOOK(Renderer_FrameBeforeUpdate)
TS_HOOK(Renderer_FrameUpdate)
TS_HOOK(Renderer_FrameAfterUpdate)
TS_HOOK(Renderer_FrameBeforeRender)
TS_HOOK(Renderer_FrameAfterRender)
TS_HOOK_CMD(Renderer_FramePushCommands)
TS_HOOK_CMD(Renderer_FrameBuildCommands)
TS_HOOK_CMD(Renderer_FrameResolveCommands)
TS_HOOK_CMD(Renderer_FrameBlitCommands)
TS_HOOK_CMD(Renderer_FramePostCommands)
TS_HOOK_CMD(Renderer_FrameOverlayCommands)

// Clears a region of the scene's colour and aim id attachments in the command buffer handed over.
extern "C" void Renderer_FrameRenderCommands(VkCommandBuffer cmd) {
    Record("Renderer_FrameRenderCommands");
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
