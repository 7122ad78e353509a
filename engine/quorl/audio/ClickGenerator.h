#pragma once
#include "quorl/audio/Generator.h"

namespace quorl::audio {

// A short click for the interface: a sine with a fast attack and an exponential decay, 40 ms
// long. Its pitch is taken from "intensity" (0..1) when it starts, from 600 Hz up two octaves.
class ClickGenerator : public Generator {
public:
    explicit ClickGenerator(float sampleRate) : _rate(sampleRate) {}
    bool Render(float* stereo, size_t frames, const Parameters& parameters) override;

    static constexpr float kLowestPitch = 600.0f;
    static constexpr float kLength = 0.04f;  // s

private:
    float _rate;
    size_t _position = 0;  // frames rendered
    double _frequency = 0;
};

}  // namespace quorl::audio
