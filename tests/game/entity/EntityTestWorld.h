#pragma once
// A world folder of its own for each test: the process works in <tmp>/run, so the save folder
// "../Zendola-data/server/worlds/<world>/entities" lands in <tmp>/Zendola-data.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "TestFiles.h"
#include "game/Game.h"
#include "game/entity/ServerSideEntity.h"

namespace entity_test {

using game::entity::ServerSideEntity;
using quorl::filesystem::ReadOnlyStream;
using quorl::filesystem::WriteOnlyStream;

inline const char* kModule = "TEST_entities";

// Behaviour of the test kind "payload": a text and a generation number with a checksum, so a torn
// or mixed file can't pass for a whole one.
struct PayloadInterface : ServerSideEntity::Interface {
    static inline int inits = 0;
    static inline bool throwOnDeserialize = false;
    static inline bool throwOnDeserializeState = false;
    static inline bool saveAfterLoad = true;
    std::string payload;
    uint64_t generation = 0;
    uint64_t stateValue = 0;

    uint64_t Checksum() const {
        uint64_t h = 1469598103934665603ull ^ generation;
        for (char c : payload) h = (h ^ uint8_t(c)) * 1099511628211ull;
        return h;
    }
    void Serialize(WriteOnlyStream& s) override {
        s.Write(generation);
        s.Write(payload);
        s.Write(Checksum());
    }
    void Deserialize(ReadOnlyStream& s) override {
        if (throwOnDeserialize) throw std::runtime_error("module refuses its data");
        s.Read(generation);
        s.Read(payload);
        uint64_t c = 0;
        s.Read(c);
        if (c != Checksum()) throw std::runtime_error("payload checksum mismatch");
    }
    void SerializeState(WriteOnlyStream& s) override { s.Write(stateValue); }
    void DeserializeState(ReadOnlyStream& s) override {
        if (throwOnDeserializeState) throw std::runtime_error("module refuses its state");
        s.Read(stateValue);
    }
    void Init() override {
        ++inits;
        if (saveAfterLoad) entity.lock()->saveOnUnload = 1;
    }
};

inline void RegisterPayloadKind() {
    ServerSideEntity::_registered_interfaces[kModule]["payload"] = {
        nullptr, [] { return std::make_shared<PayloadInterface>(); }};
}

// Empties the registry without touching any file.
inline void ForgetAllEntities() {
    std::unordered_map<game::entity::Id, std::shared_ptr<ServerSideEntity>> all;
    {
        std::unique_lock lock(ServerSideEntity::_sharedObjectsMutex);
        all.swap(ServerSideEntity::_sharedObjects);
    }
    for (auto& [id, e] : all)
        if (e) e->deleteFilesOnDestroy = false;
}

// The text of the exception of type E that f throws, or "" when it throws none.
template <class E, class F>
std::string ErrorText(F&& f) {
    try {
        f();
    } catch (const E& e) {
        return e.what();
    }
    return "";
}

class EntityWorld : public ::testing::Test {
protected:
    void SetUp() override {
        std::filesystem::create_directories(root.path + "/run");
        previous = std::filesystem::current_path();
        std::filesystem::current_path(root.path + "/run");
        game::Game::_current_world = "testworld";
        PayloadInterface::inits = 0;
        PayloadInterface::throwOnDeserialize = false;
        PayloadInterface::throwOnDeserializeState = false;
        PayloadInterface::saveAfterLoad = true;
        RegisterPayloadKind();
    }
    void TearDown() override {
        ForgetAllEntities();
        ServerSideEntity::_registered_interfaces.clear();
        {
            std::lock_guard lock(ServerSideEntity::_module_entities_mutex);
            ServerSideEntity::_module_entities.clear();
        }
        std::filesystem::current_path(previous);
    }
    static std::filesystem::path Folder() { return ServerSideEntity::GetCheckpointDir(); }
    static size_t FileCount() {
        std::error_code ec;
        if (!std::filesystem::is_directory(Folder(), ec)) return 0;
        size_t n = 0;
        for (auto& e : std::filesystem::directory_iterator(Folder())) n += e.is_regular_file();
        return n;
    }

    testfiles::TempFolder root{"zendola_world"};
    std::filesystem::path previous;
};

inline std::shared_ptr<ServerSideEntity> MakePayload(const std::string& text, uint64_t generation = 1) {
    auto e = ServerSideEntity::Create<ServerSideEntity>(quorl::modular::ModuleID(kModule), "payload",
                                                        game::entity::Id());
    auto* p = static_cast<PayloadInterface*>(e->_interface.get());
    p->payload = text;
    p->generation = generation;
    p->initialized = true;
    return e;
}

}  // namespace entity_test
