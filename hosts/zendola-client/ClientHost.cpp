#include "ClientHost.h"

#include <sys/resource.h>
#include <time.h>

#include <barrier>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <mutex>
#include <sstream>
#include <thread>

#include "ProgressMeter.h"
#include "TickPacer.h"
#include "game/GAME_Init.h"
#include "game/GAME_Mod.h"
#include "game/Game.h"
#include "game/MainMenu.h"
#include "game/GameSettings.h"
#include "game/SERVER_Mod.h"
#include "game/graphics/GameRenderer.h"
#include "game/physics/EnvironmentRandom.h"
#include "quorl/audio/Studio.h"
#include "quorl/graphics/GlfwWindow.h"
#include "quorl/graphics/Window.h"

namespace host {

namespace fs = std::filesystem;
using game::Game;

namespace {

constexpr int kKeyEscape = 256;
constexpr int kKeyF1 = 290;
constexpr int kKeyF3 = 292;
constexpr int kKeyF4 = 293;
constexpr int kKeyF11 = 300;
constexpr int kKeyF12 = 301;
constexpr double kEscapeHoldSeconds = 2.0;
constexpr double kInputPeriod = 1.0 / 120.0;

double SteadySeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double ThreadCpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

// Counts one loop's iterations and its thread's CPU time from construction to destruction.
class LoopClock {
public:
    explicit LoopClock(ClientHost::LoopTime& into) : _into(into), _start(ThreadCpuSeconds()) {}
    ~LoopClock() { _into.cpuSeconds = ThreadCpuSeconds() - _start; }
    void Count() { ++_into.iterations; }
    // Runs one iteration's work, timing it on the wall clock.
    template <class F>
    void Time(F&& work) {
        double begin = SteadySeconds();
        work();
        _into.workSeconds += SteadySeconds() - begin;
        ++_into.iterations;
    }

private:
    ClientHost::LoopTime& _into;
    double _start;
};

std::string AbsolutePath(const std::string& path) {
    if (path.empty()) return path;
    std::error_code ec;
    fs::path p = fs::absolute(path, ec);
    return ec ? path : p.string();
}

bool DisplayAvailable() {
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY"}) {
        const char* value = std::getenv(name);
        if (value && value[0]) return true;
    }
    return false;
}

}  // namespace

ClientHost::ClientHost(ClientOptions options, std::ostream& out, std::ostream& err)
    : _options(std::move(options)), _out(out), _err(err), _server(_options.server, out, err, "zendola-client") {
    _options.screenshot = AbsolutePath(_options.screenshot);
    _options.settingsFile = AbsolutePath(_options.settingsFile.empty() ? SettingsPath() : _options.settingsFile);
}

ClientHost::~ClientHost() {
    _menu.reset();  // its elements' pipelines belong to the renderer
    Game::renderer = nullptr;
    Game::audio = nullptr;
    Game::window = nullptr;
    Game::settings = nullptr;
    _renderer.reset();
    _studio.reset();
    _window.reset();
}

bool ClientHost::MakeWindow() {
    if (_options.offscreen) {
        _window = std::make_unique<quorl::graphics::Window>();
        _window->SetSize(_options.width, _options.height);
        return true;
    }
    if (!DisplayAvailable()) {
        _err << "zendola-client: no display to open a window on (DISPLAY and WAYLAND_DISPLAY are unset); "
                "run with --offscreen to render without a window"
             << std::endl;
        return false;
    }
    try {
        _window = std::make_unique<quorl::graphics::GlfwWindow>(_options.width, _options.height, "Zendola");
    } catch (const std::exception& e) {
        _err << "zendola-client: cannot open a window: " << e.what()
             << "; run with --offscreen to render without a window" << std::endl;
        return false;
    }
    _window->AddCallback_Key("zendola-client", [this](int key, int, int action, int) {
        if (action != quorl::graphics::PRESS) return;
        if (key == kKeyF12) ++_f12Presses;
        if (key == kKeyF11) ++_f11Presses;
        if (key == kKeyF1) ++_f1Presses;
        if (key == kKeyF3) ++_f3Presses;
        if (key == kKeyF4) ++_f4Presses;
    });
    return true;
}

