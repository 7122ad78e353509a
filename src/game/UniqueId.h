#pragma once
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace game {

// Identity of an entity or a graph node across sessions and machines: 16 bytes, two 64-bit
// words. Its memory image is its binary form in save files.
//   bytes 0-3   prefix    four characters, not terminated ("ENTT", "NODE")
//   bytes 4-7   owner     _this_owner at generation, little-endian
//   word 1      timestamp bits 0-49 (microseconds since the Unix epoch, low 50 bits),
//               random    bits 50-63 (1 to 16383)
// Text form: 28 characters, the prefix, then bytes 4-7 and 8-15 in memory order as upper-case
// hexadecimal (a dump, not a number).
struct UniqueId {
    char prefix[4] = {0, 0, 0, 0};
    uint32_t owner = 0;
    uint64_t timestamp : 50 = 0;
    uint64_t random : 14 = 0;

    static uint32_t _this_owner;

    UniqueId() = default;
    // Parses the text form: "" gives the null value; any other length than 28 throws
    // std::runtime_error("UniqueId string length should be 28"); a bad hexadecimal digit throws
    // std::invalid_argument("not a hex digit").
    explicit UniqueId(const std::string& text);

    // A fresh value. Safe from any thread; within a process two calls never give the same value.
    static UniqueId Generate(const char (&prefix)[5]);

    uint64_t Word0() const;
    uint64_t Word1() const;
    bool IsNull() const { return Word0() == 0 || Word1() == 0; }

    std::string ToString() const;  // "" when either word is 0
    operator std::string() const { return ToString(); }

    friend bool operator==(const UniqueId& a, const UniqueId& b) {
        return a.Word0() == b.Word0() && a.Word1() == b.Word1();
    }
};

static_assert(sizeof(UniqueId) == 16, "UniqueId is two 64-bit words");

namespace entity {
using Id = UniqueId;
// Name of a simulation environment; 0 means none. The modules decide what the numbers mean.
using EnvironmentId = uint64_t;
}  // namespace entity

}  // namespace game

// Word 1 as it stands: it carries the entropy, word 0 rarely differs within a process.
template <>
struct std::hash<game::UniqueId> {
    size_t operator()(const game::UniqueId& id) const noexcept { return size_t(id.Word1()); }
};
