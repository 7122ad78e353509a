#include "ChemistryFormulaReference.h"  // first: see there

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "game/Chemistry.h"

using game::Element;
using game::Molecule;
using Entries = std::vector<Molecule::Entry>;

namespace {

constexpr double kAmu = 1.6605402e-27;

// The periodic table as the game defines it, written as data: symbol, number, name, atomic mass,
// valences separated by ';'. Deliberate oddities: "Berylium", "Aluminium", "Cesium", the masses
// of Ge, Kr and Rb, mass 0 for the four systematic names.
const char* const kPeriodicTable = R"(_,0,,0,
H,1,Hydrogen,1.008,1
He,2,Helium,4.003,
Li,3,Lithium,6.941,1
Be,4,Berylium,9.012,2
B,5,Boron,10.811,3
C,6,Carbon,12.011,4;-4
N,7,Nitrogen,14.007,5;-3
O,8,Oxygen,15.999,-2
F,9,Fluorine,18.998,-1
Ne,10,Neon,20.18,
Na,11,Sodium,22.99,1
Mg,12,Magnesium,24.305,2
Al,13,Aluminium,26.982,3
Si,14,Silicon,28.086,4
P,15,Phosphorus,30.974,5;3;-3
S,16,Sulfur,32.066,6;-2
Cl,17,Chlorine,35.453,-1
Ar,18,Argon,39.948,
K,19,Potassium,39.098,1
Ca,20,Calcium,40.078,2
Sc,21,Scandium,44.956,3
Ti,22,Titanium,47.867,4
V,23,Vanadium,50.942,5;4;3
Cr,24,Chromium,51.996,6;3;2
Mn,25,Manganese,54.938,7;4;2
Fe,26,Iron,55.845,3;2
Co,27,Cobalt,58.933,3;2
Ni,28,Nickel,58.693,2
Cu,29,Copper,63.546,2;1
Zn,30,Zinc,65.38,2
Ga,31,Gallium,69.723,3
Ge,32,Germanium,72.631,4
As,33,Arsenic,74.922,5;3
Se,34,Selenium,78.971,4;-2
Br,35,Bromine,79.904,5;-1
Kr,36,Krypton,84.798,
Rb,37,Rubidium,84.468,1
Sr,38,Strontium,87.62,2
Y,39,Yttrium,88.906,3
Zr,40,Zirconium,91.224,4
Nb,41,Niobium,92.906,5
Mo,42,Molybdenum,95.95,6;4
Tc,43,Technetium,98.907,7;4
Ru,44,Ruthenium,101.07,4;3
Rh,45,Rhodium,102.906,3
Pd,46,Palladium,106.42,4;2
Ag,47,Silver,107.868,1
Cd,48,Cadmium,112.414,2
In,49,Indium,114.818,3
Sn,50,Tin,118.711,2;-4
Sb,51,Antimony,121.76,3
Te,52,Tellurium,127.6,4
I,53,Iodine,126.904,5;-1
Xe,54,Xenon,131.294,
Cs,55,Cesium,132.905,1
Ba,56,Barium,137.328,2
La,57,Lanthanum,138.905,3
Ce,58,Cerium,140.116,3
Pr,59,Praseodymium,140.908,3
Nd,60,Neodymium,144.243,3
Pm,61,Promethium,144.913,3
Sm,62,Samarium,150.36,3
Eu,63,Europium,151.964,3
Gd,64,Gadolinium,157.25,3
Tb,65,Terbium,158.925,3
Dy,66,Dysprosium,162.5,3
Ho,67,Holmium,164.93,3
Er,68,Erbium,167.259,3
Tm,69,Thulium,168.934,3
Yb,70,Ytterbium,173.055,3
Lu,71,Lutetium,174.967,3
Hf,72,Hafnium,178.49,4
Ta,73,Tantalum,180.948,5
W,74,Tungsten,183.84,6;4
Re,75,Rhenium,186.207,5;4;3
Os,76,Osmium,190.23,4
Ir,77,Iridium,192.217,4;3
Pt,78,Platinum,195.085,4;2
Au,79,Gold,196.967,3
Hg,80,Mercury,200.592,2;1
Tl,81,Thallium,204.383,3;1
Pb,82,Lead,207.2,2
Bi,83,Bismuth,208.98,3
Po,84,Polonium,208.982,4
At,85,Astatine,209.987,-1
Rn,86,Radon,222.018,
Fr,87,Francium,223.02,1
Ra,88,Radium,226.025,2
Ac,89,Actinium,227.028,3
Th,90,Thorium,232.038,4
Pa,91,Protactinium,231.036,5
U,92,Uranium,238.029,6
Np,93,Neptunium,237.048,7
Pu,94,Plutonium,244.064,7;4
Am,95,Americium,243.061,3
Cm,96,Curium,247.07,3
Bk,97,Berkelium,247.07,3
Cf,98,Californium,251.08,3
Es,99,Einsteinium,254,3
Fm,100,Fermium,257.095,3
Md,101,Mendelevium,258.1,3
No,102,Nobelium,259.101,3
Lr,103,Lawrencium,262,3
Rf,104,Rutherfordium,261,4
Db,105,Dubnium,262,0
Sg,106,Seaborgium,266,0
Bh,107,Bohrium,264,0
Hs,108,Hassium,269,0
Mt,109,Meitnerium,268,0
Ds,110,Darmstadtium,269,0
Rg,111,Roentgenium,272,0
Cn,112,Copernicium,277,0
Uut,113,Ununtrium,0,0
Fl,114,Flerovium,289,0
Uup,115,Ununpentium,0,0
Lv,116,Livermorium,298,0
Uus,117,Ununseptium,0,0
Uuo,118,Ununoctium,0,0
)";

