#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <shared_mutex>
#include <thread>
#include <vector>

#include "quorl/SharedMutex.h"

using namespace std::chrono_literals;

// A nested shared lock while a writer waits must not deadlock: a writer blocks new readers only
// once it holds the lock.
TEST(SharedMutex, NestedSharedLockWhileWriterWaits) {
    quorl::SharedMutex m;
    std::atomic<bool> writerStarted{false}, writerDone{false};
    m.lock_shared();
    std::thread writer([&] {
        writerStarted = true;
        m.lock();
        writerDone = true;
        m.unlock();
    });
    while (!writerStarted) std::this_thread::yield();
    std::this_thread::sleep_for(20ms);  // let the writer block in lock()
    EXPECT_FALSE(writerDone.load());
    m.lock_shared();  // nested
    m.unlock_shared();
    m.unlock_shared();
    writer.join();
    EXPECT_TRUE(writerDone.load());
}

// Writers keep two counters equal; a reader seeing them differ, or a lost wake-up (a hang), fails.
TEST(SharedMutex, StressNoTornStateNoLostWakeup) {
    quorl::SharedMutex m;
    long a = 0, b = 0;
    std::atomic<bool> torn{false};
    std::atomic<long> reads{0};
    auto deadline = std::chrono::steady_clock::now() + 1500ms;
    std::vector<std::thread> ts;
    for (int w = 0; w < 2; ++w) {
        ts.emplace_back([&] {
            while (std::chrono::steady_clock::now() < deadline) {
                std::unique_lock lk(m);
                ++a;
                std::this_thread::yield();
                ++b;
            }
        });
    }
    for (int r = 0; r < 4; ++r) {
        ts.emplace_back([&] {
            while (std::chrono::steady_clock::now() < deadline) {
                std::shared_lock lk(m);
                if (a != b) torn = true;
                std::shared_lock nested(m);  // nested shared lock on the same thread
                ++reads;
            }
        });
    }
    for (auto& t : ts) t.join();
    EXPECT_FALSE(torn.load());
    EXPECT_GT(reads.load(), 0);
    EXPECT_EQ(a, b);
    EXPECT_GT(a, 0);
}
