#pragma once
// The chemistry of the world: the periodic table, molecules with their game constants, and the
// formula grammar that turns a text such as "H2O" into a molecule.
//
// The tables are process-wide statics exported for modules. They are built before any ordinary
// static initialiser of the library runs (and, the library being a shared object, before those of
// the hosts and modules that link it), so any code may use them from its own static initialisers.
// The constants are game constants, not measured properties: keep them as they stand.

#include <cstdint>
#include <string>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

namespace game {

// One element of the periodic table. The layout is what modules see through the exported tables.
struct Element {
    uint8_t number;                // atomic number, equal to the index in `elements`
    std::string symbol;
    std::string name;
    double atomicMass;             // unified atomic mass units
    std::vector<int8_t> valences;  // oxidation states, the usual one first (read by modules only)

    // Index 0 to 118; row 0 is the placeholder "_". Never changed after start.
    static const std::vector<Element> elements;
    // Symbol -> row of `elements`, one entry per element ("_" included).
    static const std::unordered_map<std::string, const Element*> elementsBySymbol;
};

// A molecule as a list of (element number, count) in the order of its formula text. Repeated
// symbols are not merged. It keeps no text of its own; Formula() writes one.
class Molecule {
public:
    using Entry = std::tuple<uint8_t, uint8_t>;  // element number, count

    std::vector<Entry> elements;

    // The molecule a formula names. The first rule that applies wins:
    //   1. a formula already in `molecules` copies its entries (nothing is parsed);
    //   2. a text of at most two characters that is an element symbol gives that element once,
    //      and is not stored;
    //   3. otherwise the formula is parsed and the result stored in `molecules` under the text,
    //      also when it is empty.
    // Grammar: one or more terms, each a capital, up to two small letters and an optional decimal
    // count (1 when absent, truncated to 8 bits: "300" gives 44). Any other character, or an
    // unknown symbol, gives the empty molecule, whose Mass() is 0. Never throws.
    // Safe to call from any thread.
    Molecule(const std::string& formula);

    double Mass() const;          // kilograms per molecule
    double GetMolarMass() const;  // kilograms per mole
    double HeatCapacity() const { return 1.0; }
    double LiquidIndexOfRefraction() const { return 1.33; }
    double SolidIndexOfRefraction() const { return 1.45; }
    // From `gasMoleculesIndexOfRefraction` by Formula(); a single element counted 2 or 3 times
    // falls back to the element's row ("O3" uses "O"); anything else is 1.001.
    double GaseousIndexOfRefraction() const;
    // Kilograms per cubic metre. From `liquidMoleculesMaxDensity` by Formula(), otherwise worked
    // out from the atoms, stored there and returned. Aborts on a molecule with no atomic volume
    // (the empty molecule, or counts of 0). Safe to call from any thread.
    double GetMaximumLiquidDensity() const;
    // Canonical text: each symbol followed by its count when above 1 ("CO2"). An element number
    // outside the table ends the text there.
    std::string Formula() const;

    // Formula text -> molecule. Starts with the substances of the world and grows as formulas
    // are parsed; nothing is ever removed. Direct readers must not race with Molecule's
    // constructor on other threads.
    static std::unordered_map<std::string, Molecule> molecules;
    static const std::unordered_map<std::string, double> gasMoleculesIndexOfRefraction;
    // Starts with the liquids of the world and grows as a cache of GetMaximumLiquidDensity().
    static std::unordered_map<std::string, double> liquidMoleculesMaxDensity;

private:
    explicit Molecule(std::vector<Entry> entries) : elements(std::move(entries)) {}
};

}  // namespace game
