#pragma once
#include <cstdint>

namespace quorl::audio {

// White noise from a 32-bit xorshift: uniform in [-1, 1), the same sequence for the same seed.
class Noise {
public:
    explicit Noise(uint32_t seed) : _state(seed ? seed : 0x9E3779B9u) {}
    float Next() {
        _state ^= _state << 13;
        _state ^= _state >> 17;
        _state ^= _state << 5;
        return float(int32_t(_state)) * (1.0f / 2147483648.0f);
    }

private:
    uint32_t _state;
};

}  // namespace quorl::audio
