#pragma once
#include <atomic>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

// Where the wide loops take their faster forms: builds for several widths on x86-64 with GCC,
// and SSE2 intrinsics in the projection. Built with ZENDOLA_SCALAR_WIDE_LOOPS (the CMake option
// of that name) they take their portable form everywhere, one build on two lanes of the
// compiler's generic vectors, which is how the fallback is tested on a machine that has the rest.
#if defined(__GNUC__) && !defined(__clang__) && defined(__x86_64__) && !defined(ZENDOLA_SCALAR_WIDE_LOOPS)
#define ZENDOLA_WIDE_X86_BUILDS 1
#else
#define ZENDOLA_WIDE_X86_BUILDS 0
#endif
#if defined(__SSE2__) && !defined(ZENDOLA_SCALAR_WIDE_LOOPS)
#define ZENDOLA_WIDE_SSE2 1
#else
#define ZENDOLA_WIDE_SSE2 0
#endif

namespace game::physics {

// The collision test's wide loops are written once over W doubles (or 2W floats) per vector and
// built for three widths; the widest the processor runs is picked once. Vectors are loaded and
// stored by copying bytes and never passed by value, which would tie the calling convention to
// the instruction set.
template <int W>
struct VectorOf {
    typedef double type __attribute__((vector_size(8 * W)));
    typedef float single __attribute__((vector_size(8 * W)));  // 2W floats
    typedef float narrow __attribute__((vector_size(4 * W)));  // W floats
};

#define ZENDOLA_LOAD_LANES(v, p) std::memcpy(&(v), (p), sizeof(v))

enum class Width { k128, k256, k512 };

// The widest vectors this processor runs, found once.
Width WidestWidthAvailable();
// The width the wide loops use now: the widest available unless a test has limited it.
extern std::atomic<Width> gWideLoopWidth;

// Defines Name(params) calling Name##Body<W>(args) built for the widest vectors available, each
// build with the attributes given for its width.
#if ZENDOLA_WIDE_X86_BUILDS
#define ZENDOLA_WIDE_FUNCTION_BUILT(Ret, Name, Params, Args, Attributes512, Attributes256) \
    Attributes512 Ret Name##512 Params { return Name##Body<8> Args; }                          \
    Attributes256 Ret Name##256 Params { return Name##Body<4> Args; }                          \
    Ret Name##128 Params { return Name##Body<2> Args; }                                        \
    Ret Name Params {                                                                          \
        switch (gWideLoopWidth.load(std::memory_order_relaxed)) {                             \
            case Width::k512: return Name##512 Args;                                           \
            case Width::k256: return Name##256 Args;                                           \
            default: return Name##128 Args;                                                    \
        }                                                                                      \
    }
#define ZENDOLA_WIDE_FUNCTION(Ret, Name, Params, Args)                                                    \
    ZENDOLA_WIDE_FUNCTION_BUILT(Ret, Name, Params, Args, __attribute__((target("avx512f,avx512dq,avx512vl"))), \
                                __attribute__((target("avx2"))))
// The same for a loop whose results are bounds that hold under any rounding of its sums and
// products: multiplies and adds may fuse, which only makes each step's rounding smaller.
#define ZENDOLA_WIDE_FUSED_FUNCTION(Ret, Name, Params, Args)                                              \
    ZENDOLA_WIDE_FUNCTION_BUILT(                                                                          \
        Ret, Name, Params, Args,                                                                          \
        __attribute__((target("avx512f,avx512dq,avx512vl,fma"), optimize("fp-contract=fast"))),          \
        __attribute__((target("avx2,fma"), optimize("fp-contract=fast"))))
#else
#define ZENDOLA_WIDE_FUNCTION(Ret, Name, Params, Args) \
    Ret Name Params { return Name##Body<2> Args; }
#define ZENDOLA_WIDE_FUSED_FUNCTION(Ret, Name, Params, Args) ZENDOLA_WIDE_FUNCTION(Ret, Name, Params, Args)
#endif

// The least and the greatest lane, halving the vector with constant shuffles (a store and narrow
// reloads, or a chain over the lanes, would stall). For lanes without not-a-numbers.
template <int W>
__attribute__((always_inline)) inline void LaneBounds(const typename VectorOf<W>::type& v, double& least,
                                                      double& greatest) {
    using Lanes = typename VectorOf<W>::type;
    Lanes low = v, high = v;
    [&]<int... L>(std::integer_sequence<int, L...>) {
        auto step = [&]<int Half>(std::integral_constant<int, Half>) {
            if constexpr (Half < W) {
                const Lanes lowTurned = __builtin_shufflevector(low, low, ((L + Half) % W)...);
                const Lanes highTurned = __builtin_shufflevector(high, high, ((L + Half) % W)...);
                low = lowTurned < low ? lowTurned : low;
                high = highTurned > high ? highTurned : high;
            }
        };
        step(std::integral_constant<int, 4>{});
        step(std::integral_constant<int, 2>{});
        step(std::integral_constant<int, 1>{});
    }(std::make_integer_sequence<int, W>{});
    least = low[0];
    greatest = high[0];
}

// A bit for each lane of a comparison's result (all ones or zero), lane l giving bit l: each
// lane keeps its own bit, and the lanes are folded together with constant shuffles.
template <class Mask>
__attribute__((always_inline)) inline uint32_t LaneBits(const Mask& mask) {
    constexpr int N = sizeof(Mask) / sizeof(mask[0]);
    static_assert(N <= 32 && (N & (N - 1)) == 0);
    Mask bits = mask;
    [&]<int... L>(std::integer_sequence<int, L...>) {
        bits &= Mask{(decltype(+mask[0])(1) << L)...};
        auto fold = [&]<int Half>(std::integral_constant<int, Half>) {
            if constexpr (Half < N) bits |= __builtin_shufflevector(bits, bits, ((L + Half) % N)...);
        };
        fold(std::integral_constant<int, 16>{});
        fold(std::integral_constant<int, 8>{});
        fold(std::integral_constant<int, 4>{});
        fold(std::integral_constant<int, 2>{});
        fold(std::integral_constant<int, 1>{});
    }(std::make_integer_sequence<int, N>{});
    return uint32_t(bits[0]);
}

}  // namespace game::physics
