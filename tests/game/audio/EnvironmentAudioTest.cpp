#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <functional>

#define ZENDOLA_AUDIO_TSAN_SUPPRESSIONS
#include "engine/audio/WaveCapture.h"
#include "game/Game.h"
#include "game/GameSettings.h"
#include "game/audio/EnvironmentAudio.h"

using game::Game;
using game::audio::EnvironmentAudio;
using game::audio::EnvironmentAudioData;
using quorl::audio::Studio;

namespace {

// The banks are found from the game's data folder, as in a game's run.
class EnvironmentAudioTest : public ::testing::Test {
protected:
    void SetUp() override {
        _previous = std::filesystem::current_path();
        std::filesystem::current_path(std::string(ZENDOLA_SOURCE_DIR) + "/data");
    }
    void TearDown() override {
        std::filesystem::current_path(_previous);
        Game::audio = nullptr;
        Game::settings = nullptr;
    }

private:
    std::filesystem::path _previous;
};

EnvironmentAudioData Votes(uint32_t miss, uint32_t object, int32_t distance) {
    EnvironmentAudioData d;
    d.miss = miss;
    d.terrain = 0;
    d.object = object;
    d.hydrosphere = 0;
    d.hydrosphereDistance = distance;
    return d;
}

// Frames of the given votes (the smoothed values are shared by all instances, so tests begin
// with enough frames to forget what came before).
void Frames(EnvironmentAudio& e, int count, uint32_t miss, uint32_t object, int32_t distance = 500000) {
    for (int i = 0; i < count; ++i) {
        EnvironmentAudioData d = Votes(miss, object, distance);
        e.UpdateData(&d);
    }
}

// A second of the ambience outdoors, 5 km from water, at the given wind; `more` may change the
// scene before it plays. The last 0.4 s, after every change has settled.
std::vector<float> Ambience(float speed, float density, const std::function<void(EnvironmentAudio&)>& more = {}) {
    audio_test::Recording r = audio_test::Record(1.0, [&](Studio& s) {
        auto e = std::make_unique<EnvironmentAudio>(&s);
        Frames(*e, 60, 10, 0);
        e->SetWindSpeed(speed, density);
        if (more) more(*e);
        return e;
    });
    return r.Tail(0.4);
}

}  // namespace

TEST_F(EnvironmentAudioTest, VotesAreSmoothedOverFrames) {
    Studio studio;
    EnvironmentAudio e(&studio);
    EXPECT_TRUE(e.IsPlaying());
    for (const std::string& bank : studio.GetLoadedBanks()) EXPECT_EQ(studio.GetBankError(bank), "");

    Frames(e, 60, 10, 0, 5000);
    EXPECT_NEAR(e.GetParameter("inside"), 0.0f, 1e-9f);
    EXPECT_NEAR(e.GetParameter("dist to water"), 50.0f, 0.05f);

    // Each frame moves the smoothed shares and distance a fifth of the way; the share of the
    // votes counts, not their number.
    Frames(e, 1, 0, 8, 10000);
    EXPECT_NEAR(e.GetParameter("inside"), std::pow(0.2f, 4.0f), 1e-6f);
    EXPECT_NEAR(e.GetParameter("dist to water"), 60.0f, 0.05f);
    EnvironmentAudioData d = Votes(2, 2, -3000);
    e.UpdateData(&d);
    EXPECT_NEAR(e.GetParameter("inside"), std::pow(0.8f * 0.2f + 0.2f * 0.5f, 4.0f), 1e-6f);
    EXPECT_NEAR(e.GetParameter("dist to water"), 42.0f, 0.05f);
    EXPECT_EQ(d.miss + d.terrain + d.object + d.hydrosphere, 0u);
    EXPECT_EQ(d.hydrosphereDistance, 10000);

    // A frame without votes changes nothing, and its record is reset all the same.
    const float inside = e.GetParameter("inside");
    d = Votes(0, 0, 123);
    e.UpdateData(&d);
    EXPECT_EQ(e.GetParameter("inside"), inside);
    EXPECT_NEAR(e.GetParameter("dist to water"), 42.0f, 0.05f);
    EXPECT_EQ(d.hydrosphereDistance, 10000);
    e.UpdateData(nullptr);
}

