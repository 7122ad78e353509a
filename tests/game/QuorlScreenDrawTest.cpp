// Pixel-exact checks of the screen's primitives on small frames. Frames are compared as text:
// one character per pixel, one row per string.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "game/QuorlScreen.h"

using game::QuorlScreen;

namespace {

constexpr uint32_t kBlack = 0xFF000000;
constexpr uint32_t kRed = 0xFFFF0000;
constexpr uint32_t kGreen = 0xFF00FF00;
constexpr uint32_t kBlue = 0xFF0000FF;

std::vector<std::string> Picture(const QuorlScreen& s, const std::map<uint32_t, char>& legend) {
    std::vector<std::string> rows;
    for (uint32_t y = 0; y < s.height; ++y) {
        std::string row;
        for (uint32_t x = 0; x < s.width; ++x) {
            auto it = legend.find(s.pixels[y * s.width + x]);
            row += it == legend.end() ? '?' : it->second;
        }
        rows.push_back(row);
    }
    return rows;
}

using Rows = std::vector<std::string>;

const std::map<uint32_t, char> kLegend = {{kBlack, '.'}, {kRed, 'R'}, {kGreen, 'G'}, {kBlue, 'B'}};

QuorlScreen Screen(uint32_t w, uint32_t h) { return QuorlScreen(w, h, kBlack); }

}  // namespace

TEST(ScreenDrawPixel, BlendMixesChannelsAndSaturatesAlpha) {
    QuorlScreen s(2, 1, 0xC8102030);
    s.DrawPoint(0, 0, 0x64F0E0D0);  // alpha 100 over alpha 200
    // red (16*155 + 240*100)/255 = 103, green (32*155 + 224*100)/255 = 107,
    // blue (48*155 + 208*100)/255 = 110; alpha 200 + 100 saturates.
    EXPECT_EQ(s.GetPixel(0, 0), 0xFF676B6Eu);

    QuorlScreen t(1, 1, 0x10000000);
    t.DrawPoint(0, 0, 0x20FF0000);
    EXPECT_EQ(t.GetPixel(0, 0), 0x30200000u);  // alpha 16 + 32; red 255 * 32 / 255

    QuorlScreen b(2, 2, 0xFFFFFFFF);
    b.Blank(0x00123456);  // no blending: a transparent colour replaces the pixels
    EXPECT_TRUE(b.IsDirty());
    for (uint32_t p : b.pixels) EXPECT_EQ(p, 0x00123456u);
}

TEST(ScreenDrawPixel, PointClipsAtEveryEdgeAndIgnoresColourZero) {
    auto s = Screen(3, 2);
    s.DrawPoint(0, 0, 0);
    for (auto [x, y] : std::vector<std::pair<int, int>>{{-1, 0}, {3, 0}, {0, -1}, {0, 2}, {-1, -1}, {3, 2}}) {
        s.DrawPoint(x, y, kRed);
    }
    EXPECT_FALSE(s.IsDirty()) << "a point outside the frame writes nothing";
    s.DrawPoint(2, 1, kRed);
    s.DrawPoint(0, 0, kGreen);
    EXPECT_TRUE(s.IsDirty());
    EXPECT_EQ(Picture(s, kLegend), (Rows{"G..", "..R"}));
}

TEST(ScreenDrawPixel, PrimitivesStayInsideAVectorSmallerThanTheFrame) {
    auto s = Screen(4, 4);
    s.pixels.resize(6);  // the frame says 16 pixels, the vector holds 6
    s.DrawPoint(1, 2, kRed);
    s.DrawLine(0, 3, 4, 3, kRed);
    s.DrawRect(0, 0, 4, 4, kGreen, kRed);
    s.DrawCircle(2, 2, 2, kGreen, kRed);
    s.DrawTriangle(0, 0, 3, 3, 0, 3, kGreen, kRed);
    s.Write(0, 0, kRed, "Hello");
    s.Draw(0, 0, kBlue, 4, 4);
    EXPECT_EQ(s.pixels.size(), 6u);
    for (uint32_t p : s.pixels) EXPECT_EQ(p, kBlue);
    s.DrawPoint(1, 1, kRed);  // index 5 lies inside the vector
    s.DrawPoint(2, 1, kRed);  // index 6 lies beyond it
    EXPECT_EQ(s.GetPixel(1, 1), kRed);
    EXPECT_EQ(s.GetPixel(2, 1), 0u);
}

