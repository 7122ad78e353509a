// Test module with one cheap hook: Game_ClientUpdate counts its calls, read with TS_BenchCalls.
#include <atomic>
#include <cstdint>

namespace {
std::atomic<uint64_t> calls{0};
}

extern "C" void Game_ClientUpdate() { calls.fetch_add(1, std::memory_order_relaxed); }
extern "C" uint64_t TS_BenchCalls() { return calls.load(std::memory_order_relaxed); }
