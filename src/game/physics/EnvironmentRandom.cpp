#include "game/physics/EnvironmentRandom.h"

namespace game::physics {

std::mt19937_64& BuoyancyRandom() {
    static std::mt19937_64 generator{std::random_device("default")()};
    return generator;
}

std::mt19937_64& SurfaceRandom() {
    static std::mt19937_64 generator{std::random_device("default")()};
    return generator;
}

void SeedEnvironmentRandom(uint64_t seed) {
    BuoyancyRandom().seed(seed);
    SurfaceRandom().seed(seed ^ 0x9e3779b97f4a7c15ull);
}

}  // namespace game::physics
