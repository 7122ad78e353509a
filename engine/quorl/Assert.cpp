#include "quorl/Assert.h"

#include <cstdio>
#include <cstdlib>

namespace quorl {

void AssertionFailed(const char* expression, const char* path, int line) {
    std::fprintf(stderr, "ASSERTION FAILED: (%s) in %s:%d\n", expression, path, line);
    std::fflush(stderr);
    std::abort();
}

}  // namespace quorl
