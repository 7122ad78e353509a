// Gas and liquid in closed rooms: state, transfers between rooms and with the outside, the registry.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <stdexcept>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include <glm/geometric.hpp>

#include "game/entity/PressurizedVolume.h"
#include "game/entity/ServerSideEntity.h"

using game::entity::PressurizedVolume;

namespace {

constexpr double R = 8.31446261815324;
// Molar masses from the atomic masses of the element table, kg/mol.
constexpr double kN2 = 2 * 14.007e-3;
constexpr double kO2 = 2 * 15.999e-3;
constexpr double kAr = 39.948e-3;
constexpr double kAirMolar = 0.79 * kN2 + 0.21 * kO2;  // of sea-level air by moles

// A volume with its state computed from the given content.
std::shared_ptr<PressurizedVolume> MakeVolume(double volume, double temperature = 300,
                                              std::unordered_map<std::string, double> composition = {}) {
    auto v = std::make_shared<PressurizedVolume>();
    v->volume = volume;
    v->temperature = temperature;
    v->composition = std::move(composition);
    v->Update(0);
    return v;
}

double Sum(const PressurizedVolume& v) {
    double sum = 0;
    for (const auto& entry : v.composition) sum += entry.second;
    return sum;
}

double Get(const PressurizedVolume& v, const char* formula) {
    auto it = v.composition.find(formula);
    return it == v.composition.end() ? 0.0 : it->second;
}

}  // namespace

TEST(PressurizedVolumeState, EmptyOrUninitialisedVolumes) {
    auto empty = MakeVolume(1.0);
    empty->pressure = empty->density = 5;  // stale values are cleared
    empty->composition["O2"] = 0;
    empty->Update(0);
    EXPECT_EQ(glm::dvec3(empty->pressure, empty->density, empty->totalMass), glm::dvec3(0.0));
    EXPECT_TRUE(empty->composition.empty());

    auto unset = MakeVolume(0.0);  // nothing at all happens
    unset->composition["O2"] = 1;
    unset->airtightness = 0;
    unset->Update(1);
    EXPECT_EQ(glm::dvec3(unset->totalMass, unset->pressure, unset->airtightness), glm::dvec3(0.0));
}

TEST(PressurizedVolumeState, LiquidFractionAndOverfullTankCutToItsVolume) {
    auto tank = MakeVolume(1.0, 300, {{"H2O", 250}, {"O2", 1}});
    EXPECT_NEAR(tank->liquidFraction, 250.0 / 1000 + 1.0 / 1600, 1e-12);

    // 1.5 and 3 times over full (water 1000 kg/m^3, carbon dioxide 1600 kg/m^3): the content keeps
    // its proportions and its liquid fills exactly the tank.
    for (double over : {1.5, 3.0}) {
        tank->composition = {{"H2O", 800 * over}, {"CO2", 320 * over}};  // 0.8 + 0.2 m^3 per unit
        tank->Update(0);
        EXPECT_NEAR(Get(*tank, "H2O"), 800, 1e-9) << over;
        EXPECT_NEAR(Get(*tank, "CO2"), 320, 1e-9) << over;
        EXPECT_DOUBLE_EQ(tank->liquidFraction, 1.0);
    }
}

TEST(PressurizedVolumeState, PushFillsTheRoomLeftAtLiquidDensity) {
    auto tank = MakeVolume(1.0);
    EXPECT_DOUBLE_EQ(tank->Push("H2O", 600), 600);
    EXPECT_DOUBLE_EQ(tank->Push("H2O", 600), 400);  // 0.4 m^3 left
    EXPECT_EQ(tank->Push("O2", 1), 0.0);
    EXPECT_FALSE(tank->composition.count("O2"));

    auto other = MakeVolume(1.0);
    EXPECT_DOUBLE_EQ(other->Push("CO2", 800), 800);
    EXPECT_NEAR(other->Push("H2O", 1000), 500, 1e-9);  // half the room taken by 800 kg at 1600
    EXPECT_EQ(other->Push("Qq", 1), 0.0);               // names no molecule
    EXPECT_EQ(other->Push("H2O", -5), 0.0);
}

TEST(PressurizedVolumeState, AirtightnessHealsOverASecond) {
    PressurizedVolume v;
    v.volume = 1;
    v.Leak();
    EXPECT_FALSE(v.IsAirtight());
    v.Update(0.25);
    EXPECT_EQ(std::pair(v.airtightness, v.IsAirtight()), std::pair(0.25, false));
    v.Update(2);
    EXPECT_EQ(v.airtightness, 1.0);
}

