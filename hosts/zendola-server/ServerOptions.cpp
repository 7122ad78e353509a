#include "ServerOptions.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <map>
#include <sstream>

namespace host {

bool ParseUnsigned(const std::string& text, uint64_t& out) {
    if (text.empty() || text.size() > 19) return false;
    uint64_t value = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return false;
        value = value * 10 + uint64_t(c - '0');
    }
    out = value;
    return true;
}

bool ParseNumber(const std::string& text, double& out) {
    if (text.empty() || std::isspace(static_cast<unsigned char>(text[0]))) return false;
    errno = 0;
    char* end = nullptr;
    double value = std::strtod(text.c_str(), &end);
    if (errno != 0 || end != text.c_str() + text.size() || !std::isfinite(value)) return false;
    out = value;
    return true;
}

namespace {

// "a,b" -> {a, b}; "" -> {}. Every item must be a safe name.
bool ParseList(const std::string& text, std::vector<std::string>& out, std::string& bad) {
    std::vector<std::string> items;
    if (!text.empty()) {
        std::string item;
        std::istringstream in(text);
        while (std::getline(in, item, ',')) items.push_back(item);
        if (text.back() == ',') items.push_back("");
    }
    for (const std::string& item : items) {
        if (!IsSafeName(item)) {
            bad = item;
            return false;
        }
    }
    out = std::move(items);
    return true;
}

}  // namespace

bool IsSafeName(const std::string& name) {
    if (name.empty() || name.size() > 64 || name[0] == '.') return false;
    for (char c : name) {
        bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
                  c == '-' || c == '.';
        if (!ok) return false;
    }
    return true;
}

std::string ParseOptions(const std::vector<std::string>& args, const OptionTable& table,
                         std::vector<std::string>* rest) {
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        std::string name = arg, value;
        bool hasValue = false;
        if (size_t eq = arg.find('='); arg.rfind("--", 0) == 0 && eq != std::string::npos) {
            name = arg.substr(0, eq);
            value = arg.substr(eq + 1);
            hasValue = true;
        }
        if (auto flag = table.flags.find(name); flag != table.flags.end()) {
            if (std::string why = flag->second(); !why.empty()) return "option " + name + " " + why;
            if (hasValue) return "option " + name + " takes no value";
            continue;
        }
        auto it = table.valued.find(name);
        if (it == table.valued.end()) {
            if (rest) {
                rest->push_back(arg);
                continue;
            }
            return arg.rfind("-", 0) == 0 ? "unknown option '" + name + "'" : "unexpected argument '" + arg + "'";
        }
        if (!hasValue) {
            if (i + 1 >= args.size()) return "option " + name + " needs a value";
            value = args[++i];
        }
        if (std::string why = it->second(value); !why.empty()) return "option " + name + ": '" + value + "' " + why;
    }
    return "";
}

