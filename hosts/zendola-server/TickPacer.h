#pragma once
#include <cstdint>

namespace host {

// Fixed-rate schedule of the server tick on a monotonic clock in seconds. Tick k is due at
// start + k / rate. A host that falls behind by more than `maxLag` seconds drops the missed ticks
// and goes on from the present, so that one slow tick never causes a burst of catch-up ticks.
class TickPacer {
public:
    explicit TickPacer(double rate, double maxLag = 0.25);

    void Start(double now);
    // Called when a tick has ended at `now`: the seconds to wait before the next one (0 if late).
    double Next(double now);

    double Period() const { return _period; }
    uint64_t DroppedTicks() const { return _dropped; }

private:
    double _period;
    double _maxLag;
    double _due = 0;  // when the next tick starts
    uint64_t _dropped = 0;
};

}  // namespace host
