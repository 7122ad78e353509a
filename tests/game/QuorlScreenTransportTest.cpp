// Frame change detection, compression in the shared pool, and restoring frames on the other side.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <future>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "game/QuorlScreen.h"

using game::QuorlScreen;

namespace {

constexpr uint32_t kBlack = 0xFF000000;

// Occupies every worker of the compression pool while it lives: tasks posted meanwhile stay queued.
class PoolBlocker {
public:
    PoolBlocker() : _gate(_release.get_future().share()) {
        auto& pool = QuorlScreen::compressThreadPool;
        std::vector<std::future<void>> started;
        for (size_t i = 0; i < pool.WorkerCount(); ++i) {
            auto running = std::make_shared<std::promise<void>>();
            started.push_back(running->get_future());
            pool.Post([running, gate = _gate] {
                running->set_value();
                gate.wait();
            });
        }
        for (auto& f : started) f.wait();
    }
    ~PoolBlocker() { _release.set_value(); }

private:
    std::promise<void> _release;
    std::shared_future<void> _gate;
};

// Restores the shared compression level however a test ends.
struct LevelGuard {
    int32_t saved = QuorlScreen::compressionLevel;
    ~LevelGuard() { QuorlScreen::compressionLevel = saved; }
};

bool IsReady(const std::shared_future<void>& f) {
    return f.valid() && f.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}

std::vector<uint32_t> Restored(const QuorlScreen& source) {
    std::vector<uint32_t> out(source.pixels.size(), 0xDEADBEEF);
    QuorlScreen::Decompress(source._compressedBuffer, reinterpret_cast<unsigned char*>(out.data()),
                            out.size() * sizeof(uint32_t));
    return out;
}

// Text and shapes, the content a program typically shows.
void DrawTypicalFrame(QuorlScreen& s, int frame) {
    s.Blank(0xFF101820);
    s.DrawRect(10, 10, int(s.width) - 10, 60, 0xFFFFFFFF, 0xFF204060);
    s.DrawCircle(int(s.width) / 2, int(s.height) / 2, 40 + frame % 7, 0xFFFF8000, 0x8000FF00);
    s.DrawTriangle(5, int(s.height) - 5, 60, int(s.height) - 80, 120, int(s.height) - 5, 0xFF00FFFF, 0xFF808080);
    s.DrawLine(0, 0, int(s.width) - 1, int(s.height) - 1, 0xFFFF00FF);
    s.Write(12, 12, 0xFFE0E0E0, "Frame " + std::to_string(frame) + "\\nPressure 101.3 kPa");
}

}  // namespace

TEST(ScreenUpdate, OnlyAChangedFrameCountsAndWithoutCompressionOnlyThePreviousFrameMoves) {
    QuorlScreen s(4, 3, kBlack);
    EXPECT_FALSE(s.Update(false)) << "nothing drawn yet";
    s._compressedBuffer = {1, 2, 3};
    const auto before = std::chrono::system_clock::now();
    s.DrawLine(0, 0, 4, 3, 0xFF00FF00);
    ASSERT_TRUE(s.Update(false));
    EXPECT_FALSE(s.IsDirty());
    EXPECT_FALSE(s.Update(false));
    EXPECT_FALSE(s.Update(true));
    EXPECT_EQ(s.previousPixels, s.pixels);
    const auto changed = s.LastChangeTime();
    ASSERT_TRUE(changed.has_value());
    using Ms = std::chrono::duration<double, std::milli>;
    EXPECT_GE(*changed, Ms(before.time_since_epoch()).count() - 1.0);

    // The program redraws the same picture: no change, no task, and the change time stays.
    s.Blank(kBlack);
    s.DrawLine(0, 0, 4, 3, 0xFF00FF00);
    EXPECT_TRUE(s.IsDirty());
    EXPECT_FALSE(s.Update(true));
    EXPECT_FALSE(s.IsDirty());
    EXPECT_FALSE(s.PendingCompression().valid());
    EXPECT_EQ(s._compressedBuffer, (std::vector<unsigned char>{1, 2, 3}));
    EXPECT_EQ(s.LastChangeTime(), changed);
}

