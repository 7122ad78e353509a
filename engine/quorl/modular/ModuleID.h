#pragma once
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace quorl::modular {

// Name of a module or item kind, "VENDOR_name", packed in base 37 into two words.
// Alphabets (the position is the digit): upper " 0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ",
// lower " 0123456789abcdefghijklmnopqrstuvwxyz"; the text's first character is the least
// significant digit, so a trailing blank vanishes in the round trip.
struct ModuleID {
    uint64_t vendor = 0;
    uint64_t name = 0;

    ModuleID() = default;
    constexpr ModuleID(uint64_t v, uint64_t n) : vendor(v), name(n) {}
    // Parses; a text that does not fit leaves the value null (see the .cpp for the rules).
    explicit ModuleID(const std::string& text);

    // "VENDOR_name", or "" when either word is 0.
    std::string String() const;
    bool IsNull() const { return vendor == 0 || name == 0; }

    friend bool operator==(const ModuleID&, const ModuleID&) = default;
};

}  // namespace quorl::modular

template <>
struct std::hash<quorl::modular::ModuleID> {
    size_t operator()(const quorl::modular::ModuleID& id) const noexcept {
        return std::hash<uint64_t>()(id.vendor * 0x9E3779B97F4A7C15ull ^ id.name);
    }
};
