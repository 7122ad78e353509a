#include "game/physics/EnvironmentRandom.h"

#include <random>

namespace game::physics {

namespace {

struct Seeds {
    uint64_t buoyancy, surface;
    Seeds() {
        std::random_device device("default");
        buoyancy = uint64_t(device()) << 32 | device();
        surface = uint64_t(device()) << 32 | device();
    }
};

Seeds& TheSeeds() {
    static Seeds seeds;
    return seeds;
}

}  // namespace

uint64_t BuoyancySeed() { return TheSeeds().buoyancy; }

uint64_t SurfaceSeed() { return TheSeeds().surface; }

StateRandom& SurfaceDraws() {
    static StateRandom draws(0);
    return draws;
}

void SeedEnvironmentRandom(uint64_t seed) {
    TheSeeds().buoyancy = seed;
    TheSeeds().surface = seed ^ 0x9e3779b97f4a7c15ull;
}

}  // namespace game::physics
