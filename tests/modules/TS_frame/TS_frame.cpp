// Every renderer hook, each counting its calls (read with TS_FrameCalls): the cheapest hook that
// still does something, for the frame benchmark.
#include <vulkan/vulkan_core.h>

#include <atomic>
#include <cstdint>

#include "../RendererHooks.h"

namespace {
std::atomic<uint64_t> calls{0};
void Count() { calls.fetch_add(1, std::memory_order_relaxed); }
}  // namespace

#define TS_HOOK(name) \
    extern "C" void name() { Count(); }
#define TS_HOOK_CMD(name) \
    extern "C" void name(VkCommandBuffer) { Count(); }

extern "C" uint64_t TS_FrameCalls() { return calls.load(std::memory_order_relaxed); }
TS_RENDERER_HOOKS(TS_HOOK, TS_HOOK_CMD)
