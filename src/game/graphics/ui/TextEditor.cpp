#include "game/graphics/ui/TextEditor.h"

#include <imgui_stdlib.h>

#include <algorithm>
#include <cctype>
#include <cstdio>

namespace game::graphics::ui {

namespace {

constexpr std::string_view kKeywords[] = {"update", "var",   "const", "if",  "elseif", "else", "function",
                                          "return", "include", "and", "or", "xor",    "text", "number"};
constexpr std::string_view kBuiltins[] = {
    "time",  "delta_time", "print", "abs",   "acos", "asin", "atan",       "ceil",  "clamp",         "cos",
    "floor", "fract",      "lerp",  "log",   "pow",  "round", "sign",      "sin",   "smoothstep",    "sqrt",
    "step",  "tan",        "min",   "max",   "mod",  "exp",  "input_number", "input_text", "output_number",
    "output_text"};

bool IsWordStart(char c) { return std::isalpha(static_cast<unsigned char>(c)) || c == '_'; }
bool IsWord(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }
bool IsDigit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }

// The palette packs red in the high byte, as the language's palette table is written; ImGui
// wants red in the low byte.
ImU32 ToImGui(ImU32 rgba) {
    return IM_COL32((rgba >> 24) & 0xff, (rgba >> 16) & 0xff, (rgba >> 8) & 0xff, rgba & 0xff);
}

}  // namespace

std::vector<TextEditor::Span> TextEditor::Colourize(std::string_view line) {
    std::vector<Span> spans;
    auto add = [&](size_t begin, size_t end, PaletteIndex colour) {
        if (!spans.empty() && spans.back().colour == colour && spans.back().end == begin)
            spans.back().end = end;
        else
            spans.push_back({begin, end, colour});
    };
    const size_t n = line.size();
    size_t i = 0;
    const size_t first = line.find_first_not_of(" \t");
    if (first != std::string_view::npos && line[first] == '#') {
        if (first > 0) add(0, first, PaletteIndex::Default);
        add(first, n, PaletteIndex::Preprocessor);
        return spans;
    }
    while (i < n) {
        const char c = line[i];
        size_t j = i + 1;
        if (c == '/' && i + 1 < n && line[i + 1] == '/') {
            add(i, n, PaletteIndex::Comment);
            break;
        }
        if (c == '"') {
            while (j < n && line[j] != '"') j += line[j] == '\\' && j + 1 < n ? 2 : 1;
            add(i, std::min(j + 1, n), PaletteIndex::String);
            i = std::min(j + 1, n);
            continue;
        }
        if (IsDigit(c) || (c == '.' && j < n && IsDigit(line[j]))) {
            while (j < n && (IsDigit(line[j]) || line[j] == '.')) ++j;
            if (j < n && (line[j] == 'e' || line[j] == 'E')) {
                size_t k = j + 1;
                if (k < n && (line[k] == '+' || line[k] == '-')) ++k;
                if (k < n && IsDigit(line[k])) {
                    j = k;
                    while (j < n && IsDigit(line[j])) ++j;
                }
            }
            add(i, j, PaletteIndex::Number);
        } else if ((c == '$' || c == '@') && j < n && IsWord(line[j])) {
            while (j < n && IsWord(line[j])) ++j;
            add(i, j, PaletteIndex::Identifier);
        } else if (IsWordStart(c)) {
            while (j < n && IsWord(line[j])) ++j;
            const std::string_view word = line.substr(i, j - i);
            const auto in = [&](const auto& list) { return std::find(std::begin(list), std::end(list), word) != std::end(list); };
            add(i, j, in(kKeywords)   ? PaletteIndex::Keyword
                      : in(kBuiltins) ? PaletteIndex::KnownIdentifier
                                      : PaletteIndex::Identifier);
        } else if (std::isspace(static_cast<unsigned char>(c))) {
            add(i, j, PaletteIndex::Default);
        } else {
            add(i, j, PaletteIndex::Punctuation);
        }
        i = j;
    }
    return spans;
}

void TextEditor::SetText(const std::string& value) {
    text = value;
    lines = GetTextLines();
    textChanged = false;
}

std::vector<std::string> TextEditor::GetTextLines() const {
    std::vector<std::string> result(1);
    for (char c : text) {
        if (c == '\n')
            result.emplace_back();
        else
            result.back() += c;
    }
    return result;
}

int TextEditor::GetTotalLines() const { return int(std::count(text.begin(), text.end(), '\n')) + 1; }

bool TextEditor::Render(const char* title, ImVec2 size, bool border) {
    const ImU32 background = ToImGui(palette[size_t(PaletteIndex::Background)]);
    ImGui::PushStyleColor(ImGuiCol_ChildBg, background);
    ImGui::PushStyleColor(ImGuiCol_FrameBg, background);
    ImGui::PushStyleColor(ImGuiCol_Text, ToImGui(palette[size_t(PaletteIndex::Default)]));
    ImGui::PushStyleColor(ImGuiCol_TextSelectedBg, ToImGui(palette[size_t(PaletteIndex::Selection)]));
    ImGui::BeginChild(title, size, border, ImGuiWindowFlags_HorizontalScrollbar);
    bool changed = false;
    if (readOnly) {
        RenderColoured();
    } else {
        changed = ImGui::InputTextMultiline("##text", &text, ImGui::GetContentRegionAvail());
        if (changed) lines = GetTextLines();
    }
    ImGui::EndChild();
    ImGui::PopStyleColor(4);
    textChanged = textChanged || changed;
    return changed;
}

void TextEditor::RenderColoured() {
    ImDrawList* draw = ImGui::GetWindowDrawList();
    const float lineHeight = ImGui::GetTextLineHeightWithSpacing();
    char number[16];
    std::snprintf(number, sizeof number, "%d ", int(lines.size()));
    const float gutter = ImGui::CalcTextSize(number).x + ImGui::GetStyle().ItemSpacing.x;
    ImGuiListClipper clipper;
    clipper.Begin(int(lines.size()), lineHeight);
    while (clipper.Step()) {
        for (int row = clipper.DisplayStart; row < clipper.DisplayEnd; ++row) {
            const ImVec2 origin = ImGui::GetCursorScreenPos();
            std::snprintf(number, sizeof number, "%d", row + 1);
            const float numberWidth = ImGui::CalcTextSize(number).x;
            draw->AddText(ImVec2(origin.x + gutter - ImGui::GetStyle().ItemSpacing.x - numberWidth, origin.y),
                          ToImGui(palette[size_t(PaletteIndex::LineNumber)]), number);
            const std::string& line = lines[size_t(row)];
            float x = origin.x + gutter;
            for (const Span& span : Colourize(line)) {
                const char* begin = line.data() + span.begin;
                const char* end = line.data() + span.end;
                draw->AddText(ImVec2(x, origin.y), ToImGui(palette[size_t(span.colour)]), begin, end);
                x += ImGui::CalcTextSize(begin, end).x;
            }
            ImGui::Dummy(ImVec2(x - origin.x, lineHeight));
        }
    }
    clipper.End();
    if (ImGui::BeginPopupContextWindow("##text menu")) {
        if (ImGui::MenuItem("Copy", "Ctrl+C")) ImGui::SetClipboardText(text.c_str());
        ImGui::EndPopup();
    }
    if (ImGui::IsWindowFocused() && ImGui::GetIO().KeyCtrl && ImGui::IsKeyPressed(ImGui::GetKeyIndex(ImGuiKey_C)))
        ImGui::SetClipboardText(text.c_str());
}

}  // namespace game::graphics::ui
