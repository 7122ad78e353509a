// The entity save files: golden layouts, round trips, corrupt files, and a saver killed mid-write.
#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <random>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "EntityTestWorld.h"
#include "quorl/filesystem/BinaryFileStream.h"

using namespace entity_test;
using game::entity::Id;
using quorl::modular::ModuleID;

namespace {

template <class T>
T At(const std::string& bytes, size_t offset) {
    T value{};
    EXPECT_LE(offset + sizeof(T), bytes.size());
    if (offset + sizeof(T) <= bytes.size()) std::memcpy(&value, bytes.data() + offset, sizeof(T));
    return value;
}

// `count` values of type T stored one after another from `offset`.
template <class T>
std::vector<T> RunAt(const std::string& bytes, size_t offset, size_t count) {
    std::vector<T> values;
    for (size_t i = 0; i < count; ++i) values.push_back(At<T>(bytes, offset + i * sizeof(T)));
    return values;
}

std::shared_ptr<ServerSideEntity> GoldenEntity() {
    auto e = MakePayload("abc", 7);
    e->relativeEnvironmentId = 0x1122334455667788ull;
    e->parentEnvironmentId = 0x99ull;
    e->parentEntity = Id::Generate("ENTT");
    e->position = {1.5, -2.0, 3.0};
    e->rotation = glm::dquat(0.5, 0.5, -0.5, 0.5);
    e->isDetachable = true;
    e->velocity = {0.1, 0.2, 0.3};
    e->angularVelocity = {-1, -2, -3};
    e->boundsRadius = 4.25;
    e->restTime = 1.0;
    static_cast<PayloadInterface*>(e->_interface.get())->stateValue = 0xABCDEFull;
    return e;
}

// Returns the error text of loading `id` through its module, or "" when it loaded.
std::string LoadError(const Id& id) {
    return ErrorText<std::runtime_error>([&] { ServerSideEntity::Interface::Create(id); });
}

bool EndsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

}  // namespace

using EntitySaveFormat = EntityWorld;

TEST_F(EntitySaveFormat, StateFileLayout) {
    auto e = GoldenEntity();
    e->Serialize();
    std::string b = testfiles::ReadAll(e->GetStateSaveFile());
    EXPECT_EQ(e->GetStateSaveFile(),
              "../Zendola-data/server/worlds/testworld/entities/" + e->id.ToString() + ".entitystate");
    ASSERT_EQ(b.size(), 240u);
    EXPECT_EQ(b.substr(0, 16), "ZENDOLA!ENTITY !");
    EXPECT_EQ(At<uint32_t>(b, 16), 1u);
    // The module, the length of the type, the type, the two environments.
    EXPECT_EQ(RunAt<uint64_t>(b, 20, 3), (std::vector<uint64_t>{ModuleID(kModule).vendor, ModuleID(kModule).name, 7}));
    EXPECT_EQ(b.substr(44, 7), "payload");
    EXPECT_EQ(RunAt<uint64_t>(b, 51, 2), (std::vector<uint64_t>{0x1122334455667788ull, 0x99}));
    EXPECT_EQ(At<Id>(b, 67), e->parentEntity);
    // Position, then the rotation w, x, y, z.
    EXPECT_EQ(RunAt<double>(b, 83, 7), (std::vector<double>{1.5, -2.0, 3.0, 0.5, 0.5, -0.5, 0.5}));
    EXPECT_EQ(b[139], 1);
    // Velocity, angular velocity, bounds radius.
    EXPECT_EQ(RunAt<double>(b, 140, 7), (std::vector<double>{0.1, 0.2, 0.3, -1, -2, -3, 4.25}));
    EXPECT_EQ(b[196], 1);  // detachable with restTime 1.0: settled
    EXPECT_EQ(b.substr(197, 4), "\n\n\n\n");
    // The module's block of 27 bytes: generation 7, then its text of 3.
    EXPECT_EQ(RunAt<uint64_t>(b, 201, 3), (std::vector<uint64_t>{27, 7, 3}));
    EXPECT_EQ(b.substr(225, 3), "abc");
    EXPECT_EQ(b.substr(236, 4), "\nEOF");

    e->restTime = 0.5;
    e->Serialize();
    EXPECT_EQ(testfiles::ReadAll(e->GetStateSaveFile())[196], 0);
    e->isDetachable = false;
    e->Serialize();
    EXPECT_EQ(testfiles::ReadAll(e->GetStateSaveFile())[196], 1);
}

