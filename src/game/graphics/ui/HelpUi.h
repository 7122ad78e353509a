#pragma once
#include <string>

namespace game {
class GameSettings;
}

namespace game::graphics::ui {

// The content of the Settings window's help tree: the lines that name the current bindings, the
// fixed key lines, the "Show Help Tooltips" checkbox and the three link buttons.
class HelpUi {
public:
    HelpUi() = delete;

    // Where the link buttons lead; deployment values, set by the host before the first frame.
    static std::string documentationAddress;
    static std::string communityAddress;
    static std::string videosAddress;

    // Draws into the current window; true when the checkbox changed show_help_tooltips.
    static bool Draw(GameSettings& settings);
};

}  // namespace game::graphics::ui