bool ClientHost::MakeRenderer() {
    try {
        _renderer = std::make_unique<game::graphics::GameRenderer>(
            _window.get(), "zendola-client", 1, quorl::vk::PhysicalDevice::Features{},
            VkExtent2D{uint32_t(_options.width), uint32_t(_options.height)});
    } catch (const std::exception& e) {
        _err << "zendola-client: cannot start the renderer: " << e.what() << std::endl;
        return false;
    }
    return true;
}

// Loads the modules of --modules of one kind: each present file is loaded; with `required`, a
// missing file is an error too. A file that fails to load always is.
bool ClientHost::LoadModules(const char* classWord, bool required) {
    auto loadAll = [&](auto* kind) {
        using M = std::remove_pointer_t<decltype(kind)>;
        std::string loadError;
        M::ModulesSetLoadErrorCallback([&](const char* text) { loadError = text; });
        bool ok = true;
        for (const std::string& name : _options.server.modules) {
            std::string file = "modules/" + name + "/" + name + "." + classWord + ".so";
            std::error_code ec;
            if (!fs::is_regular_file(file, ec)) {
                if (!required) continue;
                _err << "zendola-client: module '" << name << "' has no " << classWord << ": no file "
                     << fs::absolute(file).string() << std::endl;
                ok = false;
                break;
            }
            loadError.clear();
            if (!M::LoadModule(name, true)) {
                _err << "zendola-client: " << classWord << " module '" << name << "' failed to load: " << loadError
                     << std::endl;
                ok = false;
                break;
            }
        }
        M::ModulesSetLoadErrorCallback([](const char*) {});
        return ok;
    };
    if (std::string(classWord) == game::GAME_Init::ClassWord) return loadAll(static_cast<game::GAME_Init*>(nullptr));
    return loadAll(static_cast<game::GAME_Mod*>(nullptr));
}

void ClientHost::SortWalks() {
    for (const char* key : {"update", "render", "post", "overlay", "ui"})
        game::GAME_Mod::SortModules(key,
                                    [](game::GAME_Mod::Ptr a, game::GAME_Mod::Ptr b) { return a->name < b->name; });
}

void ClientHost::Fail(const char* loop, const std::exception& e) {
    _err << "zendola-client: the " << loop << " loop stopped: " << e.what() << std::endl;
    _status = 1;
    Game::Quit();
}

void ClientHost::TakeScreenshot(const std::string& path) {
    std::error_code ec;
    fs::create_directories(fs::path(path).parent_path(), ec);
    if (_renderer->SaveImage(_renderer->GetOutputVkImage(), {0, 0}, _renderer->GetOutputImageExtent(),
                             _renderer->GetOutputImageFormat(), _renderer->OutputFinalLayout(), path))
        _out << "Screenshot written to " << path << std::endl;
    else
        _err << "zendola-client: could not write the screenshot " << path << std::endl;
}

void ClientHost::AfterFrame(uint64_t frame) {
    if (_options.frames && frame >= _options.frames) {
        if (!_options.screenshot.empty()) TakeScreenshot(_options.screenshot);
        Game::Quit();
        return;
    }
    if (_options.offscreen) return;
    auto* glfw = static_cast<quorl::graphics::GlfwWindow*>(_window.get());
    if (glfw->ShouldClose()) {
        Game::Quit();
        return;
    }
    double now = SteadySeconds();
    if (_window->GetKey(kKeyEscape) == quorl::graphics::PRESS) {
        if (_escapeSince < 0) _escapeSince = now;
        if (now - _escapeSince >= kEscapeHoldSeconds) {
            _out << "Escape held: quitting" << std::endl;
            Game::Quit();
        }
    } else {
        _escapeSince = -1;
    }
    // Presses come from the key callback: a tap shorter than a frame still counts.
    if (_f12Presses.exchange(0) > 0) {
        std::time_t t = std::time(nullptr);
        char name[64];
        std::strftime(name, sizeof name, "zendola-%Y%m%d-%H%M%S", std::localtime(&t));
        TakeScreenshot(PicturesFolder() + "/" + name + "-" + std::to_string(frame) + ".png");
    }
    // PLAY (Game::Play) has put the input in play mode: the menu goes.
    if (_menuShown && Game::_inputMode == 1) {
        _menu->Hide();
        _menuShown = false;
        _out << "Main menu: PLAY" << std::endl;
    }
    // F1 settings, F4 admin panel: while either is open the cursor is free for the interface.
    // At the main menu the cursor is free already and they are ignored.
    if (_menuShown) {
        _f1Presses = 0;
        _f4Presses = 0;
    } else {
        bool panelsBefore = Game::settingsWindowOpen || Game::adminWindowOpen;
        if (_f1Presses.exchange(0) % 2 == 1) Game::settingsWindowOpen = !Game::settingsWindowOpen;
        if (_f4Presses.exchange(0) % 2 == 1) Game::adminWindowOpen = !Game::adminWindowOpen;
        bool panelsNow = Game::settingsWindowOpen || Game::adminWindowOpen;
        if (panelsNow && !panelsBefore) Game::SetInputMode_Ui();
        if (!panelsNow && panelsBefore) Game::SetInputMode_Play();
    }
    if (_f3Presses.exchange(0) % 2 == 1) Game::uiVisible = !Game::uiVisible;
    if (_f11Presses.exchange(0) % 2 == 1) {
        _fullScreen = !_fullScreen;
        glfw->SetFullScreen(_fullScreen);
    }
}

