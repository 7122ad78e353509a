#include "quorl/modular/ModuleID.h"

#include <cctype>

namespace quorl::modular {

namespace {

constexpr char kUpper[] = " 0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr char kLower[] = " 0123456789abcdefghijklmnopqrstuvwxyz";
constexpr double kTwoTo64 = 18446744073709551616.0;

int Digit(char c, const char* alphabet) {
    for (int i = 0; i < 37; ++i) {
        if (alphabet[i] == c) return i;
    }
    return -1;
}

// Packs from the last character to the first; 0 when a character is outside the alphabet
// or the value would overflow.
uint64_t Pack(const std::string& part, const char* alphabet) {
    uint64_t value = 0;
    for (size_t i = part.size(); i-- > 0;) {
        int d = Digit(part[i], alphabet);
        if (d < 0) return 0;
        if (double(value) * 37 > kTwoTo64 || double(value * 37) + double(d) > kTwoTo64) return 0;
        value = value * 37 + uint64_t(d);
    }
    return value;
}

std::string Unpack(uint64_t value, const char* alphabet) {
    std::string out;
    while (value != 0) {
        out.push_back(alphabet[value % 37]);
        value /= 37;
    }
    return out;
}

}  // namespace

ModuleID::ModuleID(const std::string& text) {
    size_t us = text.find('_');
    if (text.empty() || us == std::string::npos) return;
    std::string left = text.substr(0, us);
    std::string right = text.substr(us + 1);
    for (char& c : left) c = char(std::toupper(static_cast<unsigned char>(c)));
    for (char& c : right) c = char(std::tolower(static_cast<unsigned char>(c)));
    if (left.empty() || left.size() > 12 || right.empty() || right.size() > 12) return;
    if (!(left[0] == ' ' || (left[0] >= 'A' && left[0] <= 'Z'))) return;
    if (!(right[0] == ' ' || (right[0] >= 'a' && right[0] <= 'z'))) return;
    vendor = Pack(left, kUpper);
    name = Pack(right, kLower);
}

std::string ModuleID::String() const {
    if (vendor == 0 || name == 0) return std::string();
    return Unpack(vendor, kUpper) + "_" + Unpack(name, kLower);
}

}  // namespace quorl::modular
