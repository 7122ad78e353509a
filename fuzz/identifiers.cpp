// Arbitrary text as a UniqueId and a ModuleID: a parsed value writes back to text that parses the same.
#include <cstdint>
#include <cstdlib>
#include <stdexcept>

#include "game/UniqueId.h"
#include "quorl/modular/ModuleID.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    try {
        game::UniqueId id(text);
        std::string back = id;
        if (!back.empty() && !(game::UniqueId(back) == id)) std::abort();
    } catch (const std::runtime_error&) {
    } catch (const std::invalid_argument&) {
    }
    quorl::modular::ModuleID m(text);
    std::string s = m.String();
    if (!s.empty() && !(quorl::modular::ModuleID(s) == m)) std::abort();
    return 0;
}
