#pragma once
// The formula grammar as a regular expression, applied term by term: an independent statement of
// the grammar to check game::Molecule's parser against. Slow; for short texts only.
// Include it first: g++ 12 with -O1 and the sanitizers warns falsely inside <regex>.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <cstdint>
#include <cstdlib>
#include <regex>
#include <string>
#include <vector>

#include "game/Chemistry.h"

namespace chemistry_reference {

inline std::vector<game::Molecule::Entry> ParseFormula(const std::string& formula) {
    const std::regex pattern("^([A-Z][a-z]{0,2})([0-9]*)([A-Z].*$|$)", std::regex::ECMAScript);
    std::vector<game::Molecule::Entry> result;
    std::string rest = formula;
    do {
        std::smatch match;
        if (!std::regex_match(rest, match, pattern)) return {};
        auto found = game::Element::elementsBySymbol.find(match[1].str());
        if (found == game::Element::elementsBySymbol.end()) return {};
        const std::string digits = match[2].str();
        const uint8_t count = static_cast<uint8_t>(std::atoi(digits.empty() ? "1" : digits.c_str()));
        result.emplace_back(found->second->number, count);
        rest = match[3].str();
    } while (!rest.empty());
    return result;
}

}  // namespace chemistry_reference

#pragma GCC diagnostic pop
