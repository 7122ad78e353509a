#include "quorl/SharedMutex.h"

namespace quorl {

void SharedMutex::lock() {
    std::unique_lock lk(_mutex);
    _cv.wait(lk, [this] { return _readers == 0 && !_writer; });
    _writer = true;
}

bool SharedMutex::try_lock() {
    std::lock_guard lk(_mutex);
    if (_readers != 0 || _writer) return false;
    _writer = true;
    return true;
}

void SharedMutex::unlock() {
    {
        std::lock_guard lk(_mutex);
        _writer = false;
    }
    _cv.notify_all();
}

void SharedMutex::lock_shared() {
    std::unique_lock lk(_mutex);
    _cv.wait(lk, [this] { return !_writer; });
    ++_readers;
}

bool SharedMutex::try_lock_shared() {
    std::lock_guard lk(_mutex);
    if (_writer) return false;
    ++_readers;
    return true;
}

void SharedMutex::unlock_shared() {
    bool wake;
    {
        std::lock_guard lk(_mutex);
        wake = --_readers == 0;
    }
    // While readers hold the lock no writer flag is set, so the only threads waiting are
    // writers: one of them can proceed.
    if (wake) _cv.notify_one();
}

}  // namespace quorl