TEST(ScreenDrawLine, LeavesOutTheEndPointAndFollowsTheTruncatedMinorAxis) {
    auto s = Screen(6, 5);
    s.DrawLine(0, 0, 4, 0, kRed);    // rightwards
    s.DrawLine(5, 1, 1, 1, kGreen);  // leftwards
    s.DrawLine(5, 4, 5, 2, kBlue);   // upwards
    s.DrawLine(0, 2, 2, 4, kRed);    // diagonal
    s.DrawLine(3, 3, 3, 3, kRed);    // zero length: nothing
    EXPECT_EQ(Picture(s, kLegend), (Rows{"RRRR..", "..GGGG", "R.....", ".R...B", ".....B"}));

    auto t = Screen(5, 3);
    t.DrawLine(0, 0, 4, 2, kRed);  // y = 0.5, 1.0, 1.5, 2.0
    EXPECT_EQ(Picture(t, kLegend), (Rows{"R....", ".RR..", "...R."}));
}

TEST(ScreenDrawLine, ClipsAtEveryEdgeAndRefusesLinesLongerThanEightTimesWidthPlusHeight) {
    auto s = Screen(5, 4);
    s.DrawLine(-3, 1, 9, 1, kRed);        // crosses left and right
    s.DrawLine(3, -5, 3, 10, kGreen);     // crosses top and bottom
    s.DrawLine(-10, -10, -1, -1, kBlue);  // wholly outside
    EXPECT_EQ(Picture(s, kLegend), (Rows{"...G.", "RRRGR", "...G.", "...G."}));

    auto t = Screen(4, 4);  // width + height = 8: at most 64 steps
    t.DrawLine(0, 0, 65, 0, kRed);
    t.DrawLine(0, 0, -2147483647, 2147483647, kRed);
    EXPECT_FALSE(t.IsDirty());
    t.DrawLine(0, 0, 64, 0, kRed);  // exactly the limit is still drawn
    EXPECT_EQ(Picture(t, kLegend), (Rows{"RRRR", "....", "....", "...."}));
}

TEST(ScreenDrawRect, OutlineAndFillWithSortedCornersEitherAloneClipped) {
    auto s = Screen(6, 5);
    s.DrawRect(5, 4, 0, 0, kRed, kGreen);  // corners given bottom-right first
    EXPECT_EQ(Picture(s, kLegend), (Rows{"RRRRR.", "RGGGR.", "RGGGR.", "RRRRR.", "......"}));
    auto t = Screen(5, 4);
    t.DrawRect(0, 0, 4, 4, kRed, 0);
    t.DrawRect(4, 0, 5, 2, 0, kBlue);
    EXPECT_EQ(Picture(t, kLegend), (Rows{"RRRRB", "R..RB", "R..R.", "RRRR."}));

    // Outline equal to fill is one full-size fill: a drawn border would be blended twice.
    auto u = Screen(4, 3);
    u.DrawRect(0, 0, 4, 3, 0x80FF0000, 0x80FF0000);
    for (uint32_t p : u.pixels) EXPECT_EQ(p, 0xFF800000u);

    // Clipped at the top left and at the bottom right.
    auto v = Screen(4, 4);
    v.DrawRect(-2, -2, 3, 3, kRed, kGreen);
    EXPECT_EQ(Picture(v, kLegend), (Rows{"GGR.", "GGR.", "RRR.", "...."}));
    auto w = Screen(4, 4);
    w.DrawRect(2, 2, 9, 9, kRed, kGreen);
    EXPECT_EQ(Picture(w, kLegend), (Rows{"....", "....", "..RR", "..RG"}));
}

