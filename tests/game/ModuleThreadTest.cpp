#include <atomic>
#include <chrono>
#include <thread>

#include "ModuleTestFixture.h"

using game::GAME_Mod;

class ModuleThreads : public ModuleTestBase {};

// Two threads walk (full and sorted, calling a hook and reading the list inside), one loads, sorts
// and unloads, one keeps a module across its unload: every walk sees bound modules (and TSan the locks).
TEST_F(ModuleThreads, WalksStaySafeWhileAnotherThreadLoadsAndUnloads) {
    for (int i = 1; i <= 4; ++i) ASSERT_TRUE(GAME_Mod::LoadModule("TS_bench" + std::to_string(i), true));
    std::atomic<bool> done{false};
    std::atomic<int> badVisits{0};
    std::atomic<long> visits{0};

    auto walker = [&](bool sorted) {
        while (!done.load()) {
            auto visit = [&](GAME_Mod::Ptr& m) {
                if (!m->handle || !m->Game_ClientUpdate || m->name.rfind("TS_bench", 0) != 0) ++badVisits;
                if (m->Game_ClientUpdate) m->Game_ClientUpdate();
                if (GAME_Mod::Count() < 4) ++badVisits;  // reading the list inside a walk
                ++visits;
            };
            if (sorted) {
                GAME_Mod::ForEachSortedModule("update", visit);
            } else {
                GAME_Mod::ForEachModule(visit);
            }
            // Readers may enter while a writer waits; a pause between walks lets the loader in.
            std::this_thread::sleep_for(std::chrono::microseconds(20));
        }
    };

    std::atomic<int> keptCalls{0};
    auto keeper = [&] {
        while (!done.load()) {
            GAME_Mod::Ptr kept = GAME_Mod::GetModule("TS_bench9");
            std::this_thread::yield();
            if (kept) {
                kept->Game_ClientUpdate();  // the library stays mapped even if unloaded meanwhile
                ++keptCalls;
            }
        }
    };

    std::thread w1(walker, false), w2(walker, true), k(keeper);
    for (int round = 0; round < 20; ++round) {
        for (int i = 5; i <= 12; ++i) ASSERT_TRUE(GAME_Mod::LoadModule("TS_bench" + std::to_string(i), true));
        GAME_Mod::SortModules("update", [](GAME_Mod::Ptr a, GAME_Mod::Ptr b) { return a->name < b->name; });
        for (int i = 5; i <= 12; ++i) GAME_Mod::UnloadModule("TS_bench" + std::to_string(i));
    }
    done = true;
    w1.join();
    w2.join();
    k.join();

    EXPECT_EQ(badVisits.load(), 0);
    EXPECT_GT(visits.load(), 0);
    EXPECT_EQ(GAME_Mod::Count(), 4u);
    int sorted = 0;
    GAME_Mod::ForEachSortedModule("update", [&](GAME_Mod::Ptr&) { ++sorted; });
    EXPECT_EQ(sorted, 4);  // the unloaded ones left the sorted list
}
