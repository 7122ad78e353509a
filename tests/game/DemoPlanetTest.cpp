#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

#include <glm/geometric.hpp>

#include "../../modules/demo/Planet.h"
#include "game/Chemistry.h"
#include "game/entity/PressurizedVolume.h"

using demo::Planet;
using game::physics::EnvironmentInfo;

namespace {

constexpr double R = 8.31446261815324;
constexpr double kRadius = 6.371e6;
constexpr double kG = 9.81;
constexpr double kT = 288.15;
// Mean molar mass of the default air by mole fraction, from the element table's atomic masses.
constexpr double kAir =
    (0.7808 * 2 * 14.007 + 0.2095 * 2 * 15.999 + 0.0093 * 39.948 + 0.0004 * (12.011 + 2 * 15.999)) / 1000;
const double kSeaLevelPressure = 1.225 * R * kT / kAir;

// A point at height h above sea level over arc coordinate s, on the meridian through the origin.
glm::dvec3 At(double s, double h) {
    const double angle = s / kRadius;
    return glm::dvec3(std::sin(angle), std::cos(angle) - 1, 0) * kRadius + glm::dvec3(std::sin(angle), std::cos(angle), 0) * h;
}

}  // namespace

TEST(DemoPlanetFrame, OriginIsOnDryLandAtSeaLevel) {
    const Planet planet;
    EnvironmentInfo info = planet({0, 0, 0}, 7, 0);
    EXPECT_NEAR(info.altitude, 0, 1e-9);
    EXPECT_NEAR(info.collision.depth, 0, 1e-9);
    EXPECT_NEAR(glm::length(info.collision.normal - glm::dvec3(0, 1, 0)), 0, 1e-12);
    EXPECT_NEAR(glm::length(info.gravity - glm::dvec3(0, -kG, 0)), 0, 1e-12);
    EXPECT_NEAR(info.density, 1.225, 1e-12);
    EXPECT_NEAR(info.pressure, kSeaLevelPressure, 1e-6);
    // Fixed bodies read gravity with no flags, and buoyancy reads the medium: both come always.
    info = planet({1, -0.5, 2}, 0, 0);
    EXPECT_NEAR(info.gravity.y, -kG, 1e-5);
    EXPECT_GT(info.density, 0);
}

TEST(DemoPlanetGravity, FallsWithTheInverseSquareTowardsTheCentre) {
    const Planet planet;
    EnvironmentInfo info = planet({0, 1e6, 0}, 5, 0);
    EXPECT_NEAR(info.gravity.y, -kG * std::pow(kRadius / (kRadius + 1e6), 2), 1e-12);

    const glm::dvec3 side(2e6, 5e5, 1e6);
    info = planet(side, 4, 0);
    const glm::dvec3 toCentre = glm::dvec3(0, -kRadius, 0) - side;
    const double r = glm::length(toCentre);
    EXPECT_NEAR(glm::length(info.gravity - toCentre / r * kG * (kRadius / r) * (kRadius / r)), 0, 1e-12);

    // Inside the planet it falls linearly to 0 at the centre, and stays finite there.
    EXPECT_NEAR(glm::length(planet({0, -kRadius / 2, 0}, 4, 0).gravity), kG / 2, 1e-9);
    EXPECT_EQ(planet({0, -kRadius, 0}, 4, 0).gravity, glm::dvec3(0.0));
}

TEST(DemoPlanetAtmosphere, ThinsWithHeightAndIsInHydrostaticBalance) {
    const Planet planet;
    const double scaleHeight = R * kT / (kAir * kG);
    EXPECT_NEAR(planet.ScaleHeight(), scaleHeight, 1e-6);
    const EnvironmentInfo high = planet({0, scaleHeight, 0}, 0, 0);
    EXPECT_NEAR(high.density, 1.225 / M_E, 1e-12);
    EXPECT_NEAR(high.viscosity, 1.5e-5 / M_E, 1e-15);
    EXPECT_LE(planet({0, 0, 0}, 0, 0).viscosity, 1.51e-05);  // air is never taken for a liquid

    // dp/dh = -rho g: the air column carries its own weight (g at 2 km is 0.06 % below the surface's).
    const double h = 2000, step = 1;
    const double dpdh = (planet({0, h + step, 0}, 0, 0).pressure - planet({0, h - step, 0}, 0, 0).pressure) / (2 * step);
    const EnvironmentInfo mid = planet({0, h, 0}, 4, 0);
    EXPECT_NEAR(dpdh / (-mid.density * glm::length(mid.gravity)), 1, 1e-3);

    double sum = 0;
    for (const auto& [formula, fraction] : mid.composition) sum += fraction;
    EXPECT_NEAR(sum, 1, 1e-12);
    EXPECT_EQ(mid.composition.at("N2"), 0.7808);
    EXPECT_EQ(mid.composition.at("CO2"), 0.0004);
}

