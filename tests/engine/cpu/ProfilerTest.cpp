#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "quorl/cpu/Profiler.h"

using quorl::cpu::Profiler;

namespace {

// The entry of `path` on the thread named `thread`, or null.
const Profiler::Entry* Find(const std::vector<Profiler::Entry>& entries, const std::string& thread,
                            const std::string& path) {
    for (const auto& e : entries)
        if (e.thread == thread && e.path == path) return &e;
    return nullptr;
}

}  // namespace

// Times come out in real milliseconds whatever the tick source: at least the sleep, at most
// what steady_clock measured around the scopes. The same text at another address is the same
// scope; counts after a reset start from zero; a disabled scope records nothing.
TEST(CpuProfiler, ReportsMillisecondsSharesNodesByTextAndResets) {
    static const std::string copy = "Sleep";  // lives to the end of the program
    double outsideMs = 0;
    std::thread([&] {
        Profiler::SetThreadName("CpuProfilerSleeper");
        { Profiler a("Sleep", true); }
        Profiler::ResetAll();
        auto start = std::chrono::steady_clock::now();
        for (const char* text : {"Sleep", copy.c_str()}) {
            Profiler scope(text, true);
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        outsideMs = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
        { Profiler off("CpuProfilerDisabled", false); }
    }).join();
    auto entries = Profiler::Snapshot();
    EXPECT_EQ(std::count_if(entries.begin(), entries.end(), [](auto& e) { return e.thread == "CpuProfilerSleeper"; }),
              1);
    const Profiler::Entry* e = Find(entries, "CpuProfilerSleeper", "Sleep");
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(e->count, 2u);
    EXPECT_GE(e->lastMs, 20.0);
    EXPECT_LE(e->lastMs, outsideMs - 20.0);  // the first sleep is outside the last scope
    EXPECT_GE(e->totalMs, 40.0);
    EXPECT_LE(e->totalMs, outsideMs * 1.001 + 0.01);
    EXPECT_GE(e->averageMs(), 20.0);
}

// Workers update their own trees while another thread reads and resets them: no update is
// lost while nobody resets, and a final reset zeroes every worker's nodes.
TEST(CpuProfiler, ConcurrentScopesSnapshotsAndResets) {
    constexpr int kThreads = 3;
    constexpr int kScopes = 20000;
    auto run = [&](bool reset) {
        std::atomic<int> running{kThreads};
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t)
            threads.emplace_back([&, t] {
                Profiler::SetThreadName("CpuProfilerWorker" + std::to_string(t));
                for (int i = 0; i < kScopes; ++i) {
                    Profiler outer("Work", true);
                    Profiler inner("Inner", true);
                }
                running.fetch_sub(1);
            });
        while (running.load() > 0) {
            if (reset) Profiler::ResetAll();
            (void)Profiler::Snapshot();
        }
        for (auto& th : threads) th.join();
    };

    run(false);
    auto entries = Profiler::Snapshot();
    for (int t = 0; t < kThreads; ++t) {
        std::string name = "CpuProfilerWorker" + std::to_string(t);
        const Profiler::Entry* outer = Find(entries, name, "Work");
        const Profiler::Entry* inner = Find(entries, name, "Work/Inner");
        ASSERT_NE(outer, nullptr) << name;
        ASSERT_NE(inner, nullptr) << name;
        EXPECT_EQ(outer->count, uint64_t(kScopes));
        EXPECT_EQ(inner->count, uint64_t(kScopes));
        EXPECT_EQ(inner->depth, 1);
        EXPECT_GE(outer->totalMs, inner->totalMs);
    }

    run(true);
    Profiler::ResetAll();  // the trees of ended threads are reset too
    entries = Profiler::Snapshot();
    int seen = 0;
    for (const auto& e : entries) {
        if (e.thread.rfind("CpuProfilerWorker", 0) != 0) continue;
        ++seen;
        EXPECT_EQ(e.count, 0u) << e.thread << " " << e.path;
        EXPECT_EQ(e.totalMs, 0.0) << e.thread << " " << e.path;
    }
    EXPECT_EQ(seen, 2 * 2 * kThreads);  // two runs of workers, two nodes each
}
