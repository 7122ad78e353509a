#include "game/GraphicsPresets.h"

#include "game/GameSettings.h"

namespace game {

const std::array<GraphicsPreset, 7>& GraphicsPresets() {
    static const std::array<GraphicsPreset, 7> presets = {{
        {"Custom Graphics Settings (I want to tweak everything myself!)", std::nullopt, std::nullopt},
        {"FAST FAST (I don't care about graphics at all, Just give me them frames!)", 1, 2.0f},
        {"Low quality (recommended for lower end RTX GPUs)", 1, 1.5f},
        {"Medium quality (recommended for most RTX GPUs)", 1, 0.0f},
        {"Good quality (recommended for high end RTX GPUs)", 1, 0.0f},
        {"High quality (only for RTX 4090)", 2, 1.0f},
        {"Ultra quality (that GPU is not out yet)", 3, 1.0f},
    }};
    return presets;
}

bool ApplyGraphicsPreset(GameSettings& settings) {
    const auto index = static_cast<unsigned>(settings.graphics_preset);
    if (index > 6) return false;
    const GraphicsPreset& preset = GraphicsPresets()[index];
    if (preset.upscalingQualitySetting) settings.upscaling_quality_setting = *preset.upscalingQualitySetting;
    if (preset.finalUpscale) settings.final_upscale = *preset.finalUpscale;
    return true;
}

}  // namespace game