std::vector<std::string> Split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::string part;
    std::istringstream in(text);
    while (std::getline(in, part, separator)) parts.push_back(part);
    if (!text.empty() && text.back() == separator) parts.emplace_back();
    return parts;
}

Entries E(std::initializer_list<std::pair<int, int>> entries) {
    Entries result;
    for (auto [number, count] : entries) result.emplace_back(uint8_t(number), uint8_t(count));
    return result;
}

// Same value up to rounding: the library's sums may group the factors differently.
void ExpectClose(double actual, double expected) { EXPECT_NEAR(actual, expected, std::abs(expected) * 1e-12); }

bool Cached(const std::string& formula) { return Molecule::molecules.count(formula) != 0; }

}  // namespace

TEST(ChemistryElement, TableMatchesTheGameData) {
    std::istringstream rows(kPeriodicTable);
    std::string row;
    size_t count = 0;
    while (std::getline(rows, row)) {
        auto fields = Split(row, ',');
        ASSERT_EQ(fields.size(), 5u) << row;
        const size_t number = std::stoul(fields[1]);
        ASSERT_EQ(number, count) << "rows out of order at " << row;
        ASSERT_LT(number, Element::elements.size());
        const Element& element = Element::elements[number];
        EXPECT_EQ(element.number, number) << row;
        EXPECT_EQ(element.symbol, fields[0]) << row;
        EXPECT_EQ(element.name, fields[2]) << row;
        EXPECT_EQ(element.atomicMass, std::stod(fields[3])) << row;
        std::vector<int8_t> valences;
        if (!fields[4].empty()) {
            for (const auto& v : Split(fields[4], ';')) valences.push_back(int8_t(std::stoi(v)));
        }
        EXPECT_EQ(element.valences, valences) << row;
        ++count;
    }
    EXPECT_EQ(count, 119u);
    EXPECT_EQ(Element::elements.size(), count);
}

TEST(ChemistryElement, BySymbolPointsIntoTheTable) {
    ASSERT_EQ(Element::elementsBySymbol.size(), Element::elements.size());
    for (const Element& element : Element::elements) {
        auto found = Element::elementsBySymbol.find(element.symbol);
        ASSERT_NE(found, Element::elementsBySymbol.end()) << element.symbol;
        EXPECT_EQ(found->second, &element) << element.symbol;
    }
    EXPECT_EQ(Element::elementsBySymbol.at("_")->number, 0);
    EXPECT_EQ(Element::elementsBySymbol.count(""), 0u);
}

