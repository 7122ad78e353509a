#include "game/entity/ClientSideEntity.h"

#include <chrono>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <map>

#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/quaternion.hpp>

#include "game/Game.h"
#include "game/entity/EntityConfig.h"
#include "game/entity/Registry.h"
#include "game/graphics/GameRenderer.h"
#include "game/graphics/Mesh.h"
#include "game/graphics/PlasmaTrail.h"
#include "game/graphics/RenderableInstance.h"
#include "quorl/Assert.h"
#include "quorl/graphics/Window.h"

namespace game::entity {

namespace {

constexpr const char* kPlasmaTrail = "_plasma_trail";
constexpr int kKeyF5 = 294;  // GLFW numbering
// Mesh instances: triangles, drawn by the first hit shader ("game/graphics/rt/entity_tri").
constexpr unsigned kMeshRenderableType = 0;
constexpr unsigned kMeshShaderIndex = 0;
// A parent chain longer than this is taken for a loop and ends there.
constexpr int kMaxParentDepth = 64;

double SteadySeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void ToTrash(std::shared_ptr<graphics::RenderableInstance> instance) {
    if (!instance) return;
    if (Game::renderer) Game::renderer->Trash(std::move(instance));
}

// The material record of one mesh geometry: nothing changed yet. The shaders take the mesh's own
// colour, emission, metallic, roughness and texture from the geometry; the record's values apply
// over them as the setters write them (emission adds, colour mixes by its factor, the material
// values by their weight, a monitor texture replaces the colour). Its last 16 bytes: the normals'
// and the first texture coordinates' device addresses.
graphics::RenderableData MaterialRecord(const graphics::Mesh::Geometry& g) {
    graphics::RenderableData d;
    std::memcpy(d.color, &g.baseColor, sizeof d.color);
    // As SetPbrMetallicRoughness(name, metallic, roughness, 0) writes them: weight 0.
    d.material[0] = 0.0f;
    d.material[1] = g.metallic;
    d.material[2] = g.roughness;
    const uint64_t addresses[2] = {g.normalsAddr, g.texcoord0Addr};
    std::memcpy(d.entityData, addresses, sizeof addresses);
    return d;
}

thread_local int parentDepth = 0;

}  // namespace

std::unordered_map<Id, std::shared_ptr<ClientSideEntity>> ClientSideEntity::_sharedObjects;
quorl::SharedMutex ClientSideEntity::_sharedObjectsMutex;
std::unordered_map<std::string, std::unordered_map<std::string, ClientSideEntity::RegisteredInterface>>
    ClientSideEntity::_registered_interfaces;
std::map<std::string, std::string> ClientSideEntity::_registered_items_module;
double (*ClientSideEntity::meshCheckClock)() = SteadySeconds;

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
    if (config)
        if (auto mesh = config->GetMesh()) InitMeshRenderables(mesh);
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
    // Its instances may still be in a frame in flight.
    for (auto& [name, instance] : object->renderableInstances) ToTrash(std::move(instance));
    return true;
}

quorl::modular::ModuleID ClientSideEntity::FindModuleIDFromItemType(const std::string& type) {
    return quorl::modular::ModuleID(_registered_items_module.at(type));
}

std::shared_ptr<EntityConfig> ClientSideEntity::GetEntityConfig(const char* moduleText, const std::string& type) {
    const auto module = _registered_interfaces.find(moduleText ? moduleText : "");
    if (module == _registered_interfaces.end()) return nullptr;
    return module->second.at(type).config;
}

void ClientSideEntity::InitNodes() {
    if (!config) return;
    BaseEntity::InitNodes();
    for (const auto& [name, record] : config->renderables) nodeTransforms[name] = config->GetAbsoluteTransform(name);
    for (const auto& [name, record] : config->cameras) nodeTransforms[name] = config->GetAbsoluteTransform(name);
    for (auto& [name, collider] : colliders) collider.name = name;
}

void ClientSideEntity::InitMeshRenderables(std::shared_ptr<const graphics::Mesh> mesh) {
    shownMesh = mesh;
    std::unordered_map<std::string, std::shared_ptr<graphics::RenderableInstance>> instances;
    if (const auto trail = renderableInstances.find(kPlasmaTrail); trail != renderableInstances.end())
        instances.insert(*trail);
    if (mesh && config) {
        QUORL_ASSERT(Game::renderer);
        for (const auto& [name, record] : config->renderables) {
            static const std::vector<std::shared_ptr<graphics::Mesh::Geometry>> kNone;
            const auto node = mesh->nodes.find(name);
            const auto& geometries = node == mesh->nodes.end() ? kNone : node->second;
            if (geometries.empty())
                std::cerr << "Mesh " << config->GetMeshFilePath() << " has no geometry for RENDERABLE " << name
                          << "\n";
            QUORL_ASSERT(geometries.size() > 0);

            auto instance = graphics::RenderableInstance::Make<graphics::RenderableInstance>(kMeshRenderableType,
                                                                                           kMeshShaderIndex);
            instance->renderableData = std::make_shared<graphics::RenderableInstance::DataBuffer>(
                Game::renderer->GetDevice(), geometries.size(), "RenderableData");
            instance->renderableDataAddress = instance->renderableData->DeviceAddress();
            for (uint32_t i = 0; i < geometries.size(); ++i) {
                instance->geometries.push_back(geometries[i]);
                (*instance->renderableData)[i] = MaterialRecord(*geometries[i]);
                instance->names[geometries[i]->materialName].push_back(i);
            }
            instance->initialised = true;
            instance->visible = true;
            instances[name] = std::move(instance);
        }
    }
    for (auto& [name, old] : renderableInstances)
        if (name != kPlasmaTrail) ToTrash(std::move(old));
    renderableInstances = std::move(instances);
}

