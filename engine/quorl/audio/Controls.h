#pragma once
#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

namespace quorl::audio {

// The values the game sets on an event instance (or on the studio, for its global parameters):
// parameter targets and a volume. Shared between the game's thread, which sets them, and the
// mixing thread, which follows them; an instance's controls outlive it while its sound rings out.
class Controls {
public:
    // ignoreSeek makes the sound jump to the value instead of moving at the parameter's seek speed.
    void Set(const std::string& name, float value, bool ignoreSeek);
    // False when the name was never set. `jumps` counts the sets with ignoreSeek.
    bool Get(const std::string& name, float* value, uint64_t* jumps = nullptr) const;

    void SetVolume(float volume);
    float GetVolume() const;

    // Set by the mixing thread when a one-shot sound has played to its end.
    std::atomic<bool> ended{false};

private:
    struct Value {
        float target = 0;
        uint64_t jumps = 0;
    };
    mutable std::mutex _mutex;
    std::map<std::string, Value> _values;
    float _volume = 1.0f;
};

}  // namespace quorl::audio
