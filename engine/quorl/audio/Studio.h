#pragma once
#include <array>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace quorl::audio {

// Audio state of the game: bus volumes, the listener, and the update count. No device output:
// the state is what the game sets, readable by hosts and tests. Safe from any thread.
class Studio {
public:
    // One playing instance of an event description, with its named parameters.
    class Event {
    public:
        Event(Studio* studio, const std::string& path);
        virtual ~Event();
        Event(const Event&) = delete;
        Event& operator=(const Event&) = delete;

        void Start();
        void Stop();
        bool IsPlaying() const;
        void SetParameter(const std::string& name, float value);
        float GetParameter(const std::string& name) const;  // 0 when never set
        const std::string& GetPath() const { return _path; }

    private:
        Studio* _studio;
        std::string _path;
        mutable std::mutex _mutex;
        bool _playing = false;
        std::map<std::string, float> _parameters;
    };

    // Banks are remembered by path; loading one twice is a no-op. The file itself is not read.
    void LoadBank(const std::string& path);
    std::vector<std::string> GetLoadedBanks() const;
    // Number of live Event objects.
    size_t GetEventCount() const;

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
    std::vector<std::string> _banks;
    size_t _events = 0;
};

}  // namespace quorl::audio
