// The web view with its real page process: Node.js driving the headless browser. Skipped, with
// the reason, where node, the browser or the page process's packages are missing. Every wait is
// bounded; a page process that never answers fails the test instead of hanging it. Late frames
// and a process that dies are WebviewHostTest's, with a stand-in process.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "game/ElectronWebview.h"
#include "game/Game.h"
#include "game/WebviewHost.h"
#include "game/webview/PipeClient.h"

using game::Game;
using game::WebviewHost;
using namespace std::chrono_literals;

namespace {

const std::string kSource = ZENDOLA_SOURCE_DIR;

// The texture of the page: keeps the last frame and wakes whoever waits for one.
struct FrameTexture {
    unsigned width = 320, height = 240;
    std::mutex mutex;
    std::condition_variable arrived;
    std::string frame;

    void Load(const unsigned char* data, size_t size) {
        std::lock_guard lock(mutex);
        frame.assign(reinterpret_cast<const char*>(data), size);
        arrived.notify_all();
    }
    // RGB of a pixel of a frame.
    static std::array<int, 3> Pixel(const std::string& frame, int x, int y) {
        const size_t at = (size_t(y) * 320 + size_t(x)) * 4;
        return {uint8_t(frame[at]), uint8_t(frame[at + 1]), uint8_t(frame[at + 2])};
    }
    // Waits up to `limit` for a whole frame that satisfies `test`.
    bool WaitFor(const std::function<bool(const std::string&)>& test, std::chrono::seconds limit = 60s) {
        std::unique_lock lock(mutex);
        return arrived.wait_for(lock, limit, [&] { return frame.size() == size_t(width) * height * 4 && test(frame); });
    }
};

bool Near(std::array<int, 3> a, std::array<int, 3> b) {
    for (int i = 0; i < 3; ++i)
        if (std::abs(a[i] - b[i]) > 8) return false;
    return true;
}

std::string Browser() {
    const char* browser = std::getenv("ZENDOLA_WEBVIEW_BROWSER");
    return browser && *browser ? browser : "/usr/bin/chromium-headless-shell";
}

TEST(WebviewEndToEnd, APageInATextureAnswersClicksAndKeys) {
    if (std::system("node --version > /dev/null 2>&1") != 0) GTEST_SKIP() << "node is not installed";
    if (::access(Browser().c_str(), X_OK) != 0) GTEST_SKIP() << Browser() << " is not installed (scripts/setup)";
    if (!std::filesystem::exists(kSource + "/webview/node_modules/puppeteer-core/package.json"))
        GTEST_SKIP() << "webview/node_modules is missing (npm ci --prefix webview)";

    testfiles::TempFolder folder{"zwv"};
    WebviewHost::Settings settings;
    settings.script = kSource + "/webview/page-process.js";
    settings.browser = Browser();
    settings.runFolder = folder.path;
    settings.pipeName = "e2e";
    auto& webview = Game::electronWebview;
    WebviewHost host(webview, settings);
    Game::isActive = true;
    host.Start();
    struct EndRun {
        WebviewHost& host;
        ~EndRun() {
            Game::isActive = false;
            host.Stop();
        }
    } endRun{host};

    auto texture = std::make_shared<FrameTexture>();
    webview.Texture(texture, "test", "file://" + kSource + "/tests/game/webview/pages/clicks.html", 1.0);
    using Frame = const std::string&;
    ASSERT_TRUE(texture->WaitFor([](Frame f) { return Near(FrameTexture::Pixel(f, 300, 20), {255, 0, 0}); }))
        << "no red 320x240 frame of the page";

    webview.MouseMove("test", 300, 20);
    webview.MouseButton("test", 0, 1, 300, 20);
    webview.MouseButton("test", 0, 0, 300, 20);
    ASSERT_TRUE(texture->WaitFor([](Frame f) { return Near(FrameTexture::Pixel(f, 300, 20), {0, 0, 255}); }))
        << "the click did not turn the page blue";

    // Into the field, then three characters, a backslash among them: one column per character.
    webview.MouseMove("test", 50, 110);
    webview.MouseButton("test", 0, 1, 50, 110);
    webview.MouseButton("test", 0, 0, 50, 110);
    for (char c : {'a', '\\', 'Z'}) webview.InputChar(c);
    const auto columns = [](Frame f, std::initializer_list<int> codes) {
        int x = 5;
        for (int code : codes) {
            if (!Near(FrameTexture::Pixel(f, x, 220), {code, 200, 100})) return false;
            x += 10;
        }
        return Near(FrameTexture::Pixel(f, x, 220), {0, 0, 255});
    };
    ASSERT_TRUE(texture->WaitFor([&](Frame f) { return columns(f, {'a', '\\', 'Z'}); })) << "typed text missing";
    webview.InputKey(259, 1);  // Backspace
    webview.InputKey(259, 0);
    ASSERT_TRUE(texture->WaitFor([&](Frame f) { return columns(f, {'a', '\\'}); })) << "Backspace had no effect";

    webview.Close("test");
}

}  // namespace
