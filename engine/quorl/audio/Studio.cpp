#include "quorl/audio/Studio.h"

namespace quorl::audio {

Studio::Event::Event(Studio* studio, const std::string& path) : _studio(studio), _path(path) {
    if (_studio) {
        std::lock_guard lock(_studio->_mutex);
        ++_studio->_events;
    }
}

Studio::Event::~Event() {
    if (_studio) {
        std::lock_guard lock(_studio->_mutex);
        --_studio->_events;
    }
}

void Studio::Event::Start() {
    std::lock_guard lock(_mutex);
    _playing = true;
}

void Studio::Event::Stop() {
    std::lock_guard lock(_mutex);
    _playing = false;
}

bool Studio::Event::IsPlaying() const {
    std::lock_guard lock(_mutex);
    return _playing;
}

void Studio::Event::SetParameter(const std::string& name, float value) {
    std::lock_guard lock(_mutex);
    _parameters[name] = value;
}

float Studio::Event::GetParameter(const std::string& name) const {
    std::lock_guard lock(_mutex);
    auto it = _parameters.find(name);
    return it == _parameters.end() ? 0.0f : it->second;
}

void Studio::LoadBank(const std::string& path) {
    std::lock_guard lock(_mutex);
    for (const auto& bank : _banks)
        if (bank == path) return;
    _banks.push_back(path);
}

std::vector<std::string> Studio::GetLoadedBanks() const {
    std::lock_guard lock(_mutex);
    return _banks;
}

size_t Studio::GetEventCount() const {
    std::lock_guard lock(_mutex);
    return _events;
}

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
