#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "game/DebugInfo.h"
#include "game/Game.h"
#include "game/Options.h"

using game::Game;

TEST(GameChannels, StoresTextUpToTheLimit) {
    EXPECT_EQ(Game::GetIMC("GameChannels.absent", "fallback"), "fallback");
    EXPECT_EQ(Game::GetNumericIMC("GameChannels.absent", 7.5), 7.5);

    Game::SetIMC("GameChannels.text", std::string(5000, 'x'));
    EXPECT_EQ(Game::GetIMC("GameChannels.text", ""), std::string(4095, 'x'));
    // A shorter value replaces the longer one completely.
    Game::SetIMC("GameChannels.text", "short");
    EXPECT_EQ(Game::GetIMC("GameChannels.text", ""), "short");
    Game::SetIMC("GameChannels.text", "");
    EXPECT_EQ(Game::GetIMC("GameChannels.text", "fallback"), "");

    Game::SetIMC("GameChannels.word", "abc");
    EXPECT_EQ(Game::GetNumericIMC("GameChannels.word", 3.0), 0.0);
    Game::SetIMC("GameChannels.lead", "12.5 m");
    EXPECT_EQ(Game::GetNumericIMC("GameChannels.lead", 0), 12.5);
}

TEST(GameChannels, NumbersReadBackExactly) {
    for (double v : {0.1, -2.0, 1e300, 1.0 / 3.0, 123456789.125, 5e-324}) {
        Game::SetIMC("GameChannels.number", v);
        EXPECT_EQ(Game::GetNumericIMC("GameChannels.number", 0), v);
    }
    Game::SetIMC("GameChannels.number", 0.1);
    EXPECT_EQ(Game::GetIMC("GameChannels.number", ""), "0.1");
}

// Writers put whole values (one letter repeated, lengths up to past the limit) into shared
// channels, some created by the race itself; readers must only ever see one whole value.
TEST(GameChannels, ConcurrentWritersAndReadersSeeWholeValues) {
    const std::vector<size_t> lengths = {1, 17, 300, 4095, 5000};
    const int writers = 3, readers = 2, reads = 3000;
    const std::vector<std::string> keys = {"GameChannels.race0", "GameChannels.race1", "GameChannels.race2"};
    std::atomic<int> torn{0};
    std::atomic<bool> done{false};

    auto isWhole = [&](const std::string& v) {
        if (v == "unset") return true;
        if (v.empty() || v.find_first_not_of(v[0]) != std::string::npos) return false;
        return std::any_of(lengths.begin(), lengths.end(), [&](size_t n) { return std::min<size_t>(n, 4095) == v.size(); });
    };

    // Writers keep writing until every reader has made its reads.
    std::vector<std::thread> threads;
    for (int w = 0; w < writers; ++w) {
        threads.emplace_back([&, w] {
            for (int r = 0; !done.load(); ++r) {
                size_t n = lengths[(r + w) % lengths.size()];
                Game::SetIMC(keys[r % keys.size()], std::string(n, char('a' + w)));
            }
        });
    }
    std::vector<std::thread> readerThreads;
    for (int r = 0; r < readers; ++r) {
        readerThreads.emplace_back([&] {
            for (int i = 0; i < reads; ++i) {
                if (!isWhole(Game::GetIMC(keys[i % keys.size()], "unset"))) ++torn;
            }
        });
    }
    for (auto& t : readerThreads) t.join();
    done = true;
    for (auto& t : threads) t.join();

    EXPECT_EQ(torn.load(), 0);
    for (const auto& key : keys) EXPECT_TRUE(isWhole(Game::GetIMC(key, "")));
}

TEST(GameOptions, GetConvertsOnlyFloatToDouble) {
    using game::Options;
    EXPECT_EQ(Options::Get<double>("GameOptions.absent", 2.5), 2.5);
    Options::Set("GameOptions.double", 1000.25);
    Options::Set("GameOptions.float", 0.5f);
    Options::Set("GameOptions.text", std::string("12"));
    Options::Set("GameOptions.int", 3);
    EXPECT_EQ(Options::Get<double>("GameOptions.double", 0.0), 1000.25);
    EXPECT_EQ(Options::Get<double>("GameOptions.float", 0.0), 0.5);
    EXPECT_EQ(Options::Get<double>("GameOptions.text", -1.0), -1.0);
    EXPECT_EQ(Options::Get<double>("GameOptions.int", -1.0), -1.0);
    EXPECT_EQ(Options::Get<std::string>("GameOptions.text", ""), "12");
    EXPECT_EQ(Options::Get<int>("GameOptions.double", 9), 9);
}

TEST(GameDebugInfo, CountersAreKeyedByTheLiteralsAddress) {
    static const char frames[] = "frames";
    static const char sameText[] = "frames";
    game::DebugInfo::Set(frames, 10);
    game::DebugInfo::Add(frames, 5);
    game::DebugInfo::Add(sameText, 1);
    auto infos = game::DebugInfo::Snapshot();
    EXPECT_EQ(infos.at(frames), 15u);
    EXPECT_EQ(infos.at(sameText), 1u);
}
