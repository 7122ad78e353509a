#include "quorl/graphics/Upscaler.h"

namespace quorl::graphics {

Upscaler::Algo Upscaler::GetAlgoEnumFromStr(const std::string& name) {
    for (size_t i = 0; i < UPSCALER_ALGOS_STR.size(); ++i)
        if (name == UPSCALER_ALGOS_STR[i]) return Algo(i);
    return AUTO;
}

const char* Upscaler::GetAlgoStrFromEnum(Algo algo) {
    return algo >= 0 && size_t(algo) < UPSCALER_ALGOS_STR.size() ? UPSCALER_ALGOS_STR[size_t(algo)] : "AUTO";
}

bool Upscaler::IsTemporal(Algo algo) { return algo == TEMPORAL; }

bool Upscaler::IsSupported(Algo algo) { return algo != TEMPORAL; }

Upscaler::Algo Upscaler::Resolve(Algo algo) { return algo == AUTO || !IsSupported(algo) ? LINEAR : algo; }

}  // namespace quorl::graphics
