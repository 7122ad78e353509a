#include "quorl/audio/ClickGenerator.h"

#include <algorithm>
#include <cmath>

namespace quorl::audio {

bool ClickGenerator::Render(float* stereo, size_t frames, const Parameters& p) {
    if (_position == 0) {
        float intensity = p.Get("intensity", 0.5f);
        intensity = std::clamp(std::isfinite(intensity) ? intensity : 0.5f, 0.0f, 1.0f);
        _frequency = kLowestPitch * std::exp2(2.0 * intensity);
    }
    const size_t length = size_t(kLength * _rate);
    const double attack = 0.0005 * _rate;  // frames
    const double decay = 0.006 * _rate;    // frames, time constant
    for (size_t i = 0; i < frames; ++i, ++_position) {
        float v = 0;
        if (_position < length) {
            const double n = double(_position);
            const double envelope = std::min(1.0, n / attack) * std::exp(-n / decay);
            v = float(0.4 * envelope * std::sin(2.0 * M_PI * _frequency * n / _rate));
        }
        stereo[2 * i] = stereo[2 * i + 1] = v;
    }
    return _position < length;
}

}  // namespace quorl::audio