TEST_F(EntitySaveFormat, CheckpointFileLayoutAndRestore) {
    auto e = GoldenEntity();
    e->SerializeCheckpoint();
    std::string b = testfiles::ReadAll(e->GetCheckpointSaveFile());
    ASSERT_EQ(b.size(), 181u);
    EXPECT_EQ(b.substr(0, 8), "CHECKPNT");
    EXPECT_EQ(At<uint32_t>(b, 8), 0u);
    EXPECT_EQ(At<Id>(b, 12), e->id);
    // Position, rotation (w, x, y, z), velocity, angular velocity.
    EXPECT_EQ(RunAt<double>(b, 28, 13),
              (std::vector<double>{1.5, -2.0, 3.0, 0.5, 0.5, -0.5, 0.5, 0.1, 0.2, 0.3, -1, -2, -3}));
    EXPECT_EQ(At<Id>(b, 132), e->parentEntity);
    EXPECT_EQ(RunAt<uint64_t>(b, 148, 2), (std::vector<uint64_t>{0x1122334455667788ull, 0x99}));
    EXPECT_EQ(b[164], 1);
    EXPECT_EQ(RunAt<uint64_t>(b, 165, 2), (std::vector<uint64_t>{8, 0xABCDEF}));  // the module's state

    // Restoring brings the pose and the module's state back and wakes a detachable body.
    e->position = {0, 0, 0};
    e->restTime = 5;
    static_cast<PayloadInterface*>(e->_interface.get())->stateValue = 0;
    e->DeserializeCheckpoint();
    EXPECT_EQ(e->position, glm::dvec3(1.5, -2.0, 3.0));
    EXPECT_EQ(e->restTime, 0.0);
    EXPECT_EQ(static_cast<PayloadInterface*>(e->_interface.get())->stateValue, 0xABCDEFull);
}

TEST_F(EntitySaveFormat, TreeRoundTripThroughLoadAll) {
    // Root, two children, a grandchild: poses, velocities and links come back bit for bit.
    auto root = MakePayload("root");
    root->position = {10.0 / 3.0, 1e300, -0.0};
    root->rotation = glm::normalize(glm::dquat(0.9, 0.1, 0.3, -0.2));
    root->velocity = {1.0 / 7.0, 2, 3};
    root->angularVelocity = {0.001, -5, 1e-9};
    root->relativeEnvironmentId = 5;
    auto a = MakePayload("child a");
    auto b = MakePayload("child b");
    auto leaf = MakePayload(std::string(3000, 'x'));  // a block longer than the file buffer
    root->AddChild(a);
    root->AddChild(b);
    a->AddChild(leaf);
    leaf->isDetachable = true;
    leaf->restTime = 0.5;
    b->isDetachable = false;
    std::vector<std::shared_ptr<ServerSideEntity>> saved = {root, a, b, leaf};
    std::vector<Id> ids;
    for (auto& e : saved) e->saveOnUnload = 1, ids.push_back(e->id);
    saved.clear();
    root.reset(), a.reset(), b.reset(), leaf.reset();
    ServerSideEntity::UnloadAllEntities();
    EXPECT_EQ(FileCount(), 4u);
    std::unordered_map<Id, std::string> files;
    for (const Id& id : ids) files[id] = testfiles::ReadAll((Folder() / (id.ToString() + ".entitystate")).string());

    // Loaded and saved again, every file comes out byte for byte as it went in.
    PayloadInterface::inits = 0;
    ServerSideEntity::LoadAllEntities();
    EXPECT_EQ(PayloadInterface::inits, 4);
    for (const Id& id : ids) {
        auto e = ServerSideEntity::Get(id);
        ASSERT_TRUE(e) << id.ToString();
        // Settled bodies come back settled; a detachable one that was moving starts from 0.
        EXPECT_EQ(e->restTime, e->isDetachable ? 0.0 : 2.0);
        e->Serialize();
        EXPECT_TRUE(testfiles::ReadAll(e->GetStateSaveFile()) == files[id]) << id.ToString();
    }
}

