#include "ServerHost.h"

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <thread>
#include <vector>

#include "StopSignal.h"
#include "TickPacer.h"
#include "game/Game.h"
#include "game/SERVER_Mod.h"
#include "game/ZENDOLA_Mod.h"
#include "game/entity/ServerSideEntity.h"

namespace host {

namespace fs = std::filesystem;
using game::Game;
using game::SERVER_Mod;
using game::ZENDOLA_Mod;
using game::entity::ServerSideEntity;

namespace {

double SteadySeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

std::string ModuleFile(const std::string& name, const char* classWord) {
    return "modules/" + name + "/" + name + "." + classWord + ".so";
}

// Sleeps up to `seconds` in short pieces, so that a stop signal is seen quickly.
void SleepUnlessStopped(double seconds) {
    constexpr double kSlice = 0.05;
    while (seconds > 0 && !StopRequested()) {
        double piece = std::min(seconds, kSlice);
        std::this_thread::sleep_for(std::chrono::duration<double>(piece));
        seconds -= piece;
    }
}

}  // namespace

ServerHost::ServerHost(ServerOptions options, std::ostream& out, std::ostream& err, std::string program)
    : _options(std::move(options)), _out(out), _err(err), _program(std::move(program)) {}

std::string ServerHost::SaveFolder() const {
    std::error_code ec;
    fs::path folder = fs::weakly_canonical(fs::absolute(ServerSideEntity::GetCheckpointDir()), ec);
    return ec ? ServerSideEntity::GetCheckpointDir() : folder.string();
}

WorldSample ServerHost::Sample(uint64_t ticks) {
    WorldSample s;
    s.ticks = ticks;
    ServerSideEntity::ForEach([&](std::shared_ptr<ServerSideEntity> e) {
        ++s.entities;
        if (e->isRigidbody && e->mass > 0) {
            ++s.bodies;
            // At rest for the physics step: a body still for a second is simulated as fixed.
            if (e->restTime >= 1.0) ++s.resting;
        }
    });
    s.physicsMs = Game::serverSidePhysicsAvgTime * 1000.0;
    return s;
}

bool ServerHost::EnterRunFolder() {
    std::error_code ec;
    if (!fs::is_directory(_options.directory, ec)) {
        _err << _program << ": the run folder '" << _options.directory << "' does not exist" << std::endl;
        return false;
    }
    fs::current_path(_options.directory, ec);
    if (ec) {
        _err << _program << ": cannot enter the run folder '" << _options.directory << "': " << ec.message()
             << std::endl;
        return false;
    }
    _runFolder = fs::current_path().string();
    if (!fs::is_directory("modules", ec)) {
        _err << _program << ": no modules folder in '" << _runFolder
             << "' (build the modules, or name the build folder with --dir)" << std::endl;
        return false;
    }
    return true;
}

bool ServerHost::LoadServerModules() {
    std::string loadError;
    SERVER_Mod::ModulesSetLoadErrorCallback([&](const char* text) { loadError = text; });
    bool ok = true;
    for (const std::string& name : _options.modules) {
        std::error_code ec;
        if (!fs::is_regular_file(ModuleFile(name, SERVER_Mod::ClassWord), ec)) {
            _err << _program << ": server module '" << name << "' not found: no file "
                 << (fs::path(_runFolder) / ModuleFile(name, SERVER_Mod::ClassWord)).string() << std::endl;
            ok = false;
            break;
        }
        loadError.clear();
        if (!SERVER_Mod::LoadModule(name, true)) {
            _err << _program << ": server module '" << name << "' failed to load: " << loadError << std::endl;
            ok = false;
            break;
        }
    }
    SERVER_Mod::ModulesSetLoadErrorCallback([](const char*) {});
    return ok;
}

bool ServerHost::CheckContentModules() {
    for (const std::string& name : _options.content) {
        std::error_code ec;
        if (!fs::is_regular_file(ModuleFile(name, ZENDOLA_Mod::ClassWord), ec)) {
            _err << _program << ": content module '" << name << "' not found: no file "
                 << (fs::path(_runFolder) / ModuleFile(name, ZENDOLA_Mod::ClassWord)).string() << std::endl;
            return false;
        }
    }
    return true;
}

// Forgets the entities of a world that could not be loaded, without writing or removing a file.
void ServerHost::AbandonWorld() {
    ServerSideEntity::ForEach([](std::shared_ptr<ServerSideEntity> e) {
        e->saveOnUnload = 0;
        e->deleteFilesOnDestroy = false;
    });
    ServerSideEntity::UnloadAllEntities();
}

bool ServerHost::LoadWorld() {
    try {
        ServerSideEntity::LoadAllEntities();
    } catch (const std::exception& e) {
        _err << _program << ": cannot load world '" << _options.world << "' from " << SaveFolder() << ": "
             << e.what() << std::endl;
        _err << _program << ": nothing was saved; the save files are as they were" << std::endl;
        AbandonWorld();
        return false;
    }
    return true;
}

void ServerHost::CallServerLoad() {
    SERVER_Mod::ForEachModule([](SERVER_Mod::Ptr& mod) {
        if (mod->Server_Load) reinterpret_cast<void (*)()>(mod->Server_Load)();
    });
}

void ServerHost::WritePoses(const char* label) {
    if (_options.posesFile.empty()) return;
    std::ofstream file(_options.posesFile, std::ios::app);
    ServerSideEntity::ForEach([&](std::shared_ptr<ServerSideEntity> e) {
        char line[512];
        std::snprintf(line, sizeof line, "%s %s %s %s %a %a %a %a %a %a %a\n", label, e->id.ToString().c_str(),
                      e->moduleId.String().c_str(), e->type.c_str(), e->position.x, e->position.y, e->position.z,
                      e->rotation.w, e->rotation.x, e->rotation.y, e->rotation.z);
        file << line;
    });
    if (!file) _err << _program << ": could not write the poses to " << _options.posesFile << std::endl;
}

int ServerHost::Loop() {
    const double dt = 1.0 / _options.rate;
    TickPacer pacer(_options.rate);
    ProgressMeter progress(_options.progressInterval);
    uint64_t tick = 0;
    double now = SteadySeconds();
    double lastSave = now;
    pacer.Start(now);
    progress.Start(now, 0);
    Game::isActive = true;
    while (!StopRequested() && Game::isActive && (_options.ticks == 0 || tick < _options.ticks)) {
        try {
            Game::ServerUpdate(dt, _options.substeps);
        } catch (const std::exception& e) {
            _err << _program << ": tick " << tick << " failed: " << e.what() << std::endl;
            return 1;
        }
        ++tick;
        Game::serverFramerate.Tick();
        now = SteadySeconds();
        if (progress.Due(now)) _out << progress.Line(now, Sample(tick)) << std::endl;
        if (_options.autosaveInterval > 0 && now - lastSave >= _options.autosaveInterval) {
            Autosave();
            lastSave = now = SteadySeconds();
        }
        double wait = pacer.Next(now);
        if (!_options.unpaced) SleepUnlessStopped(wait);
    }
    if (StopRequested())
        _out << "Stopping on signal " << StopSignal() << " after " << tick << " ticks" << std::endl;
    else
        _out << "Stopping after " << tick << " ticks" << std::endl;
    return 0;
}

bool ServerHost::SaveWorld() {
    // The state file of every entity that asks to be saved must be written by this unload. Files
    // are replaced by renaming a new file over them, so a written file has a new inode.
    std::vector<std::pair<std::string, ino_t>> files;  // path, inode before (0: none)
    ServerSideEntity::ForEach([&](std::shared_ptr<ServerSideEntity> e) {
        if (!e->saveOnUnload || e->isComponent) return;
        std::string path = e->GetStateSaveFile();
        struct stat st {};
        files.emplace_back(path, ::stat(path.c_str(), &st) == 0 ? st.st_ino : 0);
    });
    ServerSideEntity::UnloadAllEntities();
    size_t failed = 0;
    for (const auto& [path, inodeBefore] : files) {
        struct stat st {};
        if (::stat(path.c_str(), &st) != 0 || st.st_ino == inodeBefore) ++failed;
    }
    if (failed) {
        _err << _program << ": could not save " << failed << " of " << files.size() << " entities of world '"
             << _options.world << "' to " << SaveFolder() << std::endl;
        return false;
    }
    _out << "Saved " << files.size() << " entities of world '" << _options.world << "' to " << SaveFolder()
         << std::endl;
    return true;
}

void ServerHost::Autosave() {
    size_t saved = 0, failed = 0;
    ServerSideEntity::ForEach([&](std::shared_ptr<ServerSideEntity> e) {
        if (!e->saveOnUnload || e->isComponent) return;
        try {
            e->Serialize();
            ++saved;
        } catch (const std::exception& error) {
            ++failed;
            _err << _program << ": autosave of entity " << e->id.ToString() << " failed, its previous file is kept: "
                 << error.what() << std::endl;
        }
    });
    _out << "Autosaved " << saved << " entities" << (failed ? " (" + std::to_string(failed) + " failed)" : "")
         << std::endl;
}

void ServerHost::Shutdown() {
    if (_started) {
        Game::Quit();
        Game::Stop();
        _started = false;
    }
    // Entities and their interfaces are gone by now, so the modules' code can be released.
    SERVER_Mod::UnloadModules();
}

bool ServerHost::StartGame() {
    ZENDOLA_Mod::ModulesSetLoadErrorCallback(
        [this](const char* text) { _err << _program << ": " << text << std::endl; });
    Game::Start();
    _started = true;
    for (const std::string& name : _options.content) {
        if (!ZENDOLA_Mod::GetModule(name)) {
            _err << _program << ": content module '" << name << "' failed to load" << std::endl;
            return false;
        }
    }
    Game::Ready();
    return true;
}

void ServerHost::AnnounceWorld(size_t loaded) {
    WorldSample start = Sample(0);
    if (loaded > 0)
        _out << "World '" << _options.world << "': " << loaded << " entities restored from " << SaveFolder()
             << std::endl;
    else
        _out << "World '" << _options.world << "': new world, " << start.entities << " entities created"
             << std::endl;
}

int ServerHost::Run() {
    if (!EnterRunFolder()) return 1;
    Game::_is_server = true;
    Game::_current_world = _options.world;
    Game::_mods = _options.content;
    if (!CheckContentModules() || !LoadServerModules()) {
        Shutdown();
        return 1;
    }
    if (!StartGame()) {
        Shutdown();
        return 1;
    }

    if (!_options.posesFile.empty()) std::ofstream(_options.posesFile, std::ios::trunc);
    if (!LoadWorld()) {
        Shutdown();
        return 1;
    }
    size_t loaded = Sample(0).entities;
    WritePoses("loaded");
    CallServerLoad();
    AnnounceWorld(loaded);
    WorldSample start = Sample(0);
    _out << "Running " << start.entities << " entities (" << start.bodies << " bodies) "
         << (_options.unpaced ? "unpaced, " : "at ") << _options.rate << " ticks/s of simulated time with "
         << _options.substeps << " physics sub-steps"
         << (_options.ticks ? ", for " + std::to_string(_options.ticks) + " ticks" : std::string(", until Ctrl+C"))
         << std::endl;

    int status = Loop();
    WritePoses("saved");
    if (!SaveWorld()) status = 1;
    Shutdown();
    return status;
}

}  // namespace host
