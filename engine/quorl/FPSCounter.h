#pragma once
#include <chrono>
#include <mutex>

namespace quorl {

// Frame-rate counter. Each Tick() ends a frame; the frame duration is smoothed as
//   duration = averagingConstant * duration + (1 - averagingConstant) * sample
// so a constant of 0 follows the last frame exactly and values near 1 smooth strongly.
// The first frame sets the duration directly. Safe to tick and read from different threads.
class FPSCounter {
public:
    explicit FPSCounter(double averagingConstant);

    // Ends a frame measured on the steady clock since the previous Tick (the first Tick only
    // starts the clock).
    void Tick();
    // Ends a frame of the given length in seconds (hosts with their own clock, and tests).
    void Tick(double frameSeconds);

    double GetFrameDuration() const;  // seconds
    double GetFPS() const;            // 1 / duration, 0 before the first frame
    double GetAveragingConstant() const { return _k; }

private:
    double _k;
    mutable std::mutex _mutex;
    double _duration = 0;
    bool _hasSample = false;
    bool _started = false;
    std::chrono::steady_clock::time_point _last;
};

}  // namespace quorl
