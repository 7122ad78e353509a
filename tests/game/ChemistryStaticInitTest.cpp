// Reads the chemistry tables from a static initialiser of this translation unit, as hosts and
// modules may: they must be complete by then.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "game/Chemistry.h"

namespace {

struct EarlyView {
    size_t elements = 0;
    size_t bySymbol = 0;
    std::string iron;
    std::set<std::string> moleculeKeys;
    double waterMolarMass = 0;
    double waterDensity = 0;
    double oxygenRefraction = 0;
};

EarlyView Look() {
    EarlyView view;
    view.elements = game::Element::elements.size();
    view.bySymbol = game::Element::elementsBySymbol.size();
    auto iron = game::Element::elementsBySymbol.find("Fe");
    if (iron != game::Element::elementsBySymbol.end()) view.iron = iron->second->name;
    for (const auto& entry : game::Molecule::molecules) view.moleculeKeys.insert(entry.first);
    game::Molecule water("H2O");
    view.waterMolarMass = water.GetMolarMass();
    view.waterDensity = water.GetMaximumLiquidDensity();
    view.oxygenRefraction = game::Molecule("O3").GaseousIndexOfRefraction();
    return view;
}

const EarlyView early = Look();

}  // namespace

TEST(ChemistryStaticInit, TablesCompleteBeforeOtherInitialisers) {
    EXPECT_EQ(early.elements, 119u);
    EXPECT_EQ(early.bySymbol, 119u);
    EXPECT_EQ(early.iron, "Iron");
    // Before anything else ran, the table held exactly the world's substances.
    const std::set<std::string> initial = {"H2", "N",  "He",  "Ne",   "F",   "Ar",  "Xe",  "Cl",
                                           "Se", "O2", "CO2", "H2O",  "Si",  "Al",  "Fe",  "Ca",
                                           "Na", "NaCl", "K", "Mg",   "Ti",  "CO",  "CH4", "NH3",
                                           "C6H6", "CS2", "HCl", "NO", "N2O", "C5H12", "SO2"};
    EXPECT_EQ(early.moleculeKeys, initial);
    EXPECT_DOUBLE_EQ(early.waterMolarMass, (2 * 1.008 + 15.999) / 1000);
    EXPECT_EQ(early.waterDensity, 1000.0);
    EXPECT_EQ(early.oxygenRefraction, 1.000271);
}
