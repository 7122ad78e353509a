#pragma once
#include <array>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

namespace quorl::audio {

// Audio state of the game: bus volumes, the listener, and the update count. No device output:
// the state is what the game sets, readable by hosts and tests. Safe from any thread.
class Studio {
public:
    // position, velocity, forward, up: three floats each.
    struct ListenerAttributes {
        std::array<float, 3> position{};
        std::array<float, 3> velocity{};
        std::array<float, 3> forward{0, 0, 1};
        std::array<float, 3> up{0, 1, 0};
    };

    void SetVolume(float volume, const char* bus);
    // 1 for a bus that was never set.
    float GetVolume(const std::string& bus) const;

    void SetListenerAttributes(float px, float py, float pz, float vx, float vy, float vz, float fx, float fy,
                               float fz, float ux, float uy, float uz);
    ListenerAttributes GetListenerAttributes() const;

    void Update();
    uint64_t GetUpdateCount() const;

private:
    mutable std::mutex _mutex;
    std::map<std::string, float> _volumes;
    ListenerAttributes _listener;
    uint64_t _updates = 0;
};

}  // namespace quorl::audio