// --offscreen: every frame is one server tick, one input update, one game update and the frame,
// in that order, each on its loop's thread. The barrier's completion reads Game::isActive once
// per step, so the four loops end together.
void ClientHost::RunLockstep() {
    const double dt = 1.0 / _options.server.rate;
    bool go = true;
    int phase = 0;
    std::barrier sync(4, [&]() noexcept {
        if (phase++ % 4 == 0) go = Game::isActive;
    });
    auto step = [&](auto&& work, int myPhase, LoopTime& time, const char* name) {
        LoopClock clock(time);
        while (true) {
            sync.arrive_and_wait();
            if (!go) break;
            for (int p = 1; p < 4; ++p) {
                if (p == myPhase) {
                    try {
                        clock.Time(work);
                    } catch (const std::exception& e) {
                        Fail(name, e);
                    }
                }
                sync.arrive_and_wait();
            }
            if (myPhase == 0) {
                try {
                    clock.Time(work);
                } catch (const std::exception& e) {
                    Fail(name, e);
                }
            }
        }
    };
    ProgressMeter progress(_options.server.progressInterval);
    progress.Start(SteadySeconds(), 0);
    std::thread server([&] {
        step(
            [&] {
                Game::ServerUpdate(dt, _options.server.substeps);
                Game::serverFramerate.Tick();
                uint64_t ticks = ++_ticks;
                if (_options.server.ticks && ticks >= _options.server.ticks) Game::Quit();
                double now = SteadySeconds();
                if (progress.Due(now)) _out << progress.Line(now, ServerHost::Sample(ticks)) << std::endl;
            },
            1, _serverLoop, "server");
    });
    std::thread input([&] {
        step(
            [&] {
                Game::InputUpdate(dt);
                if (Game::_inputMode == 1) Game::InputUpdate_Play(dt);
                if (Game::_inputMode == 2) Game::InputUpdate_Station(dt);
                Game::inputFramerate.Tick();
            },
            2, _input, "input");
    });
    std::thread gameLoop([&] {
        step(
            [&] {
                Game::Update(dt);
                Game::ClientUpdate();
                Game::gameFramerate.Tick();
            },
            3, _game, "game");
    });
    uint64_t frame = 0;
    step(
        [&] {
            _renderer->Frame();
            Game::mainRenderingFramerate.Tick();
            AfterFrame(++frame);
        },
        0, _render, "render");
    server.join();
    input.join();
    gameLoop.join();
}

