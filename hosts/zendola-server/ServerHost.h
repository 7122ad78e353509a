#pragma once
#include <iosfwd>
#include <string>

#include "ProgressMeter.h"
#include "ServerOptions.h"

namespace host {

// One run of the dedicated server, in this order:
//   1. enter the run folder, which must hold modules/;
//   2. fill the statics a host fills (Game::_is_server, _current_world, _mods) and load the
//      SERVER_Mod modules; Game::Start loads the content modules, Game::Ready follows;
//   3. ServerSideEntity::LoadAllEntities restores the world; then each server module's
//      Server_Load export, called as void(), lets it fill an empty world;
//   4. Game::ServerUpdate(1 / rate, substeps) at the tick rate until --ticks, a stop signal or
//      Game::Quit, with a progress line every interval and, with --autosave, the state files of
//      the entities written again every autosave interval (between ticks);
//   5. ServerSideEntity::UnloadAllEntities saves, Game::Stop, the server modules are released.
// A missing run folder, modules/ folder or module, or a save that can't be read, ends the run
// with status 1 before any save file is written.
//
// The steps are public so that the windowed host (zendola-client), which runs the same world in
// one process beside its window, can interleave its own; messages start with `program`.
class ServerHost {
public:
    ServerHost(ServerOptions options, std::ostream& out, std::ostream& err, std::string program = "zendola-server");

    // The process exit status: 0 after a clean stop, 1 on failure.
    int Run();

    // Absolute save folder of the world (valid once the run folder is entered).
    std::string SaveFolder() const;
    // Counts over the server registry now.
    static WorldSample Sample(uint64_t ticks);

    // The steps of Run, each false (with a message) on failure.
    bool EnterRunFolder();
    bool CheckContentModules();
    bool LoadServerModules();
    // Game::Start, the check that every content module loaded, Game::Ready.
    bool StartGame();
    bool LoadWorld();
    void CallServerLoad();
    // "World 'NAME': ..." for a world that had `loaded` entities on disk.
    void AnnounceWorld(size_t loaded);
    // Unloads every entity; false, with a message, when a state file that should be written was not.
    bool SaveWorld();
    // Writes the state file of every entity that asks to be saved, keeping them all loaded.
    void Autosave();
    // Game::Quit and Game::Stop when the game was started, then the server modules are released.
    void Shutdown();

private:
    int Loop();
    void WritePoses(const char* label);
    void AbandonWorld();

    ServerOptions _options;
    std::ostream& _out;
    std::ostream& _err;
    std::string _program;
    std::string _runFolder;
    bool _started = false;
};

}  // namespace host
