#include "ChemistryFormulaReference.h"  // first: see there

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "game/Chemistry.h"

using game::Element;
using game::Molecule;
using Entries = std::vector<Molecule::Entry>;

namespace {

constexpr double kAmu = 1.6605402e-27;

Entries E(std::initializer_list<std::pair<int, int>> entries) {
    Entries result;
    for (auto [number, count] : entries) result.emplace_back(uint8_t(number), uint8_t(count));
    return result;
}

// Same value up to rounding: the library's sums may group the factors differently.
void ExpectClose(double actual, double expected) { EXPECT_NEAR(actual, expected, std::abs(expected) * 1e-12); }

bool Cached(const std::string& formula) { return Molecule::molecules.count(formula) != 0; }

}  // namespace

TEST(ChemistryElement, TableKeepsTheGameDataOddities) {
    ASSERT_EQ(Element::elements.size(), 119u);
    for (size_t i = 0; i < Element::elements.size(); ++i) EXPECT_EQ(Element::elements[i].number, i);
    struct Row { const char* symbol; size_t number; const char* name; double mass; std::vector<int8_t> valences; };
    for (const Row& row : {Row{"_", 0, "", 0, {}}, Row{"Be", 4, "Berylium", 9.012, {2}},
                           Row{"C", 6, "Carbon", 12.011, {4, -4}}, Row{"Ne", 10, "Neon", 20.18, {}},
                           Row{"Al", 13, "Aluminium", 26.982, {3}}, Row{"P", 15, "Phosphorus", 30.974, {5, 3, -3}},
                           Row{"Ge", 32, "Germanium", 72.631, {4}}, Row{"Kr", 36, "Krypton", 84.798, {}},
                           Row{"Rb", 37, "Rubidium", 84.468, {1}}, Row{"Cs", 55, "Cesium", 132.905, {1}},
                           Row{"Db", 105, "Dubnium", 262, {0}}, Row{"Uut", 113, "Ununtrium", 0, {0}},
                           Row{"Uuo", 118, "Ununoctium", 0, {0}}}) {
        const Element& element = Element::elements[row.number];
        EXPECT_EQ(element.symbol, row.symbol);
        EXPECT_EQ(element.name, row.name) << row.symbol;
        EXPECT_EQ(element.atomicMass, row.mass) << row.symbol;
        EXPECT_EQ(element.valences, row.valences) << row.symbol;
    }
}

TEST(ChemistryMolecule, FormulaIsCanonicalAndMassesSumTheAtoms) {
    // Counts of 1 and 0 are not written; repeated symbols stay apart, in the order of the text.
    for (auto [text, formula] : {std::pair{"H2O", "H2O"}, {"C1O2", "CO2"}, {"H0", "H"}, {"Fe012", "Fe12"},
                                 {"Zz9", ""}, {"CH3CH3", "CH3CH3"}})
        EXPECT_EQ(Molecule(text).Formula(), formula) << text;
    EXPECT_DOUBLE_EQ(Molecule("H2O").Mass(), (2 * 1.008 + 15.999) * kAmu);
    EXPECT_DOUBLE_EQ(Molecule("Uus2").Mass(), 0.0);  // the systematic names weigh nothing
    EXPECT_EQ(Molecule("Xx").GetMolarMass(), 0.0);
    EXPECT_DOUBLE_EQ(Molecule("CH3CH3").GetMolarMass(), (2 * 12.011 + 6 * 1.008) / 1000);

    // An element number outside the table ends the text there; the sums skip it.
    Molecule odd("CO2");
    odd.elements = E({{6, 1}, {200, 2}, {8, 2}});
    EXPECT_EQ(odd.Formula(), "C");
    EXPECT_DOUBLE_EQ(odd.GetMolarMass(), (12.011 + 2 * 15.999) / 1000);
    EXPECT_DOUBLE_EQ(odd.Mass(), (12.011 + 2 * 15.999) * kAmu);
}

TEST(ChemistryMolecule, GaseousIndexOfRefraction) {
    EXPECT_EQ(Molecule("C1O2").GaseousIndexOfRefraction(), 1.000449);  // looked up by Formula()
    // One element counted 2 or 3 times takes its atom's row; 4 times, two entries or no row: the default.
    for (auto [text, index] : {std::pair{"O2", 1.000271}, {"O3", 1.000271}, {"H2", 1.000132}, {"O4", 1.001},
                               {"OO", 1.001}, {"Fe2", 1.001}, {"Qq", 1.001}})
        EXPECT_EQ(Molecule(text).GaseousIndexOfRefraction(), index) << text;
}

TEST(ChemistryMolecule, MaximumLiquidDensityFromTableOrComputed) {
    EXPECT_EQ(Molecule("C1O2").GetMaximumLiquidDensity(), 1600.0);  // the table, by Formula()
    const double ball = 4.0 / 3.0 * 3.14159265358979323846 * 9.2e-11 * 9.2e-11 * 9.2e-11;
    ExpectClose(Molecule("NaCl").GetMaximumLiquidDensity(), (22.99 + 35.453) * kAmu / (2 * ball));

    // Three atoms of one kind are one ball of three radii; systematic names weigh nothing.
    ExpectClose(Molecule("Fe3").GetMaximumLiquidDensity(), 3 * 55.845 * kAmu / (27 * ball));
    EXPECT_EQ(Molecule("Uuo").GetMaximumLiquidDensity(), 0.0);
}

