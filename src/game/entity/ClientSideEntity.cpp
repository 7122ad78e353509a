#include "game/entity/ClientSideEntity.h"

#include "game/entity/EntityConfig.h"
#include "game/entity/Registry.h"
#include "quorl/Assert.h"

namespace game::entity {

std::unordered_map<Id, std::shared_ptr<ClientSideEntity>> ClientSideEntity::_sharedObjects;
quorl::SharedMutex ClientSideEntity::_sharedObjectsMutex;
std::unordered_map<std::string, std::unordered_map<std::string, ClientSideEntity::RegisteredInterface>>
    ClientSideEntity::_registered_interfaces;
std::map<std::string, std::string> ClientSideEntity::_registered_items_module;

ClientSideEntity::ClientSideEntity(Id id_, const quorl::modular::ModuleID& moduleId_, const std::string& type_)
    : id(id_) {
    moduleId = moduleId_;
    type = type_;
    auto module = _registered_interfaces.find(moduleId.String());
    if (module == _registered_interfaces.end()) return;
    auto record = module->second.find(type);
    if (record == module->second.end()) return;
    _interface = record->second.factory ? record->second.factory() : nullptr;
    QUORL_ASSERT(_interface);
    if (record->second.config) {
        ReadConfigOnce(record->second.config);
        config = record->second.config;
    }
    InitNodes();
}

void ClientSideEntity::Register(const std::shared_ptr<ClientSideEntity>& object) {
    std::unique_lock lock(_sharedObjectsMutex);
    if (_sharedObjects.count(object->id))
        throw std::runtime_error("UNIQUE_OBJECT ClientSideEntity with id " + object->id.ToString() + " already exists");
    _sharedObjects.emplace(object->id, object);
}

std::shared_ptr<ClientSideEntity> ClientSideEntity::Get(Id id) {
    return RegistryGet(_sharedObjects, _sharedObjectsMutex, id);
}

void ClientSideEntity::ForEach(std::function<void(std::shared_ptr<ClientSideEntity>)>&& f) {
    RegistryForEach(_sharedObjects, _sharedObjectsMutex, f);
}

bool ClientSideEntity::Destroy(Id id) {
    std::shared_ptr<ClientSideEntity> object;
    {
        std::unique_lock lock(_sharedObjectsMutex);
        auto it = _sharedObjects.find(id);
        if (it == _sharedObjects.end()) return false;
        object = std::move(it->second);
        _sharedObjects.erase(it);
    }
    return true;
}

quorl::modular::ModuleID ClientSideEntity::FindModuleIDFromItemType(const std::string& type) {
    return quorl::modular::ModuleID(_registered_items_module.at(type));
}

void ClientSideEntity::PhysicsUpdate(double) {
    ForEach([](std::shared_ptr<ClientSideEntity> e) { e->nodesMoved = false; });
}

void ClientSideEntity::InitNodes() {
    if (!config) return;
    BaseEntity::InitNodes();
    for (const auto& [name, record] : config->renderables) nodeTransforms[name] = config->GetAbsoluteTransform(name);
    for (const auto& [name, record] : config->cameras) nodeTransforms[name] = config->GetAbsoluteTransform(name);
    for (auto& [name, collider] : colliders) collider.name = name;
}

void ClientSideEntity::Update(double deltaTime) {
    if (_interface) _interface->Update(deltaTime);
    if (config && (nodesMoved || jointsMoved)) config->jointSolver(this);
    BaseEntity::Update(deltaTime);
}

void ClientSideEntity::AfterUpdate(double deltaTime) {
    if (_interface) _interface->AfterUpdate(deltaTime);
}

void ClientSideEntity::Ui() {
    if (_interface) _interface->Ui();
}

void ClientSideEntity::SetVisibility(bool) {
    // No renderable instances are held yet.
}

}  // namespace game::entity
