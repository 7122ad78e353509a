#pragma once
#include <string>
#include <vector>

namespace game {
class QuorlProgramWindow;
}

namespace game::graphics::ui {

// The "Admin Panel" window, open while Game::adminWindowOpen: placed at the top right corner each
// time it appears, its size held between 400 x 100 and 1000 x 1000. Modules fill it from their
// Renderer_FrameUpdateUi with ImGui::Begin("Admin Panel"). The library puts in it one button per
// program file that a module offers (OfferProgram): it opens the program in a window of its own
// (QuorlProgramWindow), drawn while the panel is open.
class AdminPanel {
public:
    AdminPanel() = delete;
    static constexpr const char* kTitle = "Admin Panel";
    static void Draw();

    // Adds a button "Edit <file name>" for a program file (once per file). Any thread.
    static void OfferProgram(const std::string& file);
    // Takes back every offered program and closes their windows, unsaved changes lost: for a
    // module that stops. Not while the panel is drawn.
    static void WithdrawPrograms();
    static std::vector<std::string> OfferedPrograms();
    // The window of an offered program once its button was pressed, else null (interface thread).
    static QuorlProgramWindow* ProgramWindow(const std::string& file);
};

}  // namespace game::graphics::ui
