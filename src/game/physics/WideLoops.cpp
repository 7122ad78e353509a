#include "game/physics/WideLoops.h"

namespace game::physics {

Width WidestWidthAvailable() {
    static const Width widest = [] {
#if ZENDOLA_WIDE_X86_BUILDS
        __builtin_cpu_init();
        if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
            __builtin_cpu_supports("avx512vl")) {
            return Width::k512;
        }
        if (__builtin_cpu_supports("avx2")) return Width::k256;
#endif
        return Width::k128;
    }();
    return widest;
}

// Until the library's initialisers have run, the narrowest (zero) width.
std::atomic<Width> gWideLoopWidth{WidestWidthAvailable()};

}  // namespace game::physics
