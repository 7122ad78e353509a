#include "game/physics/PhysicsStep.h"

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <type_traits>
#include <utility>
#include <vector>

#include <glm/gtc/matrix_transform.hpp>

#include "game/Game.h"
#include "game/entity/ServerSideEntity.h"
#include "game/physics/BroadPhase.h"
#include "game/physics/FlatIndex.h"
#include "game/physics/Rigidbody.h"
#include "quorl/cpu/Profiler.h"

namespace game::physics {

namespace {

using entity::ConvexMeshCollider;
using entity::ServerSideEntity;
using Fixed = Rigidbody<ServerSideEntity>;
using Dynamic = DynamicRigidbody<ServerSideEntity>;

// What kind of body an entity gets in this frame.
enum RigidbodyEnvType : uint8_t { kFixed = 0, kDynamic = 1, kOrbiting = 2 };
constexpr int kKinds = 3;

FlatIndex::Key KeyOf(uint64_t first, const entity::Id& id) { return {first, id.Word0(), id.Word1()}; }

// One group of bodies: a table (kind), an environment and a physics parent.
struct Group {
    entity::EnvironmentId env = 0;
    entity::Id parent;
    uint32_t envOrder = 0;  // first appearance of the environment in this table
    uint32_t count = 0;
    uint32_t begin = 0;  // first body in the table's vector
    uint32_t filled = 0;
};

// An entity that gets a body, in walk order.
struct Entry {
    uint32_t held;  // index of the entity's pointer in Storage::held
    uint32_t group;
    uint32_t slot;
    uint8_t kind;
};

// A component that lends its colliders to its vehicle's root body.
struct ComponentEntry {
    ServerSideEntity* entity;
    entity::EnvironmentId env;
    entity::Id root;
};

struct Table {
    std::vector<Group> groups;     // in creation order
    std::vector<uint32_t> order;   // group indices by environment, then creation
    uint32_t environments = 0;
};

}  // namespace

struct PhysicsStep::Storage {
    std::vector<std::shared_ptr<ServerSideEntity>> held;  // keeps the walked entities
    std::vector<Entry> entries;
    std::vector<ComponentEntry> components;
    Table tables[kKinds];
    FlatIndex groupIndex[kKinds];  // per table: (env, parent) -> group
    FlatIndex envIndex;    // (kind, env, 0) -> environment order
    FlatIndex bodyIndex;   // (env, entity id) -> kind << 30 | slot
    std::vector<Fixed> fixed;
    std::vector<Dynamic> dynamic;
    std::vector<Dynamic> orbiting;
    std::vector<Fixed> carried;  // see AddCarriedBodies
    size_t carriedUsed = 0;
    void AddCarriedBodies(const Group& g, Dynamic* d, Fixed* f, size_t m);
    size_t used[kKinds] = {0, 0, 0};
    std::vector<uint8_t> merged[kKinds];  // bodies that received components
    std::vector<uint32_t> mergedList;     // kind << 30 | slot, in first-merge order
    BroadPhase broadPhase;
    double deltaTime = 0;

    // Files an entity of the walk under its table and group.
    void Classify(uint8_t kind, entity::EnvironmentId env, const entity::Id& parent) {
        Table& t = tables[kind];
        const uint32_t group = groupIndex[kind].FindOrInsert(KeyOf(env, parent), uint32_t(t.groups.size()));
        if (group == t.groups.size()) {
            Group& g = t.groups.emplace_back();
            g.env = env;
            g.parent = parent;
            g.envOrder = envIndex.FindOrInsert({env, kind, 0}, t.environments);
            if (g.envOrder == t.environments) ++t.environments;
        }
        ++t.groups[group].count;
        entries.push_back({uint32_t(held.size()), group, 0, kind});
    }

