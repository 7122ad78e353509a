// Text on screens: the bitmap font, placement and scaling of glyphs, line splitting, alignment.
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "game/QuorlScreen.h"
#include "quorl/graphics/FontRenderer.h"

using game::QuorlScreen;
using quorl::graphics::FontRenderer;

namespace {

constexpr uint32_t kBlack = 0xFF000000;
constexpr uint32_t kWhite = 0xFFFFFFFF;

using Ink = std::set<std::pair<int, int>>;

Ink InkOf(const QuorlScreen& s) {
    Ink ink;
    for (uint32_t y = 0; y < s.height; ++y)
        for (uint32_t x = 0; x < s.width; ++x)
            if (s.pixels[y * s.width + x] != s.background) ink.insert({int(x), int(y)});
    return ink;
}

Ink Shifted(const Ink& ink, int dx, int dy) {
    Ink out;
    for (auto [x, y] : ink) out.insert({x + dx, y + dy});
    return out;
}

// The pixels WriteLine gives for text at (x, y), on a screen of the given size.
Ink LineInk(uint32_t w, uint32_t h, int x, int y, std::string_view text) {
    QuorlScreen s(w, h, kBlack);
    s.WriteLine(x, y, kWhite, text);
    return InkOf(s);
}

// The pixels Write gives for text at (x, y) with these settings, on a screen of the given size.
struct Layout {
    uint32_t align = 0;
    int32_t spacing = 1, size = 1, x = 0, y = 0;
};
Ink WriteInk(uint32_t w, uint32_t h, std::string_view text, Layout layout = {}) {
    QuorlScreen s(w, h, kBlack);
    s.textAlign = layout.align;
    s.textLineSpacing = layout.spacing;
    s.textSize = layout.size;
    s.Write(layout.x, layout.y, kWhite, text);
    return InkOf(s);
}

}  // namespace

TEST(ScreenFont, DecodesUtf8AndReplacesBrokenSequences) {
    const auto decode = [](std::string_view text) {
        std::vector<char32_t> out;
        for (size_t pos = 0; pos < text.size();) out.push_back(FontRenderer::DecodeUtf8(text, pos));
        return out;
    };
    EXPECT_EQ(decode("a\xC3\xA9z"), (std::vector<char32_t>{U'a', 0xE9, U'z'}));
    EXPECT_EQ(decode("\xE2\x82\xAC\xF0\x9F\x98\x80"), (std::vector<char32_t>{0x20AC, 0x1F600}));
    EXPECT_EQ(decode("\xC0\x80"), (std::vector<char32_t>{0xFFFD, 0xFFFD})) << "overlong";
    EXPECT_EQ(decode("\xED\xA0\x80"), (std::vector<char32_t>{0xFFFD, 0xFFFD, 0xFFFD})) << "surrogate";
    EXPECT_EQ(decode("\xE2\x82"), (std::vector<char32_t>{0xFFFD, 0xFFFD})) << "truncated";
    EXPECT_EQ(decode("\xE2" "a"), (std::vector<char32_t>{0xFFFD, U'a'})) << "missing continuation";
}

TEST(ScreenFont, GlyphListSkipsControlsAndCoversEveryCodePoint) {
    FontRenderer font;
    ASSERT_TRUE(font.IsLoaded()) << "data/fonts/NotoMono-Regular.ttf not found from the working directory";
    const auto glyphs = font["a\tb\n\xC3\xA9\x7F"];
    ASSERT_EQ(glyphs.size(), 3u);
    EXPECT_EQ(glyphs[0], font.GetGlyph(U'a'));
    EXPECT_EQ(glyphs[1], font.GetGlyph(U'b'));
    EXPECT_EQ(glyphs[2], font.GetGlyph(0xE9));
    // A code point the font lacks still draws something (the font's box).
    const auto* missing = font.GetGlyph(0x4E00);
    ASSERT_NE(missing, nullptr);
    EXPECT_GT(missing->width, 0);
    EXPECT_EQ(font.GetGlyph(0x10FFFD), missing) << "one box for every missing code point";
}

