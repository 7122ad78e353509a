#include "ProgressMeter.h"

#include <cstdio>

namespace host {

ProgressMeter::ProgressMeter(double interval) : _interval(interval) {}

void ProgressMeter::Start(double now, uint64_t ticks) {
    _since = now;
    _ticksAtStart = ticks;
}

bool ProgressMeter::Due(double now) const { return _interval > 0 && now - _since >= _interval; }

double ProgressMeter::TicksPerSecond(double now, uint64_t ticks) const {
    double span = now - _since;
    if (span <= 0 || ticks < _ticksAtStart) return 0;
    return double(ticks - _ticksAtStart) / span;
}

std::string ProgressMeter::Line(double now, const WorldSample& s) {
    char text[256];
    std::snprintf(text, sizeof text,
                  "tick %llu | %.1f ticks/s | bodies %zu | resting %zu | entities %zu | physics %.3f ms/tick",
                  static_cast<unsigned long long>(s.ticks), TicksPerSecond(now, s.ticks), s.bodies, s.resting,
                  s.entities, s.physicsMs);
    Start(now, s.ticks);
    return text;
}

}  // namespace host