TEST(ScreenDrawBlock, ClipsEmptyBlockMarksDirtyTranslucentBlends) {
    auto s = Screen(4, 3);
    s.Draw(-2, -1, kRed, 4, 3);  // columns -2..1, rows -1..1
    s.Draw(3, 2, kGreen, 100, 100);
    EXPECT_EQ(Picture(s, kLegend), (Rows{"RR..", "RR..", "...G"}));

    auto t = Screen(2, 1);
    t.Draw(0, 0, kRed, 0, 5);
    EXPECT_TRUE(t.IsDirty());
    EXPECT_EQ(t.GetPixel(0, 0), kBlack);
    t.Draw(0, 0, 0xFEFF0000, 1, 1);  // alpha 254 blends
    EXPECT_EQ(t.GetPixel(0, 0), 0xFFFE0000u);
}

TEST(ScreenDrawTriangle, FillsTheClosedTriangleInBothWindingsThenOutlines) {
    const Rows expected = {"RRRRR.", "RRRR..", "RRR...", "RR....", "R.....", "......"};
    auto clockwise = Screen(6, 6);
    clockwise.DrawTriangle(0, 0, 4, 0, 0, 4, 0, kRed);
    EXPECT_EQ(Picture(clockwise, kLegend), expected);
    auto counter = Screen(6, 6);
    counter.DrawTriangle(0, 0, 0, 4, 4, 0, 0, kRed);
    EXPECT_EQ(Picture(counter, kLegend), expected);
    auto s = Screen(6, 6);
    s.DrawTriangle(0, 0, 4, 0, 0, 4, kGreen, kRed);
    EXPECT_EQ(Picture(s, kLegend), (Rows{"GGGGG.", "GRRG..", "GRG...", "GG....", "G.....", "......"}));
}

TEST(ScreenDrawTriangle, DegenerateAndHugeTriangles) {
    auto s = Screen(5, 5);
    s.DrawTriangle(0, 0, 2, 2, 4, 4, 0, kRed);    // collinear: only its points
    s.DrawTriangle(4, 0, 4, 0, 4, 0, 0, kGreen);  // one point
    EXPECT_EQ(Picture(s, kLegend), (Rows{"R...G", ".R...", "..R..", "...R.", "....R"}));

    // The region y <= x, with corners far outside 32-bit products.
    auto far = Screen(5, 4);
    far.DrawTriangle(-2000000000, -2000000000, 2000000000, -2000000000, 2000000000, 2000000000, 0, kRed);
    EXPECT_EQ(Picture(far, kLegend), (Rows{"RRRRR", ".RRRR", "..RRR", "...RR"}));
}

// A filled disc without a ring is drawn in the monitor picture (SceneRendererTest).
TEST(ScreenDrawCircle, ClipsAtTheCornersAndIgnoresHugeOrNegativeRadius) {
    auto s = Screen(4, 4);
    s.DrawCircle(0, 0, 3, kRed, kGreen);  // d < 9 drawn; d >= 4 is ring
    s.DrawCircle(4, 4, 2, kBlue, 0);
    EXPECT_EQ(Picture(s, kLegend), (Rows{"GGR.", "GGR.", "RRR.", "...B"}));
    auto empty = Screen(3, 3);
    empty.DrawCircle(1, 1, -2, kRed, kRed);
    EXPECT_FALSE(empty.IsDirty());
    auto huge = Screen(3, 2);
    huge.DrawCircle(1, 1, 2000000000, kRed, kGreen);  // the frame lies deep inside
    EXPECT_EQ(Picture(huge, kLegend), (Rows{"GGG", "GGG"}));
}
