#include "quorl/String.h"

#include <charconv>
#include <cmath>
#include <cstdio>

namespace quorl {

std::string String::FromDouble(double value, int precision) {
    if (std::isnan(value)) return "nan";
    if (std::isinf(value)) return value < 0 ? "-inf" : "inf";
    char buf[64];
    std::to_chars_result r;
    if (precision < 0) {
        r = std::to_chars(buf, buf + sizeof buf, value);
    } else {
        r = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::fixed, precision);
    }
    if (r.ec != std::errc()) {
        // Only a fixed form with a huge precision can overflow the buffer.
        int n = std::snprintf(buf, sizeof buf, "%.17g", value);
        return std::string(buf, static_cast<size_t>(n));
    }
    return std::string(buf, r.ptr);
}

bool String::IsSpace(char c) {
    return c == ' ' || c == '\f' || c == '\n' || c == '\r' || c == '\t' || c == '\v';
}

std::string String::TrimLeft(std::string_view s) {
    size_t i = 0;
    while (i < s.size() && IsSpace(s[i])) ++i;
    return std::string(s.substr(i));
}

std::string String::TrimRight(std::string_view s) {
    size_t n = s.size();
    while (n > 0 && IsSpace(s[n - 1])) --n;
    return std::string(s.substr(0, n));
}

std::string String::Trim(std::string_view s) {
    size_t i = 0, n = s.size();
    while (i < n && IsSpace(s[i])) ++i;
    while (n > i && IsSpace(s[n - 1])) --n;
    return std::string(s.substr(i, n - i));
}

}  // namespace quorl
