#pragma once

namespace game::graphics::ui {

// The "Admin Panel" window, open while Game::adminWindowOpen: placed at the top right corner each
// time it appears, its size held between 400 x 100 and 1000 x 1000. The library puts nothing in
// it: modules fill it from their Renderer_FrameUpdateUi with ImGui::Begin("Admin Panel").
class AdminPanel {
public:
    AdminPanel() = delete;
    static constexpr const char* kTitle = "Admin Panel";
    static void Draw();
};

}  // namespace game::graphics::ui
