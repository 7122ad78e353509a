#include "game/DebugInfo.h"

namespace game {

std::map<const char*, uint64_t> DebugInfo::infos;
std::mutex DebugInfo::infosMutex;

void DebugInfo::Set(const char* name, uint64_t value) {
    std::lock_guard lock(infosMutex);
    infos[name] = value;
}

void DebugInfo::Add(const char* name, uint64_t amount) {
    std::lock_guard lock(infosMutex);
    infos[name] += amount;
}

std::map<const char*, uint64_t> DebugInfo::Snapshot() {
    std::lock_guard lock(infosMutex);
    return infos;
}

}  // namespace game
