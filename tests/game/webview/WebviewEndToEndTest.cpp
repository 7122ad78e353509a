// The web view with its real page process: Node.js driving the headless browser. Skipped, with
// the reason, where node, the browser or the page process's packages are missing. Every wait is
// bounded; a page process that never answers fails the test instead of hanging it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "game/ElectronWebview.h"
#include "game/Game.h"
#include "game/PipeServer.h"
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

// True once the process has ended (reaped, or a zombie whose descriptors are closed).
bool Gone(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind("State:", 0) == 0) return line.find('Z') != std::string::npos;
    return true;
}

std::string Browser() {
    const char* browser = std::getenv("ZENDOLA_WEBVIEW_BROWSER");
    return browser && *browser ? browser : "/usr/bin/chromium-headless-shell";
}

TEST(WebviewEndToEnd, APageInATextureAnswersClicksAndKeysAndItsProcessMayDie) {
    if (std::system("node --version > /dev/null 2>&1") != 0) GTEST_SKIP() << "node is not installed";
    if (::access(Browser().c_str(), X_OK) != 0) GTEST_SKIP() << Browser() << " is not installed (scripts/setup)";
    if (!std::filesystem::exists(kSource + "/webview/node_modules/puppeteer-core/package.json"))
        GTEST_SKIP() << "webview/node_modules is missing (npm ci --prefix webview)";

    TempRunFolder folder;
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

    // A frame for a page without a callback is the out-of-range error, caught by the host.
    webview.ClearCallbacks();
    webview.MouseMove("test", 300, 20);
    webview.MouseButton("test", 0, 1, 300, 20);
    webview.MouseButton("test", 0, 0, 300, 20);
    const auto waitUntil = [](const std::function<bool()>& condition) {
        for (auto end = std::chrono::steady_clock::now() + 60s; !condition();) {
            if (std::chrono::steady_clock::now() > end) return false;
            std::this_thread::sleep_for(10ms);
        }
        return true;
    };
    EXPECT_TRUE(waitUntil([&] { return host.LateFrames() > 0; }));
    webview.Close("test");

    // The page process dies: its frames end, and the next command is reported lost, once.
    const pid_t process = host.Pipe()->ReadPeer();
    ASSERT_GT(process, 0);
    ASSERT_EQ(::kill(process, SIGKILL), 0);
    ASSERT_TRUE(waitUntil([&] { return host.ReadLoopEnded() && Gone(process); }));
    testing::internal::CaptureStderr();
    webview.Open("again", "about:blank", 8, 8, 1);
    EXPECT_TRUE(waitUntil([&] {
        std::lock_guard lock(webview.mutex);
        return webview.outgoing.empty();
    }));
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Broken pipe with ELECTRON_WEBVIEW in Write Thread\n");
}

}  // namespace
