#include "game/entity/ServerSideEntity.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <shared_mutex>

#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/quaternion.hpp>

#include "game/Game.h"
#include "game/entity/EntityConfig.h"
#include "game/entity/Registry.h"
#include "game/AssertSites.h"
#include "quorl/Assert.h"
#include "quorl/cpu/Profiler.h"
#include "quorl/filesystem/AtomicFile.h"
#include "quorl/filesystem/BinaryFileStream.h"

namespace game::entity {

namespace {

constexpr const char* kSourcePath = "src/game/entity/ServerSideEntity.cpp";
// A parent chain longer than this is a cycle from a corrupt save, not a tree.
constexpr int kMaxTreeDepth = 256;

// Profile scope names "Entity<type>::BeforeUpdate" and so on. The profiler keeps the pointer, so
// each name is made once per type and lives as long as the process.
struct ScopeNames {
    const char* beforeUpdate;
    const char* update;
    const char* afterUpdate;
};

const ScopeNames& ScopeNamesOf(const std::string& type) {
    static quorl::SharedMutex mutex;
    static auto* names = new std::unordered_map<std::string, ScopeNames>();
    {
        std::shared_lock lock(mutex);
        auto it = names->find(type);
        if (it != names->end()) return it->second;
    }
    std::unique_lock lock(mutex);
    auto it = names->find(type);
    if (it != names->end()) return it->second;
    auto intern = [&](const char* suffix) {
        std::string text = "Entity<" + type + ">::" + suffix;
        char* copy = new char[text.size() + 1];
        std::memcpy(copy, text.c_str(), text.size() + 1);
        return static_cast<const char*>(copy);
    };
    return names->emplace(type, ScopeNames{intern("BeforeUpdate"), intern("Update"), intern("AfterUpdate")})
        .first->second;
}

[[noreturn]] void Corrupt(const std::string& detail, const Id& id) {
    throw std::runtime_error("Invalid save state file (" + detail + ") for entity " + id.ToString());
}

template <size_t N>
bool ReadMagic(quorl::filesystem::Stream& in, const char (&magic)[N]) {
    unsigned char read[N];
    in.Read(read, N);
    return std::memcmp(read, magic, N) == 0;
}

template <size_t N>
void WriteMagic(quorl::filesystem::Stream& out, const char (&magic)[N]) {
    out.Write(reinterpret_cast<const unsigned char*>(magic), N);
}

void WriteQuat(quorl::filesystem::Stream& out, const glm::dquat& q) {
    out.Write(q.w);
    out.Write(q.x);
    out.Write(q.y);
    out.Write(q.z);
}

glm::dquat ReadQuat(quorl::filesystem::Stream& in) {
    double w = 0, x = 0, y = 0, z = 0;
    in.Read(w);
    in.Read(x);
    in.Read(y);
    in.Read(z);
    return glm::dquat(w, x, y, z);
}

void WriteBool(quorl::filesystem::Stream& out, bool b) {
    out.Write(uint8_t(b ? 1 : 0));
}

bool ReadBool(quorl::filesystem::Stream& in) {
    uint8_t b = 0;
    in.Read(b);
    return b != 0;
}

void AssertAt(bool ok, const char* expression, int line) {
    if (!ok) quorl::AssertionFailed(expression, kSourcePath, line);
}

}  // namespace

std::unordered_map<Id, std::shared_ptr<ServerSideEntity>> ServerSideEntity::_sharedObjects;
quorl::SharedMutex ServerSideEntity::_sharedObjectsMutex;
std::unordered_map<std::string, std::unordered_map<std::string, ServerSideEntity::RegisteredInterface>>
    ServerSideEntity::_registered_interfaces;
std::unordered_map<std::string, std::unordered_set<std::string>> ServerSideEntity::_registered_items;
std::map<std::string, std::string> ServerSideEntity::_registered_items_module;
std::unordered_map<std::string, std::vector<std::weak_ptr<ServerSideEntity::Interface>>>
    ServerSideEntity::_module_entities;
std::mutex ServerSideEntity::_module_entities_mutex;
std::unordered_map<std::string, std::unordered_map<std::string, ServerSideEntity::RadioEmitter>>
    ServerSideEntity::_radioEmitters;
std::mutex ServerSideEntity::_radioEmitters_mutex;

// ---------------------------------------------------------------------------------------------
// Construction and registry

ServerSideEntity::ServerSideEntity(const quorl::modular::ModuleID& moduleId_, const std::string& type_, Id id_)
    : id(id_.IsNull() ? UniqueId::Generate("ENTT") : id_) {
    moduleId = moduleId_;
    type = type_;
    ResolveInterface();
}

ServerSideEntity::ServerSideEntity(Id id_, quorl::filesystem::ReadOnlyStream& stream) : id(id_) {
    stream = Deserialize();
    ResolveInterface();
}

ServerSideEntity::~ServerSideEntity() {
    _interface.reset();
    if (!deleteFilesOnDestroy) return;
    std::error_code ec;
    std::string state = GetStateSaveFile();
    if (std::filesystem::exists(state, ec)) std::filesystem::remove(state, ec);
    std::string checkpoint = GetCheckpointSaveFile();
    if (std::filesystem::exists(checkpoint, ec)) std::filesystem::remove(checkpoint, ec);
}

void ServerSideEntity::ResolveInterface() {
    auto module = _registered_interfaces.find(moduleId.String());
    if (module == _registered_interfaces.end()) return;
    auto record = module->second.find(type);
    if (record == module->second.end()) return;
    _interface = record->second.factory ? record->second.factory() : nullptr;
    CheckSite(bool(_interface), assert_sites::kEntityBehaviour);
    if (record->second.config) {
        ReadConfigOnce(record->second.config);
        config = record->second.config;
    }
    InitNodes();
}

void ServerSideEntity::Register(const std::shared_ptr<ServerSideEntity>& object) {
    std::unique_lock lock(_sharedObjectsMutex);
    if (_sharedObjects.count(object->id)) {
        // The files named by this id belong to the entity already registered.
        object->deleteFilesOnDestroy = false;
        throw std::runtime_error("UNIQUE_OBJECT ServerSideEntity with id " + object->id.ToString() +
                                 " already exists");
    }
    _sharedObjects.emplace(object->id, object);
}

std::shared_ptr<ServerSideEntity> ServerSideEntity::Get(Id id) {
    return RegistryGet(_sharedObjects, _sharedObjectsMutex, id);
}

void ServerSideEntity::ForEach(std::function<void(std::shared_ptr<ServerSideEntity>)>&& f) {
    RegistryForEach(_sharedObjects, _sharedObjectsMutex, f);
}

bool ServerSideEntity::Destroy(Id id) {
    std::shared_ptr<ServerSideEntity> object;
    {
        std::unique_lock lock(_sharedObjectsMutex);
        auto it = _sharedObjects.find(id);
        if (it == _sharedObjects.end()) return false;
        object = std::move(it->second);
        _sharedObjects.erase(it);
    }
    // Released outside the lock: the interface's destructor may look at the registry.
    object.reset();
    return true;
}

quorl::modular::ModuleID ServerSideEntity::FindModuleIDFromItemType(const std::string& type) {
    return quorl::modular::ModuleID(_registered_items_module.at(type));
}

std::shared_ptr<ServerSideEntity::Interface> ServerSideEntity::Interface::Create(Id id) {
    quorl::filesystem::ReadOnlyStream stream;
    std::shared_ptr<ServerSideEntity> entity = ServerSideEntity::Create<ServerSideEntity>(id, stream);
    if (std::shared_ptr<Interface> iface = entity->_interface) {
        iface->entity = entity;
        iface->self = iface;
        iface->id = entity->id;
        iface->config = entity->config;
        try {
            iface->Deserialize(stream);
            iface->Init();
        } catch (...) {
            // A module that fails on its own data must not cost the user the saved entity.
            entity->deleteFilesOnDestroy = false;
            std::cerr << "ERROR: entity " << entity->id.ToString()
                      << " failed to load in its module; its files are kept" << std::endl;
            Destroy(entity->id);
            throw;
        }
        iface->initialized = true;
        std::string module = entity->moduleId.String();
        std::lock_guard lock(_module_entities_mutex);
        _module_entities[module].push_back(iface);
        return iface;
    }
    // The module is missing or no longer defines the type: keep the files for when it returns.
    entity->deleteFilesOnDestroy = false;
    Id entityId = entity->id;
    entity.reset();
    std::shared_ptr<ServerSideEntity> dropped;
    {
        std::unique_lock lock(_sharedObjectsMutex);
        auto it = _sharedObjects.find(entityId);
        if (it != _sharedObjects.end()) {
            if (it->second.use_count() > 1)
                std::cerr << "WARNING: UNIQUE_OBJECT ServerSideEntity with id " << entityId.ToString()
                          << " being Destroyed while still in use" << std::endl;
            dropped = std::move(it->second);
            _sharedObjects.erase(it);
        }
    }
    return nullptr;
}

// ---------------------------------------------------------------------------------------------
// Tick

void ServerSideEntity::InitNodes() {
    BaseEntity::InitNodes();
    for (auto& [name, collider] : colliders) {
        collider.name = name;
    }
}

void ServerSideEntity::BeforeUpdate(double deltaTime) {
    if (!_interface || !_interface->initialized) return;
    quorl::cpu::Profiler profile(ScopeNamesOf(type).beforeUpdate, true);
    _interface->BeforeUpdate(deltaTime);
}

void ServerSideEntity::Update(double deltaTime) {
    quorl::cpu::Profiler profile("ServerSideEntity::Update", true);
    if (_interface && _interface->initialized) {
        quorl::cpu::Profiler inner(ScopeNamesOf(type).update, true);
        _interface->Update(deltaTime);
    }
    if (config && (nodesMoved || jointsMoved)) config->jointSolver(this);
    BaseEntity::Update(deltaTime);
}

void ServerSideEntity::AfterUpdate(double deltaTime) {
    if (!_interface || !_interface->initialized) return;
    quorl::cpu::Profiler profile(ScopeNamesOf(type).afterUpdate, true);
    _interface->AfterUpdate(deltaTime);
}

void ServerSideEntity::RefreshCache() {
    quorl::cpu::Profiler profile("ServerSideEntity::RefreshCache", true);
    ancestorAwake = false;
    if (parentEntity.IsNull()) return;
    Id next = parentEntity;
    for (int depth = 0; depth < kMaxTreeDepth && !next.IsNull() && !(next == id); ++depth) {
        std::shared_ptr<ServerSideEntity> parent = Get(next);
        if (!parent) break;
        relativeEnvironmentId = parent->relativeEnvironmentId;
        parentEnvironmentId = parent->parentEnvironmentId;
        bool awake = (parent->isDetachable && parent->restTime < 2.0) ? true : parent->ancestorAwake;
        ancestorAwake |= awake;
        next = parent->parentEntity;
    }
    if (ancestorAwake) atRest = false;
}

// ---------------------------------------------------------------------------------------------
// Tree

Id ServerSideEntity::GetVehicleID() const {
    if (!isComponent) return id;
    std::shared_ptr<ServerSideEntity> parent = Get(parentEntity);
    if (!parent) return id;
    // Walk up iteratively: a corrupt chain with a cycle must not overflow the stack.
    for (int depth = 0; depth < kMaxTreeDepth; ++depth) {
        if (!parent->isComponent) return parent->id;
        std::shared_ptr<ServerSideEntity> up = Get(parent->parentEntity);
        if (!up) return parent->id;
        parent = std::move(up);
    }
    return id;
}

std::shared_ptr<ServerSideEntity> ServerSideEntity::GetFirstNonComponentParent() const {
    if (parentEntity.IsNull()) return nullptr;
    std::shared_ptr<ServerSideEntity> parent = Get(parentEntity);
    for (int depth = 0; parent && depth < kMaxTreeDepth; ++depth) {
        if (!parent->isComponent) return parent;
        if (parent->parentEntity.IsNull()) return nullptr;
        parent = Get(parent->parentEntity);
    }
    return nullptr;
}

glm::dmat4 ServerSideEntity::GetTransformInPhysicsParent() const {
    // Product of the transforms of this component and its component ancestors, up to (not
    // including) the first ancestor that is not found.
    glm::dmat4 result(1.0);
    const ServerSideEntity* node = this;
    std::shared_ptr<ServerSideEntity> hold;
    for (int depth = 0; depth < kMaxTreeDepth; ++depth) {
        if (!node->isComponent || node->parentEntity.IsNull()) break;
        std::shared_ptr<ServerSideEntity> parent = Get(node->parentEntity);
        if (!parent) break;
        result = node->GetTransform() * result;
        hold = std::move(parent);
        node = hold.get();
    }
    return result;
}

void ServerSideEntity::AddChild(std::shared_ptr<ServerSideEntity>& entity) {
    if (!entity->parentEntity.IsNull()) quorl::AssertionFailed("!entity->parentEntity", kSourcePath, __LINE__);
    AssertAt(!entity->isComponent, "!entity->isComponent", __LINE__);
    glm::dmat4 relative = glm::inverse(GetTransform()) * entity->GetTransform();
    glm::dquat inverseRotation = glm::conjugate(rotation) / glm::dot(rotation, rotation);
    CheckSite(!(entity->GetID() == GetID()), assert_sites::kAddChildNotSelf);
    entity->position = glm::dvec3(relative[3]);
    entity->rotation = glm::quat_cast(glm::dmat3(relative));
    entity->parentEntity = id;
    entity->velocity = inverseRotation * entity->velocity - inverseRotation * velocity;
    entity->angularVelocity = inverseRotation * entity->angularVelocity;
}

void ServerSideEntity::RemoveChild(std::shared_ptr<ServerSideEntity>& entity) {
    CheckSite(entity->parentEntity == GetID(), assert_sites::kRemoveChildOfThis);
    CheckSite(!entity->isComponent, assert_sites::kRemoveChildNotComponent);
    glm::dmat4 world = GetTransform() * entity->GetTransform();
    CheckSite(!(entity->GetID() == parentEntity), assert_sites::kRemoveChildNotParent);
    entity->parentEntity = parentEntity;
    entity->position = glm::dvec3(world[3]);
    entity->rotation = rotation * entity->rotation;
    entity->velocity = rotation * entity->velocity + velocity;
    entity->angularVelocity = rotation * entity->angularVelocity;
}

// ---------------------------------------------------------------------------------------------
// Files

std::string ServerSideEntity::GetCheckpointDir() {
    return "../Zendola-data/server/worlds/" + Game::_current_world + "/" + "entities";
}

std::string ServerSideEntity::GetStateSaveFile() const {
    return GetCheckpointDir() + "/" + id.ToString() + ".entitystate";
}

std::string ServerSideEntity::GetCheckpointSaveFile() const {
    return GetCheckpointDir() + "/" + id.ToString() + ".checkpoint";
}

void ServerSideEntity::Serialize() {
    // The interface first: if it throws, the file on disk stays as it was.
    quorl::filesystem::WriteOnlyStream block(0);
    if (_interface) _interface->Serialize(block);
    std::filesystem::create_directories(GetCheckpointDir());
    quorl::filesystem::BinaryFileStream out(GetStateSaveFile(), quorl::filesystem::BinaryFileStream::Mode::Write);
    WriteMagic(out, MAGICSTR1);
    WriteMagic(out, MAGICSTR2);
    out.Write(STATE_FILE_VERSION);
    out.Write(moduleId.vendor);
    out.Write(moduleId.name);
    out.Write(type);
    out.Write(relativeEnvironmentId);
    out.Write(parentEnvironmentId);
    out.Write(parentEntity);
    out.Write(position);
    WriteQuat(out, rotation);
    WriteBool(out, isDetachable);
    out.Write(velocity);
    out.Write(angularVelocity);
    out.Write(boundsRadius);
    WriteBool(out, !isDetachable || restTime >= 1.0);
    WriteMagic(out, MAGICSTR_INTERFACE);
    out.Write(block);
    WriteMagic(out, MAGICSTR_EOF);
    out.Flush();
    out.Commit();
}

quorl::filesystem::ReadOnlyStream ServerSideEntity::Deserialize() {
    std::string path = GetStateSaveFile();
    std::error_code ec;
    if (!std::filesystem::exists(path, ec))
        throw std::runtime_error("Save state file does not exist for entity " + id.ToString());
    try {
        quorl::filesystem::BinaryFileStream in(path, quorl::filesystem::BinaryFileStream::Mode::Read);
        if (!ReadMagic(in, MAGICSTR1) || !ReadMagic(in, MAGICSTR2))
            throw std::runtime_error("Invalid save state magic string for entity " + id.ToString());
        uint32_t version = 0;
        in.Read(version);
        if (version != STATE_FILE_VERSION)
            throw std::runtime_error("Invalid save state version for entity " + id.ToString());
        in.Read(moduleId.vendor);
        in.Read(moduleId.name);
        in.Read(type);
        in.Read(relativeEnvironmentId);
        in.Read(parentEnvironmentId);
        in.Read(parentEntity);
        in.Read(position);
        rotation = ReadQuat(in);
        isDetachable = ReadBool(in);
        in.Read(velocity);
        in.Read(angularVelocity);
        in.Read(boundsRadius);
        if (ReadBool(in)) restTime = 2.0;
        if (!ReadMagic(in, MAGICSTR_INTERFACE))
            throw std::runtime_error("Invalid save state interface magic string for entity " + id.ToString());
        return in.ReadStream();
    } catch (const quorl::filesystem::StreamError& e) {
        Corrupt(e.what(), id);
    }
}

void ServerSideEntity::SerializeCheckpoint() {
    QUORL_ASSERT(_interface);
    quorl::filesystem::WriteOnlyStream block(0);
    _interface->SerializeState(block);
    std::filesystem::create_directories(GetCheckpointDir());
    quorl::filesystem::BinaryFileStream out(GetCheckpointSaveFile(),
                                            quorl::filesystem::BinaryFileStream::Mode::Write);
    WriteMagic(out, CHECKPOINT_MAGICSTR);
    out.Write(CHECKPOINT_FILE_VERSION);
    out.Write(id);
    out.Write(position);
    WriteQuat(out, rotation);
    out.Write(velocity);
    out.Write(angularVelocity);
    out.Write(parentEntity);
    out.Write(relativeEnvironmentId);
    out.Write(parentEnvironmentId);
    WriteBool(out, isDetachable);
    out.Write(block);
    out.Flush();
    out.Commit();
}

void ServerSideEntity::DeserializeCheckpoint() {
    QUORL_ASSERT(_interface);
    // Everything is read before anything is applied, so a bad file changes nothing.
    glm::dvec3 newPosition(0.0), newVelocity(0.0), newAngularVelocity(0.0);
    glm::dquat newRotation(1.0, 0.0, 0.0, 0.0);
    Id newParent;
    EnvironmentId newRelative = 0, newParentEnvironment = 0;
    bool newDetachable = false;
    quorl::filesystem::ReadOnlyStream block;
    try {
        quorl::filesystem::BinaryFileStream in(GetCheckpointSaveFile(),
                                               quorl::filesystem::BinaryFileStream::Mode::Read);
        if (!ReadMagic(in, CHECKPOINT_MAGICSTR)) {
            std::cerr << "Invalid checkpoint file" << std::endl;
            return;
        }
        uint32_t version = 0;
        in.Read(version);
        if (version != CHECKPOINT_FILE_VERSION) {
            std::cerr << "Unsupported checkpoint version" << std::endl;
            return;
        }
        Id fileId;
        in.Read(fileId);
        if (!(fileId == id)) {
            std::cerr << "Invalid checkpoint parent entity ID" << std::endl;
            return;
        }
        in.Read(newPosition);
        newRotation = ReadQuat(in);
        in.Read(newVelocity);
        in.Read(newAngularVelocity);
        in.Read(newParent);
        in.Read(newRelative);
        in.Read(newParentEnvironment);
        newDetachable = ReadBool(in);
        block = in.ReadStream();
    } catch (const quorl::filesystem::StreamError& e) {
        std::cerr << "Invalid checkpoint file (" << e.what() << ")" << std::endl;
        return;
    }
    // The module's state is the last part read: if it refuses its block, the pose stays too.
    try {
        _interface->DeserializeState(block);
    } catch (const std::exception& e) {
        std::cerr << "Invalid checkpoint state (" << e.what() << ")" << std::endl;
        return;
    }
    position = newPosition;
    rotation = newRotation;
    velocity = newVelocity;
    angularVelocity = newAngularVelocity;
    parentEntity = newParent;
    relativeEnvironmentId = newRelative;
    parentEnvironmentId = newParentEnvironment;
    isDetachable = newDetachable;
    if (isDetachable) restTime = 0;
    RefreshCache();
}

void ServerSideEntity::LoadAllEntities() {
    std::filesystem::path folder = GetCheckpointDir();
    std::error_code ec;
    if (!std::filesystem::is_directory(folder, ec)) return;
    // Saves killed mid-write leave their temporary files beside the world: they go now.
    quorl::filesystem::AtomicFile::RemoveAbandoned(folder.string());
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (!entry.is_regular_file()) continue;
        if (entry.path().extension() != ".entitystate") continue;
        std::u8string stem = entry.path().stem().u8string();
        Id id(std::string(stem.begin(), stem.end()));
        Interface::Create(id);
    }
}

