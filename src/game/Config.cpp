#include "game/Config.h"

#include <algorithm>
#include <cmath>
#include <system_error>
#include <type_traits>

#include <fast_float/fast_float.h>

#include "game/ConfigTree.h"

namespace game {

namespace {

using NodeData = ConfigTree::NodeData;
constexpr size_t npos = Config::Node::npos;

size_t ToId(uint32_t id) { return id == ConfigTree::kNone ? npos : id; }

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// The value of a digit in bases up to 16, or 16 for any other character.
unsigned DigitValue(char c) {
    if (c >= '0' && c <= '9') return unsigned(c - '0');
    if (c >= 'a' && c <= 'f') return unsigned(c - 'a' + 10);
    if (c >= 'A' && c <= 'F') return unsigned(c - 'A' + 10);
    return 16;
}

// The base a letter after a leading "0" selects, or 0.
unsigned BaseLetter(char c) {
    switch (c) {
        case 'x': case 'X': return 16;
        case 'o': case 'O': return 8;
        case 'b': case 'B': return 2;
        default: return 0;
    }
}

// The unsigned integer of a text without its sign, wrapping in U; false when one character is
// not a digit of the base ("0x", "0o", "0b" prefixes; any other "0" prefix is dropped).
template <class U>
bool ParseUnsigned(std::string_view s, U& out) {
    if (s.empty()) return false;
    unsigned base = 10;
    if (s[0] == '0' && s.size() > 1) {
        base = BaseLetter(s[1]);
        if (base)
            s.remove_prefix(2);
        else
            base = 10, s.remove_prefix(1);
        if (s.empty()) return false;
    }
    U value = 0;
    for (char c : s) {
        unsigned d = DigitValue(c);
        if (d >= base) return false;
        value = static_cast<U>(value * base + d);
    }
    out = value;
    return true;
}

template <class S>
S ToSigned(std::string_view s) {
    using U = std::make_unsigned_t<S>;
    bool negative = !s.empty() && s[0] == '-';
    if (negative) s.remove_prefix(1);
    U value = 0;
    if (!ParseUnsigned(s, value)) return 0;
    return static_cast<S>(negative ? static_cast<U>(U(0) - value) : value);
}

// Hexadecimal digits with an optional "." and an optional "p" exponent, all of the text; the
// value is rounded once from up to 16 significant digits (lower ones only set a sticky bit).
template <class F>
bool ParseHexReal(std::string_view s, F& out) {
    uint64_t mantissa = 0;
    long exponent = 0;
    int significant = 0;
    bool digits = false, point = false, sticky = false;
    size_t i = 0;
    for (; i < s.size(); ++i) {
        char c = s[i];
        if (c == '.') {
            if (point) return false;
            point = true;
            continue;
        }
        unsigned d = DigitValue(c);
        if (d >= 16) break;
        digits = true;
        if (significant < 16) {
            if (mantissa || d) {
                mantissa = mantissa * 16 + d;
                ++significant;
            }
            if (point) exponent -= 4;
        } else {
            sticky |= d != 0;
            if (!point) exponent += 4;
        }
    }
    if (!digits) return false;
    if (i < s.size()) {
        if (s[i] != 'p' && s[i] != 'P') return false;
        ++i;
        bool negative = false;
        if (i < s.size() && (s[i] == '+' || s[i] == '-')) negative = s[i++] == '-';
        if (i == s.size()) return false;
        long e = 0;
        for (; i < s.size(); ++i) {
            if (s[i] < '0' || s[i] > '9') return false;
            if (e < 100000) e = e * 10 + (s[i] - '0');
        }
        exponent += negative ? -e : e;
    }
    if (sticky) mantissa |= 1;
    out = std::ldexp(static_cast<F>(mantissa), static_cast<int>(std::clamp(exponent, -100000L, 100000L)));
    return true;
}

// A sign may lead; "0x" then selects hexadecimal notation, anything else is fast_float's general
// format, judged only by its error status (so "1.5abc" is 1.5). 0 on failure.
template <class F>
F ToReal(std::string_view s) {
    if (s.empty()) return 0;
    size_t sign = (s[0] == '+' || s[0] == '-') ? 1 : 0;
    if (s.size() > sign + 2 && s[sign] == '0' && (s[sign + 1] == 'x' || s[sign + 1] == 'X')) {
        F value = 0;
        if (!ParseHexReal(s.substr(sign + 2), value)) return 0;
        return s[0] == '-' ? -value : value;
    }
    // fast_float takes a "-" but not a "+".
    if (s[0] == '+') {
        s.remove_prefix(1);
        if (!s.empty() && s[0] == '-') return 0;
    }
    F value = 0;
    auto result = fast_float::from_chars(s.data(), s.data() + s.size(), value);
    return result.ec == std::errc() ? value : F(0);
}

// Numeric scans of a whole text, which holds no blank.
bool AllDigits(std::string_view s, unsigned base) {
    if (s.empty()) return false;
    for (char c : s)
        if (DigitValue(c) >= base) return false;
    return true;
}

bool ScanInt(std::string_view s) {
    if (!s.empty() && (s[0] == '+' || s[0] == '-')) s.remove_prefix(1);
    if (s.size() > 2 && s[0] == '0' && BaseLetter(s[1])) return AllDigits(s.substr(2), BaseLetter(s[1]));
    return AllDigits(s, 10);
}

// Digits of the base around an optional point (one digit at least), then an optional exponent
// with its letter, optional sign and decimal digits.
bool ScanReal(std::string_view s, unsigned base, const char* exponentLetters) {
    size_t i = 0;
    bool digits = false;
    for (; i < s.size() && DigitValue(s[i]) < base; ++i) digits = true;
    if (i < s.size() && s[i] == '.')
        for (++i; i < s.size() && DigitValue(s[i]) < base; ++i) digits = true;
    if (!digits) return false;
    if (i == s.size()) return true;
    if (s[i] != exponentLetters[0] && s[i] != exponentLetters[1]) return false;
    if (++i < s.size() && (s[i] == '+' || s[i] == '-')) ++i;
    return AllDigits(s.substr(std::min(i, s.size())), 10);
}

bool ScanFloat(std::string_view s) {
    if (!s.empty() && (s[0] == '+' || s[0] == '-')) s.remove_prefix(1);
    if (s.size() >= 3 && s[0] == '0' && BaseLetter(s[1])) return ScanReal(s.substr(2), BaseLetter(s[1]), "pP");
    if (s == "inf" || s == "infinity" || s == "nan") return true;
    return ScanReal(s, 10, "eE");
}

// A number with a blank anywhere in or around it is not a number.
bool Numeric(std::string_view s, bool (*scan)(std::string_view)) {
    if (s.empty()) return false;
    for (char c : s)
        if (IsBlank(c)) return false;
    return scan(s);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Node

bool Config::Node::IsValue() const { return *this && (_tree->node(_id).type & ConfigTree::VAL); }
bool Config::Node::HasKey() const { return *this && (_tree->node(_id).type & ConfigTree::KEY); }
bool Config::Node::IsMap() const { return *this && (_tree->node(_id).type & ConfigTree::MAP); }
bool Config::Node::IsArray() const { return *this && (_tree->node(_id).type & ConfigTree::SEQ); }

std::string_view Config::Node::Value() const { return IsValue() ? _tree->Val(_id) : std::string_view(); }

bool Config::Node::IsInt() const { return Numeric(Value(), ScanInt); }
bool Config::Node::IsFloat() const { return Numeric(Value(), ScanFloat); }
bool Config::Node::IsNumeric() const { return IsInt() || IsFloat(); }
bool Config::Node::IsString() const { return IsValue() && !IsNumeric(); }

int32_t Config::Node::AsInt() const { return ToSigned<int32_t>(Value()); }
int64_t Config::Node::AsInt64() const { return ToSigned<int64_t>(Value()); }

uint64_t Config::Node::AsUInt64() const {
    uint64_t value = 0;
    return ParseUnsigned(Value(), value) ? value : 0;
}

float Config::Node::AsFloat() const { return ToReal<float>(Value()); }
double Config::Node::AsDouble() const { return ToReal<double>(Value()); }

std::string Config::Node::AsString() const { return std::string(Value()); }

std::string Config::Node::Key() const { return HasKey() ? std::string(_tree->Key(_id)) : std::string(); }

bool Config::Node::Equals(std::string_view text) const { return Value() == text; }
bool Config::Node::operator==(const char* text) const { return Equals(text ? std::string_view(text) : std::string_view()); }

size_t Config::Node::Index() const {
    if (!*this) return npos;
    uint32_t parent = _tree->node(_id).parent;
    if (parent == ConfigTree::kNone) return npos;
    size_t index = 0;
    for (uint32_t c = _tree->node(parent).firstChild; c != ConfigTree::kNone; c = _tree->node(c).nextSibling, ++index)
        if (c == _id) return index;
    return npos;
}

size_t Config::Node::Size() const { return *this ? _tree->size() : 0; }

Config::Node Config::Node::operator[](const char* key) const {
    if (!IsMap()) return Node();
    uint32_t child = _tree->FindChild(_id, key ? std::string_view(key) : std::string_view());
    return child == ConfigTree::kNone ? *this : Node(_tree, child);
}

Config::Node Config::Node::operator[](size_t index) const {
    if (!IsArray()) return Node();
    uint32_t child = _tree->node(_id).firstChild;
    for (size_t i = 0; i < index && child != ConfigTree::kNone; ++i) child = _tree->node(child).nextSibling;
    return child == ConfigTree::kNone ? *this : Node(_tree, child);
}

Config::Iterator Config::Node::begin() const {
    if (!*this) return Iterator();
    return Iterator(_tree, ToId(_tree->node(_id).firstChild));
}

Config::Iterator Config::Node::end() const { return Iterator(*this ? _tree : nullptr, npos); }

// ---------------------------------------------------------------------------------------------
// Iterator: stepping off either end stays at the end.

Config::Iterator& Config::Iterator::operator++() {
    if (_tree && _id != npos) _id = ToId(_tree->node(_id).nextSibling);
    return *this;
}

Config::Iterator& Config::Iterator::operator--() {
    if (_tree && _id != npos) _id = ToId(_tree->node(_id).prevSibling);
    return *this;
}

// ---------------------------------------------------------------------------------------------
// Config

Config::Config() = default;
Config::~Config() = default;

void Config::Parse(char* text) {
    Clear();
    _tree = ConfigTree::Parse(text ? std::string_view(text) : std::string_view());
}

void Config::Clear() noexcept { _tree.reset(); }

// The tree is built whole by Parse, so a loaded document always has its root at id 0.
Config::Node Config::Root() const { return _tree ? Node(_tree.get(), 0) : Node(); }

Config::Node Config::operator[](const char* key) const { return Root()[key]; }
Config::Node Config::operator[](size_t index) const { return Root()[index]; }

}  // namespace game