// With a window: the server ticks at its rate, input at 120 Hz, the game once per rendered frame.
void ClientHost::RunFree() {
    const double dt = 1.0 / _options.server.rate;
    std::mutex frameMutex;
    std::condition_variable frameDone;
    uint64_t frame = 0;

    if (auto* glfw = dynamic_cast<quorl::graphics::GlfwWindow*>(_window.get())) {
        // Entering look mode warps the cursor; the window's events of that settle before the
        // input loop reads any travel, so the view does not jump at the start.
        for (int i = 0; i < 5; ++i) {
            glfw->PollEvents();
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        if (Game::_mouseLook) _window->SetCursorPos(0, 0);
        glfw->PollEvents();
    }
    std::thread server([&] {
        LoopClock clock(_serverLoop);
        TickPacer pacer(_options.server.rate);
        ProgressMeter progress(_options.server.progressInterval);
        double now = SteadySeconds();
        double lastSave = now;
        pacer.Start(now);
        progress.Start(now, 0);
        while (Game::isActive) {
            try {
                Game::ServerUpdate(dt, _options.server.substeps);
            } catch (const std::exception& e) {
                Fail("server", e);
                break;
            }
            clock.Count();
            Game::serverFramerate.Tick();
            uint64_t ticks = ++_ticks;
            if (_options.server.ticks && ticks >= _options.server.ticks) Game::Quit();
            now = SteadySeconds();
            if (progress.Due(now))
                _out << progress.Line(now, ServerHost::Sample(ticks)) << ", " << std::fixed << std::setprecision(1)
                     << Game::mainRenderingFramerate.GetFPS() << " frames/s" << std::defaultfloat << std::endl;
            if (_options.server.autosaveInterval > 0) {
                // Autosave between ticks, on the server thread that owns the entities.
                if (now - lastSave >= _options.server.autosaveInterval) {
                    _server.Autosave();
                    lastSave = now = SteadySeconds();
                }
            }
            double wait = pacer.Next(now);
            double until = SteadySeconds() + wait;
            while (Game::isActive && SteadySeconds() < until)
                std::this_thread::sleep_for(std::chrono::duration<double>(std::min(0.01, until - SteadySeconds())));
        }
    });
    std::thread input([&] {
        LoopClock clock(_input);
        double next = SteadySeconds();
        while (Game::isActive) {
            try {
                Game::InputUpdate(kInputPeriod);
                if (Game::_inputMode == 1) Game::InputUpdate_Play(kInputPeriod);
                if (Game::_inputMode == 2) Game::InputUpdate_Station(kInputPeriod);
            } catch (const std::exception& e) {
                Fail("input", e);
                break;
            }
            clock.Count();
            Game::inputFramerate.Tick();
            next = std::max(next + kInputPeriod, SteadySeconds() - kInputPeriod);
            std::this_thread::sleep_for(std::chrono::duration<double>(std::max(0.0, next - SteadySeconds())));
        }
    });
    std::thread gameLoop([&] {
        LoopClock clock(_game);
        uint64_t seen = 0;
        while (Game::isActive) {
            {
                std::unique_lock lock(frameMutex);
                frameDone.wait_for(lock, std::chrono::milliseconds(50), [&] { return frame != seen; });
                seen = frame;
            }
            try {
                Game::Update(0);
                Game::ClientUpdate();
            } catch (const std::exception& e) {
                Fail("game", e);
                break;
            }
            clock.Count();
            Game::gameFramerate.Tick();
        }
    });
    {
        LoopClock clock(_render);
        auto* glfw = dynamic_cast<quorl::graphics::GlfwWindow*>(_window.get());
        uint64_t rendered = 0;
        while (Game::isActive) {
            if (glfw) glfw->PollEvents();
            try {
                if (_renderer->Frame()) {
                    clock.Count();
                    Game::mainRenderingFramerate.Tick();
                    ++rendered;
                } else {
                    std::this_thread::sleep_for(std::chrono::milliseconds(10));  // minimised
                }
            } catch (const std::exception& e) {
                Fail("render", e);
            }
            {
                std::lock_guard lock(frameMutex);
                ++frame;
            }
            frameDone.notify_all();
            AfterFrame(rendered);
        }
    }
    frameDone.notify_all();
    server.join();
    input.join();
    gameLoop.join();
}

static double ProcessCpuSeconds() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return double(u.ru_utime.tv_sec + u.ru_stime.tv_sec) + double(u.ru_utime.tv_usec + u.ru_stime.tv_usec) * 1e-6;
}

void ClientHost::RunLoops() {
    Game::isActive = true;
    double start = SteadySeconds();
    _processCpuAtStart = ProcessCpuSeconds();
    if (_options.offscreen)
        RunLockstep();
    else
        RunFree();
    double wall = SteadySeconds() - start;
    _processCpuSeconds = ProcessCpuSeconds() - _processCpuAtStart;
    _out << "Stopping after " << _render.iterations << " frames and " << _ticks << " ticks" << std::endl;
    if (_options.benchmark) PrintBenchmark(wall, _render.iterations);
}

