// The chemistry tables, read from a static initialiser as hosts and modules may, are complete by then.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "game/Chemistry.h"

namespace {

struct EarlyView {
    size_t elements = game::Element::elements.size(), bySymbol = game::Element::elementsBySymbol.size();
    std::string iron = game::Element::elementsBySymbol.count("Fe") ? game::Element::elementsBySymbol.at("Fe")->name : "";
    std::set<std::string> moleculeKeys = [] {
        std::set<std::string> keys;
        for (const auto& entry : game::Molecule::molecules) keys.insert(entry.first);
        return keys;
    }();
    double waterMolarMass = game::Molecule("H2O").GetMolarMass();
    double waterDensity = game::Molecule("H2O").GetMaximumLiquidDensity();
    double oxygenRefraction = game::Molecule("O3").GaseousIndexOfRefraction();
};

const EarlyView early;

}  // namespace

TEST(ChemistryStaticInit, TablesCompleteBeforeOtherInitialisers) {
    EXPECT_EQ(early.elements, 119u);
    EXPECT_EQ(early.bySymbol, 119u);
    EXPECT_EQ(early.iron, "Iron");
    // Before anything else ran, the table held exactly the world's substances.
    const std::set<std::string> initial = {"H2", "N", "He", "Ne", "F", "Ar", "Xe", "Cl", "Se", "O2", "CO2",
                                           "H2O", "Si", "Al", "Fe", "Ca", "Na", "NaCl", "K", "Mg", "Ti", "CO",
                                           "CH4", "NH3", "C6H6", "CS2", "HCl", "NO", "N2O", "C5H12", "SO2"};
    EXPECT_EQ(early.moleculeKeys, initial);
    EXPECT_DOUBLE_EQ(early.waterMolarMass, (2 * 1.008 + 15.999) / 1000);
    EXPECT_EQ(early.waterDensity, 1000.0);
    EXPECT_EQ(early.oxygenRefraction, 1.000271);
}
