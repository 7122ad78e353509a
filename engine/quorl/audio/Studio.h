#pragma once
#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "quorl/audio/Bank.h"

namespace quorl::audio {

class Controls;
class Output;

// The game's sound: banks of events (see Bank), instances of them playing the project's
// procedural sounds (see Generator), global parameters, bus volumes and the listener, played
// through OpenAL on the default device. Without a device it prints one message and stays
// silent; every call still works and keeps its state. Safe from any thread; Event objects must
// not outlive their studio.
//
// Buses: "bus:/" is the master (the listener's gain); an event plays on the bus its bank names,
// at its own volume times that bus's volume. Volumes and the listener reach the device at
// Update; parameters reach the sound at once, moving at their seek speeds.
class Studio {
public:
    // One instance of an event, with its named parameters and volume.
    class Event {
    public:
        Event(Studio* studio, const std::string& path);
        virtual ~Event();
        Event(const Event&) = delete;
        Event& operator=(const Event&) = delete;

        // Starts the sound (again from its beginning when it was playing). An event that no loaded
        // bank provides stays silent, with one message for its path.
        void Start();
        void Stop();
        // From Start to Stop, or until a one-shot has played to its end.
        bool IsPlaying() const;
        void SetParameter(const std::string& name, float value, bool ignoreSeek = false);
        float GetParameter(const std::string& name) const;  // the value set; 0 when never set
        void SetVolume(float volume);
        float GetVolume() const;  // 1 until set
        const std::string& GetPath() const { return _path; }
        Studio* GetStudio() const { return _studio; }

    private:
        Studio* _studio;
        std::string _path;
        std::shared_ptr<Controls> _controls;
        mutable std::mutex _mutex;
        bool _playing = false;
        uint64_t _voice = 0;
    };

    // Opens the named output device, or the default one for an empty name.
    explicit Studio(const std::string& device = "");
    ~Studio();
    Studio(const Studio&) = delete;
    Studio& operator=(const Studio&) = delete;

    // Reads a bank file. A missing or malformed file prints a message naming it and returns false;
    // its events stay unknown (silent), and a later call tries again. A bank that loaded is not
    // read twice, and a bank that gives an event or global another loaded bank gives is refused.
    bool LoadBank(const std::string& path);
    // Every bank asked for, in order, each once, whether or not it could be read.
    std::vector<std::string> GetLoadedBanks() const;
    // Why the bank didn't load; empty when it did (or was never asked for).
    std::string GetBankError(const std::string& path) const;
    // A new instance of the event; when it is deleted a one-shot plays to its end, a loop stops.
    std::unique_ptr<Event> EventInstance(const std::string& path);
    // Number of live Event objects.
    size_t GetEventCount() const;

    // Global parameters, which every event's sound may read.
    void SetParameter(const std::string& name, float value, bool ignoreSeek = false);
    float GetParameter(const std::string& name) const;  // 0 when never set

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

    // Once a frame: brings volumes and the listener to the device.
    void Update();
    uint64_t GetUpdateCount() const;

    // Whether a device is open; false means silence.
    bool HasOutput() const { return _output != nullptr; }

private:
    // The event's description and the global parameters, when a loaded bank provides the event.
    bool FindEvent(const std::string& path, Bank::Event* event, std::vector<Bank::Parameter>* globals);

    mutable std::mutex _mutex;
    std::map<std::string, float> _volumes;
    ListenerAttributes _listener;
    uint64_t _updates = 0;
    std::vector<std::string> _banks;
    std::map<std::string, std::string> _bankErrors;
    std::set<std::string> _bankLoaded;
    std::map<std::string, Bank::Event> _events;
    std::map<std::string, std::string> _eventBanks;
    std::vector<Bank::Parameter> _globalDescriptions;
    std::set<std::string> _reportedMissing;
    size_t _eventCount = 0;
    std::shared_ptr<Controls> _globals;
    std::unique_ptr<Output> _output;
};

}  // namespace quorl::audio
