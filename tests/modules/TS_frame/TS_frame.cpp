// Every renderer hook, each counting its calls (read with TS_FrameCalls): the cheapest hook that
// still does something, for the frame benchmark.
#include <vulkan/vulkan_core.h>

#include <atomic>
#include <cstdint>

namespace {
std::atomic<uint64_t> calls{0};
void Count() { calls.fetch_add(1, std::memory_order_relaxed); }
}  // namespace

#define TS_HOOK(name) \
    extern "C" void name() { Count(); }
#define TS_HOOK_CMD(name) \
    extern "C" void name(VkCommandBuffer) { Count(); }

extern "C" uint64_t TS_FrameCalls() { return calls.load(std::memory_order_relaxed); }
TS_HOOK(Renderer_StartRendering)
TS_HOOK(Renderer_StopRendering)
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
TS_HOOK_CMD(Renderer_FrameRenderCommands)
TS_HOOK_CMD(Renderer_FrameResolveCommands)
TS_HOOK_CMD(Renderer_FrameBlitCommands)
TS_HOOK_CMD(Renderer_FramePostCommands)
TS_HOOK_CMD(Renderer_FrameOverlayCommands)