void ClientSideEntity::ReloadMeshOnF5() {
    if (!config || !Game::window || Game::window->GetKey(kKeyF5) != quorl::graphics::PRESS) return;
    // The file is looked at once a second per model, however many entities show it.
    static std::map<std::weak_ptr<EntityConfig>, double, std::owner_less<>> lastLook;
    const double now = meshCheckClock();
    const auto [last, first] = lastLook.try_emplace(config, now);
    if (!first) {
        if (now - last->second < 1.0) return;
        last->second = now;
    }
    const std::string path = config->GetMeshFilePath();
    std::error_code ec;
    const auto written = std::filesystem::last_write_time(path, ec);
    if (ec || written == config->meshWriteTime) return;
    // Stored first: a file caught half written is tried again when it is next saved.
    config->meshWriteTime = written;
    if (!Game::renderer) return;
    try {
        config->mesh = std::make_shared<graphics::Mesh>(path);
        std::cout << "Reloaded mesh: " << path << std::endl;
    } catch (const std::exception& e) {
        std::cerr << "Mesh not reloaded: " << path << ": " << e.what() << "\n";
    }
}

void ClientSideEntity::Update(double deltaTime) {
    ReloadMeshOnF5();
    if (config && config->mesh && config->mesh != shownMesh) InitMeshRenderables(config->GetMesh());
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

void ClientSideEntity::SetVisibility(bool visible) {
    for (auto& [name, instance] : renderableInstances)
        if (instance) instance->visible = visible;
}

glm::dmat4 ClientSideEntity::GetAbsoluteTransformInEnvironment() const {
    if (parentEntity.IsNull() || parentDepth >= kMaxParentDepth) return GetTransform();
    const auto parent = Get(parentEntity);
    if (!parent) return GetTransform();
    ++parentDepth;
    const glm::dmat4 result = parent->GetAbsoluteTransformInEnvironment() * GetTransform();
    --parentDepth;
    return result;
}

glm::dmat4 ClientSideEntity::GetAbsoluteTransformInEnvironmentCached(bool& changed) {
    // A fixed part pays once, until someone moves it: the moved flag (cleared by PhysicsUpdate
    // right after this call) says the stored matrix is stale. Without that test an entity placed
    // after the first PhysicsUpdate saw it would stay where it was created.
    if (_cachedTransformValid && !isDetachable && !moved) return _cachedTransform;
    glm::dmat4 result;
    if (parentEntity.IsNull()) {
        result = GetTransform();
    } else {
        const auto parent = parentDepth < kMaxParentDepth ? Get(parentEntity) : nullptr;
        if (!parent) {
            changed = false;
            return _cachedTransform;
        }
        ++parentDepth;
        result = parent->GetAbsoluteTransformInEnvironmentCached(changed) * GetTransform();
        --parentDepth;
    }
    _cachedTransform = result;
    _cachedTransformValid = changed;
    return result;
}

void ClientSideEntity::PlaceInstances(const glm::dmat4& absolute) {
    const bool still = !isDetachable && !nodesMoved && !jointsMoved && !moved;
    for (auto& [name, instance] : renderableInstances) {
        if (!instance || !instance->visible) continue;
        instance->initialised = !(still && instance->fresh);
        const auto node = nodeTransforms.find(name);
        if (node != nodeTransforms.end()) {
            instance->transform = absolute * node->second;
        } else if (name == kPlasmaTrail) {
            // A frame at the bounds centre whose +y (the trail's long axis) points against the
            // flight; the velocity is in the environment's axes, as the absolute transform.
            glm::dmat4 frame = glm::translate(glm::dmat4(1.0), glm::dvec3(absolute * glm::dvec4(boundsCenter, 1.0)));
            const double speed = glm::length(velocity);
            if (speed > 0.1)
                frame *= glm::mat4_cast(glm::dquat(glm::dvec3(0.0, 1.0, 0.0), -velocity / speed));
            instance->transform = frame;
        } else {
            instance->transform = absolute;
        }
        instance->fresh = true;
    }
}

void ClientSideEntity::PhysicsUpdate(double) {
    ForEach([](std::shared_ptr<ClientSideEntity> e) {
        const bool trail = e->isDetachable && e->parentEntity.IsNull() && Game::parentEnvironmentId != 0 &&
                           glm::length(e->velocity) > 100.0;
        auto entry = e->renderableInstances.find(kPlasmaTrail);
        if (trail) {
            if (entry == e->renderableInstances.end())
                entry = e->renderableInstances
                            .emplace(kPlasmaTrail, graphics::RenderableInstance::Make<graphics::PlasmaTrail>())
                            .first;
            if (auto plasma = std::dynamic_pointer_cast<graphics::PlasmaTrail>(entry->second)) {
                const glm::dvec3 point = e->position + e->rotation * e->boundsCenter;
                const auto environment = Game::_environmentFunctions.at(Game::parentEnvironmentId)(point, 0, 0.0);
                plasma->Update(glm::vec3(e->velocity), float(1.1 * e->boundsRadius), environment);
            }
        } else if (entry != e->renderableInstances.end() && entry->second) {
            entry->second->visible = false;
        }

        bool changed = true;
        const glm::dmat4 absolute = e->GetAbsoluteTransformInEnvironmentCached(changed);
        if (changed) e->PlaceInstances(absolute);
        e->nodesMoved = false;
        e->moved = false;
    });
}

}  // namespace game::entity
