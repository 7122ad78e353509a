#pragma once
// Assertions of the library: a broken invariant prints
//   ASSERTION FAILED: (<expression>) in <path>:<line>
// on the error stream and aborts. Paths are relative to the source tree
// ("src/game/entity/ServerSideEntity.cpp": the build maps the source root away from __FILE__
// with -fmacro-prefix-map); QUORL_ASSERT_AT takes them explicitly where the
// path and line are part of the observable behaviour.

namespace quorl {

[[noreturn]] void AssertionFailed(const char* expression, const char* path, int line);

}  // namespace quorl

// The expression is turned into text here, in each macro, before any macro inside it expands.
#define QUORL_ASSERT_AT(expr, path, line) \
    ((expr) ? static_cast<void>(0) : ::quorl::AssertionFailed(#expr, (path), (line)))

#define QUORL_ASSERT(expr) \
    ((expr) ? static_cast<void>(0) : ::quorl::AssertionFailed(#expr, __FILE__, __LINE__))
