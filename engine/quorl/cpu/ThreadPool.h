#pragma once
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace quorl::cpu {

// Named pool of a fixed number of worker threads taking std::function<void()> tasks from one
// queue (its mutex and queue, then a wake-up of one worker). With no worker a posted task runs
// at once on the calling thread. The destructor runs what is queued, then joins the workers.
class ThreadPool {
public:
    using Task = std::function<void()>;

    // workers == 0 makes a pool that runs every task on the caller's thread.
    ThreadPool(std::string name, size_t workers);
    ~ThreadPool();
    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;

    const std::string& Name() const { return _name; }
    size_t WorkerCount() const { return _workers.size(); }
    size_t QueuedCount() const;

    // Queues a task. Exceptions thrown by a bare task are caught and printed on the error stream.
    void Post(Task task);

    // Queues a callable and returns the future of its result (exceptions travel in the future).
    template <class F>
    auto Submit(F&& f) -> std::future<std::invoke_result_t<std::decay_t<F>>> {
        using R = std::invoke_result_t<std::decay_t<F>>;
        auto task = std::make_shared<std::packaged_task<R()>>(std::forward<F>(f));
        auto future = task->get_future();
        Post([task] { (*task)(); });
        return future;
    }

    // True when called from one of this pool's workers.
    bool IsWorkerThread() const;

private:
    void WorkerLoop();
    static void RunGuarded(Task& task, const std::string& name);

    std::string _name;
    mutable std::mutex _mutex;
    std::condition_variable _cv;
    std::deque<Task> _queue;
    bool _stopping = false;
    std::vector<std::thread> _workers;
};

}  // namespace quorl::cpu
