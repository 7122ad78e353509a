#include "quorl/audio/WindGenerator.h"

#include <algorithm>
#include <cmath>

namespace quorl::audio {

namespace {

constexpr float kDynamicPressureScale = 140.0f;  // Pa at which the wind reaches 63% of its level
constexpr float kWindLevel = 0.5f;
constexpr float kWindQ = 0.8f;
constexpr float kSurfLevel = 0.25f;
constexpr float kSurfCutoff = 700.0f;
constexpr float kSurfHalfDistance = 30.0f;  // m
constexpr float kSwellPeriod = 6.5f;        // s
constexpr float kMuffleCutoff = 400.0f;
constexpr float kUnderwaterCutoff = 350.0f;
constexpr float kSeaLevelDensity = 1.225f;

float Clamp01(float v) { return std::clamp(std::isfinite(v) ? v : 0.0f, 0.0f, 1.0f); }
float NonNegative(float v, float fallback) { return std::isfinite(v) ? std::max(v, 0.0f) : fallback; }

}  // namespace

WindGenerator::WindGenerator(float sampleRate, uint32_t seed)
    : _rate(sampleRate), _channels{Channel(seed * 2u + 1u), Channel(seed * 2u + 2u)}, _gustNoise(seed + 7u) {
    for (Channel& c : _channels) {
        for (Biquad& b : c.muffle) b.Set(Biquad::Type::LowPass, _rate, kMuffleCutoff, 0.7071f);
        for (Biquad& b : c.under) b.Set(Biquad::Type::LowPass, _rate, kUnderwaterCutoff, 0.7071f);
        c.surf.Set(Biquad::Type::LowPass, _rate, kSurfCutoff, 0.7071f);
    }
}

bool WindGenerator::Render(float* stereo, size_t frames, const Parameters& p) {
    if (frames == 0) return true;
    const float speed = NonNegative(p.Get("wind speed"), 0.0f);
    const float density = NonNegative(p.Get("density", kSeaLevelDensity), kSeaLevelDensity);
    const float inside = Clamp01(p.Get("inside"));
    const float distance = NonNegative(p.Get("dist to water", 10000.0f), 10000.0f);
    const float underwater = Clamp01(p.Get("underwater"));
    const float seconds = float(frames) / _rate;

    // Level from the dynamic pressure; colour from speed and density.
    const float q = 0.5f * density * speed * speed;
    const float windLevel = kWindLevel * (1.0f - std::exp(-q / kDynamicPressureScale));
    const float centre = std::clamp((150.0f + 45.0f * speed) * std::pow(kSeaLevelDensity / std::max(density, 0.05f), 0.25f),
                                    80.0f, 6000.0f);
    // The band-pass keeps about pi/2 centre/Q of the noise's band: bring it back to full level.
    const float bandNorm = std::sqrt(kWindQ * _rate / (float(M_PI) * centre));
    const float outsideGain = 1.0f - 0.97f * inside;
    const float muffledGain = inside;
    const float air = std::min(1.0f, std::sqrt(density / kSeaLevelDensity));
    const float surfNorm = std::sqrt(_rate / (2.2f * kSurfCutoff));
    const float surfGain = kSurfLevel * surfNorm * air * (1.0f - 0.6f * inside) /
                           (1.0f + (distance / kSurfHalfDistance) * (distance / kSurfHalfDistance));

    float windGain[2];
    for (int ch = 0; ch < 2; ++ch) {
        Channel& c = _channels[ch];
        // Gusts: a new target now and then, approached over about a second.
        if (_gustNoise.Next() > 1.0f - 2.0f * seconds) c.gustTarget = 1.0f + 0.2f * _gustNoise.Next();
        c.gust += (c.gustTarget - c.gust) * std::min(1.0f, seconds / 0.8f);
        c.wind.Set(Biquad::Type::BandPass, _rate, centre * (0.85f + 0.15f * c.gust), kWindQ);
        windGain[ch] = windLevel * c.gust * bandNorm;
    }
    if (!_started) {
        // The first block starts at its values: no fade in from silence.
        for (int ch = 0; ch < 2; ++ch) _channels[ch].windGain = windGain[ch];
        _outsideGain = outsideGain;
        _muffledGain = muffledGain;
        _surfGain = surfGain;
        _underwater = underwater;
        _started = true;
    }

    const float step = 1.0f / float(frames);
    for (size_t i = 0; i < frames; ++i) {
        const float t = float(i + 1) * step;
        const float outside = _outsideGain + (outsideGain - _outsideGain) * t;
        const float muffled = _muffledGain + (muffledGain - _muffledGain) * t;
        const float under = _underwater + (underwater - _underwater) * t;
        const double phase = 2.0 * M_PI * (_time + double(i) / _rate) / kSwellPeriod;
        const float swell = float(0.5 - 0.5 * std::cos(phase));
        const float surfEnvelope = (0.35f + 0.65f * swell * swell) * (_surfGain + (surfGain - _surfGain) * t);
        for (int ch = 0; ch < 2; ++ch) {
            Channel& c = _channels[ch];
            const float gain = c.windGain + (windGain[ch] - c.windGain) * t;
            const float wind = c.wind.Process(c.noise.Next()) * gain;
            const float indoor = c.muffle[1].Process(c.muffle[0].Process(wind));
            const float surf = c.surf.Process(c.surfNoise.Next()) * surfEnvelope;
            const float mix = wind * outside + indoor * muffled + surf;
            const float low = c.under[1].Process(c.under[0].Process(mix));
            stereo[2 * i + ch] = mix + (low - mix) * under;
        }
    }
    for (int ch = 0; ch < 2; ++ch) _channels[ch].windGain = windGain[ch];
    _outsideGain = outsideGain;
    _muffledGain = muffledGain;
    _surfGain = surfGain;
    _underwater = underwater;
    _time += seconds;
    return true;
}

}  // namespace quorl::audio
