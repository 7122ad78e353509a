#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "quorl/cpu/ThreadPool.h"

TEST(ThreadPool, RunsOffCallerThreadAndReturnsFutures) {
    std::atomic<int> n{0};
    {
        quorl::cpu::ThreadPool pool("TestPool", 2);
        EXPECT_EQ(pool.WorkerCount(), 2u);
        auto caller = std::this_thread::get_id();
        auto f = pool.Submit([&] { return std::this_thread::get_id() != caller; });
        EXPECT_TRUE(f.get());
        auto g = pool.Submit([]() -> int { throw std::runtime_error("boom"); });
        EXPECT_THROW(g.get(), std::runtime_error);
        for (int i = 0; i < 100; ++i) pool.Post([&] { ++n; });
    }  // destruction runs what is queued, then joins
    EXPECT_EQ(n.load(), 100);
}

TEST(ThreadPool, NoWorkersRunsInline) {
    quorl::cpu::ThreadPool pool("Inline", 0);
    auto caller = std::this_thread::get_id();
    std::thread::id ran;
    pool.Post([&] { ran = std::this_thread::get_id(); });
    EXPECT_EQ(ran, caller);
}

