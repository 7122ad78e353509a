#include "quorl/graphics/FontRenderer.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

// stb_truetype's functions are compiled here as file-local statics, so that they cannot clash
// with another copy linked into the process.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-function"
#define STB_TRUETYPE_IMPLEMENTATION
#define STBTT_STATIC
#include <stb/stb_truetype.h>
#pragma GCC diagnostic pop

namespace quorl::graphics {

namespace {

constexpr char32_t kReplacement = 0xFFFD;
// Coverage from which a pixel counts as ink: half of it.
constexpr int kInkThreshold = 128;
constexpr const char* kSystemFontFile = "/usr/share/fonts/truetype/noto/NotoMono-Regular.ttf";

bool IsControl(char32_t cp) { return cp < 0x20 || cp == 0x7F; }

}  // namespace

struct FontRenderer::Face {
    stbtt_fontinfo info{};
};

std::string FontRenderer::DefaultFontPath() {
    std::error_code ec;
    std::filesystem::path dir = std::filesystem::current_path(ec);
    if (!ec) {
        for (int depth = 0; depth < 8; ++depth) {
            auto candidate = dir / kDefaultFontFile;
            if (std::filesystem::is_regular_file(candidate, ec)) return candidate.string();
            if (!dir.has_parent_path() || dir.parent_path() == dir) break;
            dir = dir.parent_path();
        }
    }
    if (std::filesystem::is_regular_file(kSystemFontFile, ec)) return kSystemFontFile;
    return {};
}

FontRenderer::FontRenderer(const std::string& fontPath, int32_t cellHeight)
    : _fontPath(fontPath.empty() ? DefaultFontPath() : fontPath), _cellHeight(cellHeight) {
    if (_fontPath.empty()) {
        std::fprintf(stderr, "FontRenderer: font file %s not found\n", kDefaultFontFile);
        return;
    }
    if (cellHeight <= 0) {
        std::fprintf(stderr, "FontRenderer: cell height %d is not positive\n", int(cellHeight));
        return;
    }
    std::ifstream in(_fontPath, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "FontRenderer: cannot open font file %s\n", _fontPath.c_str());
        return;
    }
    _fontData.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    _face = std::make_unique<Face>();
    const int offset = _fontData.empty() ? -1 : stbtt_GetFontOffsetForIndex(_fontData.data(), 0);
    if (offset < 0 || !stbtt_InitFont(&_face->info, _fontData.data(), offset)) {
        std::fprintf(stderr, "FontRenderer: %s is not a TrueType font\n", _fontPath.c_str());
        _face.reset();
        return;
    }
    int ascent = 0, descent = 0, lineGap = 0;
    stbtt_GetFontVMetrics(&_face->info, &ascent, &descent, &lineGap);
    _scale = stbtt_ScaleForPixelHeight(&_face->info, float(cellHeight));
    _baseline = int32_t(std::floor(float(ascent) * _scale));
    int advance = 0, bearing = 0;
    stbtt_GetCodepointHMetrics(&_face->info, 'M', &advance, &bearing);
    _cellWidth = int32_t(std::lround(float(advance) * _scale));
    _loaded = true;
}

FontRenderer::~FontRenderer() = default;

char32_t FontRenderer::DecodeUtf8(std::string_view text, size_t& pos) {
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char b0 = byte(pos);
    if (b0 < 0x80) {
        ++pos;
        return b0;
    }
    size_t length = 0;
    char32_t cp = 0, minimum = 0;
    if ((b0 & 0xE0) == 0xC0) {
        length = 2, cp = b0 & 0x1F, minimum = 0x80;
    } else if ((b0 & 0xF0) == 0xE0) {
        length = 3, cp = b0 & 0x0F, minimum = 0x800;
    } else if ((b0 & 0xF8) == 0xF0) {
        length = 4, cp = b0 & 0x07, minimum = 0x10000;
    } else {
        ++pos;
        return kReplacement;
    }
    if (pos + length > text.size()) {
        ++pos;
        return kReplacement;
    }
    for (size_t i = 1; i < length; ++i) {
        const unsigned char b = byte(pos + i);
        if ((b & 0xC0) != 0x80) {
            ++pos;
            return kReplacement;
        }
        cp = (cp << 6) | (b & 0x3F);
    }
    if (cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
        ++pos;
        return kReplacement;
    }
    pos += length;
    return cp;
}

