#pragma once
#include <chrono>
#include <mutex>

namespace quorl {

// Stopwatch with a running flag, guarded by its own mutex. The clock can be replaced
// (tests drive time by hand).
class Timer {
public:
    using Clock = double (*)();  // seconds on a monotonic scale

    explicit Timer(Clock clock = nullptr);

    void Start();  // (re)starts from zero
    void Stop();
    bool IsRunning() const;
    double GetElapsedSeconds() const;       // since Start; frozen at Stop
    double GetElapsedMilliseconds() const;

    static double SteadySeconds();

private:
    double Now() const { return _clock(); }

    Clock _clock;
    mutable std::mutex _mutex;
    bool _running = false;
    double _start = 0;
    double _stop = 0;
};

}  // namespace quorl