TEST(ChemistryMolecule, MolarMassesAndMass) {
    EXPECT_DOUBLE_EQ(Molecule("H2O").GetMolarMass(), (2 * 1.008 + 15.999) / 1000);
    EXPECT_DOUBLE_EQ(Molecule("CH4").GetMolarMass(), (12.011 + 4 * 1.008) / 1000);
    EXPECT_DOUBLE_EQ(Molecule("CO2").GetMolarMass(), (12.011 + 2 * 15.999) / 1000);
    EXPECT_DOUBLE_EQ(Molecule("NaCl").GetMolarMass(), (22.99 + 35.453) / 1000);

    EXPECT_DOUBLE_EQ(Molecule("H2O").Mass(), (2 * 1.008 + 15.999) * kAmu);
    EXPECT_DOUBLE_EQ(Molecule("Uus2").Mass(), 0.0);  // the systematic names weigh nothing
    EXPECT_EQ(Molecule("Xx").Mass(), 0.0);
    EXPECT_EQ(Molecule("Xx").GetMolarMass(), 0.0);
}

TEST(ChemistryMolecule, Constants) {
    Molecule water("H2O");
    EXPECT_EQ(water.HeatCapacity(), 1.0);
    EXPECT_EQ(water.LiquidIndexOfRefraction(), 1.33);
    EXPECT_EQ(water.SolidIndexOfRefraction(), 1.45);
}

TEST(ChemistryMolecule, FormulaIsCanonical) {
    EXPECT_EQ(Molecule("H2O").Formula(), "H2O");
    EXPECT_EQ(Molecule("C1O2").Formula(), "CO2");  // a count of 1 is not written
    EXPECT_EQ(Molecule("H0").Formula(), "H");      // nor is a count of 0
    EXPECT_EQ(Molecule("Fe012").Formula(), "Fe12");
    EXPECT_EQ(Molecule("Zz9").Formula(), "");

    // An element number outside the table ends the text there; the sums skip it.
    Molecule odd("CO2");
    odd.elements = E({{6, 1}, {200, 2}, {8, 2}});
    EXPECT_EQ(odd.Formula(), "C");
    EXPECT_DOUBLE_EQ(odd.GetMolarMass(), (12.011 + 2 * 15.999) / 1000);
    EXPECT_DOUBLE_EQ(odd.Mass(), (12.011 + 2 * 15.999) * kAmu);
}

TEST(ChemistryMolecule, GaseousIndexOfRefraction) {
    EXPECT_EQ(Molecule("CO2").GaseousIndexOfRefraction(), 1.000449);
    EXPECT_EQ(Molecule("C1O2").GaseousIndexOfRefraction(), 1.000449);  // looked up by Formula()
    EXPECT_EQ(Molecule("N").GaseousIndexOfRefraction(), 1.000298);
    // One element counted 2 or 3 times takes its atom's row.
    EXPECT_EQ(Molecule("O2").GaseousIndexOfRefraction(), 1.000271);
    EXPECT_EQ(Molecule("O3").GaseousIndexOfRefraction(), 1.000271);
    EXPECT_EQ(Molecule("H2").GaseousIndexOfRefraction(), 1.000132);
    EXPECT_EQ(Molecule("Cl2").GaseousIndexOfRefraction(), 1.000773);
    EXPECT_EQ(Molecule("O4").GaseousIndexOfRefraction(), 1.001);
    EXPECT_EQ(Molecule("OO").GaseousIndexOfRefraction(), 1.001);  // two entries, not one
    EXPECT_EQ(Molecule("Fe2").GaseousIndexOfRefraction(), 1.001);  // no row for the atom
    EXPECT_EQ(Molecule("Qq").GaseousIndexOfRefraction(), 1.001);
    EXPECT_EQ(Molecule::gasMoleculesIndexOfRefraction.size(), 30u);
}

TEST(ChemistryMolecule, MaximumLiquidDensityFromTable) {
    EXPECT_EQ(Molecule("CO2").GetMaximumLiquidDensity(), 1600.0);
    EXPECT_EQ(Molecule("H2O").GetMaximumLiquidDensity(), 1000.0);
    EXPECT_EQ(Molecule("H2").GetMaximumLiquidDensity(), 100.0);
    EXPECT_EQ(Molecule("CH4").GetMaximumLiquidDensity(), 400.0);
    EXPECT_EQ(Molecule("O2").GetMaximumLiquidDensity(), 1600.0);
    EXPECT_EQ(Molecule("C1O2").GetMaximumLiquidDensity(), 1600.0);
}

