#pragma once
#include <string>
#include <string_view>
#include <vector>

namespace quorl::audio {

// A bank: a text file naming the events a game may start and the parameters they read.
//
//   # a comment runs to the end of the line
//   global "underwater" min 0 max 1 default 0 seek 5
//   event "event:/game/tick"
//       sound click
//       bus "bus:/interface"
//       parameter "intensity" min 0 max 1 default 0.5
//   end
//
// One statement a line; words are separated by blanks, and a word in double quotes may hold
// blanks (but no quote). Statements:
// - `global NAME RANGE`: a parameter of the whole studio.
// - `event PATH` ... `end`: an event; PATH starts with "event:/". Inside it:
//   `sound KIND` (required: a kind of Generator::Kinds()), `bus NAME` (starts with "bus:/";
//   "bus:/" by default), `loop` or `oneshot` (the default), and `parameter NAME RANGE`.
// RANGE is `min A max B`, then optionally `default C` (A when left out) and `seek S`: the
// change per second with which the sound follows a new value (0, the default: at once).
// Values set outside [min, max] are clamped. Names are unique in their scope.
class Bank {
public:
    struct Parameter {
        std::string name;
        float minimum = 0;
        float maximum = 1;
        float initial = 0;
        float seek = 0;
    };
    struct Event {
        std::string path;
        std::string sound;
        std::string bus = "bus:/";
        bool loop = false;
        std::vector<Parameter> parameters;
    };

    std::string source;  // the file, or the name given to Parse
    std::vector<Parameter> globals;
    std::vector<Event> events;

    // Throw std::runtime_error with a message "SOURCE:LINE: what is wrong" (or "PATH: ..." when
    // the file can't be read).
    static Bank Parse(std::string_view text, const std::string& source);
    static Bank Load(const std::string& path);

    static constexpr size_t kMaxFileSize = 1 << 20;
};

}  // namespace quorl::audio
