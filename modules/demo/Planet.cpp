#include "Planet.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include <glm/geometric.hpp>

#include "game/Chemistry.h"
#include "game/entity/PressurizedVolume.h"

namespace demo {

namespace {

constexpr game::physics::EnvironmentInfoFlags kGroundBit = 1;
constexpr game::physics::EnvironmentInfoFlags kNormalBit = 2;
constexpr game::physics::EnvironmentInfoFlags kGravityBit = 4;

void RequirePositive(double value, const char* field) {
    if (!(value > 0) || !std::isfinite(value)) {
        throw std::invalid_argument(std::string("Planet: ") + field + " must be a finite number above 0");
    }
}

void RequireNonNegative(double value, const char* field) {
    if (!(value >= 0) || !std::isfinite(value)) {
        throw std::invalid_argument(std::string("Planet: ") + field + " must be a finite number not below 0");
    }
}

// Mean molar mass of a mixture given by mole fractions, which need not add up to 1.
double MeanMolarMass(const std::unordered_map<std::string, double>& mixture, const char* field) {
    double fractions = 0;
    double weighted = 0;
    for (const auto& [formula, fraction] : mixture) {
        RequireNonNegative(fraction, field);
        const double molarMass = game::Molecule(formula).GetMolarMass();
        if (!(molarMass > 0)) {
            throw std::invalid_argument(std::string("Planet: ") + field + " has \"" + formula +
                                        "\", which names no molecule");
        }
        fractions += fraction;
        weighted += fraction * molarMass;
    }
    if (!(fractions > 0)) throw std::invalid_argument(std::string("Planet: ") + field + " is empty");
    return weighted / fractions;
}

}  // namespace

Planet::Planet(Parameters parameters) : _parameters(std::move(parameters)) {
    const Parameters& p = _parameters;
    RequirePositive(p.radius, "radius");
    RequirePositive(p.surfaceGravity, "surfaceGravity");
    RequirePositive(p.temperature, "temperature");
    RequirePositive(p.airDensity, "airDensity");
    RequirePositive(p.airViscosity, "airViscosity");
    RequirePositive(p.waterDensity, "waterDensity");
    RequirePositive(p.waterViscosity, "waterViscosity");
    if (!std::isfinite(p.shoreline)) throw std::invalid_argument("Planet: shoreline must be a finite number");
    RequireNonNegative(p.beachWidth, "beachWidth");
    RequireNonNegative(p.seaDepth, "seaDepth");
    MeanMolarMass(p.water, "water");
    _airMolarMass = MeanMolarMass(p.air, "air");
    _scaleHeight = game::entity::PressurizedVolume::kGasConstant * p.temperature / (_airMolarMass * p.surfaceGravity);
}

Planet::Planet() : Planet(Parameters()) {}

double Planet::SeaLevelPressure() const {
    return game::entity::PressurizedVolume::kGasConstant / _airMolarMass * _parameters.airDensity *
           _parameters.temperature;
}

double Planet::GroundElevation(double s) const {
    const Parameters& p = _parameters;
    if (s <= p.shoreline) return 0;
    if (s >= p.shoreline + p.beachWidth) return -p.seaDepth;
    return -p.seaDepth * (s - p.shoreline) / p.beachWidth;
}

double Planet::GroundSlope(double s) const {
    const Parameters& p = _parameters;
    if (s <= p.shoreline || s >= p.shoreline + p.beachWidth) return 0;
    return -p.seaDepth / p.beachWidth;
}

game::physics::EnvironmentInfo Planet::operator()(const glm::dvec3& position, game::physics::EnvironmentInfoFlags flags,
                                                  const double& /*radius*/) const {
    const Parameters& p = _parameters;
    game::physics::EnvironmentInfo info;

    const glm::dvec3 fromCenter = position - Center();
    const double r = glm::length(fromCenter);
    const glm::dvec3 up = r > 0 ? fromCenter / r : glm::dvec3(0, 1, 0);
    const double angle = std::atan2(up.x, up.y);
    const double s = p.radius * angle;
    const glm::dvec3 along(std::cos(angle), -std::sin(angle), 0);  // direction of growing s
    const double height = r - p.radius;                              // above sea level
    const double elevation = GroundElevation(s);

    // The medium. Over the sea, below sea level, it is water (down to and into the sea floor);
    // everywhere else air, taken at sea level inside the land.
    info.extraScalar = p.temperature;
    if (height < 0 && elevation < 0) {
        info.density = p.waterDensity;
        info.viscosity = p.waterViscosity;
        info.pressure = SeaLevelPressure() + p.waterDensity * p.surfaceGravity * -height;
        info.composition = p.water;
    } else {
        const double falloff = std::exp(-std::max(height, 0.0) / _scaleHeight);
        info.density = p.airDensity * falloff;
        info.viscosity = p.airViscosity * falloff;
        info.pressure = game::entity::PressurizedVolume::kGasConstant / _airMolarMass * info.density * p.temperature;
        info.composition = p.air;
    }

    // The ground surface over s is the sphere of radius + elevation, tilted by the beach's slope.
    const double groundRadius = p.radius + elevation;
    // Gravity comes with every answer: the physics step asks for it with no flags for bodies that
    // are fixed this frame, and hands it to the bodies resting on them as their frame's acceleration.
    const double g = r >= p.radius ? p.surfaceGravity * (p.radius / r) * (p.radius / r)
                                   : p.surfaceGravity * r / p.radius;
    info.gravity = -g * up;
    if (flags & kGravityBit) {
        info.altitude = r - groundRadius;
        info.transform = glm::dmat4(glm::dvec4(along, 0), glm::dvec4(up, 0), glm::dvec4(glm::cross(along, up), 0),
                                    glm::dvec4(Center() + up * p.radius, 1));
    }
    if (flags & (kGroundBit | kNormalBit)) {
        const glm::dvec3 normal = glm::normalize(up - GroundSlope(s) * p.radius / groundRadius * along);
        const double depth = (groundRadius - r) * glm::dot(normal, up);
        info.collision.normal = normal;
        info.collision.depth = depth;
        info.collision.position = position + normal * depth;
    }
    return info;
}

game::physics::EnvironmentFunction Planet::Function() const {
    auto shared = std::make_shared<const Planet>(*this);
    return [shared](const glm::dvec3& position, game::physics::EnvironmentInfoFlags flags, const double& radius) {
        return (*shared)(position, flags, radius);
    };
}

}  // namespace demo
