#pragma once
#include <bit>
#include <cstdint>

#include <glm/gtc/quaternion.hpp>
#include <glm/vec3.hpp>

// Random draws of the environment code: the buoyancy sampler's points and the exposure points of
// aerodynamic surfaces.
//
// A body's draws follow from a seed and the body's own state (its pose and velocities), in the
// order of its colliders, not from one stream shared by all bodies. With a shared stream a body's samples
// depended on how many draws the bodies walked before it had taken, and that walk follows the
// hash of the entities' ids, which a new world makes anew: the same scene with the same seed gave
// the buoy another motion on every run. Now a run repeats whenever its bodies start alike, in
// whatever order the step visits them. Samples still average out over substeps, since the state
// changes every substep. The two seeds come once from the system's random device; tests and
// offscreen runs set them. Server thread only: they aren't locked.
namespace game::physics {

// SplitMix64 over a seed with the bit patterns of doubles mixed in.
class StateRandom {
public:
    explicit StateRandom(uint64_t seed) : _state(seed) {}

    StateRandom& Absorb(double value) {
        _state = Mix(_state ^ std::bit_cast<uint64_t>(value));
        return *this;
    }
    StateRandom& Absorb(const glm::dvec3& v) { return Absorb(v.x).Absorb(v.y).Absorb(v.z); }
    StateRandom& Absorb(const glm::dquat& q) { return Absorb(q.w).Absorb(q.x).Absorb(q.y).Absorb(q.z); }

    uint64_t Next() {
        _state += kGamma;
        return Mix(_state);
    }
    // In [0, 1): 53 random bits, or 24 for the float, whose largest value is 0.99999994.
    double Unit() { return double(Next() >> 11) * 0x1p-53; }
    float UnitFloat() { return float(Next() >> 40) * 0x1p-24f; }

private:
    static constexpr uint64_t kGamma = 0x9e3779b97f4a7c15ull;
    static uint64_t Mix(uint64_t z) {
        z += kGamma;
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
        return z ^ (z >> 31);
    }

    uint64_t _state;
};

uint64_t BuoyancySeed();
uint64_t SurfaceSeed();

// The draws of the body whose aerodynamic surfaces are being made: restarted for each body.
StateRandom& SurfaceDraws();

// Sets both seeds (the surfaces' is derived from `seed`).
void SeedEnvironmentRandom(uint64_t seed);

}  // namespace game::physics
