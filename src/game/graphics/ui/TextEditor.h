#pragma once
#include <imgui.h>

#include <array>
#include <string>
#include <vector>

namespace game::graphics::ui {

// The program text view beside the node canvas: holds the text, shows it with a palette, and
// lets the user select and copy it (or edit it when not read-only).
class TextEditor {
public:
    enum class PaletteIndex {
        Default, Keyword, Number, String, CharLiteral, Punctuation, Preprocessor, Identifier,
        KnownIdentifier, PreprocIdentifier, Comment, MultiLineComment, Background, Cursor,
        Selection, ErrorMarker, Breakpoint, LineNumber, CurrentLineFill, CurrentLineFillInactive,
        CurrentLineEdge, Max
    };
    using Palette = std::array<ImU32, size_t(PaletteIndex::Max)>;

    void SetText(const std::string& text);
    std::string GetText() const { return text; }
    // The text split at line feeds; a text ending in a line feed has an empty last line.
    std::vector<std::string> GetTextLines() const;
    int GetTotalLines() const;
    void SetPalette(const Palette& palette) { this->palette = palette; }
    const Palette& GetPalette() const { return palette; }
    void SetReadOnly(bool value) { readOnly = value; }
    bool IsReadOnly() const { return readOnly; }
    bool IsTextChanged() const { return textChanged; }
    // Draws the view as a child window of the given size; true when the user changed the text.
    bool Render(const char* title, ImVec2 size = ImVec2(0, 0), bool border = false);

private:
    std::string text;
    Palette palette{};
    bool readOnly = true;
    bool textChanged = false;
};

}  // namespace game::graphics::ui
