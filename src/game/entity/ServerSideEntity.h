#pragma once
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <glm/vec3.hpp>

#include "game/UniqueId.h"
#include "game/entity/BaseEntity.h"
#include "game/physics/EnvironmentInfo.h"
#include "quorl/SharedMutex.h"
#include "quorl/filesystem/ReadOnlyStream.h"
#include "quorl/filesystem/WriteOnlyStream.h"
#include "quorl/modular/ModuleID.h"

namespace game::entity {

// Markers of the save files.
inline constexpr char MAGICSTR1[8] = {'Z', 'E', 'N', 'D', 'O', 'L', 'A', '!'};
inline constexpr char MAGICSTR2[8] = {'E', 'N', 'T', 'I', 'T', 'Y', ' ', '!'};
inline constexpr char MAGICSTR_INTERFACE[4] = {'\n', '\n', '\n', '\n'};
inline constexpr char MAGICSTR_EOF[4] = {'\n', 'E', 'O', 'F'};
inline constexpr char CHECKPOINT_MAGICSTR[8] = {'C', 'H', 'E', 'C', 'K', 'P', 'N', 'T'};
inline constexpr uint32_t STATE_FILE_VERSION = 1;
inline constexpr uint32_t CHECKPOINT_FILE_VERSION = 0;

// The authoritative half of an entity: runs the module's behaviour, keeps the parent links and the
// per-frame physics inputs, and saves itself.
//
// State file (<id>.entitystate), little-endian, no padding; a string or block is the stream's
// framed form (64-bit length, then the bytes):
//   0 "ZENDOLA!" 8 | 8 "ENTITY !" 8 | 16 version u32 = 1 | 20 moduleId 2 x u64 | 36 type string |
//   relativeEnvironmentId u64 | parentEnvironmentId u64 | parentEntity 16 | position 3 x f64 |
//   rotation 4 x f64 (w, x, y, z) | isDetachable u8 | velocity 3 x f64 | angularVelocity 3 x f64 |
//   boundsRadius f64 | rest flag u8 | "\n\n\n\n" | interface block | "\nEOF"
// Checkpoint file (<id>.checkpoint):
//   0 "CHECKPNT" | 8 version u32 = 0 | 12 id 16 | 28 position | 52 rotation | 84 velocity |
//   108 angularVelocity | 132 parentEntity 16 | 148 relativeEnvironmentId | 156 parentEnvironmentId |
//   164 isDetachable u8 | 165 interface block
// Files are replaced atomically (temporary file, flush, rename).
class ServerSideEntity : public BaseEntity, public std::enable_shared_from_this<ServerSideEntity> {
public:
    // Behaviour of a kind of entity, made by a module's factory and owned by the entity. Modules
    // derive from it: the order of the fields and of the virtual operations is a binary contract,
    // and the reserved slots belong to the modules' headers.
    class Interface {
    public:
        std::weak_ptr<ServerSideEntity> entity;
        std::weak_ptr<Interface> self;
        Id id;
        bool initialized = false;
        std::shared_ptr<EntityConfig> config;

        static std::shared_ptr<Interface> Create(Id id);

        virtual ~Interface() = default;
        virtual void _Reserved2() {}
        virtual void Serialize(quorl::filesystem::WriteOnlyStream&) {}
        virtual void Deserialize(quorl::filesystem::ReadOnlyStream&) {}
        virtual void SerializeState(quorl::filesystem::WriteOnlyStream&) {}
        virtual void DeserializeState(quorl::filesystem::ReadOnlyStream&) {}
        virtual void _Reserved7() {}
        virtual void _Reserved8() {}
        virtual void _Reserved9() {}
        virtual void _Reserved10() {}
        virtual void _Reserved11() {}
        virtual void _Reserved12() {}
        virtual bool IsInsideVolume(const glm::dvec3&) const { return false; }
        virtual void _Reserved14() {}
        virtual void _Reserved15() {}
        virtual void _Reserved16() {}
        virtual void _Reserved17() {}
        virtual void Init() {}
        virtual void BeforeUpdate(double) {}
        virtual void Update(double) {}
        virtual void AfterUpdate(double) {}
    };

    // What a module registers for one type: the model's configuration and the factory.
    struct RegisteredInterface {
        std::shared_ptr<EntityConfig> config;
        std::function<std::shared_ptr<Interface>()> factory;
    };

    // A radio emitter that a module publishes; the library only owns the table.
    struct RadioEmitter {
        glm::dvec3 position{0.0};
        double frequency = 0;
        double power = 0;
        std::string data;
    };

