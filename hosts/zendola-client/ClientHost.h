#pragma once
#include <atomic>
#include <iosfwd>
#include <memory>
#include <string>

#include "ClientOptions.h"
#include "ServerHost.h"

namespace quorl::graphics {
class Window;
}
namespace quorl::audio {
class Studio;
}
namespace game {
class GameSettings;
class MainMenu;
}
namespace game::graphics {
class GameRenderer;
}

namespace host {

// One run of the windowed game, in this order:
//   1. the settings file is read (GameSettings, re-read on change), the run folder entered;
//   2. the GAME_Init modules are loaded, then the window (GLFW, or the headless window with
//      --offscreen), the renderer, the audio studio, then the GAME_Mod and SERVER_Mod modules;
//   3. Game::Start loads the content modules, Game::Ready follows; the "update", "render",
//      "post", "overlay" and "ui" walks are sorted by module name;
//   4. the world is restored (ServerHost::LoadWorld), Server_Load may make a new one;
//   5. four loops run while Game::isActive holds: render on the main thread (GLFW wants its
//      window's events there), game, input and server on threads of their own;
//   6. the world is saved (ServerSideEntity::UnloadAllEntities), Game::Quit, Game::Stop, the
//      modules are released, then the renderer, the studio and the window.
// The steps that the dedicated server has too are ServerHost's, with the same messages and the
// same rules: a failure before step 5 ends the run with status 1 and writes no save file.
class ClientHost {
public:
    ClientHost(ClientOptions options, std::ostream& out, std::ostream& err);
    ~ClientHost();

    // The process exit status: 0 after a clean stop, 1 on failure.
    int Run();

    // CPU seconds and iterations of one loop, for --benchmark.
    struct LoopTime {
        double cpuSeconds = 0;   // of the loop's thread
        double workSeconds = 0;  // wall time inside the loop's work, waits for other loops excluded
        uint64_t iterations = 0;
    };

private:
    bool MakeWindow();
    bool MakeRenderer();
    bool LoadModules(const char* classWord, bool required);
    void SortWalks();
    void RunLoops();
    void RunLockstep();
    void RunFree();
    // The render loop's work after each frame: the frame limit, the screenshot, the keys that
    // the host handles. False when the loop should end.
    void AfterFrame(uint64_t frame);
    void TakeScreenshot(const std::string& path);
    void Fail(const char* loop, const std::exception& e);
    void PrintBenchmark(double wallSeconds, uint64_t frames);

    ClientOptions _options;
    std::ostream& _out;
    std::ostream& _err;
    ServerHost _server;
    std::shared_ptr<game::GameSettings> _settings;
    std::unique_ptr<quorl::graphics::Window> _window;
    std::unique_ptr<game::graphics::GameRenderer> _renderer;
    std::unique_ptr<quorl::audio::Studio> _studio;
    // With a window the game starts at the main menu; its PLAY puts the input in play mode.
    std::unique_ptr<game::MainMenu> _menu;
    bool _menuShown = false;
    std::atomic<int> _status{0};
    std::atomic<uint64_t> _ticks{0};
    // Keys the host handles on the render loop.
    double _escapeSince = -1;
    std::atomic<int> _f1Presses{0}, _f3Presses{0}, _f4Presses{0}, _f11Presses{0}, _f12Presses{0};
    bool _fullScreen = false;
    LoopTime _render, _game, _input, _serverLoop;
    double _processCpuAtStart = 0, _processCpuSeconds = 0;
};

}  // namespace host
