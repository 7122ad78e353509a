#pragma once
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace quorl::graphics {

// Bitmap glyphs of a monospaced TrueType font, for software text on virtual screens.
// The font is rasterised with stb_truetype at a fixed cell height and each pixel is kept only
// when the outline covers at least half of it, so a glyph is a crisp one-bit bitmap (bytes 0 or
// 255) that scales by whole pixels. Glyphs are made at first use and cached for the lifetime of
// the renderer; lookups are thread-safe.
class FontRenderer {
public:
    // Font shipped with the project (Noto Mono, SIL Open Font License), relative to the data root.
    static constexpr const char* kDefaultFontFile = "data/fonts/NotoMono-Regular.ttf";
    // At 16 rows Noto Mono has an advance of 8 pixels: cells of 8 x 16.
    static constexpr int32_t kDefaultCellHeight = 16;
    static constexpr int32_t kDefaultCellWidth = 8;

    struct Glyph {
        int32_t width = 0;   // bitmap columns
        int32_t height = 0;  // bitmap rows
        // Rows from the bitmap's first row up to the top of the cell: the bitmap starts at
        // cell top - topBearing, so the value is negative for a glyph that starts inside the cell.
        int32_t topBearing = 0;
        int32_t leftBearing = 0;     // columns from the pen to the bitmap's first column
        std::vector<uint8_t> bitmap;  // width x height bytes, row major; 0 = empty, 255 = ink
        int32_t advance = 0;          // columns the pen moves after the glyph
    };

    // Loads the font at fontPath; an empty path finds the default font (DefaultFontPath). A font
    // that cannot be read or parsed prints one line on the error stream and leaves a renderer
    // without glyphs (IsLoaded false).
    explicit FontRenderer(const std::string& fontPath = {}, int32_t cellHeight = kDefaultCellHeight);
    ~FontRenderer();
    FontRenderer(const FontRenderer&) = delete;
    FontRenderer& operator=(const FontRenderer&) = delete;

    bool IsLoaded() const { return _loaded; }
    const std::string& FontPath() const { return _fontPath; }
    int32_t CellWidth() const { return _cellWidth; }
    int32_t CellHeight() const { return _cellHeight; }

    // The glyphs of a UTF-8 text in order, one per code point. Control characters (below U+0020
    // and U+007F) have no glyph; a byte that does not start a valid sequence stands for U+FFFD;
    // code points missing from the font get the font's box glyph. The pointers stay valid as long
    // as the renderer lives. Empty when no font is loaded.
    std::vector<const Glyph*> operator[](std::string_view text);
    // The same into out (cleared first), so that a caller can keep its storage between calls.
    void Glyphs(std::string_view text, std::vector<const Glyph*>& out);

    // One glyph, or nullptr for a control character or with no font.
    const Glyph* GetGlyph(char32_t codepoint);

    // kDefaultFontFile in the working directory or the nearest of its parents that has it, else
    // the copy installed by Debian's fonts-noto-mono; empty when neither exists.
    static std::string DefaultFontPath();

    // Decodes one code point at text[pos] and advances pos past it (at least one byte).
    static char32_t DecodeUtf8(std::string_view text, size_t& pos);

private:
    const Glyph* GlyphLocked(char32_t codepoint);
    Glyph Rasterise(int glyphIndex) const;

    struct Face;
    std::string _fontPath;
    std::vector<unsigned char> _fontData;
    std::unique_ptr<Face> _face;
    bool _loaded = false;
    int32_t _cellWidth = kDefaultCellWidth;
    int32_t _cellHeight = kDefaultCellHeight;
    int32_t _baseline = 0;  // rows from the cell top to the baseline
    float _scale = 0.0f;

    std::mutex _mutex;
    // By code point; nodes are stable, so pointers handed out stay valid.
    std::unordered_map<char32_t, Glyph> _glyphs;
};

}  // namespace quorl::graphics
