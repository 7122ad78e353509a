#pragma once
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <unordered_map>

#include "game/UniqueId.h"
#include "game/entity/BaseEntity.h"
#include "quorl/SharedMutex.h"
#include "quorl/modular/ModuleID.h"

namespace game::entity {

// The half of an entity that is seen: mirrors a server entity's pose and runs the client Interface
// on the game thread. Modules create and feed the objects.
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
    // Follows the physics on the client between server updates: the moved flags of every entity
    // are consumed here once per frame.
    static void PhysicsUpdate(double deltaTime);

    // The base nodes, then the renderables' and cameras' transforms; colliders take their names.
    void InitNodes() override;
    void Update(double deltaTime) override;
    virtual void AfterUpdate(double deltaTime);
    virtual void Ui();
    virtual void SetVisibility(bool visible);

    Id id;

private:
    static void Register(const std::shared_ptr<ClientSideEntity>& object);
};

}  // namespace game::entity
