#include "quorl/cpu/ThreadPool.h"

#include <pthread.h>

#include <cstdio>
#include <exception>

namespace quorl::cpu {

ThreadPool::ThreadPool(std::string name, size_t workers) : _name(std::move(name)) {
    _workers.reserve(workers);
    for (size_t i = 0; i < workers; ++i) {
        _workers.emplace_back([this] { WorkerLoop(); });
        // Linux limits thread names to 15 characters.
        pthread_setname_np(_workers.back().native_handle(), _name.substr(0, 15).c_str());
    }
}

ThreadPool::~ThreadPool() {
    {
        std::lock_guard lk(_mutex);
        _stopping = true;
    }
    _cv.notify_all();
    for (auto& t : _workers) t.join();
}

size_t ThreadPool::QueuedCount() const {
    std::lock_guard lk(_mutex);
    return _queue.size();
}

void ThreadPool::RunGuarded(Task& task, const std::string& name) {
    try {
        task();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "ThreadPool %s: task failed: %s\n", name.c_str(), e.what());
    } catch (...) {
        std::fprintf(stderr, "ThreadPool %s: task failed with an unknown exception\n", name.c_str());
    }
}

void ThreadPool::Post(Task task) {
    if (_workers.empty()) {
        RunGuarded(task, _name);
        return;
    }
    {
        std::lock_guard lk(_mutex);
        _queue.push_back(std::move(task));
    }
    _cv.notify_one();
}

bool ThreadPool::IsWorkerThread() const {
    auto id = std::this_thread::get_id();
    for (auto& t : _workers) {
        if (t.get_id() == id) return true;
    }
    return false;
}

void ThreadPool::WorkerLoop() {
    for (;;) {
        Task task;
        {
            std::unique_lock lk(_mutex);
            _cv.wait(lk, [this] { return _stopping || !_queue.empty(); });
            if (_queue.empty()) return;  // stopping, and nothing left to run
            task = std::move(_queue.front());
            _queue.pop_front();
        }
        RunGuarded(task, _name);
    }
}

}  // namespace quorl::cpu
