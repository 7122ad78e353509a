#include "game/WebviewHost.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "game/ElectronWebview.h"
#include "game/PipeServer.h"
#include "game/webview/PipeClient.h"
#include "game/webview/WireHarness.h"

using game::ElectronWebview;
using game::WebviewHost;
using namespace std::chrono_literals;

namespace {

using testfiles::WaitFor;

// The host's loops against a stand-in page process played by the test; the command the host
// runs is `true`, which ends at once.
TEST(WebviewHost, LoopsSurviveLateFramesAndAProcessThatDies) {
    testfiles::TempFolder folder{"zwv"};
    ElectronWebview webview;
    WebviewHost::Settings settings;
    settings.node = "true";
    settings.runFolder = folder.path;
    settings.pingInterval = 50ms;
    WebviewHost host(webview, settings);
    EXPECT_EQ(host.Command(), "'true' 'webview/page-process.js' --pipe '" + folder.path + "/webview'");
    host.Start();

    PipeClient process(folder.path + "/webview");
    ASSERT_GE(process.frames, 0);
    webview.Open("a", "u", 2, 2, 1);
    EXPECT_EQ(process.ReceiveCommands(300), "open a u 2 2 1.000000");
    // An idle link pings once per interval rather than as fast as the socket takes it.
    const std::string idle = process.ReceiveRaw(500);
    EXPECT_GE(idle.size(), 5u);
    EXPECT_LT(idle.size(), 5u * 60) << "the write loop spins";

    // Frames of a closed page are caught by the read loop, which goes on.
    webview.Close("a");
    const auto sent = [&] {
        std::lock_guard lock(webview.mutex);
        return webview.outgoing.empty();
    };
    EXPECT_TRUE(WaitFor(sent, 5s));  // the close goes out while the process still reads
    process.Send(WireHarness::Frame("a", "late") + WireHarness::Frame("a", "later"));
    EXPECT_TRUE(WaitFor([&] { return host.LateFrames() == 2; }, 5s));
    EXPECT_FALSE(host.ReadLoopEnded());

    // The process dies: the read loop ends; one lost command is reported once; no hang.
    process.Close();
    EXPECT_TRUE(WaitFor([&] { return host.ReadLoopEnded(); }, 5s));
    testing::internal::CaptureStderr();
    webview.Open("b", "u", 2, 2, 1);
    EXPECT_TRUE(WaitFor(sent, 5s));
    std::this_thread::sleep_for(200ms);  // a few failing pings, which stay silent
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Broken pipe with ELECTRON_WEBVIEW in Write Thread\n");
    host.Stop();
}

TEST(WebviewHost, StopsWhenTheProcessNeverConnects) {
    testfiles::TempFolder folder{"zwv"};
    ElectronWebview webview;
    WebviewHost::Settings settings;
    settings.node = "/nonexistent/node";
    settings.runFolder = folder.path;
    WebviewHost host(webview, settings);
    testing::internal::CaptureStderr();  // the shell's "not found"
    host.Start();
    webview.Open("a", "u", 2, 2, 1);
    std::this_thread::sleep_for(100ms);
    host.Stop();
    testing::internal::GetCapturedStderr();
    EXPECT_FALSE(webview.running);
}

}  // namespace