TEST(ChemistryMolecule, MaximumLiquidDensityComputedOnceThenServed) {
    const double ball = 4.0 / 3.0 * 3.14159265358979323846 * 9.2e-11 * 9.2e-11 * 9.2e-11;
    Molecule salt("NaCl");
    const double expected = (22.99 + 35.453) * kAmu / (2 * ball);
    ExpectClose(salt.GetMaximumLiquidDensity(), expected);
    auto stored = Molecule::liquidMoleculesMaxDensity.find("NaCl");
    ASSERT_NE(stored, Molecule::liquidMoleculesMaxDensity.end());
    ExpectClose(stored->second, expected);

    // The second call takes the stored value and computes nothing.
    stored->second = 1234.5;
    EXPECT_EQ(Molecule("NaCl").GetMaximumLiquidDensity(), 1234.5);
    stored->second = expected;

    // The count scales the radius: three atoms of one kind are one ball of three radii.
    ExpectClose(Molecule("Fe3").GetMaximumLiquidDensity(), 3 * 55.845 * kAmu / (27 * ball));
    // The systematic names have mass 0, and so has their liquid.
    EXPECT_EQ(Molecule("Uuo").GetMaximumLiquidDensity(), 0.0);
}

TEST(ChemistryMoleculeDeathTest, NoAtomicVolumeAborts) {
    const char* message = "ASSERTION FAILED: \\(atomicVolume > 0\\) in src/game/Chemistry:109";
    EXPECT_DEATH(Molecule("").GetMaximumLiquidDensity(), message);
    EXPECT_DEATH(Molecule("(OH)2").GetMaximumLiquidDensity(), message);
    EXPECT_DEATH(Molecule("H0").GetMaximumLiquidDensity(), message);
    EXPECT_EQ(Molecule("").Mass(), 0.0);
}

TEST(ChemistryFormula, Terms) {
    EXPECT_EQ(Molecule("H2O").elements, E({{1, 2}, {8, 1}}));
    EXPECT_EQ(Molecule("C6H6").elements, E({{6, 6}, {1, 6}}));
    EXPECT_EQ(Molecule("C5H12").elements, E({{6, 5}, {1, 12}}));
    // The symbol takes as many small letters as match.
    EXPECT_EQ(Molecule("Cl2").elements, E({{17, 2}}));
    EXPECT_EQ(Molecule("CO").elements, E({{6, 1}, {8, 1}}));
    EXPECT_EQ(Molecule("Co").elements, E({{27, 1}}));
    EXPECT_EQ(Molecule("Uut").elements, E({{113, 1}}));
    EXPECT_EQ(Molecule("Uus2").elements, E({{117, 2}}));
    EXPECT_EQ(Molecule("H007").elements, E({{1, 7}}));
    // Repeated symbols stay apart, in the order of the text.
    EXPECT_EQ(Molecule("CH3CH3").elements, E({{6, 1}, {1, 3}, {6, 1}, {1, 3}}));
    EXPECT_EQ(Molecule("CH3CH3").Formula(), "CH3CH3");
    EXPECT_DOUBLE_EQ(Molecule("CH3CH3").GetMolarMass(), (2 * 12.011 + 6 * 1.008) / 1000);
}

TEST(ChemistryFormula, CountsTruncateToEightBits) {
    EXPECT_EQ(Molecule("H0").elements, E({{1, 0}}));
    EXPECT_EQ(Molecule("H255").elements, E({{1, 255}}));
    EXPECT_EQ(Molecule("H256").elements, E({{1, 0}}));
    EXPECT_EQ(Molecule("H300").elements, E({{1, 44}}));
    EXPECT_EQ(Molecule("H300").Formula(), "H44");
    EXPECT_EQ(Molecule("O4294967340").elements, E({{8, 44}}));  // 2^32 + 44 wraps like an int
    EXPECT_EQ(Molecule("O99999999999999999999999").elements, E({{8, 255}}));
}

