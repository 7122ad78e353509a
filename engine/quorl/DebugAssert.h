#pragma once
// Hot-path invariants, checked while the code is worked on: on in the dev and sanitizer builds,
// compiled out of release builds (NDEBUG), where the expression is not evaluated at all. A broken
// one reads like any other assertion (quorl/Assert.h).
#include "quorl/Assert.h"

#ifdef NDEBUG
#define QUORL_DEBUG_ASSERT(expr) static_cast<void>(sizeof(!(expr)))
#else
#define QUORL_DEBUG_ASSERT(expr) QUORL_ASSERT(expr)
#endif
