#include "quorl/audio/Biquad.h"

#include <algorithm>
#include <cmath>

namespace quorl::audio {

void Biquad::Set(Type type, float sampleRate, float frequency, float q) {
    // Kept below Nyquist and above 0 so that the design stays stable.
    const float f = std::clamp(frequency, 1.0f, 0.49f * sampleRate);
    const double w = 2.0 * M_PI * f / sampleRate;
    const double cw = std::cos(w);
    const double alpha = std::sin(w) / (2.0 * std::max(q, 0.05f));
    const double a0 = 1.0 + alpha;
    double b0 = 0, b1 = 0, b2 = 0;
    switch (type) {
    case Type::LowPass:
        b0 = b2 = (1.0 - cw) / 2.0;
        b1 = 1.0 - cw;
        break;
    case Type::HighPass:
        b0 = b2 = (1.0 + cw) / 2.0;
        b1 = -(1.0 + cw);
        break;
    case Type::BandPass:
        b0 = alpha;
        b1 = 0;
        b2 = -alpha;
        break;
    }
    _b0 = float(b0 / a0);
    _b1 = float(b1 / a0);
    _b2 = float(b2 / a0);
    _a1 = float(-2.0 * cw / a0);
    _a2 = float((1.0 - alpha) / a0);
}

}  // namespace quorl::audio
