#include "quorl/filesystem/ConfigFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <limits>
#include <stdexcept>

#include "quorl/String.h"
#include "quorl/filesystem/AtomicFile.h"

namespace quorl::filesystem {

namespace {

// Short, printable excerpt of a value for error messages.
std::string Excerpt(std::string_view text) {
    std::string out;
    for (char c : text.substr(0, 40)) out += (static_cast<unsigned char>(c) < 0x20) ? '?' : c;
    if (text.size() > 40) out += "...";
    return "\"" + out + "\"";
}

std::string Lower(std::string_view s) {
    std::string out(s);
    for (char& c : out) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return out;
}

template <class T>
bool ParseInteger(std::string_view text, T& out, std::string* error) {
    std::string_view t = text;
    if (!t.empty() && t[0] == '+') t.remove_prefix(1);
    long long v = 0;
    auto [ptr, ec] = std::from_chars(t.data(), t.data() + t.size(), v);
    if (t.empty() || ec != std::errc() || ptr != t.data() + t.size() || (!text.empty() && text[0] == '+' && !t.empty() && t[0] == '-')) {
        if (error) *error = Excerpt(text) + " is not a whole number";
        return false;
    }
    if (v < std::numeric_limits<T>::min() || v > std::numeric_limits<T>::max()) {
        if (error) *error = Excerpt(text) + " is out of range";
        return false;
    }
    out = static_cast<T>(v);
    return true;
}

bool ParseFloat(std::string_view text, float& out, std::string* error) {
    std::string_view t = text;
    if (!t.empty() && t[0] == '+') t.remove_prefix(1);
    float v = 0;
    auto [ptr, ec] = std::from_chars(t.data(), t.data() + t.size(), v);
    if (t.empty() || ec == std::errc::invalid_argument || ptr != t.data() + t.size() ||
        (!text.empty() && text[0] == '+' && !t.empty() && t[0] == '-')) {
        if (error) *error = Excerpt(text) + " is not a number";
        return false;
    }
    if (ec != std::errc() || !std::isfinite(v)) {
        if (error) *error = Excerpt(text) + " is not a finite 32-bit number";
        return false;
    }
    out = v;
    return true;
}

bool ParseBool(std::string_view text, bool& out, std::string* error) {
    const std::string t = Lower(text);
    if (t == "true" || t == "yes" || t == "on" || t == "1") {
        out = true;
        return true;
    }
    if (t == "false" || t == "no" || t == "off" || t == "0") {
        out = false;
        return true;
    }
    if (error) *error = Excerpt(text) + " is not true or false";
    return false;
}

std::string FormatFloat(float v) {
    char buf[64];
    auto r = std::to_chars(buf, buf + sizeof buf, v);
    return std::string(buf, r.ptr);
}

bool NeedsQuotes(std::string_view s, bool insideBinding) {
    if (s.empty() || s[0] == '"') return true;
    if (String::IsSpace(s.front()) || String::IsSpace(s.back())) return true;
    for (char c : s) {
        auto u = static_cast<unsigned char>(c);
        if (u < 0x20 || u == 0x7f) return true;
        if (insideBinding && (String::IsSpace(c) || c == '"')) return true;
    }
    return false;
}

std::string Quote(std::string_view s) {
    std::string out = "\"";
    for (char c : s) {
        switch (c) {
            case '"': out += "\\\""; break;
            case '\\': out += "\\\\"; break;
            case '\n': out += "\\n"; break;
            case '\r': out += "\\r"; break;
            case '\t': out += "\\t"; break;
            default:
                if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
                    char hex[8];
                    std::snprintf(hex, sizeof hex, "\\x%02x", static_cast<unsigned char>(c));
                    out += hex;
                } else {
                    out += c;
                }
        }
    }
    return out + "\"";
}

int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// Reads a quoted string starting at text[pos] == '"'; pos ends after the closing quote.
bool Unquote(std::string_view text, size_t& pos, std::string& out, std::string* error) {
    out.clear();
    for (++pos; pos < text.size(); ++pos) {
        char c = text[pos];
        if (c == '"') {
            ++pos;
            return true;
        }
        if (c != '\\') {
            out += c;
            continue;
        }
        if (++pos >= text.size()) break;
        switch (text[pos]) {
            case '"': out += '"'; break;
            case '\\': out += '\\'; break;
            case 'n': out += '\n'; break;
            case 'r': out += '\r'; break;
            case 't': out += '\t'; break;
            case 'x': {
                int hi = pos + 1 < text.size() ? HexDigit(text[pos + 1]) : -1;
                int lo = pos + 2 < text.size() ? HexDigit(text[pos + 2]) : -1;
                if (hi < 0 || lo < 0) {
                    if (error) *error = "bad \\x escape in " + Excerpt(text);
                    return false;
                }
                out += static_cast<char>(hi * 16 + lo);
                pos += 2;
                break;
            }
            default:
                if (error) *error = "unknown escape \\" + std::string(1, text[pos]) + " in " + Excerpt(text);
                return false;
        }
    }
    if (error) *error = "missing closing quote in " + Excerpt(text);
    return false;
}

}  // namespace

