#pragma once
#include <array>
#include <string>

namespace quorl::graphics {

// How the frame drawn at render scale reaches the output size. The rasteriser implements the
// spatial filters (a blit); TEMPORAL names the temporal class of upscalers, which this renderer
// does not have (IsSupported false). AUTO picks the best supported one.
class Upscaler {
public:
    enum Algo : int { AUTO = 0, NONE = 1, NEAREST = 2, LINEAR = 3, TEMPORAL = 4 };
    static constexpr std::array<const char*, 5> UPSCALER_ALGOS_STR = {"AUTO", "NONE", "NEAREST", "LINEAR",
                                                                        "TEMPORAL"};

    // The enum of an upper-case name; an unknown name gives AUTO.
    static Algo GetAlgoEnumFromStr(const std::string& name);
    static const char* GetAlgoStrFromEnum(Algo algo);
    // Whether the algorithm accumulates over frames (asked whether or not it is supported).
    static bool IsTemporal(Algo algo);
    static bool IsSupported(Algo algo);
    // AUTO resolved to the algorithm used.
    static Algo Resolve(Algo algo);

    Algo algo = AUTO;
    int quality = 1;
    float sharpness = 0.675f;
    float finalUpscale = 0.0f;
};

}  // namespace quorl::graphics