void ServerSideEntity::UnloadAllEntities() {
    ForEach([](std::shared_ptr<ServerSideEntity> entity) {
        if (!entity->saveOnUnload || entity->isComponent) return;
        // A failed save keeps the previous file and does not stop the others.
        entity->deleteFilesOnDestroy = false;
        try {
            entity->Serialize();
        } catch (const std::exception& e) {
            std::cerr << "ERROR: entity " << entity->id.ToString() << " could not be saved, its previous file is kept: "
                      << e.what() << std::endl;
        }
    });
    std::unordered_map<Id, std::shared_ptr<ServerSideEntity>> released;
    {
        std::unique_lock lock(_sharedObjectsMutex);
        released.swap(_sharedObjects);
    }
    for (auto& [entityId, entity] : released) {
        if (!entity || entity->isComponent || !entity->deleteFilesOnDestroy) continue;
        // An entity that is not saved now may have been saved before (its module did not ask
        // again): unloading keeps that file rather than destroying the user's entity.
        entity->deleteFilesOnDestroy = false;
        std::error_code ec;
        if (std::filesystem::exists(entity->GetStateSaveFile(), ec))
            std::cerr << "WARNING: entity " << entityId.ToString()
                      << " was not saved on unload; its earlier save file is kept" << std::endl;
    }
    released.clear();
}

}  // namespace game::entity