FontRenderer::Glyph FontRenderer::Rasterise(int index) const {
    Glyph g;
    const stbtt_fontinfo* info = &_face->info;
    int advance = 0, bearing = 0;
    stbtt_GetGlyphHMetrics(info, index, &advance, &bearing);
    g.advance = int32_t(std::lround(float(advance) * _scale));
    int x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    stbtt_GetGlyphBitmapBox(info, index, _scale, _scale, &x0, &y0, &x1, &y1);
    const int w = x1 - x0, h = y1 - y0;
    if (w <= 0 || h <= 0) return g;  // blank glyph such as the space
    std::vector<uint8_t> coverage(size_t(w) * size_t(h));
    stbtt_MakeGlyphBitmap(info, coverage.data(), w, h, w, _scale, _scale, index);

    // Trim rows and columns without ink so that the bitmap is as small as the glyph.
    int top = h, bottom = -1, left = w, right = -1;
    for (int r = 0; r < h; ++r) {
        for (int c = 0; c < w; ++c) {
            if (coverage[size_t(r) * w + c] >= kInkThreshold) {
                top = std::min(top, r), bottom = std::max(bottom, r);
                left = std::min(left, c), right = std::max(right, c);
            }
        }
    }
    if (bottom < 0) return g;
    g.width = right - left + 1;
    g.height = bottom - top + 1;
    g.leftBearing = x0 + left;
    g.topBearing = -(_baseline + y0 + top);
    g.bitmap.resize(size_t(g.width) * size_t(g.height));
    for (int r = 0; r < g.height; ++r) {
        for (int c = 0; c < g.width; ++c) {
            const bool ink = coverage[size_t(r + top) * w + (c + left)] >= kInkThreshold;
            g.bitmap[size_t(r) * g.width + c] = ink ? 255 : 0;
        }
    }
    return g;
}

const FontRenderer::Glyph* FontRenderer::GlyphLocked(char32_t codepoint) {
    if (IsControl(codepoint)) return nullptr;
    auto it = _glyphs.find(codepoint);
    if (it != _glyphs.end()) return &it->second;
    // Code points the font lacks share its box glyph (index 0), kept under the key 0, which no
    // control character reaches: the cache stays as small as the font, whatever the text.
    const int index = stbtt_FindGlyphIndex(&_face->info, int(codepoint));
    const char32_t key = index == 0 ? 0 : codepoint;
    it = _glyphs.find(key);
    if (it == _glyphs.end()) it = _glyphs.emplace(key, Rasterise(index)).first;
    return &it->second;
}

const FontRenderer::Glyph* FontRenderer::GetGlyph(char32_t codepoint) {
    if (!_loaded) return nullptr;
    std::lock_guard lk(_mutex);
    return GlyphLocked(codepoint);
}

std::vector<const FontRenderer::Glyph*> FontRenderer::operator[](std::string_view text) {
    std::vector<const Glyph*> glyphs;
    Glyphs(text, glyphs);
    return glyphs;
}

void FontRenderer::Glyphs(std::string_view text, std::vector<const Glyph*>& out) {
    out.clear();
    if (!_loaded || text.empty()) return;
    std::lock_guard lk(_mutex);
    for (size_t pos = 0; pos < text.size();) {
        if (const Glyph* g = GlyphLocked(DecodeUtf8(text, pos))) out.push_back(g);
    }
}

}  // namespace quorl::graphics
