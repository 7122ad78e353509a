#include <set>

#include "ModuleTestFixture.h"

using game::GAME_Mod;
using game::Game;

namespace {

std::string BenchName(int i) { return "TS_bench" + std::to_string(i); }

std::vector<std::string> Walk(const char* key = nullptr) {
    std::vector<std::string> names;
    auto record = [&](GAME_Mod::Ptr& m) { names.push_back(m->name); };
    if (key) {
        GAME_Mod::ForEachSortedModule(key, record);
    } else {
        GAME_Mod::ForEachModule(record);
    }
    return names;
}

bool ByNameDescending(GAME_Mod::Ptr a, GAME_Mod::Ptr b) { return a->name > b->name; }

}  // namespace

class ModuleWalk : public ModuleTestBase {
protected:
    void LoadBench(int first, int last) {
        for (int i = first; i <= last; ++i) ASSERT_TRUE(GAME_Mod::LoadModule(BenchName(i), true)) << i;
    }
};

TEST_F(ModuleWalk, VisitsEveryModuleOnceAndStopsWhenTheCallbackResets) {
    LoadBench(1, 16);
    std::vector<std::string> names = Walk();
    std::set<std::string> distinct(names.begin(), names.end()), expected;
    for (int i = 1; i <= 16; ++i) expected.insert(BenchName(i));
    EXPECT_EQ(names.size(), 16u);
    EXPECT_EQ(distinct, expected);

    int visited = 0;
    GAME_Mod::ForEachModule([&](GAME_Mod::Ptr& m) {
        if (++visited == 3) m.reset();
    });
    EXPECT_EQ(visited, 3);
    // The reset touched only the walk's copy.
    EXPECT_EQ(GAME_Mod::Count(), 16u);
    EXPECT_EQ(Walk().size(), 16u);
}

TEST_F(ModuleWalk, SortedListsFollowSortModules) {
    LoadBench(1, 5);
    EXPECT_TRUE(Walk("update").empty());  // never sorted

    GAME_Mod::SortModules("update", ByNameDescending);
    std::vector<std::string> expected = {"TS_bench5", "TS_bench4", "TS_bench3", "TS_bench2", "TS_bench1"};
    EXPECT_EQ(Walk("update"), expected);
    EXPECT_TRUE(Walk("render").empty());  // each key has its own list

    // A module loaded after the sort waits for the next sort.
    LoadBench(6, 6);
    EXPECT_EQ(Walk("update"), expected);

    // Unloading takes a module out of the sorted lists too (ModuleThreads checks it under load).
    GAME_Mod::SortModules("update", [](GAME_Mod::Ptr a, GAME_Mod::Ptr b) { return a->name < b->name; });
    EXPECT_EQ(Walk("update"),
              (std::vector<std::string>{"TS_bench1", "TS_bench2", "TS_bench3", "TS_bench4", "TS_bench5", "TS_bench6"}));

    std::vector<std::string> stopped;
    GAME_Mod::ForEachSortedModule("update", [&](GAME_Mod::Ptr& m) {
        stopped.push_back(m->name);
        if (m->name == "TS_bench2") m = nullptr;
    });
    EXPECT_EQ(stopped, (std::vector<std::string>{"TS_bench1", "TS_bench2"}));
}

TEST_F(ModuleWalk, HooksMayReadTheModuleListDuringAWalk) {
    ASSERT_TRUE(GAME_Mod::LoadModule("TS_full", true));
    LoadBench(1, 2);
    GAME_Mod::SortModules("ui", ByNameDescending);
    Game::SetIMC("TS_full.self", "");

    // The hook calls GAME_Mod::Count and GetModule inside a sorted walk nested in a full walk.
    int outer = 0;
    GAME_Mod::ForEachModule([&](GAME_Mod::Ptr&) {
        ++outer;
        GAME_Mod::ForEachSortedModule("ui", [](GAME_Mod::Ptr& m) {
            if (m->Game_ClientUpdate && m->name == "TS_full") m->Game_ClientUpdate();
        });
    });
    EXPECT_EQ(outer, 3);
    EXPECT_EQ(Game::GetNumericIMC("TS_full.count", 0), 3.0);
    EXPECT_EQ(Game::GetIMC("TS_full.self", ""), "yes");
}

TEST_F(ModuleWalk, HookExceptionsPassThroughAndReleaseTheLock) {
    LoadBench(1, 2);
    EXPECT_THROW(GAME_Mod::ForEachModule([](GAME_Mod::Ptr&) { throw std::runtime_error("hook"); }),
                 std::runtime_error);
    // The exclusive lock is available again.
    GAME_Mod::UnloadModule("TS_bench1");
    EXPECT_EQ(GAME_Mod::Count(), 1u);
    auto lock = GAME_Mod::GetLock();
    EXPECT_TRUE(lock.owns_lock());
}
