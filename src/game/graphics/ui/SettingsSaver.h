#pragma once
#include <string>

namespace game {
class GameSettings;
}

namespace game::graphics::ui {

// Writes the settings file for the panels and tells whether the write went through: the file
// is replaced on every successful save, so a save that leaves it as it was (or throws) failed.
// A failure is printed on the error stream once until a save succeeds again, and its text stays
// available for the panel to show; the settings in memory are untouched either way.
class SettingsSaver {
public:
    // True when the file was written.
    bool Save(GameSettings& settings);
    // Empty after a successful save; otherwise what went wrong.
    const std::string& Error() const { return _error; }

private:
    std::string _error;
};

}  // namespace game::graphics::ui
