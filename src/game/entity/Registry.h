#pragma once
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>

#include "quorl/SharedMutex.h"

namespace game::entity {

// The pattern that every registry of shared objects follows (server and client entities, user
// interface elements, pressurized volumes): a static unordered map from id to shared pointer,
// guarded by a quorl::SharedMutex. Lookups and walks take the shared lock; a walk holds it during
// its callback, so a callback may read the registry but must not add to it or remove from it.

// The object of `id`, or null.
template <class Map, class Key>
typename Map::mapped_type RegistryGet(const Map& map, quorl::SharedMutex& mutex, const Key& id) {
    std::shared_lock lock(mutex);
    auto it = map.find(id);
    return it == map.end() ? typename Map::mapped_type() : it->second;
}

// Calls f with a copy of each non-null pointer, in the map's order, under the shared lock.
// Allocates nothing.
template <class Map, class F>
void RegistryForEach(const Map& map, quorl::SharedMutex& mutex, F& f) {
    std::shared_lock lock(mutex);
    for (const auto& entry : map) {
        if (!entry.second) continue;
        typename Map::mapped_type copy = entry.second;
        f(std::move(copy));
    }
}

}  // namespace game::entity
