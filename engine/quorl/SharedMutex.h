#pragma once
#include <condition_variable>
#include <mutex>

namespace quorl {

// Readers-writer lock built from a mutex, a condition variable, a reader count and a writer
// flag. lock_shared waits only while a writer holds the lock (not while one waits), so a
// thread that already holds a shared lock can take another one even when a writer is queued.
// Not recursive for writers, and a reader cannot become a writer.
// Meets the SharedLockable requirements: usable with std::shared_lock and std::unique_lock.
class SharedMutex {
public:
    SharedMutex() = default;
    SharedMutex(const SharedMutex&) = delete;
    SharedMutex& operator=(const SharedMutex&) = delete;

    void lock();
    bool try_lock();
    void unlock();

    void lock_shared();
    bool try_lock_shared();
    void unlock_shared();

private:
    std::mutex _mutex;
    std::condition_variable _cv;
    unsigned _readers = 0;
    bool _writer = false;
};

}  // namespace quorl