    // One entity of the walk: which body it gets, if any.
    void Prepare(std::shared_ptr<ServerSideEntity>& e) {
        ServerSideEntity* raw = e.get();
        if (raw->isRigidbody && raw->mass > 0) {
            if (raw->relativeEnvironmentId != 0) {
                if (raw->isComponent) {
                    if (std::shared_ptr<ServerSideEntity> root = raw->GetFirstNonComponentParent()) {
                        components.push_back({raw, raw->relativeEnvironmentId, root->id});
                        held.push_back(e);
                    }
                } else if (!raw->isDetachable || raw->restTime >= 1.0) {
                    Classify(kFixed, raw->relativeEnvironmentId, raw->parentEntity);
                    raw->restTime = std::clamp(raw->restTime + deltaTime, 0.0, 1.0);
                    held.push_back(e);
                } else {
                    Classify(kDynamic, raw->relativeEnvironmentId, raw->parentEntity);
                    held.push_back(e);
                }
            } else if (raw->parentEnvironmentId != 0 && raw->isDetachable && raw->restTime < 1.0 && !raw->isComponent) {
                Classify(kOrbiting, raw->parentEnvironmentId, raw->parentEntity);
                held.push_back(e);
            }
        }
        raw->nodesMoved = false;
    }

    Fixed* BodyAt(uint32_t packed) {
        const uint32_t kind = packed >> 30, slot = packed & 0x3FFFFFFFu;
        if (kind == kFixed) return &fixed[slot];
        if (kind == kDynamic) return &dynamic[slot];
        return &orbiting[slot];
    }

