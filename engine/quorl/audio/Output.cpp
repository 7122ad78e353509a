#include "quorl/audio/Output.h"

#include <AL/al.h>
#include <AL/alc.h>
#include <AL/alext.h>

#include <algorithm>
#include <chrono>
#include <cmath>

#include "quorl/audio/Controls.h"
#include "quorl/audio/Generator.h"

namespace quorl::audio {

struct Output::Voice {
    uint64_t id = 0;
    ALuint source = 0;
    std::array<ALuint, kQueuedBlocks> buffers{};
    std::vector<ALuint> free;  // buffers not queued
    std::unique_ptr<Generator> generator;
    std::shared_ptr<Controls> controls;
    std::string bus;
    bool loop = false;
    bool generatorEnded = false;  // no block is asked for any more
    bool released = false;        // the instance is gone: free the voice at its end

    struct Tracked {
        Bank::Parameter description;
        bool global = false;
        float current = 0;
        uint64_t jumps = 0;
    };
    std::vector<Tracked> parameters;
    Generator::Parameters values;
};

namespace {

ALCdevice* Device(void* p) { return static_cast<ALCdevice*>(p); }
ALCcontext* Context(void* p) { return static_cast<ALCcontext*>(p); }

// The parameter's target from the controls (its default when never set), clamped to its range.
float Target(const Bank::Parameter& p, const Controls& controls, uint64_t* jumps) {
    float v = p.initial;
    if (!controls.Get(p.name, &v, jumps) || !std::isfinite(v)) v = p.initial;
    return std::clamp(v, p.minimum, p.maximum);
}

}  // namespace

std::unique_ptr<Output> Output::Open(const std::string& device, std::shared_ptr<Controls> globals,
                                     std::string* error) {
    ALCdevice* d = alcOpenDevice(device.empty() ? nullptr : device.c_str());
    if (!d) {
        if (error) *error = "cannot open " + (device.empty() ? std::string("the default device") : "'" + device + "'");
        return nullptr;
    }
    ALCcontext* c = alcCreateContext(d, nullptr);
    if (!c || !alcMakeContextCurrent(c)) {
        if (c) alcDestroyContext(c);
        alcCloseDevice(d);
        if (error) *error = "cannot make a context on the device";
        return nullptr;
    }
    std::unique_ptr<Output> out(new Output());
    out->_device = d;
    out->_context = c;
    out->_globals = std::move(globals);
    ALCint rate = 0;
    alcGetIntegerv(d, ALC_FREQUENCY, 1, &rate);
    if (rate > 0) out->_rate = float(rate);
    out->_float32 = alIsExtensionPresent("AL_EXT_FLOAT32");
    out->_directChannels = alIsExtensionPresent("AL_SOFT_direct_channels");
    out->_block.resize(2 * kBlockFrames);
    if (!out->_float32) out->_block16.resize(2 * kBlockFrames);
    alListenerf(AL_GAIN, 1.0f);
    out->_thread = std::thread([o = out.get()] { o->Run(); });
    return out;
}

Output::~Output() {
    {
        std::lock_guard lock(_mutex);
        _stopping = true;
    }
    _wake.notify_all();
    if (_thread.joinable()) _thread.join();
    for (auto& v : _voices) Destroy(*v);
    _voices.clear();
    alcMakeContextCurrent(nullptr);
    alcDestroyContext(Context(_context));
    alcCloseDevice(Device(_device));
}

uint64_t Output::Play(const Bank::Event& event, const std::vector<Bank::Parameter>& globals,
                      std::shared_ptr<Controls> controls) {
    std::lock_guard lock(_mutex);
    auto voice = std::make_unique<Voice>();
    voice->id = _nextVoice++;
    voice->generator = Generator::Create(event.sound, _rate, uint32_t(voice->id));
    if (!voice->generator) return 0;
    voice->controls = std::move(controls);
    voice->bus = event.bus;
    voice->loop = event.loop;
    // Values set before the start are taken at once, not sought.
    for (const Bank::Parameter& p : event.parameters) {
        Voice::Tracked t{p, false, 0, 0};
        t.current = Target(p, *voice->controls, &t.jumps);
        voice->parameters.push_back(t);
    }
    for (const Bank::Parameter& p : globals) {
        Voice::Tracked t{p, true, 0, 0};
        t.current = Target(p, *_globals, &t.jumps);
        voice->parameters.push_back(t);
    }

    alGetError();
    alGenSources(1, &voice->source);
    if (alGetError() != AL_NO_ERROR) return 0;
    alGenBuffers(ALsizei(kQueuedBlocks), voice->buffers.data());
    if (alGetError() != AL_NO_ERROR) {
        alDeleteSources(1, &voice->source);
        return 0;
    }
    voice->free.assign(voice->buffers.begin(), voice->buffers.end());
    alSourcei(voice->source, AL_SOURCE_RELATIVE, AL_TRUE);
    alSource3f(voice->source, AL_POSITION, 0, 0, 0);
    alSourcef(voice->source, AL_ROLLOFF_FACTOR, 0);
    if (_directChannels) alSourcei(voice->source, AL_DIRECT_CHANNELS_SOFT, AL_TRUE);
    alSourcef(voice->source, AL_GAIN, GainOf(*voice));
    Feed(*voice);
    const uint64_t id = voice->id;
    _voices.push_back(std::move(voice));
    return id;
}

void Output::Stop(uint64_t id) {
    std::lock_guard lock(_mutex);
    for (auto it = _voices.begin(); it != _voices.end(); ++it)
        if ((*it)->id == id) {
            Destroy(**it);
            _voices.erase(it);
            return;
        }
}

void Output::Release(uint64_t id) {
    std::unique_lock lock(_mutex);
    for (auto& v : _voices)
        if (v->id == id) {
            if (v->loop) break;
            v->released = true;
            return;
        }
    lock.unlock();
    Stop(id);
}

void Output::Apply(const std::array<float, 9>& l, float masterGain, const std::map<std::string, float>& buses) {
    std::lock_guard lock(_mutex);
    _buses = buses;
    alListener3f(AL_POSITION, l[0], l[1], l[2]);
    alListener3f(AL_VELOCITY, 0, 0, 0);
    const ALfloat orientation[6] = {l[3], l[4], l[5], l[6], l[7], l[8]};
    alListenerfv(AL_ORIENTATION, orientation);
    alListenerf(AL_GAIN, std::isfinite(masterGain) ? std::max(masterGain, 0.0f) : 0.0f);
    for (auto& v : _voices) alSourcef(v->source, AL_GAIN, GainOf(*v));
}

size_t Output::GetVoiceCount() const {
    std::lock_guard lock(_mutex);
    return _voices.size();
}

float Output::GainOf(const Voice& voice) const {
    float gain = voice.controls->GetVolume();
    if (voice.bus != "bus:/") {
        auto it = _buses.find(voice.bus);
        if (it != _buses.end()) gain *= it->second;
    }
    return std::isfinite(gain) ? std::max(gain, 0.0f) : 0.0f;
}

void Output::Run() {
    std::unique_lock lock(_mutex);
    while (!_stopping) {
        for (size_t i = 0; i < _voices.size();) {
            Voice& v = *_voices[i];
            Feed(v);
            if (v.released && v.controls->ended) {
                Destroy(v);
                _voices.erase(_voices.begin() + long(i));
            } else {
                ++i;
            }
        }
        _wake.wait_for(lock, std::chrono::milliseconds(5));
    }
}

void Output::Feed(Voice& v) {
    ALint processed = 0;
    alGetSourcei(v.source, AL_BUFFERS_PROCESSED, &processed);
    for (; processed > 0; --processed) {
        ALuint b = 0;
        alSourceUnqueueBuffers(v.source, 1, &b);
        v.free.push_back(b);
    }
    const float seconds = float(kBlockFrames) / _rate;
    while (!v.free.empty() && !v.generatorEnded) {
        // Parameters move toward their targets, block by block.
        v.values.Clear();
        for (Voice::Tracked& t : v.parameters) {
            uint64_t jumps = t.jumps;
            const float target = Target(t.description, t.global ? *_globals : *v.controls, &jumps);
            if (jumps != t.jumps || t.description.seek <= 0) {
                t.current = target;
            } else {
                const float step = t.description.seek * seconds;
                t.current += std::clamp(target - t.current, -step, step);
            }
            t.jumps = jumps;
            v.values.Set(t.description.name, t.current);
        }
        v.generatorEnded = !v.generator->Render(_block.data(), kBlockFrames, v.values);
        const ALuint b = v.free.back();
        v.free.pop_back();
        if (_float32) {
            alBufferData(b, AL_FORMAT_STEREO_FLOAT32, _block.data(), ALsizei(_block.size() * sizeof(float)),
                         ALsizei(_rate));
        } else {
            for (size_t i = 0; i < _block.size(); ++i)
                _block16[i] = int16_t(std::lrint(std::clamp(_block[i], -1.0f, 1.0f) * 32767.0f));
            alBufferData(b, AL_FORMAT_STEREO16, _block16.data(), ALsizei(_block16.size() * sizeof(int16_t)),
                         ALsizei(_rate));
        }
        alSourceQueueBuffers(v.source, 1, &b);
    }
    ALint queued = 0, state = 0;
    alGetSourcei(v.source, AL_BUFFERS_QUEUED, &queued);
    alGetSourcei(v.source, AL_SOURCE_STATE, &state);
    // First start, or a restart after the queue ran dry.
    if (state != AL_PLAYING && queued > 0) alSourcePlay(v.source);
    if (v.generatorEnded && queued == 0) v.controls->ended = true;
}

void Output::Destroy(Voice& v) {
    alSourceStop(v.source);
    alSourcei(v.source, AL_BUFFER, 0);
    alDeleteSources(1, &v.source);
    alDeleteBuffers(ALsizei(v.buffers.size()), v.buffers.data());
    v.controls->ended = true;
}

}  // namespace quorl::audio
