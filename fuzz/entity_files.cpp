// Feeds arbitrary bytes to the two save-file readers. The first byte picks the reader (even: state
// file through Interface::Create, odd: checkpoint), the rest is the file. A reader must either load
// or fail with its error; it must never crash, hang, allocate from a bad length or touch the file.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <mutex>
#include <stdexcept>
#include <string>
#include <unistd.h>

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
        } catch (const std::runtime_error&) {
            // thrown by the module's own reader of its block, not by the file reader
        }
        return 0;
    }
    WriteFile(world.holder->GetStateSaveFile(), data, size);
    // The holder keeps the registry slot of its id: load under a second registration instead.
    ServerSideEntity::Destroy(world.id);
    try {
        auto iface = ServerSideEntity::Interface::Create(world.id);
        (void)iface;
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
