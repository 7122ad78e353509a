#include "quorl/audio/Controls.h"

namespace quorl::audio {

void Controls::Set(const std::string& name, float value, bool ignoreSeek) {
    std::lock_guard lock(_mutex);
    Value& v = _values[name];
    v.target = value;
    if (ignoreSeek) ++v.jumps;
}

bool Controls::Get(const std::string& name, float* value, uint64_t* jumps) const {
    std::lock_guard lock(_mutex);
    auto it = _values.find(name);
    if (it == _values.end()) return false;
    if (value) *value = it->second.target;
    if (jumps) *jumps = it->second.jumps;
    return true;
}

void Controls::SetVolume(float volume) {
    std::lock_guard lock(_mutex);
    _volume = volume;
}

float Controls::GetVolume() const {
    std::lock_guard lock(_mutex);
    return _volume;
}

}  // namespace quorl::audio
