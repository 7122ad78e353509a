#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "ServerOptions.h"

namespace host {

// Command line of the windowed host. The world, modules, run folder and tick options are the
// server host's (ServerOptions), since the client runs the same world in its own process.
struct ClientOptions {
    ServerOptions server;
    bool offscreen = false;      // no window: render into an image (lavapipe on a machine without a GPU)
    uint64_t frames = 0;         // quit after this many rendered frames; 0: until the player quits
    std::string screenshot;      // PNG of the last frame, written before quitting
    int width = 1280;
    int height = 720;
    std::string settingsFile;    // empty: the per-user settings file (SettingsPath)
    bool benchmark = false;      // offscreen 1280 x 720 for 600 frames, then a table of loop times
    // --camera X,Y,Z,YAW,PITCH: where the view starts (metres, degrees); empty: where the game module
    // puts it. The host hands it to the modules on the channel kCameraChannel before Game::Start.
    std::vector<double> camera;
    bool help = false;
    bool version = false;
};

// Inter-module channel (Game::SetIMC) holding the start camera as "X Y Z YAW PITCH": metres in
// the world's frame, yaw in degrees turning right from looking along -z, pitch in degrees up.
inline constexpr const char* kCameraChannel = "host.camera";
// Channel holding the tick rate in Hz for an --offscreen run, whose loops run in lockstep (one
// tick, one game update and one frame after another), and 0 otherwise: a module may then show
// simulated time instead of the clock, so that every run looks the same.
inline constexpr const char* kLockstepChannel = "host.lockstep";

struct ClientParseResult {
    ClientOptions options;
    std::string error;  // the first error, naming the option; empty when the line is fine
};

// Parses argv[1..]: the client's own options here, every other one through ParseServerOptions
// (so values and errors read the same in both hosts). --poses and --unpaced are refused: they
// belong to the dedicated server only. --benchmark implies --offscreen and, unless given,
// 600 frames at 1280 x 720.
ClientParseResult ParseClientOptions(const std::vector<std::string>& args);

std::string ClientUsage(const std::string& program);

// The user's settings file: $XDG_CONFIG_HOME/zendola/settings.ini, or
// $HOME/.config/zendola/settings.ini when XDG_CONFIG_HOME is unset or not absolute; empty when
// neither can be found.
std::string SettingsPath();
// Where F12 puts screenshots: $XDG_PICTURES_DIR, else $HOME/Pictures/zendola.
std::string PicturesFolder();

}  // namespace host
