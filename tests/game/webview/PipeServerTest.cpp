#include "game/PipeServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <string>
#include <thread>

#include "game/webview/PipeClient.h"

using game::PipeServer;
using namespace std::chrono_literals;

namespace {

TEST(PipeServer, ConnectsOnFirstUseInEachDirection) {
    testfiles::TempFolder folder{"zwv"};
    PipeServer pipe("link", folder.path);  // returns with no client
    EXPECT_FALSE(pipe.writeConnected);
    EXPECT_EQ(pipe.WritePath(), folder.path + "/link.s2c");
    EXPECT_EQ(pipe.ReadPath(), folder.path + "/link.c2s");

    // Write blocks until the client arrives, then succeeds.
    auto written = std::async(std::launch::async, [&] { return pipe.Write("open a", 6); });
    EXPECT_EQ(written.wait_for(100ms), std::future_status::timeout);
    PipeClient client(pipe.BasePath());
    ASSERT_TRUE(written.get());
    EXPECT_EQ(client.ReceiveRaw(200), "open a");

    client.Send("abcdef");
    char buffer[4];
    EXPECT_EQ(pipe.Read(buffer, 4), 4u);
    EXPECT_EQ(std::string(buffer, 4), "abcd");
    EXPECT_EQ(pipe.ReadPeer(), ::getpid());

    // The listeners are gone: nobody else can connect to either name.
    EXPECT_FALSE(PipeClient::CanConnect(pipe.WritePath()));

    // The client leaves: the rest is read, then 0 for good; writes fail.
    client.Close();
    EXPECT_EQ(pipe.Read(buffer, 4), 2u);
    EXPECT_EQ(pipe.Read(buffer, 4), 0u);
    EXPECT_TRUE(pipe.ReadEnded());
    EXPECT_FALSE(pipe.Write("x", 1));
    EXPECT_TRUE(pipe.writeConnected) << "never reconnects";
}

// Shutdown wakes threads waiting for the client, and a read blocked on a connected client.
TEST(PipeServer, ShutdownWakesWaitingThreads) {
    testfiles::TempFolder folder{"zwv"};
    auto pipe = std::make_unique<PipeServer>("idle", folder.path);
    char c;
    auto written = std::async(std::launch::async, [&] { return pipe->Write("ping ", 5); });
    auto read = std::async(std::launch::async, [&] { return pipe->Read(&c, 1); });
    std::this_thread::sleep_for(50ms);
    testing::internal::CaptureStderr();
    pipe->Shutdown();
    ASSERT_EQ(written.wait_for(5s), std::future_status::ready);
    ASSERT_EQ(read.wait_for(5s), std::future_status::ready);
    EXPECT_FALSE(written.get());
    EXPECT_EQ(read.get(), 0u);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "a shutdown is no connect error";
    pipe.reset();
    EXPECT_FALSE(std::filesystem::exists(folder.path + "/idle.s2c"));

    PipeServer busy("busy", folder.path);
    PipeClient client(busy.BasePath());
    auto blocked = std::async(std::launch::async, [&] { return busy.Read(&c, 1); });
    std::this_thread::sleep_for(50ms);
    busy.Shutdown();
    ASSERT_EQ(blocked.wait_for(5s), std::future_status::ready);
    EXPECT_EQ(blocked.get(), 0u);
}

TEST(PipeServer, StaleSocketsAreReplacedAndOtherFilesRefused) {
    testfiles::TempFolder folder{"zwv"};
    { PipeServer first("again", folder.path + "/made/here"); }
    { PipeServer crashed("again", folder.path); }  // files removed on the way out
    // A socket file left by a process that died is taken over.
    const int stale = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = folder.path + "/again.s2c";
    std::strcpy(address.sun_path, path.c_str());
    ASSERT_EQ(::bind(stale, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    ::close(stale);
    EXPECT_NO_THROW(PipeServer("again", folder.path));

    std::ofstream(folder.path + "/file.c2s") << "keep me";
    EXPECT_THAT([&] { PipeServer("file", folder.path); },
                testing::ThrowsMessage<std::runtime_error>(testing::HasSubstr("exists and is not a socket")));
    std::ifstream kept(folder.path + "/file.c2s");
    std::string text;
    std::getline(kept, text);
    EXPECT_EQ(text, "keep me");
    EXPECT_FALSE(std::filesystem::exists(folder.path + "/file.s2c")) << "the half made is removed";
    EXPECT_THROW(PipeServer(std::string(120, 'x'), folder.path), std::runtime_error);
}

}  // namespace
