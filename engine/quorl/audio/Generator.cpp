#include "quorl/audio/Generator.h"

#include "quorl/audio/ClickGenerator.h"
#include "quorl/audio/WindGenerator.h"

namespace quorl::audio {

void Generator::Parameters::Set(std::string_view name, float value) {
    for (auto& [n, v] : _values)
        if (n == name) {
            v = value;
            return;
        }
    _values.emplace_back(std::string(name), value);
}

float Generator::Parameters::Get(std::string_view name, float fallback) const {
    for (const auto& [n, v] : _values)
        if (n == name) return v;
    return fallback;
}

const std::vector<Generator::Kind>& Generator::Kinds() {
    static const std::vector<Kind> kinds = {
        {"wind", "outdoor ambience: wind, surf, indoor and underwater mixes",
         [](float rate, uint32_t seed) -> std::unique_ptr<Generator> {
             return std::make_unique<WindGenerator>(rate, seed);
         }},
        {"click", "short pitched click, for interface ticks",
         [](float rate, uint32_t) -> std::unique_ptr<Generator> { return std::make_unique<ClickGenerator>(rate); }},
    };
    return kinds;
}

const Generator::Kind* Generator::Find(std::string_view kind) {
    for (const Kind& k : Kinds())
        if (kind == k.name) return &k;
    return nullptr;
}

std::unique_ptr<Generator> Generator::Create(std::string_view kind, float sampleRate, uint32_t seed) {
    const Kind* k = Find(kind);
    return k ? k->create(sampleRate, seed) : nullptr;
}

}  // namespace quorl::audio
