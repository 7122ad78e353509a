#pragma once
// A flat test world: ground at a height, a liquid below a surface, air above it, uniform gravity,
// heights along axis `up`. Counts its queries by flag value.
#include <map>

#include <glm/vec3.hpp>

#include "game/physics/EnvironmentInfo.h"

namespace physics_test {

struct EnvironmentWorld {
    glm::dvec3 gravity{0, 0, -9.81};
    int up = 2;
    double pressure = 0;
    double groundHeight = -1e6;
    double liquidSurface = -1e6;  // liquid below this height
    double airDensity = 1.2, airViscosity = 1.5e-5;
    double liquidDensity = 1000, liquidViscosity = 1e-3;
    std::map<game::physics::EnvironmentInfoFlags, int> queries;

    game::physics::EnvironmentInfo Query(const glm::dvec3& p, game::physics::EnvironmentInfoFlags flags) {
        ++queries[flags];
        game::physics::EnvironmentInfo info;
        info.gravity = gravity;
        info.altitude = p[up] - groundHeight;
        if (flags & 1) {
            info.collision.position = p;
            info.collision.position[up] = groundHeight;
            info.collision.normal = glm::dvec3(0.0);
            info.collision.normal[up] = 1;
            info.collision.depth = groundHeight - p[up];
        }
        info.pressure = pressure;
        const bool liquid = p[up] < liquidSurface;
        info.density = liquid ? liquidDensity : airDensity;
        info.viscosity = liquid ? liquidViscosity : airViscosity;
        return info;
    }

    game::physics::EnvironmentFunction Function() {
        return [this](const glm::dvec3& p, game::physics::EnvironmentInfoFlags flags, const double&) {
            return Query(p, flags);
        };
    }

    int Count(game::physics::EnvironmentInfoFlags flags) const {
        auto it = queries.find(flags);
        return it == queries.end() ? 0 : it->second;
    }
};

}  // namespace physics_test
