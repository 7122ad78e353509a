#include "quorl/filesystem/IniDocument.h"

#include "quorl/String.h"

namespace quorl::filesystem {

namespace {

bool IsBinaryByte(unsigned char c) {
    return c < 0x20 && c != '\t' && c != '\n' && c != '\r' && c != '\f' && c != '\v';
}

const std::string kNoSection;

}  // namespace

IniDocument::Line IniDocument::ParseLine(std::string raw) {
    Line line;
    line.raw = std::move(raw);
    if (line.raw.size() > kMaxLineLength) {
        line.kind = LineKind::Invalid;
        line.problem = "line longer than " + std::to_string(kMaxLineLength) + " characters";
        return line;
    }
    const std::string text = String::Trim(line.raw);
    if (text.empty() || text[0] == '#' || text[0] == ';') return line;
    if (text[0] == '[') {
        if (text.back() != ']') {
            line.kind = LineKind::Invalid;
            line.badHeader = true;
            line.problem = "section header without closing ']'";
            return line;
        }
        line.kind = LineKind::Header;
        line.name = String::Trim(std::string_view(text).substr(1, text.size() - 2));
        return line;
    }
    size_t end = 0;
    while (end < text.size() && text[end] != '=' && !String::IsSpace(text[end])) ++end;
    if (end == 0) {
        line.kind = LineKind::Invalid;
        line.problem = "line without a key";
        return line;
    }
    line.kind = LineKind::Key;
    line.name = text.substr(0, end);
    size_t pos = end;
    while (pos < text.size() && String::IsSpace(text[pos])) ++pos;
    if (pos < text.size() && text[pos] == '=') {
        ++pos;
        while (pos < text.size() && String::IsSpace(text[pos])) ++pos;
    }
    line.value = text.substr(pos);
    return line;
}

bool IniDocument::Parse(std::string_view bytes, std::string* error) {
    _lines.clear();
    _bom = false;
    _crlf = false;
    auto fail = [&](std::string why) {
        _lines.clear();
        if (error) *error = std::move(why);
        return false;
    };
    if (bytes.size() > kMaxFileSize) {
        return fail("file larger than " + std::to_string(kMaxFileSize) + " bytes");
    }
    if (bytes.substr(0, 3) == "\xEF\xBB\xBF") {
        _bom = true;
        bytes.remove_prefix(3);
    }
    for (char c : bytes) {
        if (IsBinaryByte(static_cast<unsigned char>(c))) return fail("not a text file (binary data)");
    }
    size_t start = 0;
    while (start < bytes.size()) {
        size_t nl = bytes.find('\n', start);
        size_t stop = nl == std::string_view::npos ? bytes.size() : nl;
        std::string raw(bytes.substr(start, stop - start));
        if (!raw.empty() && raw.back() == '\r') {
            raw.pop_back();
            if (_lines.empty()) _crlf = true;
        }
        _lines.push_back(ParseLine(std::move(raw)));
        start = stop + 1;
    }
    Reindex();
    return true;
}

void IniDocument::Reindex() {
    int header = -1;
    bool valid = true;
    for (size_t i = 0; i < _lines.size(); ++i) {
        Line& line = _lines[i];
        if (line.kind == LineKind::Header) {
            header = static_cast<int>(i);
            valid = true;
        } else if (line.badHeader) {
            // An unreadable header: what follows belongs to no known section.
            header = static_cast<int>(i);
            valid = false;
        }
        line.sectionHeader = header;
        line.inSection = valid;
    }
}

const std::string& IniDocument::SectionOf(const Line& line) const {
    if (line.sectionHeader < 0) return kNoSection;
    return _lines[static_cast<size_t>(line.sectionHeader)].name;
}

void IniDocument::Set(const std::string& section, const std::string& key, const std::string& value) {
    const std::string raw = key + " = " + value;
    bool found = false;
    for (Line& line : _lines) {
        if (InSection(line, section) && line.name == key) {
            line = ParseLine(raw);
            found = true;
        }
    }
    if (found) {
        Reindex();
        return;
    }
    // Insert after the last key line of the last block of this section.
    int lastHeader = -1;
    if (section.empty()) {
        lastHeader = -2;  // the lines before the first header
    } else {
        for (size_t i = 0; i < _lines.size(); ++i) {
            if (_lines[i].kind == LineKind::Header && _lines[i].name == section) lastHeader = static_cast<int>(i);
        }
    }
    if (lastHeader == -1) {
        if (!_lines.empty() && !String::Trim(_lines.back().raw).empty()) _lines.push_back(Line{});
        Line header;
        header.kind = LineKind::Header;
        header.raw = "[" + section + "]";
        header.name = section;
        _lines.push_back(std::move(header));
        _lines.push_back(ParseLine(raw));
        Reindex();
        return;
    }
    size_t insertAt;
    if (lastHeader == -2) {
        insertAt = 0;
        for (size_t i = 0; i < _lines.size() && _lines[i].sectionHeader < 0; ++i) {
            if (_lines[i].kind == LineKind::Key) insertAt = i + 1;
        }
    } else {
        insertAt = static_cast<size_t>(lastHeader) + 1;
        for (size_t i = insertAt; i < _lines.size() && _lines[i].sectionHeader == lastHeader; ++i) {
            if (_lines[i].kind == LineKind::Key) insertAt = i + 1;
        }
    }
    _lines.insert(_lines.begin() + static_cast<std::ptrdiff_t>(insertAt), ParseLine(raw));
    Reindex();
}

std::string IniDocument::Serialize() const {
    std::string out;
    if (_bom) out += "\xEF\xBB\xBF";
    const char* eol = _crlf ? "\r\n" : "\n";
    for (const Line& line : _lines) {
        out += line.raw;
        out += eol;
    }
    return out;
}

}  // namespace quorl::filesystem
