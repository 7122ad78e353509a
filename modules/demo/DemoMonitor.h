#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "game/QuorlScreen.h"

namespace demo {

// The monitor in the demo world: a screen that shows the clock, the server's tick rate and the
// number of bodies the client mirrors, drawn again once a second (game thread). The text it
// shows is also put on the channel "demo.monitor", for other modules and for tests.
class DemoMonitor {
public:
    static constexpr uint32_t kWidth = 192, kHeight = 96;
    static constexpr double kInterval = 1.0;  // seconds between drawings

    DemoMonitor();

    // Draws when a second has passed since the last drawing (on the clock `now`, in seconds);
    // true when it drew. It shows the time `unixSeconds` and the rate `tickRate`.
    bool Update(double now, double unixSeconds, double tickRate);
    // The same with the system's time and the server's measured tick rate.
    bool Update(double now);
    bool Update();  // on the steady clock
    // The screen's pixels as RGBA bytes, for a texture.
    std::vector<uint8_t> Rgba() const;
    // The lines of the last drawing.
    static std::string Text(double unixSeconds, double tickRate, size_t bodies);

    game::QuorlScreen screen;
    size_t drawings = 0;

private:
    double _last = -1.0e300;
};

}  // namespace demo
