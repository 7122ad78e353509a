#pragma once
// Counts the heap allocations of a benchmark program: the global operator new and delete are
// replaced by counting versions. Each bench/NAME.cpp is its own program; include this header in
// that one file only.
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

inline std::atomic<uint64_t> gAllocations{0};

// The replacements pair malloc with free; GCC's pairing check sees operator new's memory freed in
// inlined library code of the including file and warns wrongly, so the check is off from here on.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

void* operator new(std::size_t size) {
    gAllocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