// Two rooms of 10 m^3 at 300 K; `a` holds air at about 1.1 bar, `b` about half that. A 1 cm^2 hole
// for 10 ms moves sqrt(2 dp / mean density) x area x dt, taken from a's mixture as it stands.
TEST(PressurizedVolumeTransfer, MovesTheMassOfBernoullisSpeed) {
    auto a = MakeVolume(10, 300, {{"N2", 10}, {"O2", 3}});
    auto b = MakeVolume(10, 300, {{"N2", 5}, {"Ar", 1.5}});
    const double pa = (10 / kN2 + 3 / kO2) * R * 300 / 10;
    const double pb = (5 / kN2 + 1.5 / kAr) * R * 300 / 10;
    const double speed = std::sqrt(2 * (pa - pb) / ((1.3 + 0.65) / 2));
    const double expected = speed * 1e-4 * 0.01;
    ASSERT_GT(pa - pb, 100);

    const double flow = PressurizedVolume::Transfer(a, b, {}, {}, 1e-4, 0.01);
    EXPECT_NEAR(flow, expected, 1e-12);
    EXPECT_NEAR(Get(*a, "O2"), 3 - expected * 3 / 13, 1e-12);
    EXPECT_NEAR(Get(*b, "N2"), 5 + expected * 10 / 13, 1e-12);
    EXPECT_NEAR(Sum(*a) + Sum(*b), 13 + 6.5, 1e-12);

    // Called the other way round, the flow still goes from high to low.
    a->Update(0);
    b->Update(0);
    const double back = PressurizedVolume::Transfer(b, a, {}, {}, 1e-4, 0.01);
    EXPECT_GT(back, 0);
    EXPECT_NEAR(Get(*b, "N2"), 5 + expected * 10 / 13 + back * Get(*a, "N2") / Sum(*a), 1e-9);
}

TEST(PressurizedVolumeTransfer, SmallDifferencesOnlyMergeAirtightness) {
    auto a = MakeVolume(1, 300, {{"N2", 1.0}});
    auto b = MakeVolume(1, 300, {{"N2", 0.999}});  // about 90 Pa lower
    a->airtightness = 0.3;
    EXPECT_EQ(PressurizedVolume::Transfer(a, b, {}, {}, 1, 1), 0.0);
    EXPECT_EQ(std::tuple(a->airtightness, b->airtightness, Get(*b, "N2")), std::tuple(0.3, 0.3, 0.999));

    // Nothing at all without a hole, a partner or an initialised side.
    a->airtightness = 0;
    b->airtightness = 1;
    EXPECT_EQ(PressurizedVolume::Transfer(a, b, {}, {}, 0, 1), 0.0);
    EXPECT_EQ(PressurizedVolume::Transfer(a, nullptr, {}, {}, 1, 1), 0.0);
    EXPECT_EQ(b->airtightness, 1.0);
}

// A 1 m^2 hole open for a second would pass hundreds of kilograms by the formula alone; the flow
// stops where the pressures are level, and no gram is made or lost.
TEST(PressurizedVolumeTransfer, LargeHoleLevelsPressuresAndConservesMass) {
    auto full = MakeVolume(1, 300, {{"N2", 0.8}, {"O2", 0.2}});
    auto empty = MakeVolume(3, 400);

    const double flow = PressurizedVolume::Transfer(full, empty, {}, {}, 1, 1);
    full->Update(0);
    empty->Update(0);
    EXPECT_NEAR(full->pressure, empty->pressure, 1e-6);
    EXPECT_NEAR(flow, empty->totalMass, 1e-12);
    // Level: n1 300 / 1 = n2 400 / 3, so the empty room takes 9/13 of the moles; a second transfer is 0.
    EXPECT_NEAR(empty->totalMass, 9.0 / 13, 1e-12);
    EXPECT_NEAR(Get(*empty, "O2") / empty->totalMass, 0.2, 1e-12);
    EXPECT_EQ(PressurizedVolume::Transfer(full, empty, {}, {}, 1, 1), 0.0);
}

TEST(PressurizedVolumeTransfer, TraceEntriesBelowAGramVanishFromTheSource) {
    auto a = MakeVolume(1, 300, {{"N2", 1.0}, {"Ar", 0.0015}});
    auto b = MakeVolume(1);
    PressurizedVolume::Transfer(a, b, {}, {}, 1, 1);  // levels at half
    EXPECT_FALSE(a->composition.count("Ar"));
    EXPECT_NEAR(Get(*b, "Ar"), 0.00075, 1e-9);
}

