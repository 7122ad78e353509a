#include "ClientOptions.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <sstream>

namespace host {

namespace {

std::string Absolute(const char* variable) {
    const char* value = std::getenv(variable);
    return value && value[0] == '/' ? std::string(value) : std::string();
}

}  // namespace

ClientParseResult ParseClientOptions(const std::vector<std::string>& args) {
    ClientParseResult result;
    ClientOptions& o = result.options;
    bool framesGiven = false, widthGiven = false, heightGiven = false;

    auto size = [](int& field) {
        return [&field](const std::string& v) -> std::string {
            uint64_t n = 0;
            if (!ParseUnsigned(v, n) || n < 16 || n > 8192) return "is not a size between 16 and 8192 pixels";
            field = int(n);
            return "";
        };
    };
    OptionTable table;
    table.valued = {
        {"--frames",
         [&](const std::string& v) -> std::string {
             if (!ParseUnsigned(v, o.frames)) return "is not a whole number of frames";
             framesGiven = true;
             return "";
         }},
        {"--screenshot",
         [&](const std::string& v) -> std::string {
             if (v.empty()) return "is empty";
             o.screenshot = v;
             return "";
         }},
        {"--width",
         [&, set = size(o.width)](const std::string& v) {
             widthGiven = true;
             return set(v);
         }},
        {"--height",
         [&, set = size(o.height)](const std::string& v) {
             heightGiven = true;
             return set(v);
         }},
        {"--camera",
         [&](const std::string& v) -> std::string {
             std::vector<double> numbers;
             for (size_t start = 0;;) {
                 const size_t comma = v.find(',', start);
                 double n = 0;
                 if (!ParseNumber(v.substr(start, comma - start), n) || std::abs(n) > 1e7) break;
                 numbers.push_back(n);
                 if (comma == std::string::npos) break;
                 start = comma + 1;
             }
             if (numbers.size() != 5 || std::count(v.begin(), v.end(), ',') != 4)
                 return "is not five numbers X,Y,Z,YAW,PITCH";
             if (std::abs(numbers[4]) > 90) return "has a pitch beyond 90 degrees up or down";
             o.camera = numbers;
             return "";
         }},
        {"--settings",
         [&](const std::string& v) -> std::string {
             if (v.empty()) return "is empty";
             o.settingsFile = v;
             return "";
         }},
    };

    auto set = [](bool& field) {
        return [&field] {
            field = true;
            return std::string();
        };
    };
    auto serverOnly = [] { return std::string("belongs to zendola-server only"); };
    table.flags = {{"--offscreen", set(o.offscreen)}, {"--benchmark", set(o.benchmark)},
                   {"--poses", serverOnly}, {"--unpaced", serverOnly}};
    std::vector<std::string> rest;
    result.error = ParseOptions(args, table, &rest);
    if (!result.error.empty()) return result;
    ParseResult server = ParseServerOptions(rest);
    if (!server.error.empty()) {
        result.error = server.error;
        return result;
    }
    o.server = server.options;
    o.help = o.server.help;
    o.version = o.server.version;
    if (o.benchmark) {
        o.offscreen = true;
        if (!framesGiven) o.frames = 600;
        if (!widthGiven) o.width = 1280;
        if (!heightGiven) o.height = 720;
    }
    if (!o.screenshot.empty() && !o.offscreen) {
        result.error = "option --screenshot needs --offscreen (in a window, F12 takes screenshots)";
        return result;
    }
    return result;
}

std::string SettingsPath() {
    std::string config = Absolute("XDG_CONFIG_HOME");
    if (config.empty()) {
        std::string home = Absolute("HOME");
        if (home.empty()) return "";
        config = home + "/.config";
    }
    return config + "/zendola/settings.ini";
}

std::string PicturesFolder() {
    std::string pictures = Absolute("XDG_PICTURES_DIR");
    if (!pictures.empty()) return pictures;
    std::string home = Absolute("HOME");
    return home.empty() ? std::string(".") : home + "/Pictures";
}

std::string ClientUsage(const std::string& program) {
    ClientOptions d;
    std::ostringstream s;
    s << "Usage: " << program << " [options]\n"
      << "\n"
      << "The Zendola game: a window showing the world that the server half of the same process\n"
      << "simulates. It loads the modules named by --modules (their GAME_Init and GAME_Mod files when\n"
      << "present, their SERVER_Mod file always) and the content modules of --content, restores the\n"
      << "world from <run folder>/../Zendola-data/server/worlds/<world>/entities, runs the render, game,\n"
      << "input and server loops on their own threads, and saves the world when the game ends.\n"
      << "\n"
      << "Playing: PLAY in the main menu; mouse to look, W A S D to fly, Space and Left Ctrl up and\n"
      << "down, Left Shift faster; F1 settings, F3 interface on or off, F4 admin panel, F11 full\n"
      << "screen, F12 screenshot into " << PicturesFolder() << ", hold Escape for two seconds to\n"
      << "quit (closing the window quits too).\n"
      << "\n"
      << "Client options (a value may also follow '='):\n"
      << "  --offscreen       no window: render into an image on the Vulkan device (lavapipe when\n"
      << "                    there is no GPU); each frame runs one server tick, then one game and\n"
      << "                    input update, then the frame, so a run is the same every time\n"
      << "  --frames N        quit after N frames; 0 runs until the player quits (default 0)\n"
      << "  --screenshot FILE with --offscreen: write the last frame to FILE as PNG\n"
      << "  --width W, --height H  size of the window or image in pixels, 16 to 8192\n"
      << "                    (default " << d.width << " x " << d.height << ")\n"
      << "  --settings FILE   settings file to read and write (default " << SettingsPath() << ",\n"
      << "                    from $XDG_CONFIG_HOME or ~/.config)\n"
      << "  --camera X,Y,Z,YAW,PITCH  start the view at X,Y,Z metres (+y up), turned YAW degrees\n"
      << "                    right from looking along -z and PITCH degrees up (default: the\n"
      << "                    game module's own start)\n"
      << "  --benchmark       --offscreen at 1280 x 720 for 600 frames (unless given), then print the\n"
      << "                    frame time and each loop's CPU time per frame\n"
      << "\n"
      << "World options, as zendola-server takes them:\n"
      << "  --world NAME      world to run (default \"" << d.server.world << "\")\n"
      << "  --rate HZ         server ticks per second (default " << d.server.rate << ")\n"
      << "  --substeps N      physics sub-steps per tick (default " << d.server.substeps << ")\n"
      << "  --ticks N         quit after N server ticks; 0: no limit (default 0)\n"
      << "  --modules LIST    comma-separated modules (default \"demo\")\n"
      << "  --content LIST    comma-separated content modules (default \"demo\")\n"
      << "  --dir DIR         run folder holding modules/ and data/ (default: this program's folder)\n"
      << "  --progress SEC    seconds between progress lines; 0 prints none (default "
      << d.server.progressInterval << ")\n"
      << "  --autosave SEC    also save the world every SEC seconds (default 0: only on exit)\n"
      << "  -h, --help        print this text and exit\n"
      << "  --version         print the program's version and exit\n"
      << "\n"
      << "A settings file that can't be read is reported and left as it is; the game runs on the\n"
      << "defaults of the keys it could not read.\n"
      << "\n"
      << "Exit status: 0 after a clean stop (the world is saved); 2 for a bad command line; 1 when\n"
      << "there is no display (use --offscreen), no Vulkan device, a module folder or module is\n"
      << "missing or broken, or the save can't be read (no save file is touched), or when a tick\n"
      << "failed or an entity could not be saved.\n";
    return s.str();
}

}  // namespace host
