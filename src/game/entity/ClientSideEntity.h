#pragma once
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <unordered_map>

#include <glm/mat4x4.hpp>

#include "game/UniqueId.h"
#include "game/entity/BaseEntity.h"
#include "quorl/SharedMutex.h"
#include "quorl/modular/ModuleID.h"

namespace game::graphics {
class Mesh;
class RenderableInstance;
}  // namespace game::graphics

namespace game::entity {

// The half of an entity that is seen: mirrors a server entity's pose and runs the client Interface
// on the game thread. Modules create and feed the objects. It works without a renderer too (a
// server host, tests): there is then no mesh, and so no instance but a plasma trail's CPU half.
class ClientSideEntity : public BaseEntity {
public:
    // Client behaviour made by a module's factory. Modules derive from it: the order of the virtual
    // operations is a binary contract, and the reserved slots belong to the modules' headers.
    class Interface {
    public:
        virtual ~Interface() = default;
        virtual void _Reserved2() {}
        virtual void _Reserved3() {}
        virtual void _Reserved4() {}
        virtual void _Reserved5() {}
        virtual void _Reserved6() {}
        virtual void _Reserved7() {}
        virtual void _Reserved8() {}
        virtual void Update(double) {}
        virtual void AfterUpdate(double) {}
        virtual void Ui() {}
    };

    struct RegisteredInterface {
        std::shared_ptr<EntityConfig> config;
        std::function<std::shared_ptr<Interface>()> factory;
    };

    std::shared_ptr<Interface> _interface;
    // One instance per RENDERABLE node of the model, by name, and "_plasma_trail" while the entity
    // has had one.
    std::unordered_map<std::string, std::shared_ptr<graphics::RenderableInstance>> renderableInstances;

    static std::unordered_map<Id, std::shared_ptr<ClientSideEntity>> _sharedObjects;
    static quorl::SharedMutex _sharedObjectsMutex;
    static std::unordered_map<std::string, std::unordered_map<std::string, RegisteredInterface>> _registered_interfaces;
    static std::map<std::string, std::string> _registered_items_module;

    // Resolves the Interface of moduleId/type as the server side does.
    ClientSideEntity(Id id, const quorl::modular::ModuleID& moduleId, const std::string& type);

    // Constructs and registers; a second entity with the same id raises std::runtime_error
    // ("UNIQUE_OBJECT ClientSideEntity with id <id> already exists").
    template <class T = ClientSideEntity, class... Args>
    static std::shared_ptr<T> Create(Args&&... args) {
        std::shared_ptr<T> object = std::make_shared<T>(std::forward<Args>(args)...);
        Register(object);
        return object;
    }
    static std::shared_ptr<ClientSideEntity> Get(Id id);
    // Walks the registry under its shared lock; f must not create or destroy client entities.
    static void ForEach(std::function<void(std::shared_ptr<ClientSideEntity>)>&& f);
    static bool Destroy(Id id);
    static quorl::modular::ModuleID FindModuleIDFromItemType(const std::string& type);
    // The model of a registered kind: null for an unknown module; std::out_of_range for a kind
    // that the module doesn't have.
    static std::shared_ptr<EntityConfig> GetEntityConfig(const char* moduleText, const std::string& type);
    // Once per frame on the game thread: plasma trails of fast free bodies, then each visible
    // instance placed at the entity's transform (times its node's); the moved flags are consumed.
    static void PhysicsUpdate(double deltaTime);

    // The base nodes, then the renderables' and cameras' transforms; colliders take their names.
    void InitNodes() override;
    // F5 held: the model's mesh file is looked at (once a second per model) and reloaded when it
    // changed; then the Interface, the joint solver and the colliders.
    void Update(double deltaTime) override;
    virtual void AfterUpdate(double deltaTime);
    virtual void Ui();
    virtual void SetVisibility(bool visible);

    // One new instance per RENDERABLE of the model, made from the mesh node of the same name;
    // those it replaces go to the renderer's trash (a frame in flight may still read them). A
    // renderable without a node in the mesh is a broken model (assertion, after a line naming
    // both). Null mesh: the instances are dropped.
    void InitMeshRenderables(std::shared_ptr<const graphics::Mesh> mesh);

    // Transform to the root of the parent chain (what the renderer places in the environment).
    // A parent missing from the registry ends the chain there.
    glm::dmat4 GetAbsoluteTransformInEnvironment() const;
    // The same, kept in the entity: a fixed part (not isDetachable) pays once, and again each
    // time its moved flag is set. changed comes back false when a parent is missing, with the
    // stored matrix.
    glm::dmat4 GetAbsoluteTransformInEnvironmentCached(bool& changed);

    Id id;
    // Set by whoever moves the entity (a module applying the server's pose); PhysicsUpdate clears it.
    bool moved = false;
    // The mesh the instances were made from.
    std::shared_ptr<const graphics::Mesh> shownMesh;

    // Seconds on a steady clock; the mesh file check of F5 reads it. Tests replace it.
    static double (*meshCheckClock)();

private:
    static void Register(const std::shared_ptr<ClientSideEntity>& object);
    void ReloadMeshOnF5();
    void PlaceInstances(const glm::dmat4& absolute);

    glm::dmat4 _cachedTransform{1.0};
    bool _cachedTransformValid = false;
};

}  // namespace game::entity
