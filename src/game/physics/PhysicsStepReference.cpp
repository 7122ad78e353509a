#include "game/physics/PhysicsStepReference.h"

#include <memory>
#include <tuple>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include <glm/gtc/matrix_transform.hpp>

#include "game/Game.h"
#include "game/entity/ServerSideEntity.h"
#include "game/physics/Rigidbody.h"

namespace game::physics {

namespace {

using entity::EnvironmentId;
using entity::Id;
using entity::ServerSideEntity;
using RefFixed = Rigidbody<ServerSideEntity>;
using RefDynamic = DynamicRigidbody<ServerSideEntity>;

// A map that remembers the order in which its keys first appeared and is walked in that order,
// which is the order the phased step gives its groups.
template <class K, class V>
struct KeyOrderedMap {
    std::unordered_map<K, V> map;
    std::vector<K> keys;
    V& operator[](const K& k) {
        auto [it, inserted] = map.try_emplace(k);
        if (inserted) keys.push_back(k);
        return it->second;
    }
    template <class F>
    void Each(F&& f) {
        for (const K& k : keys) f(k, map.at(k));
    }
};

}  // namespace

void ReferencePhysicsStep(double deltaTime, int substeps) {
    enum RigidbodyEnvType { Fixed = 0, Dynamic = 1, Orbiting = 2 };
    RefDynamic::recordDebugLines = Game::debugServerSidePhysics;

    KeyOrderedMap<EnvironmentId, KeyOrderedMap<Id, std::vector<RefFixed>>> fixedBodies;
    KeyOrderedMap<EnvironmentId, KeyOrderedMap<Id, std::vector<RefDynamic>>> dynamicBodies;
    KeyOrderedMap<EnvironmentId, KeyOrderedMap<Id, std::vector<RefDynamic>>> orbitBodies;
    KeyOrderedMap<EnvironmentId, KeyOrderedMap<Id, std::vector<std::shared_ptr<ServerSideEntity>>>> components;
    std::unordered_map<EnvironmentId, std::unordered_map<Id, std::tuple<Id, size_t, RigidbodyEnvType>>> index;

    ServerSideEntity::ForEach([&](std::shared_ptr<ServerSideEntity> e) {
        if (e->isRigidbody && e->mass > 0) {
            if (e->relativeEnvironmentId != 0) {
                if (e->isComponent) {
                    if (auto root = e->GetFirstNonComponentParent())
                        components[e->relativeEnvironmentId][root->id].push_back(e);
                } else if (!e->isDetachable || e->restTime >= 1.0) {
                    auto& v = fixedBodies[e->relativeEnvironmentId][e->parentEntity];
                    index[e->relativeEnvironmentId][e->id] = {e->parentEntity, v.size(), Fixed};
                    v.emplace_back(e);
                    e->restTime = std::clamp(e->restTime + deltaTime, 0.0, 1.0);
                } else {
                    auto& v = dynamicBodies[e->relativeEnvironmentId][e->parentEntity];
                    index[e->relativeEnvironmentId][e->id] = {e->parentEntity, v.size(), Dynamic};
                    v.emplace_back(e, deltaTime);
                }
            } else if (e->parentEnvironmentId != 0 && e->isDetachable && e->restTime < 1.0 && !e->isComponent) {
                auto& v = orbitBodies[e->parentEnvironmentId][e->parentEntity];
                index[e->parentEnvironmentId][e->id] = {e->parentEntity, v.size(), Orbiting};
                v.emplace_back(e, deltaTime);
            }
        }
        e->nodesMoved = false;
    });

    auto bodyOf = [&](EnvironmentId env, const std::tuple<Id, size_t, RigidbodyEnvType>& at) -> RefFixed* {
        const auto& [parent, i, type] = at;
        if (type == Fixed) return &fixedBodies.map.at(env).map.at(parent).at(i);
        if (type == Dynamic) return &dynamicBodies.map.at(env).map.at(parent).at(i);
        return &orbitBodies.map.at(env).map.at(parent).at(i);
    };

    components.Each([&](EnvironmentId env, auto& roots) {
        roots.Each([&](const Id& rootId, auto& list) {
            if (rootId.IsNull()) return;
            auto envIndex = index.find(env);
            if (envIndex == index.end()) return;
            auto found = envIndex->second.find(rootId);
            if (found == envIndex->second.end()) return;
            RefFixed& rb = *bodyOf(env, found->second);
            for (auto& c : list) {
                const glm::dmat4 x = glm::translate(glm::dmat4(1.0), -rb.centerOfMass) * c->GetTransformInPhysicsParent();
                for (const auto& [name, collider] : c->colliders) {
                    auto copy = collider;
                    copy.transform = x * copy.transform;
                    rb.colliders.push_back(copy);
                }
                const glm::dvec3 p0(x * glm::dvec4(c->boundsMin, 1.0)), p1(x * glm::dvec4(c->boundsMax, 1.0));
                rb.boundsMin = glm::min(rb.boundsMin, glm::min(p0, p1));
                rb.boundsMax = glm::max(rb.boundsMax, glm::max(p0, p1));
            }
            rb.ComputeBounds();
            if (std::get<2>(found->second) != Fixed) static_cast<RefDynamic&>(rb).ComputeInertiaTensor();
        });
    });

    auto gravity = [&](auto& table, bool fixed, bool takesGravity) {
        table.Each([&](EnvironmentId env, auto& groups) {
            groups.Each([&](const Id& parentId, auto& bodies) {
                auto p = ServerSideEntity::Get(parentId);
                for (auto& rb : bodies) {
                    auto e = rb.entity.lock();
                    if (!e) continue;
                    if constexpr (std::is_same_v<std::decay_t<decltype(rb)>, RefDynamic>) {
                        if (takesGravity && parentId.IsNull() && env != 0 &&
                            rb.interactsWithEnvironment) {
                            auto f = Game::_environmentFunctions.find(env);
                            if (f != Game::_environmentFunctions.end() && f->second) rb.TakeEnvironmentGravity(f->second);
                        }
                    }
                    if (p) {
                        // Centrifugal and Euler terms in the parent's axes; the spin's change comes
                        // from the parent's moving body, if it has one.
                        glm::dvec3 alpha(0.0);
                        auto envIndex = index.find(env);
                        if (envIndex != index.end()) {
                            auto found = envIndex->second.find(parentId);
                            if (found != envIndex->second.end() && std::get<2>(found->second) != Fixed)
                                alpha = static_cast<RefDynamic*>(bodyOf(env, found->second))->angularAcceleration;
                        }
                        const glm::dquat toParent = glm::inverse(p->rotation);
                        const glm::dvec3 w = toParent * p->angularVelocity;
                        const glm::dvec3 r = e->position - p->centerOfMass;
                        rb.frameAcceleration = p->localAcceleration - glm::cross(w, glm::cross(w, r)) -
                                               glm::cross(toParent * alpha, r);
                        if (fixed) e->localAcceleration = glm::inverse(e->rotation) * rb.frameAcceleration;
                    } else if (fixed) {
                        if (e->relativeEnvironmentId == 0) {
                            e->localAcceleration = glm::dvec3(0.0);
                        } else {
                            auto f = Game::_environmentFunctions.find(e->relativeEnvironmentId);
                            EnvironmentInfo info;
                            if (f != Game::_environmentFunctions.end() && f->second) info = f->second(e->position, 0, 0.0);
                            e->localAcceleration = glm::inverse(e->rotation) * info.gravity;
                        }
                    }
                }
            });
        });
    };
    gravity(fixedBodies, true, false);
    gravity(dynamicBodies, false, true);
    gravity(orbitBodies, false, false);

    // The bodies carried by the fixed bodies `carriers`, placed in the world, made once per call.
    std::unordered_map<EnvironmentId, std::vector<std::unique_ptr<RefFixed>>> carried;
    auto carriedBy = [&](EnvironmentId env, std::vector<RefFixed>& carriers) -> std::vector<RefFixed*> {
        auto [it, made] = carried.try_emplace(env);
        if (made) {
            for (RefFixed& f : carriers) {
                const glm::dmat4 frame = glm::translate(glm::dmat4(1.0), -(f.rotation * f.centerOfMass)) *
                                         glm::translate(glm::dmat4(1.0), f.position) * glm::mat4_cast(f.rotation);
                auto place = [&](RefFixed& body) {
                    std::shared_ptr<ServerSideEntity> owner = body.entity.lock();
                    if (!owner) return;
                    auto placed = std::make_unique<RefFixed>(owner);
                    placed->position = glm::dvec3(frame * glm::dvec4(placed->position, 1.0));
                    placed->rotation = f.rotation * placed->rotation;
                    placed->ComputeBounds();
                    it->second.push_back(std::move(placed));
                };
                auto fe = fixedBodies.map.find(env);
                if (fe != fixedBodies.map.end() && fe->second.map.count(f.id))
                    for (RefFixed& body : fe->second.map.at(f.id)) place(body);
                auto de = dynamicBodies.map.find(env);
                if (de != dynamicBodies.map.end() && de->second.map.count(f.id))
                    for (RefDynamic& body : de->second.map.at(f.id)) place(body);
            }
        }
        std::vector<RefFixed*> out;
        for (auto& p : it->second) out.push_back(p.get());
        return out;
    };

    auto pairAndParent = [&](EnvironmentId env, const Id& parentId, std::vector<RefDynamic>& bodies, bool withFixed) {
        for (size_t i = 0; i < bodies.size(); ++i) {
            RefDynamic& a = bodies[i];
            for (size_t j = i + 1; j < bodies.size(); ++j) {
                RefDynamic& b = bodies[j];
                if (a.ignoredIds.count(b.id) || b.ignoredIds.count(a.id)) continue;
                if (glm::distance(a.boundsCenterWorld, b.boundsCenterWorld) < a.broadphaseRadius + b.broadphaseRadius)
                    a.dynamicCandidates.push_back(&b);
            }
            if (withFixed) {
                auto fe = fixedBodies.map.find(env);
                if (fe != fixedBodies.map.end()) {
                    auto fg = fe->second.map.find(parentId);
                    if (fg != fe->second.map.end()) {
                        for (RefFixed& f : fg->second) {
                            if (a.ignoredIds.count(f.id)) continue;
                            if (glm::distance(a.boundsCenterWorld, f.boundsCenterWorld) < a.broadphaseRadius + f.radius)
                                a.fixedCandidates.push_back(&f);
                        }
                        // A top-level body meets the bodies its fixed neighbours carry as fixed
                        // bodies, placed in the world as they stand at the start of the step.
                        if (parentId.IsNull()) {
                            for (RefFixed* c : carriedBy(env, fg->second)) {
                                if (a.ignoredIds.count(c->id)) continue;
                                if (glm::distance(a.boundsCenterWorld, c->boundsCenterWorld) < a.broadphaseRadius + c->radius)
                                    a.fixedCandidates.push_back(c);
                            }
                        }
                    }
                }
            }
            if (!parentId.IsNull()) {
                auto envIndex = index.find(env);
                if (envIndex != index.end()) {
                    auto found = envIndex->second.find(parentId);
                    if (found != envIndex->second.end()) {
                        RefFixed* parent = bodyOf(env, found->second);
                        a.parentBody = parent;
                        if (a.ignoredIds.count(parent->id) ||
                            glm::distance(a.boundsCenterWorld, parent->centerOfMass + parent->boundsCenter) >
                                a.broadphaseRadius + parent->radius)
                            a.parentBody = nullptr;
                    }
                }
            }
        }
    };

    dynamicBodies.Each([&](EnvironmentId env, auto& groups) {
        groups.Each([&](const Id& parentId, auto& bodies) { pairAndParent(env, parentId, bodies, true); });
    });

    orbitBodies.Each([&](EnvironmentId env, auto& groups) {
        groups.Each([&](const Id& parentId, auto& bodies) {
            pairAndParent(env, parentId, bodies, false);
            for (auto& rb : bodies) rb.CollisionDetection(deltaTime);
            for (auto& rb : bodies) rb.IntegrateMotion(deltaTime);
        });
    });

    const double subDeltaTime = deltaTime / substeps;
    dynamicBodies.Each([&](EnvironmentId env, auto& groups) {
        const EnvironmentFunction* function = nullptr;
        if (env != 0) function = &Game::_environmentFunctions.at(env);
        groups.Each([&](const Id& parentId, auto& bodies) {
            if (function)
                for (auto& rb : bodies)
                    if (rb.interactsWithEnvironment) rb.ComputeAerodynamicSurfaces(*function);
            for (int s = 0; s < substeps; ++s) {
                for (auto& rb : bodies) rb.IntegrateMotion(subDeltaTime);
                for (auto& rb : bodies) rb.CollisionDetection(subDeltaTime);
                if (parentId.IsNull() && function)
                    for (auto& rb : bodies)
                        if (rb.interactsWithEnvironment) rb.InteractWithEnvironment(*function, subDeltaTime);
            }
            if (!parentId.IsNull() && function) {
                auto parent = ServerSideEntity::Get(parentId);
                if (parent && parent->parentEntity.IsNull()) {
                    const glm::dmat4 t = parent->GetTransform();
                    for (auto& rb : bodies)
                        if (rb.interactsWithEnvironment) rb.InteractWithEnvironmentFromParent(t, *function, deltaTime);
                }
            }
        });
    });

    dynamicBodies.Each([&](EnvironmentId, auto& groups) {
        groups.Each([&](const Id&, auto& bodies) {
            for (auto& rb : bodies) rb.ApplyToEntity(deltaTime);
        });
    });
    orbitBodies.Each([&](EnvironmentId, auto& groups) {
        groups.Each([&](const Id&, auto& bodies) {
            for (auto& rb : bodies) rb.ApplyToEntity(deltaTime);
        });
    });
}

}  // namespace game::physics
