#pragma once
#include <array>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "quorl/audio/Bank.h"

namespace quorl::audio {

class Controls;

// The sound device through OpenAL: one context, and a mixing thread that keeps a queue of
// buffers filled for every playing voice from its generator, about 130 ms ahead of the device.
// Every voice is a stereo stream sent straight to the output channels. All OpenAL calls are made
// under one mutex.
class Output {
public:
    // Opens the device of that name (empty: the default). Null with `error` set when it can't.
    static std::unique_ptr<Output> Open(const std::string& device, std::shared_ptr<Controls> globals,
                                        std::string* error);
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    // Starts a voice for the event; 0 when no voice could be made (the event is then silent).
    // `globals` are the global parameters the voice follows beside the event's own.
    uint64_t Play(const Bank::Event& event, const std::vector<Bank::Parameter>& globals,
                  std::shared_ptr<Controls> controls);
    void Stop(uint64_t voice);
    // For a one-shot: plays to its end, then frees itself; a loop stops.
    void Release(uint64_t voice);

    // Listener pose (position, forward, up), master gain, and the volumes of the buses: applied
    // to the device and to every voice (the voice's volume times its bus's volume).
    void Apply(const std::array<float, 9>& listener, float masterGain, const std::map<std::string, float>& buses);

    float GetSampleRate() const { return _rate; }
    size_t GetVoiceCount() const;

    static constexpr size_t kBlockFrames = 1024;
    static constexpr size_t kQueuedBlocks = 6;

private:
    struct Voice;

    Output() = default;
    void Run();
    void Feed(Voice& voice);
    void Destroy(Voice& voice);
    float GainOf(const Voice& voice) const;

    void* _device = nullptr;   // ALCdevice
    void* _context = nullptr;  // ALCcontext
    float _rate = 48000;
    bool _float32 = false;
    bool _directChannels = false;
    std::shared_ptr<Controls> _globals;

    mutable std::mutex _mutex;
    std::condition_variable _wake;
    bool _stopping = false;
    uint64_t _nextVoice = 1;
    std::vector<std::unique_ptr<Voice>> _voices;
    std::map<std::string, float> _buses;
    std::vector<float> _block;
    std::vector<int16_t> _block16;
    std::thread _thread;
};

}  // namespace quorl::audio