// ---- values -------------------------------------------------------------------------------

std::string ConfigFile::FormatString(const std::string& value) {
    return NeedsQuotes(value, false) ? Quote(value) : value;
}

bool ConfigFile::ParseString(std::string_view text, std::string& value, std::string* error) {
    if (text.empty() || text[0] != '"') {
        value = std::string(text);
        return true;
    }
    size_t pos = 0;
    std::string out;
    if (!Unquote(text, pos, out, error)) return false;
    while (pos < text.size() && String::IsSpace(text[pos])) ++pos;
    if (pos != text.size()) {
        if (error) *error = "text after the closing quote in " + Excerpt(text);
        return false;
    }
    value = std::move(out);
    return true;
}

std::string ConfigFile::FormatBinding(const InputBinding& b) {
    const InputBinding fresh;
    std::string out;
    auto add = [&](const char* name, const std::string& value) {
        if (!out.empty()) out += ' ';
        out += name;
        out += ':';
        out += value;
    };
    auto addString = [&](const char* name, const std::string& value) {
        add(name, NeedsQuotes(value, true) ? Quote(value) : value);
    };
    if (b.key != fresh.key) add("key", std::to_string(b.key));
    if (b.mouseButton != fresh.mouseButton) add("mouse", std::to_string(b.mouseButton));
    if (b.gamepadId != fresh.gamepadId) addString("gamepad_id", b.gamepadId);
    if (b.gamepadIndex != fresh.gamepadIndex) add("gamepad_index", std::to_string(b.gamepadIndex));
    if (b.gamepadButton != fresh.gamepadButton) add("gamepad_button", std::to_string(b.gamepadButton));
    if (b.gamepadAxis != fresh.gamepadAxis) add("gamepad_axis", std::to_string(b.gamepadAxis));
    if (b.gamepadAxisDirection != fresh.gamepadAxisDirection) add("gamepad_dir", std::to_string(b.gamepadAxisDirection));
    if (b.joystickGuid != fresh.joystickGuid) addString("joystick_guid", b.joystickGuid);
    if (b.joystickIndex != fresh.joystickIndex) add("joystick_index", std::to_string(b.joystickIndex));
    if (b.joystickButton != fresh.joystickButton) add("joystick_button", std::to_string(b.joystickButton));
    if (b.joystickAxis != fresh.joystickAxis) add("joystick_axis", std::to_string(b.joystickAxis));
    if (b.joystickAxisDirection != fresh.joystickAxisDirection) add("joystick_dir", std::to_string(b.joystickAxisDirection));
    return out.empty() ? "none" : out;
}

bool ConfigFile::ParseBinding(std::string_view text, InputBinding& binding, std::string* error) {
    InputBinding b;
    if (Lower(text) == "none" || text.empty()) {
        binding = b;
        return true;
    }
    size_t pos = 0;
    while (pos < text.size()) {
        if (String::IsSpace(text[pos])) {
            ++pos;
            continue;
        }
        size_t colon = pos;
        while (colon < text.size() && text[colon] != ':' && !String::IsSpace(text[colon])) ++colon;
        if (colon >= text.size() || text[colon] != ':') {
            if (error) *error = "binding field without ':' in " + Excerpt(text);
            return false;
        }
        const std::string name(text.substr(pos, colon - pos));
        pos = colon + 1;
        std::string value;
        if (pos < text.size() && text[pos] == '"') {
            if (!Unquote(text, pos, value, error)) return false;
        } else {
            size_t end = pos;
            while (end < text.size() && !String::IsSpace(text[end])) ++end;
            value = std::string(text.substr(pos, end - pos));
            pos = end;
        }
        bool ok;
        if (name == "key") ok = ParseInteger(value, b.key, error);
        else if (name == "mouse") ok = ParseInteger(value, b.mouseButton, error);
        else if (name == "gamepad_id") ok = (b.gamepadId = value, true);
        else if (name == "gamepad_index") ok = ParseInteger(value, b.gamepadIndex, error);
        else if (name == "gamepad_button") ok = ParseInteger(value, b.gamepadButton, error);
        else if (name == "gamepad_axis") ok = ParseInteger(value, b.gamepadAxis, error);
        else if (name == "gamepad_dir") ok = ParseInteger(value, b.gamepadAxisDirection, error);
        else if (name == "joystick_guid") ok = (b.joystickGuid = value, true);
        else if (name == "joystick_index") ok = ParseInteger(value, b.joystickIndex, error);
        else if (name == "joystick_button") ok = ParseInteger(value, b.joystickButton, error);
        else if (name == "joystick_axis") ok = ParseInteger(value, b.joystickAxis, error);
        else if (name == "joystick_dir") ok = ParseInteger(value, b.joystickAxisDirection, error);
        else {
            if (error) *error = "unknown binding field " + Excerpt(name);
            return false;
        }
        if (!ok) return false;
    }
    binding = std::move(b);
    return true;
}