TEST(ScreenFont, UnreadableFontLeavesARendererWithoutGlyphs) {
    testing::internal::CaptureStderr();
    FontRenderer missing("/nonexistent/font.ttf");
    const std::string missingErr = testing::internal::GetCapturedStderr();
    EXPECT_FALSE(missing.IsLoaded());
    EXPECT_TRUE(missing["abc"].empty());
    EXPECT_NE(missingErr.find("/nonexistent/font.ttf"), std::string::npos);

    const std::string garbage = std::string(ZENDOLA_BINARY_DIR) + "/screen_not_a_font.ttf";
    std::ofstream(garbage) << "this is not a font, only a text file of no particular length";
    testing::internal::CaptureStderr();
    FontRenderer bad(garbage);
    const std::string badErr = testing::internal::GetCapturedStderr();
    EXPECT_FALSE(bad.IsLoaded());
    EXPECT_NE(badErr.find("not a TrueType font"), std::string::npos);
}

// The pen's advance of one cell shows in the right-aligned lines below and in the monitor picture.
TEST(ScreenText, GlyphsLandAtTheirBearings) {
    FontRenderer font;
    const auto* g = font.GetGlyph(U'H');
    ASSERT_NE(g, nullptr);
    Ink expected;
    for (int r = 0; r < g->height; ++r)
        for (int c = 0; c < g->width; ++c)
            if (g->bitmap[size_t(r) * g->width + c]) expected.insert({5 + g->leftBearing + c, 3 + r - g->topBearing});
    EXPECT_EQ(LineInk(20, 24, 5, 3, "H"), expected);
}

TEST(ScreenText, TextSizeScalesEachFontPixelToASquare) {
    const Ink one = LineInk(40, 40, 0, 0, "Ag");
    QuorlScreen s(40, 40, kBlack);
    s.textSize = 2;
    s.WriteLine(0, 0, kWhite, "Ag");
    Ink scaled;
    for (auto [x, y] : one)
        for (int dy = 0; dy < 2; ++dy)
            for (int dx = 0; dx < 2; ++dx) scaled.insert({2 * x + dx, 2 * y + dy});
    EXPECT_EQ(InkOf(s), scaled);
}

TEST(ScreenText, ClipsGlyphsAtEveryEdge) {
    const Ink whole = LineInk(16, 16, 4, 0, "W");
    ASSERT_FALSE(whole.empty());
    for (auto [dx, dy] : std::vector<std::pair<int, int>>{{-8, 0}, {8, 0}, {0, -9}, {0, 9}}) {
        Ink expected;
        for (auto [x, y] : Shifted(whole, dx, dy))
            if (x >= 0 && y >= 0 && x < 16 && y < 16) expected.insert({x, y});
        EXPECT_EQ(LineInk(16, 16, 4 + dx, dy, "W"), expected) << dx << "," << dy;
    }
}

TEST(ScreenText, TranslucentColourBlendsAndColourZeroWritesNothing) {
    QuorlScreen s(16, 16, kBlack);
    s.WriteLine(0, 0, 0x80FF0000, "#");
    const Ink ink = InkOf(s);
    ASSERT_FALSE(ink.empty());
    for (auto [x, y] : ink) EXPECT_EQ(s.GetPixel(x, y), 0xFF800000u);

    QuorlScreen t(8, 8, kBlack);
    t.Write(0, 0, 0, "text");  // colour 0 writes nothing
    EXPECT_FALSE(t.IsDirty());
}

TEST(ScreenText, LinesAreCutAtMostTo1024Bytes) {
    // The pen starts far left so that only the last glyphs of the line reach the frame.
    const int start = -8 * 1020;
    const Ink limit = LineInk(64, 16, start, 0, std::string(1024, 'M'));
    EXPECT_EQ(LineInk(64, 16, start, 0, std::string(1100, 'M')), limit);
    EXPECT_NE(LineInk(64, 16, start, 0, std::string(1023, 'M')), limit);
}

TEST(ScreenTextWrite, SplitsAtBackslashNAndAtLineFeed) {
    for (const char* text : {"ab\\ncd", "ab\ncd"}) {
        Ink expected = LineInk(40, 40, 2, 1, "ab");
        const Ink second = LineInk(40, 40, 2, 17, "cd");  // one cell lower
        expected.insert(second.begin(), second.end());
        EXPECT_EQ(WriteInk(40, 40, text, {.x = 2, .y = 1}), expected) << text;
    }
    // A single character is one line, even a line feed; a backslash alone is a glyph.
    EXPECT_EQ(WriteInk(40, 40, "\\"), LineInk(40, 40, 0, 0, "\\"));
    // A last line feed ends a line like any other: an empty line follows, as after "\\n".
    const Layout bottom{.align = QuorlScreen::AlignBottom};
    EXPECT_EQ(WriteInk(40, 40, "ab\n", bottom), WriteInk(40, 40, "ab\\n", bottom));
    EXPECT_NE(WriteInk(40, 40, "ab\n", bottom), WriteInk(40, 40, "ab", bottom));
}