// The written ambience: louder and brighter with wind speed, louder with density, silent in calm
// air far from water.
TEST_F(EnvironmentAudioTest, AmbienceRisesWithWindSpeedAndDensity) {
    const std::vector<float> calm = Ambience(0, 1.225f), breeze = Ambience(5, 1.225f), gale = Ambience(20, 1.225f),
                             thin = Ambience(20, 0.2f);
    EXPECT_LT(audio_test::Rms(calm), 1e-3);
    EXPECT_GT(audio_test::BlockRms(breeze, 48000), 0.005);
    EXPECT_GT(audio_test::BlockRms(gale, 48000), 3.0 * audio_test::BlockRms(breeze, 48000));
    EXPECT_GT(audio_test::BlockRms(gale, 48000), 2.0 * audio_test::BlockRms(thin, 48000));
    EXPECT_GT(audio_test::BandShare(gale, 48000, 1000, 24000), 2.0 * audio_test::BandShare(breeze, 48000, 1000, 24000));
}

// "inside" near 1 after 30 frames of object votes: the outside wind is mostly gone, what is left
// is darker. The global "underwater" at 1 takes the high frequencies out and keeps the low ones.
TEST_F(EnvironmentAudioTest, InsideAndUnderwaterFilterTheWind) {
    const std::vector<float> open = Ambience(20, 1.225f);
    const std::vector<float> inside = Ambience(20, 1.225f, [](EnvironmentAudio& e) { Frames(e, 30, 0, 5); });
    EXPECT_LT(audio_test::BlockRms(inside, 48000), 0.3 * audio_test::BlockRms(open, 48000));
    EXPECT_GT(audio_test::BlockRms(inside, 48000), 0.02 * audio_test::BlockRms(open, 48000));
    EXPECT_LT(audio_test::BandShare(inside, 48000, 1000, 24000), 0.5 * audio_test::BandShare(open, 48000, 1000, 24000));

    const std::vector<float> under = Ambience(20, 1.225f, [](EnvironmentAudio& e) {
        e.underwater = true;
        Frames(e, 1, 10, 0);
    });
    EXPECT_LT(audio_test::BandShare(under, 48000, 2000, 24000),
              0.01 * audio_test::BandShare(open, 48000, 2000, 24000));
    const double lowOpen = audio_test::BandShare(open, 48000, 0, 300) * audio_test::Energy(open);
    const double lowUnder = audio_test::BandShare(under, 48000, 0, 300) * audio_test::Energy(under);
    EXPECT_GT(lowUnder, 0.3 * lowOpen);
}

// The interface volume of the settings, applied by Game::Update, scales the written tick.
TEST_F(EnvironmentAudioTest, InterfaceVolumeScalesTheTick) {
    game::GameSettings settings((audio_test::kCaptureFolder / "settings.ini").string(), 0);
    Game::settings = &settings;
    auto tickEnergy = [&](float volume) {
        settings.interface_volume = volume;
        return audio_test::Energy(audio_test::Record(0.3, [&](Studio& s) {
                                      Game::audio = &s;
                                      Game::Update(0);
                                      EXPECT_TRUE(s.LoadBank("game/audio/banks/Master.bank"));
                                      auto tick = s.EventInstance("event:/game/tick");
                                      tick->Start();
                                      return tick;
                                  }).samples);
    };
    const double full = tickEnergy(1.0f), quarter = tickEnergy(0.25f);
    EXPECT_GT(full, 0.1);
    EXPECT_NEAR(quarter / full, 0.25 * 0.25, 0.1 * 0.25 * 0.25);
}
