#pragma once
#include <cstdint>
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
