#include "game/physics/Aerodynamics.h"

#include <algorithm>
#include <cmath>

namespace game::physics {

bool IsWingShape(double s0, double s1, double s2) {
    return s0 < 0.3 && s1 >= 0.25 * s2 && s2 >= 4 && s1 * s2 > 0.75;
}

double WingNormalForceCoefficient(double sinAlpha, double aspectRatio) {
    constexpr double kTwoPi = 6.283185307179586;
    constexpr double kSinStall = 0.25881904510252074;  // sin(15 degrees)
    constexpr double kAtRightAngles = 1.2;
    const double s = std::clamp(std::abs(sinAlpha), 0.0, 1.0);
    const double slope = kTwoPi * aspectRatio / (aspectRatio + 2.0);
    if (s <= kSinStall) return slope * s;
    const double stalled = 0.7 * slope * kSinStall;
    const double t = (s - kSinStall) / (1.0 - kSinStall);
    return stalled + (kAtRightAngles - stalled) * t;
}

}  // namespace game::physics
