#pragma once
#include <array>

namespace game {
class GameSettings;
}

namespace game::graphics {
class GameRenderer;
}

namespace game::graphics::ui {

class SettingsSaver;

// The "Debug Window" (shown while debug_window is set): frame rates, the server's load, the
// advanced renderer settings with their own "Save Settings" button, the profiler's tree, the
// debug counters, the physics debug switches and five free test sliders.
//
// The renderer keeps no debug view of its own, so the chosen view and its scale live here, for
// the passes that draw one to read. Test Slider 0 is Game::testSlider; the other four are kept here.
class DebugUi {
public:
    // renderer may be null (no upscaler or debug view list then).
    void Draw(GameSettings& settings, GameRenderer* renderer, SettingsSaver& saver);

    bool showMetricsWindow = false;
    bool overrideRenderScale = false;
    int debugView = 0;
    float debugViewScale = 1.0f;
    std::array<float, 5> testSliders{};
};

}  // namespace game::graphics::ui