TEST(ScreenTextWrite, HorizontalAlignment) {
    const uint32_t w = 64, h = 40;
    const auto written = [&](uint32_t align, std::string_view text) { return WriteInk(w, h, text, {.align = align}); };
    EXPECT_EQ(written(0, "ab"), LineInk(w, h, 0, 0, "ab"));
    EXPECT_EQ(written(QuorlScreen::AlignLeft, "ab"), LineInk(w, h, 1, 0, "ab"));
    // Right: 0 + 64 + 1 - 1 - 2 * 8 = 48. Left wins over right.
    EXPECT_EQ(written(QuorlScreen::AlignRight, "ab"), LineInk(w, h, 48, 0, "ab"));
    EXPECT_EQ(written(QuorlScreen::AlignRight | QuorlScreen::AlignLeft, "ab"), LineInk(w, h, 1, 0, "ab"));
    // Centre: 32 - 16 / 2 = 24 across; down: max(1, 0 + 20 - 16 / 2) = 12.
    EXPECT_EQ(written(QuorlScreen::AlignCentre, "ab"), LineInk(w, h, 24, 12, "ab"));
    // A line longer than the frame starts at 1 at least.
    EXPECT_EQ(written(QuorlScreen::AlignCentre | QuorlScreen::AlignTop, "abcdefghij"),
              LineInk(w, h, 1, 1, "abcdefghij"));
    // A character of several bytes counts once: three characters in five bytes.
    EXPECT_EQ(written(QuorlScreen::AlignRight, "\xC3\xA9t\xC3\xA9"), LineInk(w, h, 64 - 3 * 8, 0, "\xC3\xA9t\xC3\xA9"));
}

TEST(ScreenTextWrite, VerticalAlignmentOfSeveralLines) {
    const uint32_t w = 64, h = 50;
    const auto written = [&](uint32_t align, int32_t spacing) {
        return WriteInk(w, h, "a\\nb", {.align = align, .spacing = spacing});
    };
    const auto lines = [&](int y, int step) {
        Ink ink = LineInk(w, h, 0, y, "a");
        const Ink b = LineInk(w, h, 0, y + step, "b");
        ink.insert(b.begin(), b.end());
        return ink;
    };
    EXPECT_EQ(written(QuorlScreen::AlignTop, 1), lines(1, 16));
    // Bottom: 0 + 50 + 1 - 1 - 2 * 16 = 18. Top wins over bottom.
    EXPECT_EQ(written(QuorlScreen::AlignBottom, 1), lines(18, 16));
    EXPECT_EQ(written(QuorlScreen::AlignBottom | QuorlScreen::AlignTop, 1), lines(1, 16));
    // Spacing 3 makes lines of 18 rows: bottom 50 + 3 - 1 - 36 = 16; centre max(1, 1 + 25 - 18) = 8.
    EXPECT_EQ(written(QuorlScreen::AlignBottom, 3), lines(16, 18));
    EXPECT_EQ(written(QuorlScreen::AlignCentre | QuorlScreen::AlignLeft, 3), Shifted(lines(8, 18), 1, 0));
}

// Absurd settings draw nothing; Update resets the settings for the next frame.
TEST(ScreenTextWrite, AbsurdTextSettingsDrawNothingAndUpdateResetsThem) {
    QuorlScreen s(32, 32, kBlack);
    s.textSize = 2147483647;
    s.textLineSpacing = -2147483647;
    s.textAlign = QuorlScreen::AlignCentre | QuorlScreen::AlignBottom;
    s.Write(2147483647, -2147483647, kWhite, "far\naway");
    s.textSize = -5;
    s.Write(0, 0, kWhite, "negative");
    EXPECT_TRUE(InkOf(s).empty());
    s.Update(false);
    EXPECT_EQ(s.textSize, 1);
    EXPECT_EQ(s.textLineSpacing, 1);
    EXPECT_EQ(s.textAlign, 0u);
}
