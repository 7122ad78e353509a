#pragma once
// The test binary replaces the global operator new (tests/game/entity/ServerSideEntityTest.cpp):
// while countAllocations is set on a thread, each allocation made there adds one to allocations.
#include <cstddef>

extern thread_local bool countAllocations;
extern thread_local size_t allocations;
