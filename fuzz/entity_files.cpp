// The two save-file readers on arbitrary bytes: byte 0 picks the reader (even: state file through
// Interface::Create, odd: checkpoint), the rest is the file. A reader loads or fails with its error;
// it never crashes, hangs, allocates from a bad length or touches the file.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <mutex>
#include <stdexcept>

#include "game/Game.h"
#include "game/entity/ServerSideEntity.h"

using game::entity::Id;
using game::entity::ServerSideEntity;

namespace {

struct FuzzInterface : ServerSideEntity::Interface {
    std::string text;
    uint64_t number = 0;
    void Deserialize(quorl::filesystem::ReadOnlyStream& s) override {
        s.Read(number);
        s.Read(text);
    }
    void DeserializeState(quorl::filesystem::ReadOnlyStream& s) override { s.Read(number); }
};

struct World {
    Id id;
    std::shared_ptr<ServerSideEntity> holder;  // has an interface, for checkpoints
    World() {
        std::filesystem::path root = std::filesystem::temp_directory_path() /
                                     ("zendola_fuzz_entity_files_" + std::to_string(::getpid()));
        std::filesystem::create_directories(root / "run");
        std::filesystem::current_path(root / "run");
        game::Game::_current_world = "fuzz";
        std::filesystem::create_directories(ServerSideEntity::GetCheckpointDir());
        ServerSideEntity::_registered_interfaces["FUZZ_entities"]["kind"] = {
            nullptr, [] { return std::make_shared<FuzzInterface>(); }};
        id = Id("ENTT0100000000000000000000C0");
        holder = ServerSideEntity::Create<ServerSideEntity>(quorl::modular::ModuleID("FUZZ_entities"), "kind", id);
        holder->deleteFilesOnDestroy = false;
    }
};

void WriteFile(const std::string& path, const uint8_t* data, size_t size) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), std::streamsize(size));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static World world;
    std::cerr.setstate(std::ios::failbit);  // the checkpoint reader reports on the error stream
    if (size == 0) return 0;
    bool checkpoint = data[0] & 1;
    ++data, --size;
    if (checkpoint) {
        WriteFile(world.holder->GetCheckpointSaveFile(), data, size);
        try {
            world.holder->DeserializeCheckpoint();
        } catch (const std::runtime_error&) {  // from the module's own block reader
        }
        return 0;
    }
    WriteFile(world.holder->GetStateSaveFile(), data, size);
    // The holder keeps the registry slot of its id: load under a second registration instead.
    ServerSideEntity::Destroy(world.id);
    try {
        (void)ServerSideEntity::Interface::Create(world.id);
    } catch (const std::runtime_error&) {
    }
    if (auto loaded = ServerSideEntity::Get(world.id)) {
        loaded->deleteFilesOnDestroy = false;
        ServerSideEntity::Destroy(world.id);
    }
    if (std::filesystem::file_size(world.holder->GetStateSaveFile()) != size) std::abort();
    std::unique_lock lock(ServerSideEntity::_sharedObjectsMutex);
    ServerSideEntity::_sharedObjects[world.id] = world.holder;
    return 0;
}
