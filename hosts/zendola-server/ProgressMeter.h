#pragma once
#include <cstdint>
#include <string>

namespace host {

// What the server reports about its world at one moment.
struct WorldSample {
    uint64_t ticks = 0;     // ticks run since start
    size_t entities = 0;    // all server-side entities
    size_t bodies = 0;      // rigid bodies that take part in physics (mass above 0)
    size_t resting = 0;     // of those, the ones at rest
    double physicsMs = 0;   // smoothed physics time per tick
};

// Progress line every `interval` seconds of the host's clock, with the tick rate measured over
// the last interval.
class ProgressMeter {
public:
    explicit ProgressMeter(double interval);

    void Start(double now, uint64_t ticks);
    // Whether a line is due at `now`; never with an interval of 0.
    bool Due(double now) const;
    // The line for `sample` at `now`; starts the next interval.
    std::string Line(double now, const WorldSample& sample);
    // Ticks per second over the interval that ends at `now`.
    double TicksPerSecond(double now, uint64_t ticks) const;

private:
    double _interval;
    double _since = 0;
    uint64_t _ticksAtStart = 0;
};

}  // namespace host
