#pragma once
#include "quorl/audio/Biquad.h"
#include "quorl/audio/Generator.h"
#include "quorl/audio/Noise.h"

namespace quorl::audio {

// The ambience outdoors, a loop. Reads:
// - "wind speed" (m/s) and "density" (kg/m^3): band-passed noise whose level follows the dynamic
//   pressure 0.5 density speed^2 (saturating, silent in vacuum) and whose centre rises with the
//   speed and falls with the density; slow random gusts vary it per ear;
// - "inside" (0..1): the outside wind fades and a low-passed copy of it comes in, as through walls;
// - "dist to water" (m): surf, low-passed noise in slow swells, falling off with the distance;
// - "underwater" (0..1, a global): the whole mix cross-fades to a steep low-pass at 350 Hz.
// Gains move linearly across each block, so parameter steps don't click.
class WindGenerator : public Generator {
public:
    WindGenerator(float sampleRate, uint32_t seed);
    bool Render(float* stereo, size_t frames, const Parameters& parameters) override;

private:
    struct Channel {
        explicit Channel(uint32_t seed) : noise(seed), surfNoise(seed * 2654435761u + 1u) {}
        Noise noise;
        Noise surfNoise;
        Biquad wind;
        Biquad muffle[2];
        Biquad surf;
        Biquad under[2];
        float gust = 1.0f;
        float gustTarget = 1.0f;
        float windGain = 0.0f;  // at the end of the last block
    };

    float _rate;
    Channel _channels[2];
    Noise _gustNoise;
    double _time = 0;  // seconds rendered, for the swell of the surf
    float _outsideGain = 1.0f;
    float _muffledGain = 0.0f;
    float _surfGain = 0.0f;
    float _underwater = 0.0f;
    bool _started = false;
};

}  // namespace quorl::audio
