#pragma once

namespace quorl::audio {

// Second-order filter in transposed direct form II, with the usual low-pass, high-pass and
// band-pass designs (band-pass with 0 dB at the centre). Coefficients may change between calls
// of Process without resetting the state, which keeps a moving cutoff free of clicks.
class Biquad {
public:
    enum class Type { LowPass, HighPass, BandPass };

    void Set(Type type, float sampleRate, float frequency, float q);
    float Process(float x) {
        const float y = _b0 * x + _z1;
        _z1 = _b1 * x - _a1 * y + _z2;
        _z2 = _b2 * x - _a2 * y;
        return y;
    }

private:
    float _b0 = 1, _b1 = 0, _b2 = 0, _a1 = 0, _a2 = 0;
    float _z1 = 0, _z2 = 0;
};

}  // namespace quorl::audio
