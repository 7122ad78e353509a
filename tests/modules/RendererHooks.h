#pragma once
// The renderer hooks a GAME_Mod exports, for test modules that define every one of them:
// PLAIN(name) for the hooks without arguments, CMD(name) for those given a command buffer.
#define TS_RENDERER_HOOKS(PLAIN, CMD)                                                                    \
    PLAIN(Renderer_StartRendering) PLAIN(Renderer_StopRendering) PLAIN(Renderer_RefreshViewport)         \
    PLAIN(Renderer_FrameCollectGarbage) PLAIN(Renderer_FrameUpdateDescriptorSets)                          \
    PLAIN(Renderer_FrameBeforePost) PLAIN(Renderer_FrameInit) PLAIN(Renderer_FrameUpdateUi)                \
    PLAIN(Renderer_FrameBeforeUpdate) PLAIN(Renderer_FrameUpdate) PLAIN(Renderer_FrameAfterUpdate)         \
    PLAIN(Renderer_FrameBeforeRender) PLAIN(Renderer_FrameAfterRender) CMD(Renderer_FramePushCommands)     \
    CMD(Renderer_FrameBuildCommands) CMD(Renderer_FrameRenderCommands) CMD(Renderer_FrameResolveCommands) \
    CMD(Renderer_FrameBlitCommands) CMD(Renderer_FramePostCommands) CMD(Renderer_FrameOverlayCommands)
