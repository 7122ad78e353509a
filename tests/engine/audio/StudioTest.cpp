#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#define ZENDOLA_AUDIO_TSAN_SUPPRESSIONS
#include "TestFiles.h"
#include "engine/audio/WaveCapture.h"
#include "quorl/audio/Studio.h"

using quorl::audio::Studio;

namespace {

const std::string kBanks = std::string(ZENDOLA_SOURCE_DIR) + "/data/game/audio/banks/";
constexpr const char* kTick = "event:/game/tick";

// The click written when one tick of the given intensity plays to its end.
std::vector<float> Tick(float intensity, bool keepHandle = true) {
    audio_test::Recording r = audio_test::Record(0.5, [&](Studio& s) {
        EXPECT_TRUE(s.LoadBank(kBanks + "Master.bank"));
        auto tick = s.EventInstance(kTick);
        tick->SetParameter("intensity", intensity);
        tick->Start();
        if (!keepHandle) tick.reset();  // a released one-shot plays on
        return tick;
    });
    // From the first sound on.
    auto first = std::find_if(r.samples.begin(), r.samples.end(), [](float v) { return std::abs(v) > 1e-4f; });
    return {first, r.samples.end()};
}

}  // namespace

// Without a device: one message, and every call still works.
TEST(AudioStudio, NoDeviceIsOneMessageAndSilence) {
    testing::internal::CaptureStderr();
    {
        Studio s("no such device");
        EXPECT_FALSE(s.HasOutput());
        EXPECT_TRUE(s.LoadBank(kBanks + "Master.bank"));
        auto tick = s.EventInstance(kTick);
        tick->SetParameter("intensity", 0.25f);
        tick->Start();
        EXPECT_TRUE(tick->IsPlaying());
        s.SetParameter("underwater", 1.0f);
        s.Update();
        tick->Stop();
        EXPECT_FALSE(tick->IsPlaying());
    }
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
    EXPECT_NE(err.find("no audio device"), std::string::npos) << err;
}

// A bank that is missing, malformed or clashes is not loaded: a message names the file, its
// events stay silent (one message per event), and a fixed file loads on the next try.
TEST(AudioStudio, BadBanksAreReportedAndTheirEventsSilent) {
    testfiles::TempFolder folder("zendola-bank");
    const std::filesystem::path dir = folder.path;
    const std::string bad = (dir / "bad.bank").string();
    std::ofstream(bad) << "event \"event:/game/tick\"\n    sound clack\nend\n";

    Studio s;
    testing::internal::CaptureStderr();
    EXPECT_FALSE(s.LoadBank((dir / "missing.bank").string()));
    EXPECT_FALSE(s.LoadBank(bad));
    auto tick = s.EventInstance(kTick);
    tick->Start();
    tick->Start();
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find((dir / "missing.bank").string()), std::string::npos) << err;
    EXPECT_EQ(s.GetBankError(bad), bad + ":2: unknown sound 'clack' (known: wind, click)");
    const std::string silent = "no loaded bank gives event:/game/tick";
    ASSERT_NE(err.find(silent), std::string::npos) << err;
    EXPECT_EQ(err.find(silent, err.find(silent) + 1), std::string::npos) << "reported twice:\n" << err;
    EXPECT_EQ(s.GetLoadedBanks().size(), 2u);

    std::ofstream(bad) << "event \"event:/game/tick\"\n    sound click\nend\n";
    EXPECT_TRUE(s.LoadBank(bad));
    EXPECT_EQ(s.GetBankError(bad), "");
    EXPECT_EQ(s.GetLoadedBanks().size(), 2u);
    // The same event from a second bank is refused.
    testing::internal::CaptureStderr();
    EXPECT_FALSE(s.LoadBank(kBanks + "Master.bank"));
    err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("event:/game/tick is given by " + bad), std::string::npos) << err;
}

// The written click's pitch rises with "intensity"; the one-shot ends by itself, and one whose
// handle is dropped right after the start plays the same click to its end.
TEST(AudioStudio, TickPitchFollowsIntensityAndPlaysToItsEnd) {
    const std::vector<float> low = Tick(0.0f), mid = Tick(0.5f), high = Tick(1.0f);
    const std::vector<float> released = Tick(0.5f, false);
    // Each holds at least the whole click of 40 ms.
    ASSERT_GT(std::min({low.size(), mid.size(), high.size(), released.size()}), 2400u);
    const double fLow = audio_test::PeakFrequency(low, 48000), fMid = audio_test::PeakFrequency(mid, 48000),
                 fHigh = audio_test::PeakFrequency(high, 48000);
    EXPECT_GT(fMid, 1.3 * fLow);
    EXPECT_GT(fHigh, 1.3 * fMid);
    // Short: nearly all of its energy lies in the first 50 ms.
    const std::vector<float> head(mid.begin(), mid.begin() + 2400);
    EXPECT_GT(audio_test::Energy(head), 0.99 * audio_test::Energy(mid));

    EXPECT_NEAR(audio_test::Energy(released), audio_test::Energy(mid), 0.02 * audio_test::Energy(mid));

    Studio s;
    ASSERT_TRUE(s.LoadBank(kBanks + "Master.bank"));
    auto tick = s.EventInstance(kTick);
    tick->Start();
    EXPECT_TRUE(tick->IsPlaying());
    for (int i = 0; i < 100 && tick->IsPlaying(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_FALSE(tick->IsPlaying());
}