TEST(ScreenUpdate, ChangeWithinTheIntervalStaysPendingUntilItPasses) {
    QuorlScreen s(4, 3, kBlack, 1e9);  // an interval no test outlives
    s.DrawPoint(0, 0, 0xFFFF0000);
    ASSERT_TRUE(s.Update(false));  // no change yet: the interval does not apply
    const auto changed = s.LastChangeTime();

    s.DrawPoint(1, 0, 0xFF00FF00);
    EXPECT_FALSE(s.Update(false));
    EXPECT_TRUE(s.IsDirty()) << "the change waits for a later Update";
    EXPECT_NE(s.previousPixels, s.pixels);
    EXPECT_FALSE(s.Update(true));
    EXPECT_EQ(s.LastChangeTime(), changed);

    s.minUpdateInterval = 0.0;  // the interval has passed
    EXPECT_TRUE(s.Update(false));
    EXPECT_EQ(s.previousPixels, s.pixels);
    EXPECT_GE(*s.LastChangeTime(), *changed);
}

TEST(ScreenUpdate, CompressionRunsInThePoolAndTheNextUpdateWaitsForIt) {
    ASSERT_EQ(QuorlScreen::compressThreadPool.Name(), "ScreenCompress");
    QuorlScreen s(16, 16, kBlack);
    s.DrawRect(1, 1, 9, 9, 0xFFFF0000, 0xFF00FF00);
    auto blocked = std::make_unique<PoolBlocker>();
    ASSERT_TRUE(s.Update(true));
    // Update returned while every worker is busy: the task did not run on this thread.
    const std::shared_future<void> first = s.PendingCompression();
    EXPECT_EQ(QuorlScreen::compressThreadPool.QueuedCount(), 1u);
    EXPECT_TRUE(s._compressedBuffer.empty());

    // The next Update must not return while the first task is queued behind the blocked pool.
    std::atomic<bool> returned{false};
    std::thread owner([&] {
        s.Draw(0, 0, 0, 0, 0);  // marks the frame dirty without touching a pixel
        EXPECT_FALSE(s.Update(true)) << "same pixels as the frame in flight";
        EXPECT_TRUE(IsReady(first));
        returned = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(returned);
    EXPECT_FALSE(IsReady(first));
    blocked.reset();
    owner.join();
    EXPECT_TRUE(returned);
    EXPECT_EQ(Restored(s), s.pixels);
}

TEST(ScreenUpdate, CompressionErrorReachesTheOwner) {
    LevelGuard guard;
    QuorlScreen s(4, 4, kBlack);
    s.DrawPoint(0, 0, 0xFFFFFFFF);
    QuorlScreen::compressionLevel = 42;  // zlib refuses it
    ASSERT_TRUE(s.Update(true));
    EXPECT_THAT([&] { s.WaitForCompression(); },
                testing::ThrowsMessage<std::runtime_error>(testing::StrEq("ZLIB ERROR")));
    EXPECT_NO_THROW(s.WaitForCompression()) << "the error is reported once";
    EXPECT_THROW(s.Compress(), std::runtime_error);
}

TEST(ScreenCompress, FramesRoundTripAtEveryLevel) {
    LevelGuard guard;
    std::mt19937 random(7);
    for (int level : {-1, 0, 1, 6, 9}) {
        QuorlScreen::compressionLevel = level;
        QuorlScreen noise(13, 7, 0);  // incompressible, odd size
        for (auto& p : noise.pixels) p = random();
        noise.Compress();
        EXPECT_EQ(Restored(noise), noise.pixels) << level;

        QuorlScreen typical(320, 200, kBlack);
        DrawTypicalFrame(typical, level);
        typical.Compress();
        if (level != 0) {
            EXPECT_LT(typical._compressedBuffer.size(), typical.pixels.size() * 4 / 10) << level;
        }
        QuorlScreen receiver(320, 200, 0);
        receiver._compressedBuffer = typical._compressedBuffer;
        receiver.Decompress();
        EXPECT_EQ(receiver.pixels, typical.pixels) << level;
    }
}

TEST(ScreenCompress, BufferIsOnePlainZlibStreamOfLittleEndianPixels) {
    QuorlScreen s(2, 1, 0);
    s.pixels = {0x11223344u, 0xFF000080u};
    s.Compress();
    std::vector<unsigned char> raw(8);
    uLongf size = raw.size();
    ASSERT_EQ(uncompress(raw.data(), &size, s._compressedBuffer.data(), s._compressedBuffer.size()), Z_OK);
    EXPECT_EQ(size, 8u);
    EXPECT_EQ(raw, (std::vector<unsigned char>{0x44, 0x33, 0x22, 0x11, 0x80, 0x00, 0x00, 0xFF}));
}

TEST(ScreenCompress, EmptyBufferGivesBackgroundOrZeros) {
    QuorlScreen s(3, 2, 0xFF336699);
    s.DrawPoint(0, 0, 0xFFFFFFFF);
    testing::internal::CaptureStderr();
    s.Decompress();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "QuorlScreen::Decompress: _compressedBuffer is empty\n");
    for (uint32_t p : s.pixels) EXPECT_EQ(p, 0xFF336699u);

    std::vector<unsigned char> out(5, 0xAB);
    testing::internal::CaptureStderr();
    QuorlScreen::Decompress({}, out.data(), out.size());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "QuorlScreen::Decompress: compressedData is empty\n");
    EXPECT_EQ(out, std::vector<unsigned char>(5, 0));
}

