// Arbitrary text to the Molecule constructor: the table gains at most one entry, only for a new text;
// the parse agrees with the grammar as a regular expression; the canonical text parses back the same;
// derived quantities stay finite and the density cache grows by at most one.
#include "../tests/game/ChemistryFormulaReference.h"  // first: see there

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "game/Chemistry.h"

using game::Molecule;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const bool known = Molecule::molecules.count(text) != 0;
    const size_t before = Molecule::molecules.size();

    const Molecule molecule(text);
    const size_t after = Molecule::molecules.size();
    if (after > before + 1 || (known && after != before)) std::abort();
    if (after == before + 1 && Molecule::molecules.count(text) == 0) std::abort();

    const Molecule again(text);
    if (Molecule::molecules.size() != after || again.elements != molecule.elements) std::abort();

    // The regex engine recurses per character: compare on short texts only.
    if (size <= 96) {
        const auto expected = text == "_" ? std::vector<Molecule::Entry>{{0, 1}}
                                          : chemistry_reference::ParseFormula(text);
        if (molecule.elements != expected) std::abort();
    }

    bool allCounted = !molecule.elements.empty();
    for (const auto& [number, count] : molecule.elements) {
        if (number >= game::Element::elements.size()) std::abort();
        allCounted = allCounted && count > 0;
    }
    if (allCounted && text != "_") {
        if (Molecule(molecule.Formula()).elements != molecule.elements) std::abort();
    }

    const double mass = molecule.Mass(), molar = molecule.GetMolarMass();
    if (!std::isfinite(mass) || mass < 0 || !std::isfinite(molar) || molar < 0) std::abort();
    const double n = molecule.GaseousIndexOfRefraction();
    if (!(n >= 1.0 && n <= 1.002)) std::abort();

    if (std::any_of(molecule.elements.begin(), molecule.elements.end(),
                    [](const auto& entry) { return std::get<1>(entry) > 0; })) {
        const size_t densities = Molecule::liquidMoleculesMaxDensity.size();
        const double density = molecule.GetMaximumLiquidDensity();
        if (!std::isfinite(density) || density < 0) std::abort();
        if (Molecule::liquidMoleculesMaxDensity.size() > densities + 1) std::abort();
        if (molecule.GetMaximumLiquidDensity() != density) std::abort();
    }
    return 0;
}