// A cabin filled with outside air at the planet's temperature holds the outside's pressure, so an
// open hatch moves nothing.
TEST(DemoPlanetAtmosphere, PressureAgreesWithPressurizedVolumes) {
    const Planet planet;
    for (double h : {0.0, 1500.0, 12000.0}) {
        const EnvironmentInfo info = planet({10, h, 0}, 0, 0);
        auto cabin = std::make_shared<game::entity::PressurizedVolume>();
        cabin->volume = 8;
        cabin->temperature = info.extraScalar;
        for (const auto& [formula, fraction] : info.composition) {
            cabin->composition[formula] = info.density * cabin->volume * fraction *
                                          game::Molecule(formula).GetMolarMass() / planet.AirMolarMass();
        }
        cabin->Update(0);
        EXPECT_NEAR(cabin->pressure / info.pressure, 1, 1e-12) << h;
        EXPECT_EQ(game::entity::PressurizedVolume::Transfer(cabin, info, {}, {}, 1, 1), 0.0) << h;
    }
}

TEST(DemoPlanetOcean, SeaWaterBelowSeaLevelOffshore) {
    const Planet planet;
    const EnvironmentInfo sea = planet(At(300, -10), 5, 0);
    // Its viscosity puts it in the physics' liquid range: PhysicsStep.BoxInTheOceanFloats.
    EXPECT_EQ(sea.density, 1025);
    EXPECT_NEAR(sea.pressure, kSeaLevelPressure + 1025 * kG * 10, 1e-6);
    EXPECT_TRUE(sea.composition.count("H2O"));
    EXPECT_NEAR(sea.altitude, 20, 1e-6);  // above the sea floor
    EXPECT_NEAR(sea.collision.depth, -20, 1e-6);

    EXPECT_NEAR(planet(At(300, 1), 0, 0).density, 1.225 * std::exp(-1 / planet.ScaleHeight()), 1e-9);
    EXPECT_EQ(planet(At(60, -1), 0, 0).density, 1025);         // over the beach, in the water
    EXPECT_EQ(planet(At(-10, -1), 0, 0).density, 1.225);     // inside the land: air above it
}

TEST(DemoPlanetGround, FlatSeaFloorAndSlopingBeach) {
    const Planet planet;
    EnvironmentInfo floor = planet(At(500, -30.5), 7, 0);
    EXPECT_NEAR(floor.collision.depth, 0.5, 1e-6);
    EXPECT_NEAR(glm::length(floor.collision.normal - glm::normalize(At(500, 1) - At(500, 0))), 0, 1e-9);

    // The beach falls 30 m over 50 m from s = 50: locally the line y = -0.6 (x - 50).
    const glm::dvec3 inside(75, -16, 0);  // 1 m under the slope, measured vertically
    const EnvironmentInfo beach = planet(inside, 7, 0);
    const glm::dvec3 expectedNormal = glm::normalize(glm::dvec3(0.6, 1, 0));
    EXPECT_NEAR(glm::length(beach.collision.normal - expectedNormal), 0, 1e-4);
    EXPECT_NEAR(beach.collision.depth, 1 / std::sqrt(1.36), 1e-3);
    const glm::dvec3 surface = beach.collision.position;
    EXPECT_NEAR(surface.y, -0.6 * (surface.x - 50), 1e-3);
    EXPECT_NEAR(glm::length(surface - inside), beach.collision.depth, 1e-9);
    EXPECT_NEAR(beach.altitude, -1, 1e-3);
}

TEST(DemoPlanetQuery, ParametersThatMakeNoPlanetAreRefused) {
    auto refused = [](auto change) {
        Planet::Parameters parameters;
        change(parameters);
        try {
            Planet planet(parameters);
        } catch (const std::invalid_argument& error) {
            return std::string(error.what());
        }
        return std::string();
    };
    EXPECT_EQ(refused([](Planet::Parameters& p) { p.radius = 0; }), "Planet: radius must be a finite number above 0");
    EXPECT_EQ(refused([](Planet::Parameters& p) { p.seaDepth = -1; }),
              "Planet: seaDepth must be a finite number not below 0");
    EXPECT_EQ(refused([](Planet::Parameters& p) { p.air["Qq"] = 0.1; }),
              "Planet: air has \"Qq\", which names no molecule");
    EXPECT_EQ(refused([](Planet::Parameters& p) { p.water.clear(); }), "Planet: water is empty");
    EXPECT_EQ(refused([](Planet::Parameters&) {}), "");
}
