#include "quorl/FPSCounter.h"

namespace quorl {

FPSCounter::FPSCounter(double averagingConstant) : _k(averagingConstant) {}

void FPSCounter::Tick() {
    auto now = std::chrono::steady_clock::now();
    double seconds;
    {
        std::lock_guard lk(_mutex);
        if (!_started) {
            _started = true;
            _last = now;
            return;
        }
        seconds = std::chrono::duration<double>(now - _last).count();
        _last = now;
    }
    Tick(seconds);
}

void FPSCounter::Tick(double frameSeconds) {
    std::lock_guard lk(_mutex);
    if (!_hasSample) {
        _duration = frameSeconds;
        _hasSample = true;
    } else {
        _duration = _k * _duration + (1.0 - _k) * frameSeconds;
    }
}

double FPSCounter::GetFrameDuration() const {
    std::lock_guard lk(_mutex);
    return _duration;
}

double FPSCounter::GetFPS() const {
    std::lock_guard lk(_mutex);
    return _duration > 0 ? 1.0 / _duration : 0.0;
}

}  // namespace quorl
