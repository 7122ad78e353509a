#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorl::audio {

// A procedural sound: the synthesis behind one kind of event. An event of a bank names its kind
// after "sound"; each playing instance gets its own generator, run on the studio's mixing thread.
class Generator {
public:
    // What a generator reads for one block: the current values of its event's parameters and of
    // the studio's global parameters, by name.
    class Parameters {
    public:
        void Clear() { _values.clear(); }
        void Set(std::string_view name, float value);
        // `fallback` when the name has no value.
        float Get(std::string_view name, float fallback = 0.0f) const;

    private:
        std::vector<std::pair<std::string, float>> _values;
    };

    virtual ~Generator() = default;

    // Writes `frames` frames of interleaved stereo. Returns false when the sound ended within this
    // block (the frames past its end are silence): no further block is asked for. A loop never ends.
    virtual bool Render(float* stereo, size_t frames, const Parameters& parameters) = 0;

    // The kinds of sound, in one table that banks and the studio read.
    struct Kind {
        const char* name;
        const char* description;
        std::unique_ptr<Generator> (*create)(float sampleRate, uint32_t seed);
    };
    static const std::vector<Kind>& Kinds();
    static const Kind* Find(std::string_view kind);  // null for an unknown kind
    // Null for an unknown kind.
    static std::unique_ptr<Generator> Create(std::string_view kind, float sampleRate, uint32_t seed);
};

}  // namespace quorl::audio
