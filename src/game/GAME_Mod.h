#pragma once
#include <vulkan/vulkan_core.h>

#include "game/Module.h"

namespace game {

// Game and renderer hooks. The library calls the hooks typed below from Game and GameRenderer;
// the HostExport ones are bound for the host only. A hook the module does not export stays null
// and its call is skipped.
class GAME_Mod : public Module<GAME_Mod> {
public:
    static constexpr const char* ClassWord = "GAME_Mod";

    // Pointer order is part of the binary contract: keep it.
    void (*Game_Start)() = nullptr;
    void (*Game_Ready)() = nullptr;
    void (*Game_Stop)() = nullptr;
    void (*Game_Update)(double deltaTime) = nullptr;
    void (*Game_ClientUpdate)() = nullptr;
    void (*Input_Update)(double deltaTime) = nullptr;
    void (*Input_Update_Play)(double deltaTime) = nullptr;
    void (*Input_Update_Station)(double deltaTime) = nullptr;
    HostExport Input_Key_Play = nullptr;
    HostExport Input_Key_Station = nullptr;
    HostExport Input_Char_Play = nullptr;
    HostExport Input_Char_Station = nullptr;
    HostExport Input_MouseButton_Play = nullptr;
    HostExport Input_MouseButton_Station = nullptr;
    HostExport Input_MouseScroll_Play = nullptr;
    HostExport Input_MouseScroll_Station = nullptr;
    HostExport Client_Connected = nullptr;
    HostExport Client_Send = nullptr;
    HostExport Client_Receive = nullptr;
    HostExport Physics_PlayerPosition = nullptr;
    HostExport Physics_CameraPosition = nullptr;
    void (*Renderer_StartRendering)() = nullptr;
    void (*Renderer_StopRendering)() = nullptr;
    void (*Renderer_RefreshViewport)() = nullptr;
    void (*Renderer_FrameCollectGarbage)() = nullptr;
    void (*Renderer_FrameUpdateDescriptorSets)() = nullptr;
    void (*Renderer_FrameBeforePost)() = nullptr;
    void (*Renderer_FrameInit)() = nullptr;
    void (*Renderer_FrameUpdateUi)() = nullptr;
    void (*Renderer_FrameBeforeUpdate)() = nullptr;
    void (*Renderer_FrameUpdate)() = nullptr;
    void (*Renderer_FrameAfterUpdate)() = nullptr;
    void (*Renderer_FrameBeforeRender)() = nullptr;
    void (*Renderer_FrameAfterRender)() = nullptr;
    void (*Renderer_FramePushCommands)(VkCommandBuffer) = nullptr;
    void (*Renderer_FrameBuildCommands)(VkCommandBuffer) = nullptr;
    void (*Renderer_FrameRenderCommands)(VkCommandBuffer) = nullptr;
    void (*Renderer_FrameResolveCommands)(VkCommandBuffer) = nullptr;
    void (*Renderer_FrameBlitCommands)(VkCommandBuffer) = nullptr;
    void (*Renderer_FramePostCommands)(VkCommandBuffer) = nullptr;
    void (*Renderer_FrameOverlayCommands)(VkCommandBuffer) = nullptr;

    // Calls f(exportName, pointerField) for every export of the kind, in table order.
    template <class F>
    void ForEachExport(F&& f) {
        f("Game_Start", Game_Start);
        f("Game_Ready", Game_Ready);
        f("Game_Stop", Game_Stop);
        f("Game_Update", Game_Update);
        f("Game_ClientUpdate", Game_ClientUpdate);
        f("Input_Update", Input_Update);
        f("Input_Update_Play", Input_Update_Play);
        f("Input_Update_Station", Input_Update_Station);
        f("Input_Key_Play", Input_Key_Play);
        f("Input_Key_Station", Input_Key_Station);
        f("Input_Char_Play", Input_Char_Play);
        f("Input_Char_Station", Input_Char_Station);
        f("Input_MouseButton_Play", Input_MouseButton_Play);
        f("Input_MouseButton_Station", Input_MouseButton_Station);
        f("Input_MouseScroll_Play", Input_MouseScroll_Play);
        f("Input_MouseScroll_Station", Input_MouseScroll_Station);
        f("Client_Connected", Client_Connected);
        f("Client_Send", Client_Send);
        f("Client_Receive", Client_Receive);
        f("Physics_PlayerPosition", Physics_PlayerPosition);
        f("Physics_CameraPosition", Physics_CameraPosition);
        f("Renderer_StartRendering", Renderer_StartRendering);
        f("Renderer_StopRendering", Renderer_StopRendering);
        f("Renderer_RefreshViewport", Renderer_RefreshViewport);
        f("Renderer_FrameCollectGarbage", Renderer_FrameCollectGarbage);
        f("Renderer_FrameUpdateDescriptorSets", Renderer_FrameUpdateDescriptorSets);
        f("Renderer_FrameBeforePost", Renderer_FrameBeforePost);
        f("Renderer_FrameInit", Renderer_FrameInit);
        f("Renderer_FrameUpdateUi", Renderer_FrameUpdateUi);
        f("Renderer_FrameBeforeUpdate", Renderer_FrameBeforeUpdate);
        f("Renderer_FrameUpdate", Renderer_FrameUpdate);
        f("Renderer_FrameAfterUpdate", Renderer_FrameAfterUpdate);
        f("Renderer_FrameBeforeRender", Renderer_FrameBeforeRender);
        f("Renderer_FrameAfterRender", Renderer_FrameAfterRender);
        f("Renderer_FramePushCommands", Renderer_FramePushCommands);
        f("Renderer_FrameBuildCommands", Renderer_FrameBuildCommands);
        f("Renderer_FrameRenderCommands", Renderer_FrameRenderCommands);
        f("Renderer_FrameResolveCommands", Renderer_FrameResolveCommands);
        f("Renderer_FrameBlitCommands", Renderer_FrameBlitCommands);
        f("Renderer_FramePostCommands", Renderer_FramePostCommands);
        f("Renderer_FrameOverlayCommands", Renderer_FrameOverlayCommands);
    }

private:
    friend class Module<GAME_Mod>;
    GAME_Mod() = default;
};

}  // namespace game

extern template class game::Module<game::GAME_Mod>;