TEST(ChemistryMoleculeDeathTest, NoAtomicVolumeAborts) {
    const char* message = "ASSERTION FAILED: \\(atomicVolume > 0\\) in src/game/Chemistry:109";
    EXPECT_DEATH(Molecule("").GetMaximumLiquidDensity(), message);
    EXPECT_DEATH(Molecule("(OH)2").GetMaximumLiquidDensity(), message);
    EXPECT_DEATH(Molecule("H0").GetMaximumLiquidDensity(), message);
    EXPECT_EQ(Molecule("").Mass(), 0.0);
}

TEST(ChemistryFormula, CountsTruncateToEightBits) {
    EXPECT_EQ(Molecule("H256").elements, E({{1, 0}}));
    EXPECT_EQ(Molecule("O4294967340").elements, E({{8, 44}}));  // 2^32 + 44 wraps like an int
    EXPECT_EQ(Molecule("O99999999999999999999999").elements, E({{8, 255}}));
}

TEST(ChemistryFormula, SameResultAsThePatternOnGeneratedTexts) {
    // Symbols of one to three letters, counts, stray small letters and refused characters.
    const std::vector<std::string> pieces = {"H", "He", "C", "Co", "O", "Cl", "Uut", "Uus", "Na", "X", "Q",
                                             "e", "l", "a", "u", "t", "0", "1", "2", "9", "12", "300",
                                             " ", "(", ")", "-", "\n", std::string(1, '\0'), "\xc3"};
    std::mt19937 random(8);
    std::uniform_int_distribution<size_t> piece(0, pieces.size() - 1), length(0, 7);
    std::set<std::string> texts;
    while (texts.size() < 4000) {
        std::string text;
        for (size_t n = length(random); n > 0; --n) text += pieces[piece(random)];
        texts.insert(text);
    }
    size_t parsed = 0;
    for (const std::string& text : texts) {
        const Entries expected = chemistry_reference::ParseFormula(text);
        EXPECT_EQ(Molecule(text).elements, expected) << '"' << text << '"';
        parsed += !expected.empty();
    }
    EXPECT_GT(parsed, 100u);  // the generator reaches the accepting side too
}

TEST(ChemistryMoleculeCache, WhatIsStored) {
    // Found in the table, which starts with the world's substances.
    EXPECT_EQ(Molecule::molecules.at("NaCl").elements, E({{11, 1}, {17, 1}}));
    const size_t before = Molecule::molecules.size();
    EXPECT_EQ(Molecule("Na").elements, E({{11, 1}}));
    EXPECT_EQ(Molecule::molecules.size(), before);

    // A one- or two-character symbol is looked up and not stored.
    ASSERT_FALSE(Cached("Cu"));
    EXPECT_EQ(Molecule("Cu").elements, E({{29, 1}}));
    EXPECT_EQ(Molecule("_").elements, E({{0, 1}}));  // the placeholder row is a symbol too
    EXPECT_FALSE(Cached("Cu") || Cached("_"));

    // Everything else is parsed and stored, good or bad.
    EXPECT_EQ(Molecule("Cu2").elements, E({{29, 2}}));
    Molecule("Uup");
    EXPECT_EQ(Molecule::molecules.at("Uup").elements, E({{115, 1}}));
    Molecule("");
    Molecule("Yy");
    ASSERT_TRUE(Cached("") && Cached("Yy"));
    EXPECT_TRUE(Molecule::molecules.at("Yy").elements.empty());

    // A stored formula is copied, never parsed again.
    Molecule::molecules.at("Cu2").elements = E({{79, 3}});
    EXPECT_EQ(Molecule("Cu2").elements, E({{79, 3}}));
    Molecule::molecules.at("Cu2").elements = E({{29, 2}});
}

TEST(ChemistryMoleculeCache, ConcurrentMisses) {
    // Fresh formulas, each made and weighed by four threads in different orders.
    std::vector<std::string> formulas;
    for (int i = 0; i < 300; ++i) formulas.push_back("Ag" + std::to_string(i + 2) + "Kr" + std::to_string(i % 7));
    for (const auto& f : formulas) ASSERT_FALSE(Cached(f)) << f;
    Molecule("Na").GetMaximumLiquidDensity();
    const size_t molecules = Molecule::molecules.size();
    const size_t densities = Molecule::liquidMoleculesMaxDensity.size();

    std::vector<std::thread> threads;
    for (unsigned t = 0; t < 4; ++t) {
        threads.emplace_back([&formulas, t] {
            std::vector<std::string> order = formulas;
            std::shuffle(order.begin(), order.end(), std::mt19937(t));
            for (const auto& f : order) {
                Molecule molecule(f);
                molecule.GetMaximumLiquidDensity();
                Molecule("Na").GetMaximumLiquidDensity();
            }
        });
    }
    for (auto& thread : threads) thread.join();

    EXPECT_EQ(Molecule::molecules.size(), molecules + formulas.size());
    std::set<std::string> canonical;
    for (const auto& f : formulas) {
        const Entries entries = chemistry_reference::ParseFormula(f);
        ASSERT_TRUE(Cached(f)) << f;
        EXPECT_EQ(Molecule::molecules.at(f).elements, entries) << f;
        canonical.insert(Molecule(f).Formula());
    }
    EXPECT_EQ(Molecule::liquidMoleculesMaxDensity.size(), densities + canonical.size());
}
