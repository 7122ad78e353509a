#pragma once
#include <cstdint>
#include <map>
#include <mutex>

namespace game {

// Counters shown in the debug panel, set by modules and the renderer. Each is keyed by the
// address of a string literal naming it, so the same literal must be used for every update.
class DebugInfo {
public:
    DebugInfo() = delete;

    static void Set(const char* name, uint64_t value);
    static void Add(const char* name, uint64_t amount);
    // A copy of all counters, taken under the lock.
    static std::map<const char*, uint64_t> Snapshot();

    static std::map<const char*, uint64_t> infos;
    static std::mutex infosMutex;
};

}  // namespace game
