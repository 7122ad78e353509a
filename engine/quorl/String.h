#pragma once
#include <string>
#include <string_view>

namespace quorl {

// Text helpers the library calls.
struct String {
    // Decimal text of a number. precision < 0: the shortest text that reads back to the same
    // double with atof/strtod ("0.1", "1e+300", "-2"); "nan", "inf", "-inf" for non-finite values.
    // precision >= 0: fixed notation with that many digits after the point.
    static std::string FromDouble(double value, int precision = -1);

    // White space is the six characters blank, form feed, line feed, carriage return, tab and
    // vertical tab.
    static std::string TrimLeft(std::string_view s);
    static std::string TrimRight(std::string_view s);
    static std::string Trim(std::string_view s);
    static bool IsSpace(char c);
};

}  // namespace quorl
