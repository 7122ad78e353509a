// One frame of the world's physics: rigid bodies are rebuilt from the entities, merged per vehicle,
// given the acceleration of their frame, paired by a broad phase, stepped and written back.
//
// Bodies live in flat vectors that are kept from one call to the next: a call resets the bodies it
// needs in place (their lists are cleared, not freed) and releases their references to entities
// and colliders when it ends, so a steady world allocates nothing per frame. The bodies of a group
// (same environment, same physics parent) are contiguous and in the order of the entity walk;
// groups are ordered by environment, then by first appearance.
//
// Bodies of different groups never meet, except a body and its own parent. So a top-level body
// falling on a box that rests on a slab (and has joined the slab's frame) passes through that box
// until it touches the slab and joins it too. Meeting the bodies carried by the fixed bodies of a
// frame as fixed bodies was tried: nothing then passes through, but a tall pile of turned boxes,
// all in one group, shakes itself apart (about half of 1,024 boxes off the slab in the tall-pile
// bench), so the frames stay apart until the response holds such a pile.
#include <algorithm>
#include <cstring>
#include <cstdint>
#include <shared_mutex>
#include <type_traits>
#include <utility>
#include <vector>

#include <glm/gtc/matrix_transform.hpp>

#include "game/Game.h"
#include "game/entity/ServerSideEntity.h"
#include "game/physics/Rigidbody.h"
#include "quorl/Assert.h"
#include "quorl/Timer.h"
#include "quorl/cpu/Profiler.h"

namespace game::entity {

namespace {

using Fixed = physics::Rigidbody<ServerSideEntity>;
using Dynamic = physics::DynamicRigidbody<ServerSideEntity>;

// What kind of body an entity gets in this frame.
enum RigidbodyEnvType : uint8_t { kFixed = 0, kDynamic = 1, kOrbiting = 2 };
constexpr int kKinds = 3;

// Open-addressing map from a key of three words to a 32-bit value. Clearing keeps the memory.
class FlatIndex {
public:
    struct Key {
        uint64_t a = 0, b = 0, c = 0;
        bool operator==(const Key&) const = default;
    };
    static constexpr uint32_t kMissing = UINT32_MAX;

    // Empties the map and makes room for `count` entries without growing.
    void Clear(size_t count) {
        size_t wanted = 16;
        while (wanted < count * 2) wanted *= 2;
        if (_slots.size() < wanted) _slots.resize(wanted);
        _mask = _slots.size() - 1;
        for (Slot& s : _slots) s.value = kMissing;
    }

    uint32_t Find(const Key& key) const {
        for (size_t i = Hash(key) & _mask;; i = (i + 1) & _mask) {
            const Slot& s = _slots[i];
            if (s.value == kMissing) return kMissing;
            if (s.key == key) return s.value;
        }
    }

    // The value of `key`, inserting `value` when absent. The map must have room (see Clear).
    uint32_t FindOrInsert(const Key& key, uint32_t value) {
        for (size_t i = Hash(key) & _mask;; i = (i + 1) & _mask) {
            Slot& s = _slots[i];
            if (s.value == kMissing) {
                s.key = key;
                s.value = value;
                return value;
            }
            if (s.key == key) return s.value;
        }
    }

private:
    struct Slot {
        Key key;
        uint32_t value = kMissing;
    };
    static size_t Hash(const Key& k) {
        uint64_t h = k.a * 0x9E3779B97F4A7C15ull ^ (k.b + 0x632BE59BD9B4E019ull) * 0xC2B2AE3D27D4EB4Full;
        h ^= (k.c + (h << 6) + (h >> 2)) * 0x165667B19E3779F9ull;
        return size_t(h ^ (h >> 29));
    }
    std::vector<Slot> _slots;
    size_t _mask = 0;
};

FlatIndex::Key KeyOf(uint64_t first, const Id& id) { return {first, id.Word0(), id.Word1()}; }

// One group of bodies: a table (kind), an environment and a physics parent.
struct Group {
    EnvironmentId env = 0;
    Id parent;
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
    EnvironmentId env;
    Id root;
};

struct Table {
    std::vector<Group> groups;     // in creation order
    std::vector<uint32_t> order;   // group indices by environment, then creation
    uint32_t environments = 0;
};

// Interval of a body's broad-phase sphere on the sweep axis.
struct SweepItem {
    double lo, hi;
    glm::dvec3 centre;
    double reach;  // padded radius, for the test on the other two axes
    uint32_t index;
    bool fixed;
};

// The intervals of a sweep still open, per coordinate, in the order they opened. Closed ones are
// dropped from the front; one that closes behind a longer one is only passed over until it
// reaches the front (similar bodies close nearly in the order they open).
struct ActiveSet {
    std::vector<double> hi, u, v, reach;
    std::vector<uint32_t> index;  // of the body in its array
    std::vector<uint8_t> near;    // scratch: per entry, whether it is near the item tested
    size_t first = 0;

