#pragma once
// The demo world's planet as an environment function: gravity, an atmosphere, an ocean and the
// ground, answered for any point of space. Pure: a query reads only the planet's parameters.
//
// Frame. The planet is a sphere of `radius` (sea level) centred at (0, -radius, 0), so the world's
// origin lies on the surface with +y up, and the area around it is nearly flat. Along the surface
// the arc coordinate s = radius * atan2(x', y') (x', y' taken from the centre) runs with +x at the
// origin; z runs along the shore.
//
// Ground. Land at sea level for s below `shoreline`; from there a beach falls evenly over
// `beachWidth` metres to a flat sea floor `seaDepth` below sea level, which goes on for s beyond.
// The world's origin is thus on dry land, `shoreline` metres from the water.
//
// Atmosphere. Isothermal at `temperature`, made of molecules of the chemistry tables by mole
// fraction. Density and viscosity fall as exp(-h / H) with the height h above sea level; the scale
// height H = R T / (M g) follows from the temperature, the mean molar mass and the surface gravity,
// and the pressure is the ideal gas law, R / M * density * T, as pressurized volumes compute it,
// so that a volume filled with outside air at the same temperature has the outside's pressure and
// the pressure falls with height as the weight of the air above requires.
//
// Ocean. Below sea level over the sea (beach and sea floor): sea water of `waterDensity` with
// hydrostatic pressure. Its viscosity, 0.00095, is a little under that of real water on purpose:
// the physics takes a medium for a liquid (water damping, contact with the environment) only while
// its viscosity is strictly between 1.51e-05 and 0.000999, and 0.00095 sits near the top of that
// range, where the damping is almost that of water. The air's 1.5e-05 stays at or under the bottom
// of the range, so air is never taken for a liquid.
//
// Query bits, as the physics uses them: every answer carries the medium (density, viscosity,
// pressure, composition, and the temperature in `extraScalar`) and gravity (the physics step reads
// it from a query with no flags for fixed bodies); bit 4 adds altitude (above
// the ground, so above the sea floor at sea) and the local frame (`transform`: x along s, y up, at
// the sea-level point below); bit 1 or bit 2 adds the ground collision: the surface point, its
// normal, and the depth along the normal, above 0 inside the ground. The sampled radius is not
// used: the ground is smooth at the size of a body.

#include <memory>
#include <string>
#include <unordered_map>

#include <glm/vec3.hpp>

#include "game/physics/EnvironmentInfo.h"

namespace demo {

class Planet {
public:
    struct Parameters {
        double radius = 6.371e6;      // m, of sea level
        double surfaceGravity = 9.81;  // m/s^2 at sea level; inverse square above, linear below
        double temperature = 288.15;   // K, of air and sea
        double airDensity = 1.225;     // kg/m^3 at sea level
        double airViscosity = 1.5e-5;  // at sea level
        std::unordered_map<std::string, double> air = {
            {"N2", 0.7808}, {"O2", 0.2095}, {"Ar", 0.0093}, {"CO2", 0.0004}};  // mole fractions
        double waterDensity = 1025;    // kg/m^3
        double waterViscosity = 0.00095;
        std::unordered_map<std::string, double> water = {{"H2O", 0.989}, {"NaCl", 0.011}};  // 3.5 % salt by mass
        double shoreline = 50;   // m of s where the land ends
        double beachWidth = 50;  // m of s over which the ground falls to the sea floor
        double seaDepth = 30;    // m, of the sea floor below sea level
    };

    // Throws std::invalid_argument, naming the field, for parameters that make no planet: a radius,
    // gravity, temperature, density or viscosity not above 0, a composition that is empty or has
    // a formula naming no molecule, a negative fraction, beach width or sea depth.
    explicit Planet(Parameters parameters);
    Planet();  // the default parameters

    game::physics::EnvironmentInfo operator()(const glm::dvec3& position, game::physics::EnvironmentInfoFlags flags,
                                              const double& radius) const;

    // The planet as an environment function, sharing one copy of it.
    game::physics::EnvironmentFunction Function() const;

    const Parameters& GetParameters() const { return _parameters; }
    glm::dvec3 Center() const { return {0, -_parameters.radius, 0}; }
    double AirMolarMass() const { return _airMolarMass; }  // kg/mol, mean by mole fraction
    double ScaleHeight() const { return _scaleHeight; }     // m
    double SeaLevelPressure() const;                        // Pa
    // Height of the ground above sea level at arc coordinate s.
    double GroundElevation(double s) const;

private:
    double GroundSlope(double s) const;

    Parameters _parameters;
    double _airMolarMass = 0;
    double _scaleHeight = 0;
};

}  // namespace demo
