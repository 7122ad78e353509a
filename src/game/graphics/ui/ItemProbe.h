#pragma once
#include <functional>
#include <string>

#include <imgui.h>

namespace game::graphics::ui {

// Where the panels' controls were drawn this frame, for whoever watches: a test that drives the
// panels with scripted mouse input finds a control by its name here. The panels name each
// interactive control right after drawing it; with no observer set this costs one test.
class ItemProbe {
public:
    using Observer = std::function<void(const std::string& name, ImVec2 min, ImVec2 max)>;

    ItemProbe() = delete;

    // Replaces the observer (an empty one stops observing). Interface thread only.
    static void SetObserver(Observer observer);
    // Reports the rectangle of the last drawn item that takes the mouse under `name`.
    static void Note(const std::string& name);
};

}  // namespace game::graphics::ui
