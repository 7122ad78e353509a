// Arbitrary bytes as an audio bank: either refused with a message that names the source and a
// line of it, or read into events and parameters that keep every rule of the format.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "quorl/audio/Bank.h"
#include "quorl/audio/Generator.h"

using quorl::audio::Bank;

namespace {

void Check(bool ok) {
    if (!ok) std::abort();
}

void CheckParameter(const Bank::Parameter& p) {
    Check(!p.name.empty());
    Check(std::isfinite(p.minimum) && std::isfinite(p.maximum) && std::isfinite(p.seek));
    Check(p.minimum <= p.initial && p.initial <= p.maximum && p.seek >= 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    size_t lines = 1;
    for (char c : text) lines += c == '\n';
    try {
        const Bank bank = Bank::Parse(text, "fuzz.bank");
        for (const Bank::Parameter& g : bank.globals) CheckParameter(g);
        for (const Bank::Event& e : bank.events) {
            Check(e.path.rfind("event:/", 0) == 0 && e.bus.rfind("bus:/", 0) == 0);
            Check(quorl::audio::Generator::Find(e.sound) != nullptr);
            for (const Bank::Parameter& p : e.parameters) CheckParameter(p);
        }
    } catch (const std::runtime_error& e) {
        const std::string what = e.what();
        Check(what.rfind("fuzz.bank:", 0) == 0);
        const size_t line = std::strtoul(what.c_str() + 10, nullptr, 10);
        Check(line >= 1 && line <= lines);
    }
    return 0;
}
