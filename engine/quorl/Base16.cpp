#include "quorl/Base16.h"

#include <stdexcept>

namespace quorl {

static constexpr char kDigits[] = "0123456789ABCDEF";

static int DigitValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    throw std::invalid_argument("not a hex digit");
}

std::string Base16::Encode(const void* data, size_t size) {
    const auto* bytes = static_cast<const uint8_t*>(data);
    std::string out(size * 2, '0');
    for (size_t i = 0; i < size; ++i) {
        out[2 * i] = kDigits[bytes[i] >> 4];
        out[2 * i + 1] = kDigits[bytes[i] & 15];
    }
    return out;
}

std::vector<uint8_t> Base16::Decode(std::string_view text) {
    std::vector<uint8_t> out;
    out.reserve(text.size() / 2);
    for (size_t i = 0; i + 1 < text.size(); i += 2) {
        out.push_back(static_cast<uint8_t>(DigitValue(text[i]) << 4 | DigitValue(text[i + 1])));
    }
    return out;
}

}  // namespace quorl