TEST_F(EntitySaveFormat, BadCheckpointsPrintAndChangeNothing) {
    auto e = GoldenEntity();
    e->SerializeCheckpoint();
    std::string path = e->GetCheckpointSaveFile();
    const std::string good = testfiles::ReadAll(path);
    auto probe = [&](std::string bytes, const std::string& message) {
        testfiles::WriteAll(path, bytes);
        e->position = {9, 9, 9};
        ::testing::internal::CaptureStderr();
        e->DeserializeCheckpoint();
        std::string err = ::testing::internal::GetCapturedStderr();
        EXPECT_NE(err.find(message), std::string::npos) << err;
        EXPECT_EQ(e->position, glm::dvec3(9, 9, 9));
        EXPECT_EQ(testfiles::ReadAll(path), bytes);  // the reader never rewrites a file
    };
    // Magic, version, another entity's id, a block length far beyond the file.
    for (auto [at, value, message] : {std::tuple{3, good[3] ^ 1, "Invalid checkpoint file"},
                                      {8, 1, "Unsupported checkpoint version"},
                                      {20, good[20] ^ 0x40, "Invalid checkpoint parent entity ID"},
                                      {172, 0x7F, "Invalid checkpoint file"}}) {
        auto bad = good;
        bad[size_t(at)] = char(value);
        probe(bad, message);
    }
    for (size_t cut : {size_t(0), size_t(100), good.size() - 1})
        probe(good.substr(0, cut), "Invalid checkpoint file");
    // A whole file whose state the module refuses: read whole before anything is applied.
    PayloadInterface::throwOnDeserializeState = true;
    probe(good, "Invalid checkpoint state (module refuses its state)");
    PayloadInterface::throwOnDeserializeState = false;
}

TEST_F(EntitySaveFormat, CorruptStateFilesThrowWithTheIdAndStayOnDisk) {
    auto e = GoldenEntity();
    Id id = e->id;
    e->Serialize();
    std::string path = e->GetStateSaveFile();
    const std::string good = testfiles::ReadAll(path);
    ForgetAllEntities();
    e.reset();
    auto expectError = [&](const std::string& bytes, const std::string& start) {
        testfiles::WriteAll(path, bytes);
        std::string error = LoadError(id);
        EXPECT_EQ(error.rfind(start, 0), 0u) << error;
        EXPECT_TRUE(EndsWith(error, id.ToString())) << error;
        EXPECT_EQ(testfiles::ReadAll(path), bytes);
        EXPECT_FALSE(ServerSideEntity::Get(id));
    };
    // Byte 43: a type length of 2^62, refused before any allocation; 208: a block longer than the file.
    for (auto [at, value, start] : {std::tuple{0, 'X', "Invalid save state magic string for entity "},
                                    {16, 2, "Invalid save state version for entity "},
                                    {198, 'X', "Invalid save state interface magic string for entity "},
                                    {43, 0x40, "Invalid save state file ("},
                                    {208, 0x01, "Invalid save state file ("}}) {
        auto bad = good;
        bad[size_t(at)] = char(value);
        expectError(bad, start);
    }
    // Every truncation short of the end marker fails; the marker itself is not checked.
    for (size_t cut = 0; cut < good.size() - 4; ++cut) {
        testfiles::WriteAll(path, good.substr(0, cut));
        std::string error = LoadError(id);
        ASSERT_TRUE(EndsWith(error, id.ToString())) << "cut at " << cut << ": " << error;
    }
    testfiles::WriteAll(path, good);
    EXPECT_EQ(LoadError(id), "");
    EXPECT_TRUE(ServerSideEntity::Get(id));

    std::filesystem::remove(path);
    ForgetAllEntities();
    EXPECT_EQ(LoadError(id), "Save state file does not exist for entity " + id.ToString());
}

TEST_F(EntitySaveFormat, LoaderKeepsFilesOnEveryFault) {
    auto e = MakePayload("keep me");
    Id id = e->id;
    e->Serialize();
    e->SerializeCheckpoint();
    std::string state = e->GetStateSaveFile();
    const std::string bytes = testfiles::ReadAll(state);
    ForgetAllEntities();
    e.reset();

    // Loading an id that is already live: refused, and the rejected copy deletes nothing.
    ServerSideEntity::LoadAllEntities();
    EXPECT_THROW(ServerSideEntity::LoadAllEntities(), std::runtime_error);
    EXPECT_EQ(testfiles::ReadAll(state), bytes);
    EXPECT_TRUE(ServerSideEntity::Get(id));
    ForgetAllEntities();

    // A module that throws on its own data: the error reaches the caller, the entity is not
    // registered, its files stay.
    PayloadInterface::throwOnDeserialize = true;
    ::testing::internal::CaptureStderr();
    EXPECT_THROW(ServerSideEntity::LoadAllEntities(), std::runtime_error);
    ::testing::internal::GetCapturedStderr();
    EXPECT_FALSE(ServerSideEntity::Get(id));
    EXPECT_EQ(testfiles::ReadAll(state), bytes);
    EXPECT_EQ(FileCount(), 2u);
    PayloadInterface::throwOnDeserialize = false;

    // The module does not ask for a save again: unloading keeps the earlier file.
    PayloadInterface::saveAfterLoad = false;
    ServerSideEntity::LoadAllEntities();
    ASSERT_TRUE(ServerSideEntity::Get(id));
    ::testing::internal::CaptureStderr();
    ServerSideEntity::UnloadAllEntities();
    EXPECT_NE(::testing::internal::GetCapturedStderr().find("WARNING: entity " + id.ToString()), std::string::npos);
    EXPECT_EQ(testfiles::ReadAll(state), bytes);

    // Destroying an entity in play is the one path that removes its files.
    ServerSideEntity::LoadAllEntities();
    EXPECT_TRUE(ServerSideEntity::Destroy(id));
    EXPECT_EQ(FileCount(), 0u);
    EXPECT_FALSE(ServerSideEntity::Destroy(id));
}

