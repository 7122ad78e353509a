#include "game/graphics/ui/AdminPanel.h"

#include <imgui.h>

namespace game::graphics::ui {

void AdminPanel::Draw() {
    const ImGuiViewport* viewport = ImGui::GetMainViewport();
    ImGui::SetNextWindowPos(ImVec2(viewport->Pos.x + viewport->Size.x - 5, viewport->Pos.y + 5), ImGuiCond_Appearing,
                            ImVec2(1, 0));
    ImGui::SetNextWindowSizeConstraints(ImVec2(400, 100), ImVec2(1000, 1000));
    ImGui::Begin(kTitle, nullptr, ImGuiWindowFlags_AlwaysAutoResize | ImGuiWindowFlags_NoFocusOnAppearing);
    ImGui::End();
}

}  // namespace game::graphics::ui