TEST(ChemistryFormula, RejectedTextsGiveTheEmptyMolecule) {
    for (const char* text : {"", "h2o", "H2 O", " H2O", "H2O ", "(OH)2", "H-2", "H+", "2H", "Xx2", "Heee",
                             "Abc", "NaCl\n", "H\r", "__", "OH-", "H2o"}) {
        Molecule molecule(text);
        EXPECT_TRUE(molecule.elements.empty()) << '"' << text << '"';
        EXPECT_EQ(molecule.Mass(), 0.0) << text;
    }
    // An unknown symbol after good ones drops what was collected.
    EXPECT_TRUE(Molecule("H2OXx").elements.empty());
    // Embedded NUL is just another bad character.
    EXPECT_TRUE(Molecule(std::string("H2\0O", 4)).elements.empty());
}

TEST(ChemistryFormula, SameResultAsThePatternOnGeneratedTexts) {
    // Pieces that exercise the grammar's corners: symbols of one to three letters, counts,
    // small letters that make a symbol too long, and characters the grammar refuses.
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

TEST(ChemistryMoleculeCache, InitialContent) {
    const std::vector<std::pair<std::string, Entries>> initial = {
        {"H2", E({{1, 2}})},
        {"N", E({{7, 1}})},
        {"O2", E({{8, 2}})},
        {"NaCl", E({{11, 1}, {17, 1}})},
        {"C5H12", E({{6, 5}, {1, 12}})},
        {"SO2", E({{16, 1}, {8, 2}})},
        {"Ti", E({{22, 1}})},
    };
    for (const auto& [formula, entries] : initial) {
        auto found = Molecule::molecules.find(formula);
        ASSERT_NE(found, Molecule::molecules.end()) << formula;
        EXPECT_EQ(found->second.elements, entries) << formula;
    }
    EXPECT_EQ(Molecule::liquidMoleculesMaxDensity.count("CO2"), 1u);
}

TEST(ChemistryMoleculeCache, WhatIsStored) {
    // Found in the table.
    ASSERT_TRUE(Cached("Na"));
    const size_t before = Molecule::molecules.size();
    EXPECT_EQ(Molecule("Na").elements, E({{11, 1}}));
    EXPECT_EQ(Molecule::molecules.size(), before);

    // A one- or two-character symbol is looked up and not stored.
    ASSERT_FALSE(Cached("Cu"));
    EXPECT_EQ(Molecule("Cu").elements, E({{29, 1}}));
    EXPECT_EQ(Molecule("U").elements, E({{92, 1}}));
    EXPECT_EQ(Molecule("_").elements, E({{0, 1}}));  // the placeholder row is a symbol too
    EXPECT_FALSE(Cached("Cu"));
    EXPECT_FALSE(Cached("U"));
    EXPECT_FALSE(Cached("_"));

    // Everything else is parsed and stored, good or bad.
    EXPECT_EQ(Molecule("Cu2").elements, E({{29, 2}}));
    EXPECT_TRUE(Cached("Cu2"));
    EXPECT_EQ(Molecule::molecules.at("Cu2").elements, E({{29, 2}}));
    Molecule("Uup");
    EXPECT_EQ(Molecule::molecules.at("Uup").elements, E({{115, 1}}));
    Molecule("Pb1");
    EXPECT_EQ(Molecule::molecules.at("Pb1").elements, E({{82, 1}}));
    Molecule("");
    ASSERT_TRUE(Cached(""));
    EXPECT_TRUE(Molecule::molecules.at("").elements.empty());
    Molecule("Yy");
    ASSERT_TRUE(Cached("Yy"));
    EXPECT_TRUE(Molecule::molecules.at("Yy").elements.empty());

    // A stored formula is copied, never parsed again.
    Molecule::molecules.at("Cu2").elements = E({{79, 3}});
    EXPECT_EQ(Molecule("Cu2").elements, E({{79, 3}}));
    Molecule::molecules.at("Cu2").elements = E({{29, 2}});

    // One entry per distinct text.
    const size_t size = Molecule::molecules.size();
    for (int i = 0; i < 3; ++i) {
        Molecule("Cu2");
        Molecule("");
        Molecule("Yy");
    }
    EXPECT_EQ(Molecule::molecules.size(), size);
}

TEST(ChemistryMoleculeCache, ConcurrentMisses) {
    // Fresh formulas, each made and weighed by every thread in a different order.
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
