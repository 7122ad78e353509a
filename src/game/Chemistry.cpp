#include "game/Chemistry.h"

#include <cmath>
#include <cstdlib>
#include <mutex>
#include <shared_mutex>

#include "game/AssertSites.h"
#include "quorl/Assert.h"
#include "quorl/SharedMutex.h"

// The five tables below are built in this order, and before every ordinary static initialiser of
// the library: init_priority puts them at the head of the shared object's initialisers, whatever
// the link order of the other translation units. Within this file, definitions of one priority
// run top to bottom, and `molecules` needs `elementsBySymbol` to parse its keys.
#define ZENDOLA_CHEMISTRY_TABLE [[gnu::init_priority(101)]]

namespace game {

namespace {

// Guards the two growing tables, `molecules` and `liquidMoleculesMaxDensity`. Never destroyed,
// so that constructors called from late static destructors still find it.
quorl::SharedMutex& TablesMutex() {
    static quorl::SharedMutex* mutex = new quorl::SharedMutex;
    return *mutex;
}

bool IsUpper(char c) { return c >= 'A' && c <= 'Z'; }
bool IsLower(char c) { return c >= 'a' && c <= 'z'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// The formula grammar, matched term by term as the pattern
//   ^([A-Z][a-z]{0,2})([0-9]*)([A-Z].*$|$)
// would match it, repeatedly, against what is left of the text: group 1 is the symbol, group 2
// the count, group 3 the rest, which must be empty or start with a capital. Written out by hand
// because a backtracking regex engine recurses once per character of the rest, which overflows
// the stack on long input; the result is the same for every text. An empty result is the only
// failure signal: a text that does not match, or an unknown symbol, drops what was collected.
std::vector<Molecule::Entry> GetElementsFromFormula(const std::string& formula) {
    std::vector<Molecule::Entry> result;
    const size_t size = formula.size();
    size_t at = 0;
    do {
        if (at >= size || !IsUpper(formula[at])) return {};
        size_t symbolEnd = at + 1;
        while (symbolEnd < size && symbolEnd - at < 3 && IsLower(formula[symbolEnd])) ++symbolEnd;
        size_t countEnd = symbolEnd;
        while (countEnd < size && IsDigit(formula[countEnd])) ++countEnd;
        // Fewer small letters or digits would leave a small letter or a digit next, so no
        // other split can match when this one fails.
        if (countEnd < size && !IsUpper(formula[countEnd])) return {};

        auto found = Element::elementsBySymbol.find(formula.substr(at, symbolEnd - at));
        if (found == Element::elementsBySymbol.end()) return {};

        // The count is atoi's, truncated to 8 bits unchecked: "300" gives 44, "256" gives 0.
        // atoi is (int)strtol here; strtol keeps a huge count defined (LONG_MAX, so 255).
        uint8_t count = 1;
        if (countEnd > symbolEnd) {
            count = static_cast<uint8_t>(
                static_cast<int>(std::strtol(formula.c_str() + symbolEnd, nullptr, 10)));
        }
        result.emplace_back(found->second->number, count);
        at = countEnd;
    } while (at < size);
    return result;
}

constexpr double kAtomicMassUnit = 1.6605402e-27;  // kilograms
constexpr double kFourThirdsPi = 4.1887902047863905;
constexpr double kAtomRadius = 9.2e-11;  // metres

}  // namespace

ZENDOLA_CHEMISTRY_TABLE const std::unordered_map<std::string, double>
    Molecule::gasMoleculesIndexOfRefraction = {
        {"H", 1.000132},   {"He", 1.000035},  {"Ne", 1.000067},   {"F", 1.000195},
        {"O", 1.000271},   {"Ar", 1.000281},  {"N", 1.000298},    {"Kr", 1.000427},
        {"Xe", 1.000702},  {"Cl", 1.000773},  {"Se", 1.000895},   {"Hg", 1.000933},
        {"Te", 1.000991},  {"S", 1.001111},   {"Br", 1.001132},   {"P", 1.001212},
        {"As", 1.001552},  {"Zn", 1.002},     {"CO", 1.000338},   {"CO2", 1.000449},
        {"NH3", 1.000376}, {"C6H6", 1.001762}, {"CS2", 1.001481}, {"HCl", 1.000447},
        {"NO", 1.000297},  {"N2O", 1.000516}, {"C5H12", 1.000686}, {"SO2", 1.000686},
        {"H2O", 1.000261}, {"CH4", 1.000444},
};

ZENDOLA_CHEMISTRY_TABLE std::unordered_map<std::string, double> Molecule::liquidMoleculesMaxDensity = {
    {"H2", 100.0}, {"CH4", 400.0}, {"H2O", 1000.0}, {"O2", 1600.0}, {"CO2", 1600.0},
};

ZENDOLA_CHEMISTRY_TABLE const std::vector<Element> Element::elements = {
    {0, "_", "", 0.0, {}},
    {1, "H", "Hydrogen", 1.008, {1}},
    {2, "He", "Helium", 4.003, {}},
    {3, "Li", "Lithium", 6.941, {1}},
    {4, "Be", "Berylium", 9.012, {2}},
    {5, "B", "Boron", 10.811, {3}},
    {6, "C", "Carbon", 12.011, {4, -4}},
    {7, "N", "Nitrogen", 14.007, {5, -3}},
    {8, "O", "Oxygen", 15.999, {-2}},
    {9, "F", "Fluorine", 18.998, {-1}},
    {10, "Ne", "Neon", 20.18, {}},
    {11, "Na", "Sodium", 22.99, {1}},
    {12, "Mg", "Magnesium", 24.305, {2}},
    {13, "Al", "Aluminium", 26.982, {3}},
    {14, "Si", "Silicon", 28.086, {4}},
    {15, "P", "Phosphorus", 30.974, {5, 3, -3}},
    {16, "S", "Sulfur", 32.066, {6, -2}},
    {17, "Cl", "Chlorine", 35.453, {-1}},
    {18, "Ar", "Argon", 39.948, {}},
    {19, "K", "Potassium", 39.098, {1}},
    {20, "Ca", "Calcium", 40.078, {2}},
    {21, "Sc", "Scandium", 44.956, {3}},
    {22, "Ti", "Titanium", 47.867, {4}},
    {23, "V", "Vanadium", 50.942, {5, 4, 3}},
    {24, "Cr", "Chromium", 51.996, {6, 3, 2}},
    {25, "Mn", "Manganese", 54.938, {7, 4, 2}},
    {26, "Fe", "Iron", 55.845, {3, 2}},
    {27, "Co", "Cobalt", 58.933, {3, 2}},
    {28, "Ni", "Nickel", 58.693, {2}},
    {29, "Cu", "Copper", 63.546, {2, 1}},
    {30, "Zn", "Zinc", 65.38, {2}},
    {31, "Ga", "Gallium", 69.723, {3}},
    {32, "Ge", "Germanium", 72.631, {4}},
    {33, "As", "Arsenic", 74.922, {5, 3}},
    {34, "Se", "Selenium", 78.971, {4, -2}},
    {35, "Br", "Bromine", 79.904, {5, -1}},
    {36, "Kr", "Krypton", 84.798, {}},
    {37, "Rb", "Rubidium", 84.468, {1}},
    {38, "Sr", "Strontium", 87.62, {2}},
    {39, "Y", "Yttrium", 88.906, {3}},
    {40, "Zr", "Zirconium", 91.224, {4}},
    {41, "Nb", "Niobium", 92.906, {5}},
    {42, "Mo", "Molybdenum", 95.95, {6, 4}},
    {43, "Tc", "Technetium", 98.907, {7, 4}},
    {44, "Ru", "Ruthenium", 101.07, {4, 3}},
    {45, "Rh", "Rhodium", 102.906, {3}},
    {46, "Pd", "Palladium", 106.42, {4, 2}},
    {47, "Ag", "Silver", 107.868, {1}},
    {48, "Cd", "Cadmium", 112.414, {2}},
    {49, "In", "Indium", 114.818, {3}},
    {50, "Sn", "Tin", 118.711, {2, -4}},
    {51, "Sb", "Antimony", 121.76, {3}},
    {52, "Te", "Tellurium", 127.6, {4}},
    {53, "I", "Iodine", 126.904, {5, -1}},
    {54, "Xe", "Xenon", 131.294, {}},
    {55, "Cs", "Cesium", 132.905, {1}},
    {56, "Ba", "Barium", 137.328, {2}},
    {57, "La", "Lanthanum", 138.905, {3}},
    {58, "Ce", "Cerium", 140.116, {3}},
    {59, "Pr", "Praseodymium", 140.908, {3}},
    {60, "Nd", "Neodymium", 144.243, {3}},
    {61, "Pm", "Promethium", 144.913, {3}},
    {62, "Sm", "Samarium", 150.36, {3}},
    {63, "Eu", "Europium", 151.964, {3}},
    {64, "Gd", "Gadolinium", 157.25, {3}},
    {65, "Tb", "Terbium", 158.925, {3}},
    {66, "Dy", "Dysprosium", 162.5, {3}},
    {67, "Ho", "Holmium", 164.93, {3}},
    {68, "Er", "Erbium", 167.259, {3}},
    {69, "Tm", "Thulium", 168.934, {3}},
    {70, "Yb", "Ytterbium", 173.055, {3}},
    {71, "Lu", "Lutetium", 174.967, {3}},
    {72, "Hf", "Hafnium", 178.49, {4}},
    {73, "Ta", "Tantalum", 180.948, {5}},
    {74, "W", "Tungsten", 183.84, {6, 4}},
    {75, "Re", "Rhenium", 186.207, {5, 4, 3}},
    {76, "Os", "Osmium", 190.23, {4}},
    {77, "Ir", "Iridium", 192.217, {4, 3}},
    {78, "Pt", "Platinum", 195.085, {4, 2}},
    {79, "Au", "Gold", 196.967, {3}},
    {80, "Hg", "Mercury", 200.592, {2, 1}},
    {81, "Tl", "Thallium", 204.383, {3, 1}},
    {82, "Pb", "Lead", 207.2, {2}},
    {83, "Bi", "Bismuth", 208.98, {3}},
    {84, "Po", "Polonium", 208.982, {4}},
    {85, "At", "Astatine", 209.987, {-1}},
    {86, "Rn", "Radon", 222.018, {}},
    {87, "Fr", "Francium", 223.02, {1}},
    {88, "Ra", "Radium", 226.025, {2}},
    {89, "Ac", "Actinium", 227.028, {3}},
    {90, "Th", "Thorium", 232.038, {4}},
    {91, "Pa", "Protactinium", 231.036, {5}},
    {92, "U", "Uranium", 238.029, {6}},
    {93, "Np", "Neptunium", 237.048, {7}},
    {94, "Pu", "Plutonium", 244.064, {7, 4}},
    {95, "Am", "Americium", 243.061, {3}},
    {96, "Cm", "Curium", 247.07, {3}},
    {97, "Bk", "Berkelium", 247.07, {3}},
    {98, "Cf", "Californium", 251.08, {3}},
    {99, "Es", "Einsteinium", 254.0, {3}},
    {100, "Fm", "Fermium", 257.095, {3}},
    {101, "Md", "Mendelevium", 258.1, {3}},
    {102, "No", "Nobelium", 259.101, {3}},
    {103, "Lr", "Lawrencium", 262.0, {3}},
    {104, "Rf", "Rutherfordium", 261.0, {4}},
    {105, "Db", "Dubnium", 262.0, {0}},
    {106, "Sg", "Seaborgium", 266.0, {0}},
    {107, "Bh", "Bohrium", 264.0, {0}},
    {108, "Hs", "Hassium", 269.0, {0}},
    {109, "Mt", "Meitnerium", 268.0, {0}},
    {110, "Ds", "Darmstadtium", 269.0, {0}},
    {111, "Rg", "Roentgenium", 272.0, {0}},
    {112, "Cn", "Copernicium", 277.0, {0}},
    {113, "Uut", "Ununtrium", 0.0, {0}},
    {114, "Fl", "Flerovium", 289.0, {0}},
    {115, "Uup", "Ununpentium", 0.0, {0}},
    {116, "Lv", "Livermorium", 298.0, {0}},
    {117, "Uus", "Ununseptium", 0.0, {0}},
    {118, "Uuo", "Ununoctium", 0.0, {0}},
};

ZENDOLA_CHEMISTRY_TABLE const std::unordered_map<std::string, const Element*> Element::elementsBySymbol = [] {
    std::unordered_map<std::string, const Element*> bySymbol;
    for (const Element& element : elements) bySymbol.emplace(element.symbol, &element);
    return bySymbol;
}();

ZENDOLA_CHEMISTRY_TABLE std::unordered_map<std::string, Molecule> Molecule::molecules = [] {
    // Nitrogen stands as the atom "N"; oxygen and hydrogen as "O2" and "H2".
    static const char* const kInitial[] = {
        "H2", "N",  "He",  "Ne", "F",  "Ar", "Xe",  "Cl",  "Se",   "O2",  "CO2",
        "H2O", "Si", "Al", "Fe", "Ca", "Na", "NaCl", "K",  "Mg",   "Ti",  "CO",
        "CH4", "NH3", "C6H6", "CS2", "HCl", "NO", "N2O", "C5H12", "SO2",
    };
    std::unordered_map<std::string, Molecule> initial;
    for (const char* formula : kInitial) initial.emplace(formula, Molecule(GetElementsFromFormula(formula)));
    return initial;
}();

Molecule::Molecule(const std::string& formula) {
    {
        std::shared_lock lock(TablesMutex());
        auto found = molecules.find(formula);
        if (found != molecules.end()) {
            elements = found->second.elements;
            return;
        }
    }
    if (formula.size() <= 2) {
        auto found = Element::elementsBySymbol.find(formula);
        if (found != Element::elementsBySymbol.end()) {
            elements.emplace_back(found->second->number, uint8_t(1));
            return;
        }
    }
    elements = GetElementsFromFormula(formula);
    // Another thread may have stored the same text meanwhile: it parsed to the same entries,
    // and the table keeps one entry per text.
    std::unique_lock lock(TablesMutex());
    molecules.try_emplace(formula, Molecule(elements));
}

double Molecule::Mass() const {
    double mass = 0.0;
    for (const auto& [number, count] : elements) {
        if (number >= Element::elements.size()) continue;
        mass += count * Element::elements[number].atomicMass * kAtomicMassUnit;
    }
    return mass;
}

double Molecule::GetMolarMass() const {
    double grams = 0.0;
    for (const auto& [number, count] : elements) {
        if (number >= Element::elements.size()) continue;
        grams += count * Element::elements[number].atomicMass;
    }
    return grams / 1000;
}

double Molecule::GaseousIndexOfRefraction() const {
    const std::string formula = Formula();
    auto found = gasMoleculesIndexOfRefraction.find(formula);
    if (found != gasMoleculesIndexOfRefraction.end()) return found->second;
    // A diatomic or triatomic element ("O2", "O3") takes the row of its atom.
    if (elements.size() == 1 && formula.size() >= 2) {
        const auto& [number, count] = elements.front();
        if ((count == 2 || count == 3) && number < Element::elements.size()) {
            found = gasMoleculesIndexOfRefraction.find(Element::elements[number].symbol);
            if (found != gasMoleculesIndexOfRefraction.end()) return found->second;
        }
    }
    return 1.001;
}

double Molecule::GetMaximumLiquidDensity() const {
    const std::string formula = Formula();
    {
        std::shared_lock lock(TablesMutex());
        auto found = liquidMoleculesMaxDensity.find(formula);
        if (found != liquidMoleculesMaxDensity.end()) return found->second;
    }
    // The count scales the radius, not the volume: n atoms of one kind count as one ball of n
    // times the radius. A game constant, kept as it is.
    double atomicVolume = 0.0;
    for (const auto& [number, count] : elements) {
        if (number >= Element::elements.size()) continue;
        atomicVolume += kFourThirdsPi * std::pow(count * kAtomRadius, 3);
    }
    CheckSite(atomicVolume > 0, assert_sites::kMoleculeVolume);
    const double density = Mass() / atomicVolume;
    // Whoever stored first wins, as if the calls had come one after the other.
    std::unique_lock lock(TablesMutex());
    return liquidMoleculesMaxDensity.try_emplace(formula, density).first->second;
}

std::string Molecule::Formula() const {
    std::string text;
    for (const auto& [number, count] : elements) {
        if (number >= Element::elements.size()) break;
        text += Element::elements[number].symbol;
        if (count > 1) text += std::to_string(count);
    }
    return text;
}

}  // namespace game