ConfigFile::Conf::Conf(ConfigFile* owner_, const std::string& key_, void* target_, CONFTYPE type_)
    : owner(owner_), key(key_), target(target_), type(type_) {}

std::string ConfigFile::Conf::Format() const {
    switch (type) {
        case CONF_STRING: return FormatString(*static_cast<const std::string*>(target));
        case CONF_BOOL: return *static_cast<const bool*>(target) ? "true" : "false";
        case CONF_INT: return std::to_string(*static_cast<const int32_t*>(target));
        case CONF_FLOAT: return FormatFloat(*static_cast<const float*>(target));
        case CONF_INPUT_BINDING: return FormatBinding(*static_cast<const InputBinding*>(target));
    }
    return {};
}

bool ConfigFile::Conf::Parse(std::string_view text, std::string* error) const {
    switch (type) {
        case CONF_STRING: return ParseString(text, *static_cast<std::string*>(target), error);
        case CONF_BOOL: return ParseBool(text, *static_cast<bool*>(target), error);
        case CONF_INT: return ParseInteger(text, *static_cast<int32_t*>(target), error);
        case CONF_FLOAT: return ParseFloat(text, *static_cast<float*>(target), error);
        case CONF_INPUT_BINDING: return ParseBinding(text, *static_cast<InputBinding*>(target), error);
    }
    if (error) *error = "unknown value type " + std::to_string(static_cast<int>(type));
    return false;
}

// ---- the file ------------------------------------------------------------------------------

ConfigFile::ConfigFile(const std::string& path, std::optional<int> option) : FilePath(path), _option(option) {}

ConfigFile::~ConfigFile() { StopAutoReloadThread(); }

void ConfigFile::WriteConfig() { throw std::runtime_error("WriteConfig() not implemented"); }

void ConfigFile::Report(const std::string& message) {
    std::lock_guard lock(_reportMutex);
    if (!_reported.insert(message).second) return;
    std::cerr << message << std::endl;
}

ConfigFile::Identity ConfigFile::CurrentIdentity() const { return Identity::Of(String()); }

bool ConfigFile::LoadLocked() {
    const std::string& path = String();
    auto newVersion = [&](const Identity& id) {
        _documentIdentity = id;
        _documentLoaded = true;
        _seenIdentity = id;
        std::lock_guard lock(_reportMutex);
        _reported.clear();
    };
    auto failed = [&](const Identity& id, const std::string& why) {
        if (_documentLoaded && _documentIdentity == id && !_documentValid) {
            _seenIdentity = id;
            return false;
        }
        newVersion(id);
        _document = IniDocument();
        _documentValid = false;
        Report(path + ": " + why + "; values left unchanged");
        return false;
    };

    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        _documentMissing = (errno == ENOENT);
        return failed(Identity{}, std::string("cannot open (") + std::strerror(errno) + ")");
    }
    _documentMissing = false;
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        Identity id;
        id.exists = true;
        return failed(id, "not a regular file");
    }
    Identity id;
    id.exists = true;
    id.device = st.st_dev;
    id.inode = st.st_ino;
    id.size = static_cast<uint64_t>(st.st_size);
    id.mtimeNs = static_cast<int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
    if (_documentLoaded && _documentIdentity == id) {
        ::close(fd);
        _seenIdentity = id;
        return _documentValid;
    }
    std::string bytes;
    std::array<char, 65536> buf;
    bool readError = false;
    while (bytes.size() <= IniDocument::kMaxFileSize) {
        ssize_t n = ::read(fd, buf.data(), buf.size());
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) {
            readError = true;
            break;
        }
        if (n == 0) break;
        bytes.append(buf.data(), static_cast<size_t>(n));
    }
    ::close(fd);
    if (readError) return failed(id, std::string("cannot read (") + std::strerror(errno) + ")");
    IniDocument doc;
    std::string why;
    if (!doc.Parse(bytes, &why)) return failed(id, why);
    newVersion(id);
    _document = std::move(doc);
    _documentValid = true;
    const auto& lines = _document.Lines();
    for (size_t i = 0; i < lines.size(); ++i) {
        if (lines[i].kind == IniDocument::LineKind::Invalid) {
            Report(path + ":" + std::to_string(i + 1) + ": " + lines[i].problem + "; line ignored");
        }
    }
    return true;
}

