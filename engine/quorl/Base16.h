#pragma once
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quorl {

// Hexadecimal text with the upper-case digits "0123456789ABCDEF", high nibble first.
struct Base16 {
    static std::string Encode(const void* data, size_t size);
    // Throws std::invalid_argument("not a hex digit") for any other character, lower case
    // included. An odd trailing character is ignored (it does not make a whole byte).
    static std::vector<uint8_t> Decode(std::string_view text);
};

}  // namespace quorl
