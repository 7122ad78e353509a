#include "game/graphics/ui/TextEditor.h"

#include <imgui_stdlib.h>

namespace game::graphics::ui {

void TextEditor::SetText(const std::string& value) {
    text = value;
    textChanged = false;
}

std::vector<std::string> TextEditor::GetTextLines() const {
    std::vector<std::string> lines(1);
    for (char c : text) {
        if (c == '\n')
            lines.emplace_back();
        else
            lines.back() += c;
    }
    return lines;
}

int TextEditor::GetTotalLines() const { return int(GetTextLines().size()); }

bool TextEditor::Render(const char* title, ImVec2 size, bool border) {
    // The palette's colours are packed with red in the high byte, as the language's palette
    // table is written; ImGui wants red in the low byte.
    auto toImGui = [](ImU32 rgba) {
        return IM_COL32((rgba >> 24) & 0xff, (rgba >> 16) & 0xff, (rgba >> 8) & 0xff, rgba & 0xff);
    };
    ImGui::PushStyleColor(ImGuiCol_ChildBg, toImGui(palette[size_t(PaletteIndex::Background)]));
    ImGui::PushStyleColor(ImGuiCol_FrameBg, toImGui(palette[size_t(PaletteIndex::Background)]));
    ImGui::PushStyleColor(ImGuiCol_Text, toImGui(palette[size_t(PaletteIndex::Default)]));
    ImGui::PushStyleColor(ImGuiCol_TextSelectedBg, toImGui(palette[size_t(PaletteIndex::Selection)]));
    ImGui::BeginChild(title, size, border, ImGuiWindowFlags_HorizontalScrollbar);
    bool changed = ImGui::InputTextMultiline("##text", &text, ImGui::GetContentRegionAvail(),
                                             readOnly ? ImGuiInputTextFlags_ReadOnly : 0);
    ImGui::EndChild();
    ImGui::PopStyleColor(4);
    textChanged = textChanged || changed;
    return changed;
}

}  // namespace game::graphics::ui