TEST(PressurizedVolumeTransferDeathTest, EmptySourceWithHigherPressureAborts) {
    auto a = MakeVolume(1), b = MakeVolume(1);
    a->pressure = 1000;
    EXPECT_DEATH(PressurizedVolume::Transfer(a, b, {}, {}, 1, 1),
                 "ASSERTION FAILED: \\(a->totalMass > 0\\) in src/game/entity/PressurizedVolume.cpp:");
    EXPECT_DEATH(PressurizedVolume::Transfer(b, a, {}, {}, 1, 1),
                 "ASSERTION FAILED: \\(b->totalMass > 0\\) in src/game/entity/PressurizedVolume.cpp:");
}

namespace {

// Sea-level air by moles, 1.2 kg/m^3, at the ideal-gas pressure of 300 K.
game::physics::EnvironmentInfo Air(double density = 1.2) {
    game::physics::EnvironmentInfo info;
    info.density = density;
    info.composition = {{"N2", 0.79}, {"O2", 0.21}};
    info.pressure = density * R * 300 / kAirMolar;
    return info;
}

}  // namespace

// The outside's share of a formula in a volume of `volume` m^3 at the outside's density.
double OutsideShare(const game::physics::EnvironmentInfo& air, const char* formula, double volume) {
    const double formulaMolar = std::string(formula) == "N2" ? kN2 : kO2;
    return air.density * volume * air.composition.at(formula) * formulaMolar / kAirMolar;
}

// A flow under 10 kg doesn't flow: the inside takes the outside's mixture at its density at once.
TEST(PressurizedVolumeEnvironment, SmallHoleTakesTheOutsideMixtureAndReturnsZero) {
    const auto air = Air();
    const std::vector<std::unordered_map<std::string, double>> starts = {{}, {{"N2", 90.0}, {"O2", 30.0}}};
    for (const auto& start : starts) {
        auto cabin = MakeVolume(20, 300, start);
        ASSERT_LT(std::sqrt(2 * std::abs(cabin->pressure - air.pressure) / ((1.2 + cabin->density) / 2)) * 1e-2, 10);
        EXPECT_EQ(PressurizedVolume::Transfer(cabin, air, {}, {}, 1e-2, 1), 0.0);
        EXPECT_NEAR(Get(*cabin, "N2"), OutsideShare(air, "N2", 20), 1e-12);
        EXPECT_NEAR(Get(*cabin, "O2"), OutsideShare(air, "O2", 20), 1e-12);
        EXPECT_EQ(cabin->airtightness, 0.0);
    }
}

// A larger hole drains a volume that is both at a higher pressure and denser than the outside,
// in the proportions of its content, and returns the flow; never more than the volume holds.
TEST(PressurizedVolumeEnvironment, LargeHoleDrainsADenserVolumeProportionally) {
    const auto air = Air();
    auto tank = MakeVolume(100, 300, {{"N2", 300}, {"O2", 100}});
    const double flow = std::sqrt(2 * (tank->pressure - air.pressure) / ((4 + 1.2) / 2)) * 0.1;
    ASSERT_GE(flow, 10);
    EXPECT_NEAR(PressurizedVolume::Transfer(tank, air, {}, {}, 0.1, 1), flow, 1e-12);
    EXPECT_NEAR(Get(*tank, "O2"), 100 - 100 * flow / 400, 1e-9);

    // A hole that would pass more than the tank holds empties it and says how much left.
    tank->Update(0);
    const double held = tank->totalMass;
    EXPECT_DOUBLE_EQ(PressurizedVolume::Transfer(tank, air, {}, {}, 50, 1), held);
    EXPECT_TRUE(tank->composition.empty());
}

// Otherwise the outside comes in: each entry grows by the flow times its fraction, up to its share
// at the outside's density. A volume at a higher pressure but lighter than the outside (hot gas)
// doesn't drain.
TEST(PressurizedVolumeEnvironment, LargeHoleFillsEachEntryUpToItsShare) {
    const auto air = Air();
    auto cabin = MakeVolume(100, 300);
    const double flow = std::sqrt(2 * air.pressure / 0.6) * 0.02;
    ASSERT_GE(flow, 10);
    EXPECT_NEAR(PressurizedVolume::Transfer(cabin, air, {}, {}, 0.02, 1), flow, 1e-12);
    EXPECT_NEAR(Get(*cabin, "O2"), flow * 0.21, 1e-12);
    ASSERT_LT(flow * 0.79, OutsideShare(air, "N2", 100));

    cabin->Update(0);
    EXPECT_GT(PressurizedVolume::Transfer(cabin, air, {}, {}, 4, 1), 0.0);
    EXPECT_NEAR(Get(*cabin, "N2"), OutsideShare(air, "N2", 100), 1e-12);

    auto hot = MakeVolume(100, 2000, {{"N2", 100}});
    ASSERT_GT(hot->pressure, air.pressure + 100);
    ASSERT_LT(hot->density, air.density);
    EXPECT_GT(PressurizedVolume::Transfer(hot, air, {}, {}, 1, 1), 10.0);
    EXPECT_NEAR(Get(*hot, "O2"), OutsideShare(air, "O2", 100), 1e-12);
}