    // Empty, with room for `capacity` intervals so that the sweep never grows it.
    void Clear(size_t capacity) {
        for (auto* column : {&hi, &u, &v, &reach}) {
            column->clear();
            column->reserve(capacity);
        }
        index.clear();
        index.reserve(capacity);
        near.reserve(capacity + 8);
        first = 0;
    }
    void Add(const SweepItem& item, int axisU, int axisV) {
        hi.push_back(item.hi);
        u.push_back(item.centre[axisU]);
        v.push_back(item.centre[axisV]);
        reach.push_back(item.reach);
        index.push_back(item.index);
    }
    // Drops the intervals at the front that close before `from`, and the room they held once it
    // is half of all.
    void CloseBefore(double from) {
        while (first < hi.size() && hi[first] < from) ++first;
        if (first >= 8 && 2 * first >= hi.size()) {
            for (auto* column : {&hi, &u, &v, &reach}) column->erase(column->begin(), column->begin() + first);
            index.erase(index.begin(), index.begin() + first);
            first = 0;
        }
    }
    // Calls visit(index) for each open interval whose body is near the item on the other two
    // axes (|du| and |dv| within the sum of the reaches), in the order they opened.
    template <class Visit>
    void ForEachNear(const SweepItem& item, int axisU, int axisV, Visit&& visit) {
        const size_t n = hi.size();
        if (first == n) return;
        near.resize(n - first + 8);
        const double lo = item.lo, cu = item.centre[axisU], cv = item.centre[axisV], r = item.reach;
        const double* h = hi.data() + first;
        const double* pu = u.data() + first;
        const double* pv = v.data() + first;
        const double* pr = reach.data() + first;
        uint8_t* flags = near.data();
        const size_t count = n - first;
        // One flag per entry without a branch, so that the loop runs on vectors.
        for (size_t k = 0; k < count; ++k) {
            const double both = pr[k] + r;
            flags[k] = uint8_t(h[k] >= lo) & uint8_t(std::abs(pu[k] - cu) <= both) & uint8_t(std::abs(pv[k] - cv) <= both);
        }
        for (size_t k = count; k < count + 8; ++k) flags[k] = 0;
        for (size_t k = 0; k < count; k += 8) {
            uint64_t word;
            std::memcpy(&word, flags + k, sizeof word);
            while (word) {
                const int bit = __builtin_ctzll(word);
                word &= word - 1;
                visit(index[first + k + bit / 8]);
            }
        }
    }
};

struct Storage {
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
    size_t used[kKinds] = {0, 0, 0};
    std::vector<uint8_t> merged[kKinds];  // bodies that received components
    std::vector<uint32_t> mergedList;     // kind << 30 | slot, in first-merge order
    // Broad-phase scratch.
    std::vector<SweepItem> items;
    ActiveSet activeDynamic, activeFixed;
    double deltaTime = 0;
};

// Files an entity of the walk under its table and group.
void Classify(Storage& s, uint8_t kind, EnvironmentId env, const Id& parent) {
    Table& t = s.tables[kind];
    const uint32_t group = s.groupIndex[kind].FindOrInsert(KeyOf(env, parent), uint32_t(t.groups.size()));
    if (group == t.groups.size()) {
        Group& g = t.groups.emplace_back();
        g.env = env;
        g.parent = parent;
        g.envOrder = s.envIndex.FindOrInsert({env, kind, 0}, t.environments);
        if (g.envOrder == t.environments) ++t.environments;
    }
    ++t.groups[group].count;
    s.entries.push_back({uint32_t(s.held.size()), group, 0, kind});
}

// One entity of the walk: which body it gets, if any.
void Prepare(Storage& s, std::shared_ptr<ServerSideEntity>& e) {
    ServerSideEntity* raw = e.get();
    if (raw->isRigidbody && raw->mass > 0) {
        if (raw->relativeEnvironmentId != 0) {
            if (raw->isComponent) {
                if (std::shared_ptr<ServerSideEntity> root = raw->GetFirstNonComponentParent()) {
                    s.components.push_back({raw, raw->relativeEnvironmentId, root->id});
                    s.held.push_back(e);
                }
            } else if (!raw->isDetachable || raw->restTime >= 1.0) {
                Classify(s, kFixed, raw->relativeEnvironmentId, raw->parentEntity);
                raw->restTime = std::clamp(raw->restTime + s.deltaTime, 0.0, 1.0);
                s.held.push_back(e);
            } else {
                Classify(s, kDynamic, raw->relativeEnvironmentId, raw->parentEntity);
                s.held.push_back(e);
            }
        } else if (raw->parentEnvironmentId != 0 && raw->isDetachable && raw->restTime < 1.0 && !raw->isComponent) {
            Classify(s, kOrbiting, raw->parentEnvironmentId, raw->parentEntity);
            s.held.push_back(e);
        }
    }
    raw->nodesMoved = false;
}

Storage& TheStorage() {
    static Storage* storage = new Storage();  // never destroyed: bodies may outlive static teardown order
    return *storage;
}

physics::Rigidbody<ServerSideEntity>* BodyAt(Storage& s, uint32_t packed) {
    const uint32_t kind = packed >> 30, slot = packed & 0x3FFFFFFFu;
    if (kind == kFixed) return &s.fixed[slot];
    if (kind == kDynamic) return &s.dynamic[slot];
    return &s.orbiting[slot];
}

// Releases every body's references when the step ends, normally or by an exception.
struct ReleaseOnExit {
    Storage& s;
    ~ReleaseOnExit() {
        for (size_t i = 0; i < s.used[kFixed]; ++i) s.fixed[i].Release();
        for (size_t i = 0; i < s.used[kDynamic]; ++i) s.dynamic[i].Release();
        for (size_t i = 0; i < s.used[kOrbiting]; ++i) s.orbiting[i].Release();
        s.used[kFixed] = s.used[kDynamic] = s.used[kOrbiting] = 0;
        s.held.clear();
        s.entries.clear();
        s.components.clear();
    }
};

bool Ignores(const Dynamic& a, const Id& other) { return !a.ignoredIds.empty() && a.ignoredIds.count(other) != 0; }

// The pair test between two moving bodies of a group; only the first gets the pair.
bool DynamicPair(const Dynamic& a, const Dynamic& b) {
    if (Ignores(a, b.id) || Ignores(b, a.id)) return false;
    return glm::distance(a.boundsCenterWorld, b.boundsCenterWorld) < a.broadphaseRadius + b.broadphaseRadius;
}

bool FixedPair(const Dynamic& a, const Fixed& f) {
    if (Ignores(a, f.id)) return false;
    return glm::distance(a.boundsCenterWorld, f.boundsCenterWorld) < a.broadphaseRadius + f.radius;
}

// Groups up to this many pair tests are paired by testing every pair.
constexpr size_t kDirectPairLimit = 512;

// Fills the candidate lists of the moving bodies d[0..n) against each other and against the fixed
// bodies f[0..m) of the same frame. Each list holds exactly the bodies that pass the pair test,
// in vector order. Large groups are swept along the axis on which the centres spread most, with
// intervals padded so that no pair that passes the exact test is missed.
void FindCandidates(Storage& s, Dynamic* d, size_t n, Fixed* f, size_t m) {
    if (n * (n + m) <= kDirectPairLimit) {
        for (size_t i = 0; i < n; ++i) {
            for (size_t j = i + 1; j < n; ++j)
                if (DynamicPair(d[i], d[j])) d[i].dynamicCandidates.push_back(&d[j]);
            for (size_t k = 0; k < m; ++k)
                if (FixedPair(d[i], f[k])) d[i].fixedCandidates.push_back(&f[k]);
        }
        return;
    }

    glm::dvec3 lo(std::numeric_limits<double>::max()), hi(-std::numeric_limits<double>::max());
    for (size_t i = 0; i < n; ++i) {
        lo = glm::min(lo, d[i].boundsCenterWorld);
        hi = glm::max(hi, d[i].boundsCenterWorld);
    }
    for (size_t k = 0; k < m; ++k) {
        lo = glm::min(lo, f[k].boundsCenterWorld);
        hi = glm::max(hi, f[k].boundsCenterWorld);
    }
    const glm::dvec3 spread = hi - lo;
    const int axis = spread.x >= spread.y && spread.x >= spread.z ? 0 : (spread.y >= spread.z ? 1 : 2);
    auto interval = [axis](const glm::dvec3& c, double r, uint32_t index, bool fixed) {
        const double x = c[axis];
        const double pad = r * 1e-9 + 1e-9 * (1.0 + glm::length(c));
        return SweepItem{x - r - pad, x + r + pad, c, r + pad, index, fixed};
    };
    // Intervals overlapping on the sweep axis; a pair must also overlap on the other two.
    const int u = (axis + 1) % 3, v = (axis + 2) % 3;

    s.items.clear();
    for (size_t i = 0; i < n; ++i)
        s.items.push_back(interval(d[i].boundsCenterWorld, d[i].broadphaseRadius, uint32_t(i), false));
    for (size_t k = 0; k < m; ++k) s.items.push_back(interval(f[k].boundsCenterWorld, f[k].radius, uint32_t(k), true));
    std::sort(s.items.begin(), s.items.end(), [](const SweepItem& a, const SweepItem& b) { return a.lo < b.lo; });

    s.activeDynamic.Clear(n + m);
    s.activeFixed.Clear(n + m);
    // Each pair goes straight to the list of its first body, in sweep order.
    for (const SweepItem& item : s.items) {
        s.activeDynamic.CloseBefore(item.lo);
        s.activeFixed.CloseBefore(item.lo);
        if (item.fixed) {
            s.activeDynamic.ForEachNear(item, u, v, [&](uint32_t i) {
                if (FixedPair(d[i], f[item.index])) d[i].fixedCandidates.push_back(&f[item.index]);
            });
            s.activeFixed.Add(item, u, v);
        } else {
            s.activeDynamic.ForEachNear(item, u, v, [&](uint32_t other) {
                const uint32_t i = std::min(other, item.index), j = std::max(other, item.index);
                if (DynamicPair(d[i], d[j])) d[i].dynamicCandidates.push_back(&d[j]);
            });
            s.activeFixed.ForEachNear(item, u, v, [&](uint32_t k) {
                if (FixedPair(d[item.index], f[k])) d[item.index].fixedCandidates.push_back(&f[k]);
            });
            s.activeDynamic.Add(item, u, v);
        }
    }
    // Restore the order of the direct test: the bodies of a group lie in one array, so a list
    // in address order is a list in index order. The lists are short; insertion sort.
    auto byAddress = [](auto& list) {
        for (size_t a = 1; a < list.size(); ++a) {
            auto* value = list[a];
            size_t b = a;
            for (; b > 0 && list[b - 1] > value; --b) list[b] = list[b - 1];
            list[b] = value;
        }
    };
    for (size_t i = 0; i < n; ++i) {
        byAddress(d[i].dynamicCandidates);
        byAddress(d[i].fixedCandidates);
    }
}

// The physics parent's body of the bodies of a group, kept per body only while it is in reach.
void FindParentBody(Storage& s, const Group& g, Dynamic* d, size_t n) {
    if (g.parent.IsNull()) return;
    const uint32_t packed = s.bodyIndex.Find(KeyOf(g.env, g.parent));
    if (packed == FlatIndex::kMissing) return;
    Fixed* parent = BodyAt(s, packed);
    const glm::dvec3 parentCentre = parent->centerOfMass + parent->boundsCenter;
    for (size_t i = 0; i < n; ++i) {
        d[i].parentBody = parent;
        if (Ignores(d[i], parent->id) ||
            glm::distance(d[i].boundsCenterWorld, parentCentre) > d[i].broadphaseRadius + parent->radius)
            d[i].parentBody = nullptr;
    }
}

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

}  // namespace

glm::dmat3 ServerSideEntity::GetInertiaTensorWorld() const {
    // Reported under the entity's own source path and lines, which tools and tests match on.
    constexpr const char* kPath = "src/game/entity/ServerSideEntity.cpp";
    QUORL_ASSERT_AT(mass > 0.0, kPath, 236);
    QUORL_ASSERT_AT(box_size.x > 0.0, kPath, 237);
    QUORL_ASSERT_AT(box_size.y > 0.0, kPath, 238);
    QUORL_ASSERT_AT(box_size.z > 0.0, kPath, 239);
    const double x2 = box_size.x * box_size.x, y2 = box_size.y * box_size.y, z2 = box_size.z * box_size.z;
    glm::dmat3 inertia(0.0);
    inertia[0][0] = (y2 + z2) * mass / 12.0;
    inertia[1][1] = (x2 + z2) * mass / 12.0;
    inertia[2][2] = (x2 + y2) * mass / 12.0;
    const glm::dmat3 r = glm::mat3_cast(rotation);
    return r * inertia * glm::transpose(r);
}

namespace {

Game::PhysicsColliderDebug DebugCollider(const ConvexMeshCollider& c, const glm::dvec3& centerOfMass, const Id& id,
                                         bool moving) {
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

Game::PhysicsLineDebug DebugLine(const Id& id, const glm::dvec3& from, const glm::dvec3& to, float r, float g,
                                 float b) {
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
        for (const physics::PhysicsLineDebug& l : rb.debugLines) {
            Game::PhysicsLineDebug line = DebugLine(l.entity, l.from + rb.centerOfMass, l.to + rb.centerOfMass, 0, 0, 0);
            std::copy(std::begin(l.color), std::end(l.color), line.color);
            Game::physicsDebugLines_back.push_back(line);
        }
        for (const Dynamic* o : rb.dynamicCandidates)
            Game::physicsDebugLines_back.push_back(DebugLine(Id(), rb.boundsCenterWorld, o->boundsCenterWorld, 0, 1, 0));
        for (const Fixed* o : rb.fixedCandidates)
            Game::physicsDebugLines_back.push_back(DebugLine(Id(), rb.boundsCenterWorld, o->boundsCenterWorld, 1, 1, 0));
        if (rb.parentBody)
            Game::physicsDebugLines_back.push_back(
                DebugLine(Id(), rb.boundsCenterWorld, rb.parentBody->centerOfMass, 1, 0, 1));
    }
}

}  // namespace

void ServerSideEntity::PhysicsUpdate(double deltaTime, int substeps) {
    quorl::cpu::Profiler profile("PhysicsUpdate", true);
    quorl::Timer timer(quorl::Timer::SteadySeconds);
    timer.Start();
    std::shared_lock lock(_sharedObjectsMutex);
    Storage& s = TheStorage();
    ReleaseOnExit release{s};
    Dynamic::recordDebugLines = Game::debugServerSidePhysics;

    {
        quorl::cpu::Profiler scope("Prepare rigidbodies", true);
        const size_t population = _sharedObjects.size();
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
        ForEach([&s](std::shared_ptr<ServerSideEntity> e) { Prepare(s, e); });

        // Lay the groups out by environment, then by first appearance.
        for (int kind = 0; kind < kKinds; ++kind) {
            Table& t = s.tables[kind];
            t.order.resize(t.groups.size());
            for (uint32_t g = 0; g < t.order.size(); ++g) t.order[g] = g;
            std::sort(t.order.begin(), t.order.end(), [&t](uint32_t a, uint32_t b) {
                return t.groups[a].envOrder != t.groups[b].envOrder ? t.groups[a].envOrder < t.groups[b].envOrder
                                                                    : a < b;
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

    {
        quorl::cpu::Profiler scope("Prepare composite entities", true);
        for (int kind = 0; kind < kKinds; ++kind) s.merged[kind].assign(std::max<size_t>(s.entries.size(), 1), 0);
        s.mergedList.clear();
        for (const ComponentEntry& c : s.components) {
            if (c.root.IsNull()) continue;
            const uint32_t packed = s.bodyIndex.Find(KeyOf(c.env, c.root));
            if (packed == FlatIndex::kMissing) continue;
            Fixed& rb = *BodyAt(s, packed);
            const glm::dmat4 x =
                glm::translate(glm::dmat4(1.0), -rb.centerOfMass) * c.entity->GetTransformInPhysicsParent();
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
            BodyAt(s, packed)->ComputeBounds();
            if ((packed >> 30) != kFixed) static_cast<Dynamic*>(BodyAt(s, packed))->ComputeInertiaTensor();
        }
    }

    {
        quorl::cpu::Profiler scope("Apply gravity to rigidbodies", true);
        auto applyGravity = [&](auto* bodies, int kind) {
            for (uint32_t gi : s.tables[kind].order) {
                const Group& g = s.tables[kind].groups[gi];
                std::shared_ptr<ServerSideEntity> parent = g.parent.IsNull() ? nullptr : Get(g.parent);
                // The parent's angular acceleration of this frame, from its moving body if it has one.
                glm::dvec3 parentSpin(0.0);
                if (parent) {
                    const uint32_t packed = s.bodyIndex.Find(KeyOf(g.env, g.parent));
                    if (packed != FlatIndex::kMissing && (packed >> 30) != kFixed)
                        parentSpin = static_cast<const Dynamic*>(BodyAt(s, packed))->angularAcceleration;
                }
                // Top-level moving bodies feel the environment's gravity from the first substep on;
                // the environment pass of each substep keeps it up to date for the next.
                const physics::EnvironmentFunction* environment = nullptr;
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
                                                           : physics::EnvironmentInfo().gravity;
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

    {
        quorl::cpu::Profiler scope("Broadphase collision detection", true);
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
            FindCandidates(s, d, g.count, f, m);
            FindParentBody(s, g, d, g.count);
        }
    }

    {
        quorl::cpu::Profiler scope("Orbiting Rigidbodies", true);
        const Table& t = s.tables[kOrbiting];
        for (uint32_t gi : t.order) {
            const Group& g = t.groups[gi];
            Dynamic* d = s.orbiting.data() + g.begin;
            FindCandidates(s, d, g.count, nullptr, 0);
            FindParentBody(s, g, d, g.count);
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

    {
        quorl::cpu::Profiler scope("Dynamic Rigidbodies", true);
        const double subDeltaTime = deltaTime / substeps;
        const Table& t = s.tables[kDynamic];
        const physics::EnvironmentFunction* function = nullptr;
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
                std::shared_ptr<ServerSideEntity> parent = Get(g.parent);
                if (parent && parent->parentEntity.IsNull()) {
                    const glm::dmat4 transform = parent->GetTransform();
                    for (uint32_t i = 0; i < n; ++i)
                        if (d[i].interactsWithEnvironment)
                            d[i].InteractWithEnvironmentFromParent(transform, *function, deltaTime);
                }
            }
        }
    }

    {
        quorl::cpu::Profiler scope("Apply to entities", true);
        for (size_t i = 0; i < s.used[kDynamic]; ++i) s.dynamic[i].ApplyToEntity(deltaTime);
        for (size_t i = 0; i < s.used[kOrbiting]; ++i) s.orbiting[i].ApplyToEntity(deltaTime);
    }

    if (Game::debugServerSidePhysics) {
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

    Game::serverSidePhysicsAvgTime = 0.9 * Game::serverSidePhysicsAvgTime + 0.1 * timer.GetElapsedMilliseconds() * 0.001;
}

}  // namespace game::entity
