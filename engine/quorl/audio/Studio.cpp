#include "quorl/audio/Studio.h"

namespace quorl::audio {

void Studio::SetVolume(float volume, const char* bus) {
    std::lock_guard lock(_mutex);
    _volumes[bus ? bus : ""] = volume;
}

float Studio::GetVolume(const std::string& bus) const {
    std::lock_guard lock(_mutex);
    auto it = _volumes.find(bus);
    return it == _volumes.end() ? 1.0f : it->second;
}

void Studio::SetListenerAttributes(float px, float py, float pz, float vx, float vy, float vz, float fx, float fy,
                                   float fz, float ux, float uy, float uz) {
    std::lock_guard lock(_mutex);
    _listener.position = {px, py, pz};
    _listener.velocity = {vx, vy, vz};
    _listener.forward = {fx, fy, fz};
    _listener.up = {ux, uy, uz};
}

Studio::ListenerAttributes Studio::GetListenerAttributes() const {
    std::lock_guard lock(_mutex);
    return _listener;
}

void Studio::Update() {
    std::lock_guard lock(_mutex);
    ++_updates;
}

uint64_t Studio::GetUpdateCount() const {
    std::lock_guard lock(_mutex);
    return _updates;
}

}  // namespace quorl::audio