TEST_F(EntitySaveFormat, UnloadSavesOnlyWhatIsMarked) {
    auto kept = MakePayload("kept");
    auto dropped = MakePayload("dropped");
    auto component = MakePayload("component");
    kept->saveOnUnload = 1;
    component->saveOnUnload = 1;
    component->isComponent = true;
    std::string keptFile = kept->GetStateSaveFile(), droppedFile = dropped->GetStateSaveFile(),
                componentFile = component->GetStateSaveFile();
    kept.reset(), dropped.reset(), component.reset();
    ServerSideEntity::UnloadAllEntities();
    EXPECT_TRUE(std::filesystem::exists(keptFile));
    EXPECT_FALSE(std::filesystem::exists(droppedFile));
    EXPECT_FALSE(std::filesystem::exists(componentFile));
}

// A child process saves a world of 1,000 entities again and again and is killed at random
// moments; after each kill the world loads whole, every entity from one whole save.
TEST_F(EntitySaveFormat, KilledSaverLeavesAWholeWorld) {
    const int kEntities = 1000;
    std::vector<Id> ids;
    for (int i = 0; i < kEntities; ++i) {
        auto e = MakePayload("entity " + std::to_string(i) + std::string(size_t(i % 97), '.'));
        e->position = {double(i), 0, 0};
        e->Serialize();
        ids.push_back(e->id);
    }
    std::mt19937 random(12345);
    int rounds = 0, killedMidSave = 0;
    size_t newerSaves = 0;  // entities found in a save of the child
    for (; rounds < 20; ++rounds) {
        pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            for (uint64_t generation = 2;; ++generation) {
                ServerSideEntity::ForEach([&](std::shared_ptr<ServerSideEntity> e) {
                    auto* p = static_cast<PayloadInterface*>(e->_interface.get());
                    p->generation = generation;
                    p->payload += char('a' + generation % 26);
                    e->position.y = double(generation);
                    e->Serialize();
                });
            }
        }
        std::this_thread::sleep_for(std::chrono::microseconds(std::uniform_int_distribution<int>(2000, 30000)(random)));
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);
        killedMidSave += WIFSIGNALED(status);

        // Load into an empty registry; the module's checksum rejects any torn or mixed block.
        std::unordered_map<Id, std::shared_ptr<ServerSideEntity>> live;
        {
            std::unique_lock lock(ServerSideEntity::_sharedObjectsMutex);
            live.swap(ServerSideEntity::_sharedObjects);
        }
        ASSERT_NO_THROW(ServerSideEntity::LoadAllEntities()) << "round " << rounds;
        // The temporary file of the save that was cut short is gone with the load.
        for (const auto& entry : std::filesystem::directory_iterator(ServerSideEntity::GetCheckpointDir()))
            EXPECT_NE(entry.path().extension(), ".tmp") << "round " << rounds << ": " << entry.path();
        for (const Id& id : ids) {
            auto e = ServerSideEntity::Get(id);
            ASSERT_TRUE(e) << "round " << rounds;
            auto* p = static_cast<PayloadInterface*>(e->_interface.get());
            EXPECT_EQ(e->position.y, p->generation < 2 ? 0.0 : double(p->generation));
            newerSaves += p->generation >= 2;
        }
        ForgetAllEntities();
        std::unique_lock lock(ServerSideEntity::_sharedObjectsMutex);
        ServerSideEntity::_sharedObjects.swap(live);
    }
    EXPECT_EQ(killedMidSave, rounds);
    EXPECT_GT(newerSaves, 0u);
}
