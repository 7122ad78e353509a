#include "quorl/audio/Studio.h"

#include <algorithm>
#include <iostream>
#include <stdexcept>

#include "quorl/audio/Controls.h"
#include "quorl/audio/Output.h"

namespace quorl::audio {

// ---------------------------------------------------------------------------------------------
// Event

Studio::Event::Event(Studio* studio, const std::string& path)
    : _studio(studio), _path(path), _controls(std::make_shared<Controls>()) {
    if (_studio) {
        std::lock_guard lock(_studio->_mutex);
        ++_studio->_eventCount;
    }
}

Studio::Event::~Event() {
    if (!_studio) return;
    if (_voice && _studio->_output) _studio->_output->Release(_voice);
    std::lock_guard lock(_studio->_mutex);
    --_studio->_eventCount;
}

void Studio::Event::Start() {
    std::lock_guard lock(_mutex);
    Output* output = _studio ? _studio->_output.get() : nullptr;
    if (_voice && output) output->Release(_voice);
    _voice = 0;
    _playing = true;
    _controls->ended = false;
    if (!_studio) return;
    Bank::Event description;
    std::vector<Bank::Parameter> globals;
    if (!_studio->FindEvent(_path, &description, &globals) || !output) return;
    _voice = output->Play(description, globals, _controls);
}

void Studio::Event::Stop() {
    std::lock_guard lock(_mutex);
    if (_voice && _studio && _studio->_output) _studio->_output->Stop(_voice);
    _voice = 0;
    _playing = false;
}

bool Studio::Event::IsPlaying() const {
    std::lock_guard lock(_mutex);
    return _playing && !(_voice && _controls->ended);
}

void Studio::Event::SetParameter(const std::string& name, float value, bool ignoreSeek) {
    _controls->Set(name, value, ignoreSeek);
}

float Studio::Event::GetParameter(const std::string& name) const {
    float v = 0;
    return _controls->Get(name, &v) ? v : 0.0f;
}

void Studio::Event::SetVolume(float volume) { _controls->SetVolume(volume); }

float Studio::Event::GetVolume() const { return _controls->GetVolume(); }

// ---------------------------------------------------------------------------------------------
// Studio

Studio::Studio(const std::string& device) : _globals(std::make_shared<Controls>()) {
    std::string error;
    _output = Output::Open(device, _globals, &error);
    if (!_output) std::cerr << "quorl::audio: no audio device (" << error << "): the game runs silent" << std::endl;
}

Studio::~Studio() { _output.reset(); }

bool Studio::LoadBank(const std::string& path) {
    {
        std::lock_guard lock(_mutex);
        if (_bankLoaded.count(path)) return true;
    }
    Bank bank;
    std::string error;
    try {
        bank = Bank::Load(path);
    } catch (const std::exception& e) {
        error = e.what();
    }
    std::lock_guard lock(_mutex);
    if (std::find(_banks.begin(), _banks.end(), path) == _banks.end()) _banks.push_back(path);
    if (error.empty()) {
        for (const Bank::Event& e : bank.events)
            if (_events.count(e.path)) error = path + ": event " + e.path + " is given by " + _eventBanks[e.path] + " already";
        for (const Bank::Parameter& g : bank.globals)
            for (const Bank::Parameter& known : _globalDescriptions)
                if (known.name == g.name) error = path + ": global \"" + g.name + "\" is given by another bank already";
    }
    if (!error.empty()) {
        _bankErrors[path] = error;
        std::cerr << "quorl::audio: bank not loaded, its events stay silent: " << error << std::endl;
        return false;
    }
    _bankErrors.erase(path);
    _bankLoaded.insert(path);
    for (const Bank::Event& e : bank.events) {
        _events[e.path] = e;
        _eventBanks[e.path] = path;
    }
    _globalDescriptions.insert(_globalDescriptions.end(), bank.globals.begin(), bank.globals.end());
    return true;
}

std::vector<std::string> Studio::GetLoadedBanks() const {
    std::lock_guard lock(_mutex);
    return _banks;
}

std::string Studio::GetBankError(const std::string& path) const {
    std::lock_guard lock(_mutex);
    auto it = _bankErrors.find(path);
    return it == _bankErrors.end() ? std::string() : it->second;
}

std::unique_ptr<Studio::Event> Studio::EventInstance(const std::string& path) {
    return std::make_unique<Event>(this, path);
}

bool Studio::FindEvent(const std::string& path, Bank::Event* event, std::vector<Bank::Parameter>* globals) {
    std::lock_guard lock(_mutex);
    auto it = _events.find(path);
    if (it == _events.end()) {
        if (_reportedMissing.insert(path).second)
            std::cerr << "quorl::audio: no loaded bank gives " << path << ": it stays silent" << std::endl;
        return false;
    }
    *event = it->second;
    *globals = _globalDescriptions;
    return true;
}

size_t Studio::GetEventCount() const {
    std::lock_guard lock(_mutex);
    return _eventCount;
}

void Studio::SetParameter(const std::string& name, float value, bool ignoreSeek) {
    _globals->Set(name, value, ignoreSeek);
}

float Studio::GetParameter(const std::string& name) const {
    float v = 0;
    return _globals->Get(name, &v) ? v : 0.0f;
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
    std::array<float, 9> pose;
    std::map<std::string, float> volumes;
    {
        std::lock_guard lock(_mutex);
        ++_updates;
        const ListenerAttributes& l = _listener;
        pose = {l.position[0], l.position[1], l.position[2], l.forward[0], l.forward[1],
                l.forward[2],  l.up[0],       l.up[1],       l.up[2]};
        volumes = _volumes;
    }
    if (!_output) return;
    auto master = volumes.find("bus:/");
    _output->Apply(pose, master == volumes.end() ? 1.0f : master->second, volumes);
}

uint64_t Studio::GetUpdateCount() const {
    std::lock_guard lock(_mutex);
    return _updates;
}

}  // namespace quorl::audio
