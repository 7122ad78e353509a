#include "quorl/Timer.h"

namespace quorl {

double Timer::SteadySeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

Timer::Timer(Clock clock) : _clock(clock ? clock : &SteadySeconds) {}

void Timer::Start() {
    std::lock_guard lk(_mutex);
    _start = Now();
    _running = true;
}

void Timer::Stop() {
    std::lock_guard lk(_mutex);
    if (_running) _stop = Now();
    _running = false;
}

bool Timer::IsRunning() const {
    std::lock_guard lk(_mutex);
    return _running;
}

double Timer::GetElapsedSeconds() const {
    std::lock_guard lk(_mutex);
    return (_running ? Now() : _stop) - _start;
}

double Timer::GetElapsedMilliseconds() const { return GetElapsedSeconds() * 1000.0; }

}  // namespace quorl
