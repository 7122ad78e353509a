#pragma once
#include <array>
#include <optional>

namespace game {

class GameSettings;

// One row of the "Performance / Quality" choice: what a value of graphics_preset sets.
// An empty optional leaves the field as it is.
struct GraphicsPreset {
    const char* label;
    std::optional<int> upscalingQualitySetting;
    std::optional<float> finalUpscale;
};

// The presets in the order of their index (and of the combo box).
const std::array<GraphicsPreset, 7>& GraphicsPresets();

// Applies settings.graphics_preset to upscaling_quality_setting and final_upscale. Values
// outside 0..6 (-1, "never chosen", included) change nothing. True when the index was valid.
bool ApplyGraphicsPreset(GameSettings& settings);

}  // namespace game
