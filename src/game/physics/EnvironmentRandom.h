#pragma once
#include <cstdint>
#include <random>

// Random sources of the environment code: one for the buoyancy sampler, one for the exposure
// points of aerodynamic surfaces. Each is seeded once from the system's random device; tests
// seed them to repeat a run. Server thread only: they aren't locked.
namespace game::physics {

std::mt19937_64& BuoyancyRandom();
std::mt19937_64& SurfaceRandom();

// Reseeds both sources (the surface source with a value derived from `seed`).
void SeedEnvironmentRandom(uint64_t seed);

}  // namespace game::physics