bool ConfigFile::ReadFromINI(const std::string& section, std::vector<Conf> rows, bool /*flag*/) {
    std::lock_guard lock(_mutex);
    if (!LoadLocked()) return false;
    const auto& lines = _document.Lines();
    for (size_t i = 0; i < lines.size(); ++i) {
        const auto& line = lines[i];
        if (!_document.InSection(line, section)) continue;
        for (const Conf& row : rows) {
            if (row.key != line.name) continue;
            std::string why;
            if (!row.Parse(line.value, &why)) {
                Report(String() + ":" + std::to_string(i + 1) + ": [" + section + "] " + row.key + ": " + why +
                       "; value left unchanged");
            }
        }
    }
    return true;
}

bool ConfigFile::ReadFromINI(const SectionHandler& handler) {
    IniDocument doc;
    {
        std::lock_guard lock(_mutex);
        if (!LoadLocked()) return false;
        doc = _document;
    }
    const auto& lines = doc.Lines();
    for (size_t i = 0; i < lines.size(); ++i) {
        if (lines[i].kind != IniDocument::LineKind::Header) continue;
        std::stringstream header(lines[i].name);
        std::vector<ConfLineStream> body;
        for (size_t j = i + 1; j < lines.size() && lines[j].sectionHeader == static_cast<int>(i); ++j) {
            if (lines[j].kind != IniDocument::LineKind::Key) continue;
            ConfLineStream& s = body.emplace_back();
            s.key.str(lines[j].name);
            s.value.str(lines[j].value);
        }
        handler(header, body);
    }
    return true;
}

bool ConfigFile::WriteToINI(const std::string& section, std::vector<Conf> rows) {
    std::lock_guard lock(_mutex);
    const std::string& path = String();
    // In a batch the rows join the batch's document, which is written once when it ends.
    IniDocument doc;
    IniDocument* target = &doc;
    if (_batchDepth > 0 && _batchHasDocument) {
        target = &_batchDocument;
    } else if (LoadLocked()) {
        doc = _document;
    } else if (!_documentMissing) {
        Report(path + ": not saved, the file is left as it is");
        return false;
    }
    for (const Conf& row : rows) {
        std::string value = row.Format();
        if (row.key.size() + 3 + value.size() > IniDocument::kMaxLineLength) {
            Report(path + ": [" + section + "] " + row.key + ": value longer than " +
                   std::to_string(IniDocument::kMaxLineLength) + " characters, not saved");
            continue;
        }
        target->Set(section, row.key, value);
    }
    if (_batchDepth > 0) {
        if (!_batchHasDocument) {
            _batchDocument = std::move(doc);
            _batchHasDocument = true;
        }
        return true;
    }
    return WriteDocumentLocked(std::move(doc));
}

bool ConfigFile::WriteDocumentLocked(IniDocument doc) {
    const std::string& path = String();
    try {
        AtomicFile file(path);
        const std::string bytes = doc.Serialize();
        file.Write(bytes.data(), bytes.size());
        file.Commit();
    } catch (const StreamError& e) {
        Report(path + ": not saved (" + e.what() + "), the file is left as it is");
        return false;
    }
    // The new version is this object's own: cache it, and let the reload thread skip it.
    Identity id = CurrentIdentity();
    _document = std::move(doc);
    _documentValid = true;
    _documentLoaded = true;
    _documentIdentity = id;
    _seenIdentity = id;
    return true;
}

ConfigFile::WriteBatch::WriteBatch(ConfigFile& file) : _file(file) {
    std::lock_guard lock(_file._mutex);
    ++_file._batchDepth;
}

ConfigFile::WriteBatch::~WriteBatch() {
    std::lock_guard lock(_file._mutex);
    if (--_file._batchDepth > 0 || !_file._batchHasDocument) return;
    _file._batchHasDocument = false;
    _file.WriteDocumentLocked(std::move(_file._batchDocument));
    _file._batchDocument = IniDocument();
}

// ---- auto-reload ---------------------------------------------------------------------------

void ConfigFile::StartAutoReloadThread() {
    if (_option && *_option <= 0) return;
    const bool started = _watcher.Start(String(), _mutex, _seenIdentity, [this] {
        try {
            ReadConfig();
        } catch (const std::exception& e) {
            Report(String() + ": reload failed: " + e.what());
        }
        _reloadCount.fetch_add(1, std::memory_order_acq_rel);
    });
    if (!started) Report(String() + ": cannot watch the file for changes (" + std::strerror(errno) + ")");
}

void ConfigFile::StopAutoReloadThread() { _watcher.Stop(); }

}  // namespace quorl::filesystem
