#include "TickPacer.h"

#include <cmath>

namespace host {

TickPacer::TickPacer(double rate, double maxLag) : _period(1.0 / rate), _maxLag(maxLag) {}

void TickPacer::Start(double now) {
    _due = now;
    _dropped = 0;
}

double TickPacer::Next(double now) {
    _due += _period;
    double wait = _due - now;
    if (wait >= 0) return wait;
    if (-wait > _maxLag) {
        // Too far behind: count the ticks that will not be made up and restart from now.
        _dropped += uint64_t(std::floor(-wait / _period));
        _due = now;
    }
    return 0;
}

}  // namespace host
