#include "game/ElectronWebview.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "game/webview/WireHarness.h"

using game::ElectronWebview;
using testing::HasSubstr;

namespace {

// Stands in for the renderer's texture: a size, and what Load received.
struct RecordingTexture {
    unsigned width = 320, height = 240;
    std::vector<std::string> loads;
    void Load(const unsigned char* data, size_t size) { loads.emplace_back(reinterpret_cast<const char*>(data), size); }
};

// The renderer's kind of texture: a size in an extent, and whole frames through SetPixels.
struct PixelsTexture {
    struct Size {
        unsigned width, height;
    };
    Size Extent() const { return {2, 1}; }
    std::vector<std::vector<uint8_t>> frames;
    bool SetPixels(const std::vector<uint8_t>& rgba) {
        frames.push_back(rgba);
        return true;
    }
};

struct Webview : testing::Test {
    ElectronWebview webview;
    WireHarness wire;

    // The bytes of one WriteToPipe.
    std::string Write() {
        webview.WriteToPipe(*wire.pipe);
        return wire.Received();
    }
    // Everything queued, one write each, then the ping that shows the queue empty.
    std::vector<std::string> Drain() {
        std::vector<std::string> out;
        for (std::string bytes = Write(); bytes != "ping "; bytes = Write()) out.push_back(bytes);
        return out;
    }
};

TEST_F(Webview, CommandsAreOneWriteEachWithNoTerminator) {
    EXPECT_EQ(Write(), "ping ");
    webview.Open("page", "file:///tmp/a.html", 320, 240, 1.5);
    webview.Close("page");
    auto texture = std::make_shared<RecordingTexture>();
    texture->width = 512;
    webview.Texture(texture, "tex", "http://localhost:8000/x", 0.25);
    EXPECT_THAT(Drain(), testing::ElementsAre("open page file:///tmp/a.html 320 240 1.500000", "close page",
                                              "open tex http://localhost:8000/x 512 240 0.250000"));
}

TEST_F(Webview, MovesCollapseToTheLastPositionAndWaitBehindCommands) {
    webview.MouseMove("a", 10, 20);
    webview.MouseMove("a", 11.5, 20.25);
    webview.Open("b", "u", 1, 1, 1);
    EXPECT_EQ(Write(), "open b u 1 1 1.000000");
    EXPECT_EQ(Write(), "input a {\"type\":\"mouseMove\",\"x\":11.500000,\"y\":20.250000}");
    EXPECT_EQ(Write(), "ping ");
    // Within 0.01 of the last position: jitter, dropped. A leaving move keeps the target.
    webview.MouseMove("a", 11.505, 20.245);
    webview.MouseMove("", 50, 50);
    EXPECT_EQ(Write(), "ping ");
    EXPECT_EQ(webview.mouseTarget, "a");
    webview.MouseMove("a", 11.52, 20.25);
    EXPECT_EQ(Write(), "input a {\"type\":\"mouseMove\",\"x\":11.520000,\"y\":20.250000}");
}

TEST_F(Webview, ButtonRecordsAndTheDragThatLeavesItsPage) {
    webview.MouseButton("a", 2, 1, 1, 1);   // middle button
    webview.MouseButton("a", 0, 2, 1, 1);   // repeat
    webview.MouseButton("", 0, 1, 1, 1);    // nowhere
    EXPECT_EQ(Write(), "ping ");
    EXPECT_FALSE(webview.mouseDown);

    webview.MouseMove("a", 5, 6);
    webview.MouseButton("a", 1, 1, 5, 6);
    EXPECT_FALSE(webview.mouseDown) << "only the left button drags";
    webview.MouseButton("a", 0, 1, 5, 6);
    EXPECT_TRUE(webview.mouseDown);
    webview.MouseMove("b", 7, 8);  // the drag leaves page a
    EXPECT_FALSE(webview.mouseDown);
    EXPECT_THAT(Drain(), testing::ElementsAre(
                             "input a {\"type\":\"mouseDown\",\"x\":5.000000,\"y\":6.000000,\"button\":\"right\",\"clickCount\":1}",
                             "input a {\"type\":\"mouseDown\",\"x\":5.000000,\"y\":6.000000,\"button\":\"left\",\"clickCount\":1}",
                             "input a {\"type\":\"mouseUp\",\"x\":5.000000,\"y\":6.000000,\"button\":\"left\",\"clickCount\":1}",
                             "input b {\"type\":\"mouseMove\",\"x\":7.000000,\"y\":8.000000}"));

    // A press on b then a release over c: b gets its mouseUp first, then c the release.
    webview.MouseButton("b", 0, 1, 7, 8);
    webview.MouseButton("c", 0, 0, 9, 9);
    EXPECT_THAT(Drain(), testing::ElementsAre(
                             HasSubstr("input b {\"type\":\"mouseDown\""), HasSubstr("input b {\"type\":\"mouseUp\""),
                             "input c {\"type\":\"mouseUp\",\"x\":9.000000,\"y\":9.000000,\"button\":\"left\",\"clickCount\":1}"));
}

TEST_F(Webview, KeysCharsAndWheelGoToThePageUnderTheMouse) {
    webview.InputChar('x');
    webview.InputKey(65, 1);
    webview.MouseWheel(0, 1);
    EXPECT_EQ(Write(), "ping ") << "no page under the mouse";

    webview.MouseMove("p", 1, 1);
    EXPECT_EQ(Write(), "input p {\"type\":\"mouseMove\",\"x\":1.000000,\"y\":1.000000}");
    webview.InputChar('\\');
    webview.InputChar('"');
    webview.InputKey(92, 1);
    webview.InputKey(336, 0);
    webview.InputKey(320, 1);
    webview.InputKey(65, 2);   // repeat
    webview.InputKey(290, 1);  // F1
    webview.MouseWheel(-0.5, 2);
    EXPECT_THAT(Drain(), testing::ElementsAre("input p {\"type\":\"char\",\"keyCode\":\"\\\\\"}",
                                              "input p {\"type\":\"char\",\"keyCode\":\"\"\"}",
                                              "input p {\"type\":\"keyDown\",\"keyCode\":\"\\\\\"}",
                                              "input p {\"type\":\"keyUp\",\"keyCode\":\"=\"}",
                                              "input p {\"type\":\"keyDown\",\"keyCode\":\"num0\"}",
                                              "input p {\"type\":\"mouseWheel\",\"x\":0,\"y\":0,\"deltaX\":-20.000000,\"deltaY\":80.000000}"));
}

TEST(WebviewKeys, TextsOfTheKeyTable) {
    for (auto [key, text] : {std::pair{int('A'), "A"}, {'7', "7"}, {32, "Space"}, {335, "Enter"}, {329, "num9"},
                             {345, "Ctrl"}, {348, "Menu"}})
        EXPECT_STREQ(ElectronWebview::KeyText(key), text) << key;
    for (int key : {int('a'), 33, 64, 256, 270, 290, 314, 337, 349, -1}) EXPECT_EQ(ElectronWebview::KeyText(key), nullptr) << key;
}

TEST_F(Webview, FramesGoToTheirPageByName) {
    auto texture = std::make_shared<RecordingTexture>();
    webview.Texture(texture, "tex", "u", 1);
    webview.Open("plain", "u", 2, 2, 1);
    wire.Send(WireHarness::Frame("tex", std::string("\x01\x00\x02", 3)) + WireHarness::Frame("plain", "dropped") +
              WireHarness::Frame("tex", ""));
    for (int i = 0; i < 3; ++i) webview.ReadFromPipe(*wire.pipe);
    EXPECT_THAT(texture->loads, testing::ElementsAre(std::string("\x01\x00\x02", 3), ""));

    auto pixels = std::make_shared<PixelsTexture>();
    webview.Texture(pixels, "px", "u", 1);
    EXPECT_EQ(webview.outgoing.back(), "open px u 2 1 1.000000");
    wire.Send(WireHarness::Frame("px", "\x01\x02\x03\xff\x04\x05\x06\xff"));
    webview.ReadFromPipe(*wire.pipe);
    EXPECT_THAT(pixels->frames, testing::ElementsAre(std::vector<uint8_t>{1, 2, 3, 255, 4, 5, 6, 255}));

    // A texture that went away: its frames are dropped without a sound.
    texture.reset();
    wire.Send(WireHarness::Frame("tex", "late"));
    EXPECT_NO_THROW(webview.ReadFromPipe(*wire.pipe));

    // After Close, and after ClearCallbacks, a frame in flight is an out-of-range error.
    webview.Close("tex");
    wire.Send(WireHarness::Frame("tex", "late"));
    EXPECT_THROW(webview.ReadFromPipe(*wire.pipe), std::out_of_range);
    webview.ClearCallbacks();
    wire.Send(WireHarness::Frame("plain", "x"));
    EXPECT_THROW(webview.ReadFromPipe(*wire.pipe), std::out_of_range);
}

TEST_F(Webview, AbsurdFrameSizesAreRefusedAndTheStreamStaysInStep) {
    auto texture = std::make_shared<RecordingTexture>();
    webview.Texture(texture, "tex", "u", 1);
    const uint32_t over = ElectronWebview::kReadBufferSize + 1;
    std::string largest(ElectronWebview::kReadBufferSize, '\0');
    for (size_t i = 0; i < largest.size(); ++i) largest[i] = char(i * 7 + (i >> 12));
    // Whole messages with a name that can't fit, then data that can't: both skipped whole, so
    // the frame after them, as large as the buffer, arrives intact.
    std::thread process([&] {
        wire.Send(WireHarness::Frame(std::string(ElectronWebview::kReadBufferSize, 'n'), "ab"));
        wire.Send(WireHarness::Frame("tex", std::string(over, 'd')));
        wire.Send(WireHarness::Frame("tex", largest));
        // A header that promises more than ever comes.
        wire.Send(WireHarness::Frame("tex", "", 3, over));
        wire.EndFrames();
    });
    testing::internal::CaptureStderr();
    for (int i = 0; i < 4; ++i) webview.ReadFromPipe(*wire.pipe);
    process.join();
    const std::string errors = testing::internal::GetCapturedStderr();
    ASSERT_EQ(texture->loads.size(), 1u);
    EXPECT_TRUE(texture->loads[0] == largest);
    EXPECT_THAT(errors, HasSubstr("refused a frame message with a name of 1048576 bytes"));
    EXPECT_THAT(errors, HasSubstr("data of 1048577 bytes"));
    EXPECT_THAT(errors, HasSubstr("cut short"));
    EXPECT_TRUE(wire.pipe->ReadEnded());
}

}  // namespace
