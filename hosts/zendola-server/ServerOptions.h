#pragma once
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace host {

// Command line of the dedicated server.
struct ServerOptions {
    std::string world = "demo";                    // save folder ../Zendola-data/server/worlds/<world>
    uint64_t ticks = 0;                            // 0: until SIGINT or SIGTERM
    double rate = 60.0;                            // server ticks per second
    int substeps = 4;                              // physics sub-steps per tick
    std::vector<std::string> modules{"demo"};      // SERVER_Mod modules, loaded by the host
    std::vector<std::string> content{"demo"};      // ZENDOLA_Mod modules, loaded by Game::Start
    std::string directory;                         // run folder holding modules/; empty: beside the program
    double progressInterval = 1.0;                 // seconds between progress lines; 0: none
    double autosaveInterval = 0.0;                 // seconds between saves while running; 0: none
    bool unpaced = false;                          // tick as fast as possible, dt stays 1 / rate
    std::string posesFile;                         // where to write the poses after loading and before saving
    bool help = false;
    bool version = false;                          // print the version and exit
};

// Result of parsing: the options, or the first error in `error` (non-empty).
struct ParseResult {
    ServerOptions options;
    std::string error;
};

// The options of a command line, shared by both hosts' parsers. Each takes its argument and
// returns an error text, empty when it is fine: a flag takes no value, a valued option its value
// ("--ticks 300" or "--ticks=300").
struct OptionTable {
    std::map<std::string, std::function<std::string()>> flags;
    std::map<std::string, std::function<std::string(const std::string&)>> valued;
};

// Walks `args` through the table and returns the first error, naming the option; empty when all
// is well. Arguments that are not in the table go to `rest` when it is given (for another table
// to read), else they are errors: an unknown option or an unexpected argument.
std::string ParseOptions(const std::vector<std::string>& args, const OptionTable& table,
                         std::vector<std::string>* rest = nullptr);

// Parses argv[1..]. Options take their value as the next argument or after '='
// ("--ticks 300", "--ticks=300"). Unknown options, missing or malformed values, values out of
// range, an unsafe world or module name and stray arguments give an error naming the option.
ParseResult ParseServerOptions(const std::vector<std::string>& args);

// The --help text: usage and every option with its default.
std::string ServerUsage(const std::string& program);

// A world or module name is one path component of letters, digits, '_', '-' and '.', not
// starting with '.', at most 64 characters: it can't reach outside its folder.
bool IsSafeName(const std::string& name);

// Whole numbers of decimal digits only; finite numbers with nothing around them. False, leaving
// `out` as it was, for anything else. Shared with the windowed host's command line.
bool ParseUnsigned(const std::string& text, uint64_t& out);
bool ParseNumber(const std::string& text, double& out);

}  // namespace host