TEST(PressurizedVolumeEnvironment, EdgeCases) {
    const auto air = Air();
    EXPECT_EQ(PressurizedVolume::Transfer(nullptr, air, {}, {}, 1, 1), 0.0);

    // An outside made only of unknown formulas gives nothing to breathe in.
    auto empty = MakeVolume(1, 300);
    auto strange = air;
    strange.composition = {{"Qq", 1.0}};
    EXPECT_EQ(PressurizedVolume::Transfer(empty, strange, {}, {}, 1.0, 1), 0.0);
    EXPECT_TRUE(empty->composition.empty());

    // A trace of the outside that would hold under a gram doesn't enter.
    auto traced = air;
    traced.composition["Ar"] = 1e-5;
    EXPECT_EQ(PressurizedVolume::Transfer(empty, traced, {}, {}, 1e-3, 1), 0.0);
    EXPECT_FALSE(empty->composition.count("Ar"));
}

namespace {

// An entity kind whose volume is a ball around a centre.
struct Ball : game::entity::ServerSideEntity::Interface {
    Ball(glm::dvec3 c, double r) : centre(c), radius(r) {}
    glm::dvec3 centre;
    double radius;
    bool IsInsideVolume(const glm::dvec3& p) const override { return glm::length(p - centre) < radius; }
};

std::shared_ptr<game::entity::ServerSideEntity> Owner(std::shared_ptr<game::entity::ServerSideEntity::Interface> behaviour) {
    auto e = game::entity::ServerSideEntity::Create<game::entity::ServerSideEntity>(quorl::modular::ModuleID(), "",
                                                                                    game::entity::Id());
    e->deleteFilesOnDestroy = false;
    e->_interface = std::move(behaviour);
    return e;
}

}  // namespace

TEST(PressurizedVolumeRegistry, FindAsksTheOwnersOfTheGroup) {
    using game::entity::ServerSideEntity;
    auto cabinOwner = Owner(std::make_shared<Ball>(glm::dvec3(0.0), 2));
    auto tankOwner = Owner(std::make_shared<Ball>(glm::dvec3(10, 0, 0), 1));
    auto plainOwner = Owner(std::make_shared<ServerSideEntity::Interface>());  // says no to everything
    const game::entity::Id vehicle = game::UniqueId::Generate("ENTT");
    const game::entity::Id otherVehicle = game::UniqueId::Generate("ENTT");

    auto make = [&](const game::entity::Id& group, const std::shared_ptr<ServerSideEntity>& owner, double volume) {
        auto v = PressurizedVolume::Create();
        v->groupId = group;
        v->ownerId = owner->id;
        v->volume = volume;
        return v;
    };
    auto cabin = make(vehicle, cabinOwner, 30);
    auto tank = make(vehicle, tankOwner, 2);
    auto plain = make(vehicle, plainOwner, 5);
    auto unset = make(vehicle, tankOwner, 0);          // not initialised: never found
    auto foreign = make(otherVehicle, cabinOwner, 9);  // the cabin's shape, another group

    auto find = [](const game::entity::Id& group, glm::dvec3 p) {
        std::shared_ptr<PressurizedVolume> found;
        int calls = 0;
        PressurizedVolume::Find(group, p, [&](std::shared_ptr<PressurizedVolume>& v) {
            found = v;
            ++calls;
        });
        EXPECT_LE(calls, 1);
        return found;
    };
    EXPECT_EQ(find(vehicle, {1, 1, 0}), cabin);
    EXPECT_EQ(find(vehicle, {10.5, 0, 0}), tank);
    EXPECT_EQ(find(vehicle, {5, 0, 0}), nullptr);
    EXPECT_EQ(find(otherVehicle, {1, 0, 0}), foreign);

    // An owner that is gone holds nothing.
    ServerSideEntity::Destroy(tankOwner->id);
    tankOwner.reset();
    EXPECT_EQ(find(vehicle, {10.5, 0, 0}), nullptr);

    for (const auto& v : {cabin, tank, plain, unset, foreign}) PressurizedVolume::Destroy(v->id);
    ServerSideEntity::Destroy(cabinOwner->id);
    ServerSideEntity::Destroy(plainOwner->id);
}