ParseResult ParseServerOptions(const std::vector<std::string>& args) {
    ParseResult result;
    ServerOptions& o = result.options;

    // Each option with a value: a setter returning an error text, empty when the value is fine.
    OptionTable table;
    table.valued = {
        {"--world",
         [&](const std::string& v) -> std::string {
             if (!IsSafeName(v)) return "is not a world name (letters, digits, '_', '-', '.'; one folder)";
             o.world = v;
             return "";
         }},
        {"--ticks",
         [&](const std::string& v) -> std::string {
             if (!ParseUnsigned(v, o.ticks)) return "is not a whole number of ticks";
             return "";
         }},
        {"--rate",
         [&](const std::string& v) -> std::string {
             double r = 0;
             if (!ParseNumber(v, r) || r < 1 || r > 10000) return "is not a tick rate between 1 and 10000 Hz";
             o.rate = r;
             return "";
         }},
        {"--substeps",
         [&](const std::string& v) -> std::string {
             uint64_t n = 0;
             if (!ParseUnsigned(v, n) || n < 1 || n > 1000) return "is not a sub-step count between 1 and 1000";
             o.substeps = int(n);
             return "";
         }},
        {"--modules",
         [&](const std::string& v) -> std::string {
             std::string bad;
             if (!ParseList(v, o.modules, bad)) return "holds a bad module name '" + bad + "'";
             return "";
         }},
        {"--content",
         [&](const std::string& v) -> std::string {
             std::string bad;
             if (!ParseList(v, o.content, bad)) return "holds a bad module name '" + bad + "'";
             return "";
         }},
        {"--dir",
         [&](const std::string& v) -> std::string {
             if (v.empty()) return "is empty";
             o.directory = v;
             return "";
         }},
        {"--progress",
         [&](const std::string& v) -> std::string {
             double s = 0;
             if (!ParseNumber(v, s) || s < 0 || s > 86400) return "is not a number of seconds between 0 and 86400";
             o.progressInterval = s;
             return "";
         }},
        {"--autosave",
         [&](const std::string& v) -> std::string {
             double s = 0;
             if (!ParseNumber(v, s) || s < 0 || s > 86400) return "is not a number of seconds between 0 and 86400";
             o.autosaveInterval = s;
             return "";
         }},
        {"--poses",
         [&](const std::string& v) -> std::string {
             if (v.empty()) return "is empty";
             o.posesFile = v;
             return "";
         }},
    };
    auto set = [](bool& field) {
        return [&field] {
            field = true;
            return std::string();
        };
    };
    table.flags = {{"--help", set(o.help)}, {"-h", set(o.help)}, {"--version", set(o.version)},
                   {"--unpaced", set(o.unpaced)}};
    result.error = ParseOptions(args, table);
    return result;
}

std::string ServerUsage(const std::string& program) {
    ServerOptions d;
    std::ostringstream s;
    s << "Usage: " << program << " [options]\n"
      << "\n"
      << "Dedicated server of the Zendola library. Loads the server and content modules from the\n"
      << "modules/ folder of the run folder, restores the world from\n"
      << "<run folder>/../Zendola-data/server/worlds/<world>/entities, runs the server tick at a fixed\n"
      << "rate with physics sub-steps and prints a progress line every second. On Ctrl+C, SIGTERM or\n"
      << "after --ticks ticks it saves every entity that asks for it and exits with status 0.\n"
      << "\n"
      << "Options (a value may also follow '=', as in --ticks=300):\n"
      << "  --world NAME      world to run; its save folder is created on exit (default \"" << d.world << "\")\n"
      << "  --ticks N         stop after N ticks; 0 runs until Ctrl+C or SIGTERM (default " << d.ticks << ")\n"
      << "  --rate HZ         server ticks per second, 1 to 10000; each tick advances 1/HZ seconds\n"
      << "                    (default " << d.rate << ")\n"
      << "  --substeps N      physics sub-steps per tick, 1 to 1000 (default " << d.substeps << ")\n"
      << "  --modules LIST    comma-separated SERVER_Mod modules to load, in order; empty for none\n"
      << "                    (default \"demo\")\n"
      << "  --content LIST    comma-separated ZENDOLA_Mod content modules (Game::_mods); empty for none\n"
      << "                    (default \"demo\")\n"
      << "  --dir DIR         run folder: holds modules/, and saves go to DIR/../Zendola-data\n"
      << "                    (default: the folder of this program)\n"
      << "  --progress SEC    seconds between progress lines; 0 prints none (default " << d.progressInterval
      << ")\n"
      << "  --autosave SEC    also save the world every SEC seconds while running, so that a crash\n"
      << "                    loses at most that much; 0 saves only on exit (default " << d.autosaveInterval
      << ")\n"
      << "  --unpaced         run ticks back to back instead of at the tick rate (simulated time is\n"
      << "                    still 1/HZ per tick)\n"
      << "  --poses FILE      write the pose of every entity to FILE after loading and before saving\n"
      << "  -h, --help        print this text and exit\n"
      << "  --version         print the program's version and exit\n"
      << "\n"
      << "Progress line: tick count, ticks per second, bodies (rigid bodies with mass), resting bodies,\n"
      << "entities, and the physics time per tick in milliseconds.\n"
      << "\n"
      << "Exit status: 0 after a clean stop (the world is saved); 2 for a bad command line; 1 when a\n"
      << "module folder or module is missing or the save can't be read (no save file is touched), or\n"
      << "when a tick failed (the world is still saved) or an entity could not be saved.\n";
    return s.str();
}

}  // namespace host
