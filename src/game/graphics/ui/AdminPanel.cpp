#include "game/graphics/ui/AdminPanel.h"

#include <imgui.h>

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>

#include "game/QuorlProgramWindow.h"
#include "game/graphics/ui/ItemProbe.h"

namespace game::graphics::ui {

namespace {

struct Programs {
    std::mutex mutex;
    // File -> its window, null until its button is first pressed. Ordered: the buttons keep
    // their places.
    std::map<std::string, std::unique_ptr<QuorlProgramWindow>> files;
};

Programs& ThePrograms() {
    static Programs* programs = new Programs();  // modules may withdraw during static teardown
    return *programs;
}

}  // namespace

void AdminPanel::Draw() {
    const ImGuiViewport* viewport = ImGui::GetMainViewport();
    ImGui::SetNextWindowPos(ImVec2(viewport->Pos.x + viewport->Size.x - 5, viewport->Pos.y + 5), ImGuiCond_Appearing,
                            ImVec2(1, 0));
    ImGui::SetNextWindowSizeConstraints(ImVec2(400, 100), ImVec2(1000, 1000));
    ImGui::Begin(kTitle, nullptr, ImGuiWindowFlags_AlwaysAutoResize | ImGuiWindowFlags_NoFocusOnAppearing);
    Programs& programs = ThePrograms();
    std::lock_guard lock(programs.mutex);
    for (auto& [file, window] : programs.files) {
        const std::string name = std::filesystem::path(file).filename().string();
        if (ImGui::Button(("Edit " + name + "##" + file).c_str())) {
            if (!window)
                window = std::make_unique<QuorlProgramWindow>(file);
            else
                window->open = true;
        }
        ItemProbe::Note("admin.edit " + name);
    }
    ImGui::End();
    for (auto& [file, window] : programs.files)
        if (window) window->Draw();
}

void AdminPanel::OfferProgram(const std::string& file) {
    Programs& programs = ThePrograms();
    std::lock_guard lock(programs.mutex);
    programs.files.try_emplace(file);
}

void AdminPanel::WithdrawPrograms() {
    Programs& programs = ThePrograms();
    std::lock_guard lock(programs.mutex);
    programs.files.clear();
}

std::vector<std::string> AdminPanel::OfferedPrograms() {
    Programs& programs = ThePrograms();
    std::lock_guard lock(programs.mutex);
    std::vector<std::string> files;
    for (const auto& [file, window] : programs.files) files.push_back(file);
    return files;
}

QuorlProgramWindow* AdminPanel::ProgramWindow(const std::string& file) {
    Programs& programs = ThePrograms();
    std::lock_guard lock(programs.mutex);
    auto it = programs.files.find(file);
    return it == programs.files.end() ? nullptr : it->second.get();
}

}  // namespace game::graphics::ui
