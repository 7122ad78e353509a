#pragma once
#include <imgui.h>

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace game::graphics::ui {

// The program text view beside the node canvas: holds the text and shows it with a palette.
// Read-only (the default), the text is drawn with syntax colouring and a line-number gutter, and
// its context menu or Ctrl+C copies it all; editable, it is a plain multi-line text field.
class TextEditor {
public:
    enum class PaletteIndex {
        Default, Keyword, Number, String, CharLiteral, Punctuation, Preprocessor, Identifier,
        KnownIdentifier, PreprocIdentifier, Comment, MultiLineComment, Background, Cursor,
        Selection, ErrorMarker, Breakpoint, LineNumber, CurrentLineFill, CurrentLineFillInactive,
        CurrentLineEdge, Max
    };
    using Palette = std::array<ImU32, size_t(PaletteIndex::Max)>;

    // A run of one line's characters [begin, end) and the palette entry it is drawn with.
    struct Span {
        size_t begin, end;
        PaletteIndex colour;
        bool operator==(const Span&) const = default;
    };
    // Splits one line of program text into coloured runs that cover it: '#' lines are directives,
    // "//" starts a comment, double-quoted strings (with \ escapes), numbers, the language's
    // words, its built-in names (time, print, the numeric functions...), "$" variables and "@"
    // functions as identifiers, operators and brackets as punctuation.
    static std::vector<Span> Colourize(std::string_view line);

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
    void RenderColoured();

    std::string text;
    std::vector<std::string> lines;  // of text, kept for drawing
    Palette palette{};
    bool readOnly = true;
    bool textChanged = false;
};

}  // namespace game::graphics::ui