void ClientHost::PrintBenchmark(double wallSeconds, uint64_t frames) {
    if (frames == 0) return;
    auto ms = [&](double seconds) { return seconds * 1000.0 / double(frames); };
    auto row = [&](const char* name, const LoopTime& t) {
        _out << "  " << std::left << std::setw(8) << name << std::right << std::setw(12) << ms(t.workSeconds)
             << std::setw(12) << ms(t.cpuSeconds) << "\n";
    };
    _out << std::fixed << std::setprecision(3) << "Benchmark: " << frames << " frames at " << _options.width << " x "
         << _options.height << ", one server tick (" << _options.server.substeps
         << " sub-steps) per frame, in lockstep\n"
         << "  frame time " << ms(wallSeconds) << " ms, process CPU " << ms(_processCpuSeconds)
         << " ms per frame (all threads, the Vulkan driver's included)\n"
         << "  loop       wall ms/frame  thread CPU ms/frame\n";
    row("render", _render);
    row("game", _game);
    row("input", _input);
    row("server", _serverLoop);
    _out << std::defaultfloat << std::flush;
}

int ClientHost::Run() {
    if (_options.settingsFile.empty()) {
        _err << "zendola-client: neither XDG_CONFIG_HOME nor HOME is set: name a settings file with --settings"
             << std::endl;
        return 1;
    }
    std::error_code ec;
    fs::create_directories(fs::path(_options.settingsFile).parent_path(), ec);
    if (!fs::exists(_options.settingsFile, ec)) {
        // First run: an empty file reads as all defaults; the renderer writes the chosen preset.
        std::ofstream created(_options.settingsFile, std::ios::app);
    }
    _settings = game::GameSettings::Instance(quorl::filesystem::FilePath(_options.settingsFile), 1);
    Game::settings = _settings.get();

    if (!_server.EnterRunFolder() || !_server.CheckContentModules()) return 1;
    Game::_is_server = true;
    Game::_current_world = _options.server.world;
    Game::_mods = _options.server.content;
    Game::SetIMC(kLockstepChannel, _options.offscreen ? _options.server.rate : 0.0);
    // Offscreen runs repeat: the environment's random samplers (buoyancy, air on surfaces) start
    // from the same seed every time.
    if (_options.offscreen) game::physics::SeedEnvironmentRandom(1);
    if (_options.camera.size() == 5) {
        std::ostringstream camera;
        camera.precision(17);
        for (double n : _options.camera) camera << n << ' ';
        Game::SetIMC(kCameraChannel, camera.str());
    }
    if (!LoadModules(game::GAME_Init::ClassWord, false)) {
        game::GAME_Init::UnloadModules();
        return 1;
    }
    if (!MakeWindow() || !MakeRenderer()) {
        game::GAME_Init::UnloadModules();
        return 1;
    }
    _studio = std::make_unique<quorl::audio::Studio>();
    Game::window = _window.get();
    Game::renderer = _renderer.get();
    Game::audio = _studio.get();

    auto release = [&] {
        _server.Shutdown();
        game::GAME_Mod::UnloadModules();
        game::GAME_Init::UnloadModules();
    };
    if (!LoadModules(game::GAME_Mod::ClassWord, false) || !_server.LoadServerModules() || !_server.StartGame()) {
        release();
        return 1;
    }
    SortWalks();
    if (!_server.LoadWorld()) {
        release();
        return 1;
    }
    size_t loaded = ServerHost::Sample(0).entities;
    _server.CallServerLoad();
    _server.AnnounceWorld(loaded);
    if (_options.offscreen) {
        Game::Play();
    } else {
        _menu = std::make_unique<game::MainMenu>();
        _menu->Init();
        _menu->Show();
        _menuShown = true;
        Game::SetInputMode_Ui();
    }
    _out << "Playing world '" << _options.server.world << "' "
         << (_options.offscreen ? "offscreen" : "in a window") << " at " << _options.width << " x "
         << _options.height << (_options.frames ? ", for " + std::to_string(_options.frames) + " frames" : "")
         << std::endl;

    RunLoops();
    {
        // Work posted for a frame that will not come: dropped while the modules that made it
        // are still loaded.
        std::lock_guard lock(Game::_syncMutex);
        Game::_syncQueue.clear();
    }
    int status = _status;
    if (!_server.SaveWorld()) status = 1;
    release();
    return status;
}

}  // namespace host