    Id id;
    bool isRigidbody = false;
    bool interactsWithEnvironment = true;
    bool deleteFilesOnDestroy = true;
    uint64_t saveOnUnload = 0;
    glm::dvec3 linearImpulse{0.0};
    glm::dvec3 angularImpulse{0.0};
    float impulseExtra = 0;
    glm::dvec3 externalAcceleration{0.0};
    double restTime = 0;
    EnvironmentId relativeEnvironmentId = 0;
    EnvironmentId parentEnvironmentId = 0;
    physics::EnvironmentInfo environmentInfo;
    bool atRest = false;
    bool ancestorAwake = false;
    std::shared_ptr<Interface> _interface;

    static std::unordered_map<Id, std::shared_ptr<ServerSideEntity>> _sharedObjects;
    static quorl::SharedMutex _sharedObjectsMutex;
    static std::unordered_map<std::string, std::unordered_map<std::string, RegisteredInterface>> _registered_interfaces;
    static std::unordered_map<std::string, std::unordered_set<std::string>> _registered_items;
    static std::map<std::string, std::string> _registered_items_module;
    static std::unordered_map<std::string, std::vector<std::weak_ptr<Interface>>> _module_entities;
    static std::mutex _module_entities_mutex;
    static std::unordered_map<std::string, std::unordered_map<std::string, RadioEmitter>> _radioEmitters;
    static std::mutex _radioEmitters_mutex;

    // A new entity; a null (or half-null) id generates one with the prefix "ENTT".
    ServerSideEntity(const quorl::modular::ModuleID& moduleId, const std::string& type, Id id);
    // Loads the state file of `id`; `stream` receives the interface block.
    ServerSideEntity(Id id, quorl::filesystem::ReadOnlyStream& stream);
    ~ServerSideEntity() override;
    ServerSideEntity(const ServerSideEntity&) = delete;
    ServerSideEntity& operator=(const ServerSideEntity&) = delete;

    // Constructs and registers; a second entity with the same id raises std::runtime_error
    // ("UNIQUE_OBJECT ServerSideEntity with id <id> already exists"). The rejected object never
    // deletes files: they carry the id of the registered one.
    template <class T = ServerSideEntity, class... Args>
    static std::shared_ptr<T> Create(Args&&... args) {
        std::shared_ptr<T> object = std::make_shared<T>(std::forward<Args>(args)...);
        Register(object);
        return object;
    }

    static std::shared_ptr<ServerSideEntity> Get(Id id);
    // Walks the registry under its shared lock, calling f with a copy of each pointer. f must not
    // create or destroy entities.
    static void ForEach(std::function<void(std::shared_ptr<ServerSideEntity>)>&& f);
    // Removes the entity from the registry; with the last owner gone it is destroyed and, unless
    // deleteFilesOnDestroy was cleared, its files are removed. Returns whether it was registered.
    static bool Destroy(Id id);

    // Saves every non-component entity whose saveOnUnload is set, then empties the registry. The
    // saved entities keep their files; components and entities not saved go with theirs, as when
    // destroyed in play.
    static void UnloadAllEntities();
    // Restores every ".entitystate" file of the current world, after removing the temporary files
    // of saves that were killed mid-write. Exceptions stop the load.
    static void LoadAllEntities();
    // The side's lookup of an item type's module; unknown types raise std::out_of_range.
    static quorl::modular::ModuleID FindModuleIDFromItemType(const std::string& type);
    // Physics step of all entities (rigid bodies, collisions, environment).
    static void PhysicsUpdate(double deltaTime, int substeps);

    void InitNodes() override;
    void Update(double deltaTime) override;
    void BeforeUpdate(double deltaTime);
    void AfterUpdate(double deltaTime);
    // Environment ids and wake state from the parent chain.
    void RefreshCache();

    Id GetID() const { return id; }
    Id GetVehicleID() const;
    std::shared_ptr<ServerSideEntity> GetFirstNonComponentParent() const;
    glm::dmat4 GetTransformInPhysicsParent() const;
    // R I R^T: the world inertia of a solid box of box_size and mass turned by rotation. Asserts a
    // positive mass and box.
    glm::dmat3 GetInertiaTensorWorld() const;
    // Both keep the child's world pose; called on the parent.
    void AddChild(std::shared_ptr<ServerSideEntity>& entity);
    void RemoveChild(std::shared_ptr<ServerSideEntity>& entity);

    void Serialize();
    void SerializeCheckpoint();
    // Reads the state file into this entity and returns the interface block.
    quorl::filesystem::ReadOnlyStream Deserialize();
    // Reads the whole checkpoint (the module's state last), then applies the pose; a bad file or a
    // module that refuses its state prints one line and changes no field of the entity.
    void DeserializeCheckpoint();
    std::string GetStateSaveFile() const;
    std::string GetCheckpointSaveFile() const;
    static std::string GetCheckpointDir();

private:
    static void Register(const std::shared_ptr<ServerSideEntity>& object);
    // Looks up the module's factory for moduleId/type and makes the interface (constructors).
    void ResolveInterface();
};

}  // namespace game::entity
