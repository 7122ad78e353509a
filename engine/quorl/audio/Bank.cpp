#include "quorl/audio/Bank.h"

#include <charconv>
#include <cmath>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "quorl/audio/Generator.h"

namespace quorl::audio {

namespace {

class Parser {
public:
    Parser(std::string_view text, const std::string& source) : _text(text), _source(source) {}

    Bank Run() {
        Bank bank;
        bank.source = _source;
        Bank::Event* event = nullptr;
        size_t eventLine = 0;
        size_t start = 0;
        while (start <= _text.size()) {
            size_t end = _text.find('\n', start);
            if (end == std::string_view::npos) end = _text.size();
            ++_line;
            std::vector<std::string> words = Split(_text.substr(start, end - start));
            start = end + 1;
            if (words.empty()) continue;
            const std::string& keyword = words[0];
            if (keyword == "event") {
                if (event) Fail("'event' inside the event that starts on line " + std::to_string(eventLine));
                Expect(words, 2, "event PATH");
                if (words[1].rfind("event:/", 0) != 0) Fail("an event path starts with \"event:/\": " + words[1]);
                for (const Bank::Event& e : bank.events)
                    if (e.path == words[1]) Fail("event " + words[1] + " is given twice");
                event = &bank.events.emplace_back();
                event->path = words[1];
                event->sound.clear();
                eventLine = _line;
            } else if (keyword == "end") {
                if (!event) Fail("'end' without an event");
                Expect(words, 1, "end");
                if (event->sound.empty()) Fail("event " + event->path + " names no sound");
                event = nullptr;
            } else if (keyword == "global") {
                if (event) Fail("'global' inside an event (close it with 'end')");
                AddParameter(bank.globals, words, "global");
            } else if (!event) {
                Fail("unknown statement '" + keyword + "' (expected event, end or global)");
            } else if (keyword == "sound") {
                Expect(words, 2, "sound KIND");
                if (!Generator::Find(words[1])) {
                    std::string kinds;
                    for (const Generator::Kind& k : Generator::Kinds()) kinds += std::string(kinds.empty() ? "" : ", ") + k.name;
                    Fail("unknown sound '" + words[1] + "' (known: " + kinds + ")");
                }
                event->sound = words[1];
            } else if (keyword == "bus") {
                Expect(words, 2, "bus NAME");
                if (words[1].rfind("bus:/", 0) != 0) Fail("a bus name starts with \"bus:/\": " + words[1]);
                event->bus = words[1];
            } else if (keyword == "loop" || keyword == "oneshot") {
                Expect(words, 1, keyword);
                event->loop = keyword == "loop";
            } else if (keyword == "parameter") {
                AddParameter(event->parameters, words, "parameter");
            } else {
                Fail("unknown statement '" + keyword + "' in an event");
            }
        }
        if (event) {
            _line = eventLine;
            Fail("event " + event->path + " has no 'end'");
        }
        return bank;
    }

private:
    [[noreturn]] void Fail(const std::string& what) const {
        throw std::runtime_error(_source + ":" + std::to_string(_line) + ": " + what);
    }

    void Expect(const std::vector<std::string>& words, size_t count, const std::string& form) const {
        if (words.size() != count) Fail("expected '" + form + "'");
    }

    std::vector<std::string> Split(std::string_view line) const {
        std::vector<std::string> words;
        size_t i = 0;
        while (i < line.size()) {
            const char c = line[i];
            if (c == ' ' || c == '\t' || c == '\r') {
                ++i;
            } else if (c == '#') {
                break;
            } else if (c == '"') {
                const size_t close = line.find('"', i + 1);
                if (close == std::string_view::npos) Fail("a quoted word has no closing quote");
                words.emplace_back(line.substr(i + 1, close - i - 1));
                i = close + 1;
            } else {
                size_t j = i;
                while (j < line.size() && line[j] != ' ' && line[j] != '\t' && line[j] != '\r' && line[j] != '#') {
                    if (line[j] == '"') Fail("a quote inside a word");
                    ++j;
                }
                words.emplace_back(line.substr(i, j - i));
                i = j;
            }
        }
        return words;
    }

    float Number(const std::string& word, const std::string& key) const {
        float v = 0;
        auto [end, ec] = std::from_chars(word.data(), word.data() + word.size(), v);
        if (ec != std::errc() || end != word.data() + word.size() || !std::isfinite(v))
            Fail("'" + key + "' needs a number, not '" + word + "'");
        return v;
    }

    void AddParameter(std::vector<Bank::Parameter>& list, const std::vector<std::string>& words,
                      const std::string& keyword) const {
        if (words.size() < 2 || words.size() % 2 != 0)
            Fail("expected '" + keyword + " NAME min A max B [default C] [seek S]'");
        Bank::Parameter p;
        p.name = words[1];
        if (p.name.empty()) Fail("a parameter needs a name");
        for (const Bank::Parameter& q : list)
            if (q.name == p.name) Fail("parameter \"" + p.name + "\" is given twice");
        bool hasMin = false, hasMax = false, hasDefault = false, hasSeek = false;
        for (size_t i = 2; i < words.size(); i += 2) {
            const std::string& key = words[i];
            bool* seen = key == "min" ? &hasMin : key == "max" ? &hasMax : key == "default" ? &hasDefault
                                                 : key == "seek"                            ? &hasSeek
                                                                                            : nullptr;
            if (!seen) Fail("unknown key '" + key + "' of parameter \"" + p.name + "\" (min, max, default, seek)");
            if (*seen) Fail("'" + key + "' is given twice for parameter \"" + p.name + "\"");
            *seen = true;
            const float v = Number(words[i + 1], key);
            if (key == "min") p.minimum = v;
            if (key == "max") p.maximum = v;
            if (key == "default") p.initial = v;
            if (key == "seek") p.seek = v;
        }
        if (!hasMin || !hasMax) Fail("parameter \"" + p.name + "\" needs both min and max");
        if (p.minimum > p.maximum) Fail("parameter \"" + p.name + "\" has min above max");
        if (!hasDefault) p.initial = p.minimum;
        if (p.initial < p.minimum || p.initial > p.maximum)
            Fail("the default of parameter \"" + p.name + "\" lies outside min..max");
        if (p.seek < 0) Fail("the seek speed of parameter \"" + p.name + "\" is negative");
        list.push_back(p);
    }

    std::string_view _text;
    const std::string& _source;
    size_t _line = 0;
};

}  // namespace

Bank Bank::Parse(std::string_view text, const std::string& source) { return Parser(text, source).Run(); }

Bank Bank::Load(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error(path + ": cannot open the bank file");
    std::string text;
    text.resize(kMaxFileSize + 1);
    in.read(text.data(), std::streamsize(text.size()));
    if (in.bad()) throw std::runtime_error(path + ": cannot read the bank file");
    text.resize(size_t(in.gcount()));
    if (text.size() > kMaxFileSize) throw std::runtime_error(path + ": larger than a bank may be (1 MiB)");
    if (text.find('\0') != std::string::npos) throw std::runtime_error(path + ": not a text file");
    return Parse(text, path);
}

}  // namespace quorl::audio