TEST(ScreenCompressDeathTest, StreamOfAnotherSizeOrFrameThatDoesNotCompressEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    QuorlScreen small(2, 2, 0);
    small.DrawPoint(0, 0, 0xFFFFFFFF);
    small.Compress();
    QuorlScreen large(4, 4, 0);
    large._compressedBuffer = small._compressedBuffer;
    EXPECT_DEATH(large.Decompress(),
                 "ASSERTION FAILED: \\(strm\\.avail_out == 0\\) in src/game/QuorlScreen\\.cpp:[0-9]+");

    large.Compress();
    small._compressedBuffer = large._compressedBuffer;
    EXPECT_DEATH(small.Decompress(), "ASSERTION FAILED: \\(strm\\.avail_in == 0\\) in src/game/QuorlScreen\\.cpp");

    std::vector<unsigned char> garbage(40, 0x77);
    std::vector<unsigned char> out(16);
    EXPECT_DEATH(QuorlScreen::Decompress(garbage, out.data(), out.size()), "strm\\.avail_in == 0");

    QuorlScreen s(512, 512, 0);  // 1 MiB of noise: stored blocks need more than 256 extra bytes
    std::mt19937 random(3);
    for (auto& p : s.pixels) p = random();
    EXPECT_DEATH(s.Compress(), "ASSERTION FAILED: \\(ret == Z_STREAM_END\\) in src/game/QuorlScreen\\.cpp");
}

// Owners on four threads draw into their screens through the shared pool while another thread
// reads the change times; a screen destroyed right after posting its task waits for it.
TEST(ScreenThreads, ManyScreensUpdateAtOnce) {
    constexpr int kThreads = 4, kFrames = 12;
    std::vector<std::unique_ptr<QuorlScreen>> screens;
    for (int i = 0; i < kThreads; ++i) screens.push_back(std::make_unique<QuorlScreen>(96 + i, 64, kBlack));
    std::atomic<bool> done{false};
    std::thread watcher([&] {
        while (!done) {
            for (auto& s : screens) (void)s->LastChangeTime();
            std::this_thread::yield();
        }
    });
    std::atomic<int> changes{0};
    std::vector<std::thread> owners;
    for (auto& screen : screens) {
        owners.emplace_back([&changes, &s = *screen] {
            for (int frame = 0; frame < kFrames; ++frame) {
                s.WaitForCompression();  // the pool reads pixels until then
                DrawTypicalFrame(s, frame);
                if (s.Update(true)) ++changes;
            }
            s.WaitForCompression();
            EXPECT_EQ(Restored(s), s.pixels);
            s.DrawPoint(0, 0, 0xFF123456);
            s.Update(true);
        });
    }
    for (auto& o : owners) o.join();
    done = true;
    watcher.join();
    EXPECT_EQ(changes.load(), kThreads * kFrames);
    screens.clear();
}