    // The physics parent's body of the bodies of a group, kept per body only while it is in reach.
    void FindParentBody(const Group& g, Dynamic* d, size_t n) {
        if (g.parent.IsNull()) return;
        const uint32_t packed = bodyIndex.Find(KeyOf(g.env, g.parent));
        if (packed == FlatIndex::kMissing) return;
        Fixed* parent = BodyAt(packed);
        const glm::dvec3 parentCentre = parent->centerOfMass + parent->boundsCenter;
        for (size_t i = 0; i < n; ++i) {
            d[i].parentBody = parent;
            if (BroadPhase::Ignores(d[i], parent->id) ||
                glm::distance(d[i].boundsCenterWorld, parentCentre) > d[i].broadphaseRadius + parent->radius)
                d[i].parentBody = nullptr;
        }
    }
};

namespace {

// The acceleration felt in the frame of `parent` at `position` (in that frame): what the parent
// itself feels, the centrifugal term -w x (w x r) and the Euler term -dw/dt x r, with r taken from
// the parent's centre of mass and the parent's spin turned into its own axes. The Coriolis term
// depends on each body's own motion and isn't part of the frame.
glm::dvec3 FrameAcceleration(const ServerSideEntity& parent, const glm::dvec3& angularAcceleration,
                             const glm::dvec3& position) {
    const glm::dquat toParent = glm::inverse(parent.rotation);
    const glm::dvec3 w = toParent * parent.angularVelocity;
    const glm::dvec3 alpha = toParent * angularAcceleration;
    const glm::dvec3 r = position - parent.centerOfMass;
    return parent.localAcceleration - glm::cross(w, glm::cross(w, r)) - glm::cross(alpha, r);
}

Game::PhysicsColliderDebug DebugCollider(const ConvexMeshCollider& c, const glm::dvec3& centerOfMass,
                                         const entity::Id& id, bool moving) {
    Game::PhysicsColliderDebug out;
    out.entity = id;
    out.transform = c.transform;
    out.transform[3] += glm::dvec4(centerOfMass, 0.0);
    out.box_min = c.box_min;
    out.box_max = c.box_max;
    // Moving bodies are drawn white, fixed ones blue.
    out.color[0] = out.color[1] = moving ? 1.0f : 0.0f;
    out.color[2] = out.color[3] = 1.0f;
    return out;
}

Game::PhysicsLineDebug DebugLine(const entity::Id& id, const glm::dvec3& from, const glm::dvec3& to, float r,
                                 float g, float b) {
    Game::PhysicsLineDebug line;
    line.entity = id;
    line.from = from;
    line.to = to;
    line.color[0] = r;
    line.color[1] = g;
    line.color[2] = b;
    line.color[3] = 1.0f;
    return line;
}

void DebugMovingBodies(const Dynamic* d, size_t n) {
    for (size_t i = 0; i < n; ++i) {
        const Dynamic& rb = d[i];
        for (const ConvexMeshCollider& c : rb.debugColliders)
            Game::physicsDebugColliders_back.push_back(DebugCollider(c, rb.centerOfMass, rb.id, true));
        for (const ConvexMeshCollider& c : rb.colliders)
            Game::physicsDebugColliders_back.push_back(DebugCollider(c, rb.centerOfMass, rb.id, true));
        for (const PhysicsLineDebug& l : rb.debugLines) {
            Game::PhysicsLineDebug line = DebugLine(l.entity, l.from + rb.centerOfMass, l.to + rb.centerOfMass, 0, 0, 0);
            std::copy(std::begin(l.color), std::end(l.color), line.color);
            Game::physicsDebugLines_back.push_back(line);
        }
        for (const Dynamic* o : rb.dynamicCandidates)
            Game::physicsDebugLines_back.push_back(
                DebugLine(entity::Id(), rb.boundsCenterWorld, o->boundsCenterWorld, 0, 1, 0));
        for (const Fixed* o : rb.fixedCandidates)
            Game::physicsDebugLines_back.push_back(
                DebugLine(entity::Id(), rb.boundsCenterWorld, o->boundsCenterWorld, 1, 1, 0));
        if (rb.parentBody)
            Game::physicsDebugLines_back.push_back(
                DebugLine(entity::Id(), rb.boundsCenterWorld, rb.parentBody->centerOfMass, 1, 0, 1));
    }
}

}  // namespace

PhysicsStep::PhysicsStep() : _s(std::make_unique<Storage>()) {}
PhysicsStep::~PhysicsStep() = default;

PhysicsStep& PhysicsStep::Kept() {
    static PhysicsStep* step = new PhysicsStep();  // never destroyed: bodies may outlive static teardown order
    return *step;
}

void PhysicsStep::PrepareBodies(double deltaTime, size_t population) {
    quorl::cpu::Profiler scope("Prepare rigidbodies", true);
    Storage& s = *_s;
    Dynamic::recordDebugLines = Game::debugServerSidePhysics;
    for (FlatIndex& index : s.groupIndex) index.Clear(population);
    s.envIndex.Clear(population);
    for (Table& t : s.tables) {
        t.groups.clear();
        t.environments = 0;
        // An entity makes at most one group: a group that appears for the first time (a body
        // joining a parent) then finds room.
        if (t.groups.capacity() < population) {
            t.groups.reserve(population);
            t.order.reserve(population);
        }
    }
    s.deltaTime = deltaTime;
    // One pointer of capture: the walk's function object stays in its small buffer.
    ServerSideEntity::ForEach([&s](std::shared_ptr<ServerSideEntity> e) { s.Prepare(e); });

    // Lay the groups out by environment, then by first appearance.
    for (int kind = 0; kind < kKinds; ++kind) {
        Table& t = s.tables[kind];
        t.order.resize(t.groups.size());
        for (uint32_t g = 0; g < t.order.size(); ++g) t.order[g] = g;
        std::sort(t.order.begin(), t.order.end(), [&t](uint32_t a, uint32_t b) {
            return t.groups[a].envOrder != t.groups[b].envOrder ? t.groups[a].envOrder < t.groups[b].envOrder : a < b;
        });
        uint32_t next = 0;
        for (uint32_t g : t.order) {
            t.groups[g].begin = next;
            next += t.groups[g].count;
        }
        s.used[kind] = next;
    }
    // Every table gets room for all the bodies of the frame: a body that changes kind (comes to
    // rest, wakes, leaves its environment) then finds a kept place in its new table.
    const size_t bodies = s.entries.size();
    if (s.fixed.size() < bodies) s.fixed.resize(bodies);
    if (s.dynamic.size() < bodies) s.dynamic.resize(bodies);
    if (s.orbiting.size() < bodies) s.orbiting.resize(bodies);
    if (s.carried.size() < bodies) s.carried.resize(bodies);  // a body is carried at most once a step

    // Build the bodies in walk order, each in its group's next place.
    s.bodyIndex.Clear(s.entries.size());
    for (Entry& entry : s.entries) {
        std::shared_ptr<ServerSideEntity>& owner = s.held[entry.held];
        Group& g = s.tables[entry.kind].groups[entry.group];
        entry.slot = g.begin + g.filled++;
        if (entry.kind == kFixed) s.fixed[entry.slot].Reset(owner);
        else if (entry.kind == kDynamic) s.dynamic[entry.slot].Reset(owner, deltaTime);
        else s.orbiting[entry.slot].Reset(owner, deltaTime);
        s.bodyIndex.FindOrInsert(KeyOf(g.env, owner->id), uint32_t(entry.kind) << 30 | entry.slot);
    }
}

void PhysicsStep::MergeVehicles() {
    quorl::cpu::Profiler scope("Prepare composite entities", true);
    Storage& s = *_s;
    for (int kind = 0; kind < kKinds; ++kind) s.merged[kind].assign(std::max<size_t>(s.entries.size(), 1), 0);
    s.mergedList.clear();
    for (const ComponentEntry& c : s.components) {
        if (c.root.IsNull()) continue;
        const uint32_t packed = s.bodyIndex.Find(KeyOf(c.env, c.root));
        if (packed == FlatIndex::kMissing) continue;
        Fixed& rb = *s.BodyAt(packed);
        const glm::dmat4 x = glm::translate(glm::dmat4(1.0), -rb.centerOfMass) * c.entity->GetTransformInPhysicsParent();
        for (const auto& entry : c.entity->colliders) {
            ConvexMeshCollider& copy = rb.AddCollider(entry.second);
            copy.transform = x * copy.transform;
        }
        const glm::dvec3 p0(x * glm::dvec4(c.entity->boundsMin, 1.0));
        const glm::dvec3 p1(x * glm::dvec4(c.entity->boundsMax, 1.0));
        rb.boundsMin = glm::min(rb.boundsMin, glm::min(p0, p1));
        rb.boundsMax = glm::max(rb.boundsMax, glm::max(p0, p1));
        uint8_t& mark = s.merged[packed >> 30][packed & 0x3FFFFFFFu];
        if (!mark) {
            mark = 1;
            s.mergedList.push_back(packed);
        }
    }
    for (uint32_t packed : s.mergedList) {
        s.BodyAt(packed)->ComputeBounds();
        if ((packed >> 30) != kFixed) static_cast<Dynamic*>(s.BodyAt(packed))->ComputeInertiaTensor();
    }
}

void PhysicsStep::FrameAccelerations() {
    quorl::cpu::Profiler scope("Apply gravity to rigidbodies", true);
    Storage& s = *_s;
    auto applyGravity = [&](auto* bodies, int kind) {
        for (uint32_t gi : s.tables[kind].order) {
            const Group& g = s.tables[kind].groups[gi];
            std::shared_ptr<ServerSideEntity> parent = g.parent.IsNull() ? nullptr : ServerSideEntity::Get(g.parent);
            // The parent's angular acceleration of this frame, from its moving body if it has one.
            glm::dvec3 parentSpin(0.0);
            if (parent) {
                const uint32_t packed = s.bodyIndex.Find(KeyOf(g.env, g.parent));
                if (packed != FlatIndex::kMissing && (packed >> 30) != kFixed)
                    parentSpin = static_cast<const Dynamic*>(s.BodyAt(packed))->angularAcceleration;
            }
            // Top-level moving bodies feel the environment's gravity from the first substep on;
            // the environment pass of each substep keeps it up to date for the next.
            const EnvironmentFunction* environment = nullptr;
            if (kind == kDynamic && g.parent.IsNull() && g.env != 0) {
                auto found = Game::_environmentFunctions.find(g.env);
                if (found != Game::_environmentFunctions.end() && found->second) environment = &found->second;
            }
            for (uint32_t i = g.begin; i < g.begin + g.count; ++i) {
                auto& rb = bodies[i];
                std::shared_ptr<ServerSideEntity> e = rb.entity.lock();
                if (!e) continue;
                if constexpr (std::is_same_v<std::decay_t<decltype(rb)>, Dynamic>) {
                    if (environment && rb.interactsWithEnvironment) rb.TakeEnvironmentGravity(*environment);
                }
                if (parent) {
                    rb.frameAcceleration = FrameAcceleration(*parent, parentSpin, e->position);
                    if (kind == kFixed) e->localAcceleration = glm::inverse(e->rotation) * rb.frameAcceleration;
                } else if (kind == kFixed) {
                    if (e->relativeEnvironmentId == 0) {
                        e->localAcceleration = glm::dvec3(0.0);
                    } else {
                        auto found = Game::_environmentFunctions.find(e->relativeEnvironmentId);
                        const glm::dvec3 gravity = found != Game::_environmentFunctions.end() && found->second
                                                       ? found->second(e->position, 0, 0.0).gravity
                                                       : EnvironmentInfo().gravity;
                        e->localAcceleration = glm::inverse(e->rotation) * gravity;
                    }
                }
            }
        }
    };
    applyGravity(s.fixed.data(), kFixed);
    applyGravity(s.dynamic.data(), kDynamic);
    applyGravity(s.orbiting.data(), kOrbiting);
}

void PhysicsStep::FindPairs() {
    quorl::cpu::Profiler scope("Broadphase collision detection", true);
    Storage& s = *_s;
    const Table& t = s.tables[kDynamic];
    for (uint32_t gi : t.order) {
        const Group& g = t.groups[gi];
        Dynamic* d = s.dynamic.data() + g.begin;
        Fixed* f = nullptr;
        size_t m = 0;
        const uint32_t fixedGroup = s.groupIndex[kFixed].Find(KeyOf(g.env, g.parent));
        if (fixedGroup != FlatIndex::kMissing) {
            const Group& fg = s.tables[kFixed].groups[fixedGroup];
            f = s.fixed.data() + fg.begin;
            m = fg.count;
        }
        s.broadPhase.FindCandidates(d, g.count, f, m);
        s.FindParentBody(g, d, g.count);
        if (g.parent.IsNull() && m > 0) s.AddCarriedBodies(g, d, f, m);
    }
}

// A top-level body falling onto a pile that a fixed body carries would otherwise pass through the
// carried bodies, which live in that body's frame, until it touched the carrier itself, and end
// inside them. So the bodies carried by the fixed bodies of a top-level group are placed in the
// world as they stand at the start of the step, and its moving bodies meet them as fixed bodies:
// the whole overlap and impulse are the moving body's, as on a held-up body, and the carried
// bodies don't feel it until it has joined their frame.
void PhysicsStep::Storage::AddCarriedBodies(const Group& g, Dynamic* d, Fixed* f, size_t m) {
    Storage& s = *this;
    const size_t first = s.carriedUsed;
    for (size_t k = 0; k < m; ++k) {
        const glm::dmat4 frame = glm::translate(glm::dmat4(1.0), -(f[k].rotation * f[k].centerOfMass)) *
                                 glm::translate(glm::dmat4(1.0), f[k].position) * glm::mat4_cast(f[k].rotation);
        for (int kind : {kFixed, kDynamic}) {
            const uint32_t gi = s.groupIndex[kind].Find(KeyOf(g.env, f[k].id));
            if (gi == FlatIndex::kMissing) continue;
            const Group& cg = s.tables[kind].groups[gi];
            for (uint32_t i = 0; i < cg.count; ++i) {
                Fixed& body = kind == kFixed ? s.fixed[cg.begin + i] : s.dynamic[cg.begin + i];
                std::shared_ptr<ServerSideEntity> owner = body.entity.lock();
                if (!owner) continue;
                if (s.carriedUsed == s.carried.size()) s.carried.emplace_back();
                Fixed& placed = s.carried[s.carriedUsed++];
                placed.Reset(owner);
                placed.position = glm::dvec3(frame * glm::dvec4(placed.position, 1.0));
                placed.rotation = f[k].rotation * placed.rotation;
                placed.ComputeBounds();
            }
        }
    }
    if (s.carriedUsed > first)
        s.broadPhase.FindCandidates(d, g.count, s.carried.data() + first, s.carriedUsed - first, false);
}

void PhysicsStep::OrbitingBodies() {
    quorl::cpu::Profiler scope("Orbiting Rigidbodies", true);
    Storage& s = *_s;
    const double deltaTime = s.deltaTime;
    const Table& t = s.tables[kOrbiting];
    for (uint32_t gi : t.order) {
        const Group& g = t.groups[gi];
        Dynamic* d = s.orbiting.data() + g.begin;
        s.broadPhase.FindCandidates<ServerSideEntity>(d, g.count, nullptr, 0);
        s.FindParentBody(g, d, g.count);
        {
            quorl::cpu::Profiler inner("CollisionDetection", true);
            for (uint32_t i = 0; i < g.count; ++i) d[i].CollisionDetection(deltaTime);
        }
        {
            quorl::cpu::Profiler inner("IntegrateMotion", true);
            for (uint32_t i = 0; i < g.count; ++i) d[i].IntegrateMotion(deltaTime);
        }
    }
}

void PhysicsStep::DynamicSubsteps(int substeps) {
    quorl::cpu::Profiler scope("Dynamic Rigidbodies", true);
    Storage& s = *_s;
    const double deltaTime = s.deltaTime;
    const double subDeltaTime = deltaTime / substeps;
    const Table& t = s.tables[kDynamic];
    const EnvironmentFunction* function = nullptr;
    uint32_t functionEnvOrder = UINT32_MAX;
    for (uint32_t gi : t.order) {
        const Group& g = t.groups[gi];
        if (g.envOrder != functionEnvOrder) {
            functionEnvOrder = g.envOrder;
            function = g.env != 0 ? &Game::_environmentFunctions.at(g.env) : nullptr;
        }
        Dynamic* d = s.dynamic.data() + g.begin;
        const uint32_t n = g.count;
        if (function) {
            quorl::cpu::Profiler inner("Compute aerodynamic surfaces", true);
            for (uint32_t i = 0; i < n; ++i)
                if (d[i].interactsWithEnvironment) d[i].ComputeAerodynamicSurfaces(*function);
        }
        for (int step = 0; step < substeps; ++step) {
            {
                quorl::cpu::Profiler inner("IntegrateMotion", true);
                for (uint32_t i = 0; i < n; ++i) d[i].IntegrateMotion(subDeltaTime);
            }
            {
                quorl::cpu::Profiler inner("CollisionDetection", true);
                for (uint32_t i = 0; i < n; ++i) d[i].CollisionDetection(subDeltaTime);
            }
            if (g.parent.IsNull() && function) {
                quorl::cpu::Profiler inner("InteractWithEnvironment", true);
                for (uint32_t i = 0; i < n; ++i)
                    if (d[i].interactsWithEnvironment) d[i].InteractWithEnvironment(*function, subDeltaTime);
            }
        }
        if (!g.parent.IsNull() && function) {
            quorl::cpu::Profiler inner("InteractWithEnvironmentFromParent", true);
            std::shared_ptr<ServerSideEntity> parent = ServerSideEntity::Get(g.parent);
            if (parent && parent->parentEntity.IsNull()) {
                const glm::dmat4 transform = parent->GetTransform();
                for (uint32_t i = 0; i < n; ++i)
                    if (d[i].interactsWithEnvironment)
                        d[i].InteractWithEnvironmentFromParent(transform, *function, deltaTime);
            }
        }
    }
}

void PhysicsStep::WriteBack() {
    quorl::cpu::Profiler scope("Apply to entities", true);
    Storage& s = *_s;
    for (size_t i = 0; i < s.used[kDynamic]; ++i) s.dynamic[i].ApplyToEntity(s.deltaTime);
    for (size_t i = 0; i < s.used[kOrbiting]; ++i) s.orbiting[i].ApplyToEntity(s.deltaTime);
}

void PhysicsStep::Debug() {
    Storage& s = *_s;
    Game::physicsDebugColliders_back.clear();
    Game::physicsDebugLines_back.clear();
    for (size_t i = 0; i < s.used[kFixed]; ++i) {
        const Fixed& rb = s.fixed[i];
        for (const ConvexMeshCollider& c : rb.colliders)
            Game::physicsDebugColliders_back.push_back(DebugCollider(c, rb.centerOfMass, rb.id, false));
    }
    DebugMovingBodies(s.dynamic.data(), s.used[kDynamic]);
    DebugMovingBodies(s.orbiting.data(), s.used[kOrbiting]);
    std::lock_guard guard(Game::physicsDebugMutex);
    std::swap(Game::physicsDebugColliders_back, Game::physicsDebugColliders_staging);
    std::swap(Game::physicsDebugLines_back, Game::physicsDebugLines_staging);
    Game::physicsDebugCollidersUpdated = true;
}

void PhysicsStep::Release() {
    Storage& s = *_s;
    for (size_t i = 0; i < s.used[kFixed]; ++i) s.fixed[i].Release();
    for (size_t i = 0; i < s.used[kDynamic]; ++i) s.dynamic[i].Release();
    for (size_t i = 0; i < s.used[kOrbiting]; ++i) s.orbiting[i].Release();
    for (size_t i = 0; i < s.carriedUsed; ++i) s.carried[i].Release();
    s.carriedUsed = 0;
    s.used[kFixed] = s.used[kDynamic] = s.used[kOrbiting] = 0;
    s.held.clear();
    s.entries.clear();
    s.components.clear();
}

}  // namespace game::physics
