#pragma once
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quorl::filesystem {

// The text of an INI file as lines, kept byte for byte so that a file can be rewritten with only
// chosen keys changed.
//
// Line syntax (after trimming blanks at both ends):
//   - empty, or starting with '#' or ';': blank line or comment, ignored;
//   - "[text]": a section header; the section is the trimmed text inside the brackets, which
//     may hold blanks ("[graphics]", "[COLLIDER left wing]");
//   - anything else: a key line. The key runs to the first blank or '='; then come blanks, an
//     optional '=' and blanks; the value is the rest of the line ("fov = 70", "position 1 2 3").
// Lines before the first header belong to the section "". A header without its closing ']', a
// key line with an empty key and a line longer than kMaxLineLength are invalid: they are kept
// on rewrite, reported, and the key lines after an invalid header belong to no section.
// Lines end with "\n" or "\r\n"; a UTF-8 byte order mark at the start is skipped.
class IniDocument {
public:
    static constexpr size_t kMaxLineLength = 4096;
    static constexpr size_t kMaxFileSize = 8u << 20;

    enum class LineKind { Blank, Header, Key, Invalid };

    struct Line {
        LineKind kind = LineKind::Blank;
        std::string raw;      // the line as in the file, without its line feed
        std::string name;     // header text or key
        std::string value;    // value of a key line
        std::string problem;  // why an invalid line is invalid
        int sectionHeader = -1;  // index of the governing header line; -1 before any header
        bool inSection = true;   // false below an invalid header
        bool badHeader = false;  // an invalid line that starts with '['
    };

    // Splits bytes into lines. Rejects, with a reason in *error, text that is no INI file at all:
    // more than kMaxFileSize bytes, or control characters other than tab, line feed, carriage
    // return, form feed and vertical tab (a binary file). On rejection the document is empty.
    bool Parse(std::string_view bytes, std::string* error);

    const std::vector<Line>& Lines() const { return _lines; }
    // Section name governing a line; empty when before the first header.
    const std::string& SectionOf(const Line& line) const;
    bool InSection(const Line& line, const std::string& section) const {
        return line.inSection && line.kind == LineKind::Key && SectionOf(line) == section;
    }

    // Sets key to value in section: every line of that key in that section is rewritten as
    // "key = value"; when there is none, the line is added after the last key line of the
    // section's last block, and a missing section is appended to the end of the file.
    void Set(const std::string& section, const std::string& key, const std::string& value);

    std::string Serialize() const;

private:
    void Reindex();
    static Line ParseLine(std::string raw);

    std::vector<Line> _lines;
    bool _bom = false;
    bool _crlf = false;
};

}  // namespace quorl::filesystem
