#include "game/UniqueId.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <mutex>
#include <random>
#include <stdexcept>
#include <vector>

#include "quorl/Base16.h"

namespace game {

uint32_t UniqueId::_this_owner = 0;

uint64_t UniqueId::Word0() const {
    uint64_t w;
    std::memcpy(&w, this, 8);
    return w;
}

uint64_t UniqueId::Word1() const {
    uint64_t w;
    std::memcpy(&w, reinterpret_cast<const char*>(this) + 8, 8);
    return w;
}

namespace {

// One generator per process, made at first use. A lock keeps it whole when several threads
// generate; the random values already handed out in the current microsecond are kept so that
// two ids of one process never coincide.
struct Generator {
    std::mutex mutex;
    std::mt19937_64 engine{std::random_device()()};
    std::uniform_int_distribution<uint64_t> dist{1, 16383};
    uint64_t lastTimestamp = ~0ull;
    std::vector<uint16_t> usedThisMicrosecond;
};

Generator& GetGenerator() {
    static Generator g;
    return g;
}

}  // namespace

UniqueId UniqueId::Generate(const char (&prefix)[5]) {
    UniqueId id;
    std::memcpy(id.prefix, prefix, 4);
    id.owner = _this_owner;
    Generator& g = GetGenerator();
    uint64_t ts, r;
    {
        std::lock_guard lk(g.mutex);
        // The clock is read under the lock so that timestamps reach the check below in order;
        // a clock stepped back keeps the last timestamp instead of reusing older ones.
        auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(
                      std::chrono::system_clock::now().time_since_epoch())
                      .count();
        ts = (uint64_t(ns) / 1000) & ((1ull << 50) - 1);
        if (g.lastTimestamp != ~0ull && ts < g.lastTimestamp && g.lastTimestamp - ts < (1ull << 49)) {
            ts = g.lastTimestamp;
        }
        if (ts != g.lastTimestamp) {
            g.lastTimestamp = ts;
            g.usedThisMicrosecond.clear();
        }
        do {
            r = g.dist(g.engine);
        } while (std::find(g.usedThisMicrosecond.begin(), g.usedThisMicrosecond.end(), uint16_t(r)) !=
                 g.usedThisMicrosecond.end());
        g.usedThisMicrosecond.push_back(uint16_t(r));
    }
    id.timestamp = ts;
    id.random = r;
    return id;
}

std::string UniqueId::ToString() const {
    if (Word0() == 0 || Word1() == 0) return std::string();
    std::string out(prefix, 4);
    out += quorl::Base16::Encode(reinterpret_cast<const char*>(this) + 4, 4);
    out += quorl::Base16::Encode(reinterpret_cast<const char*>(this) + 8, 8);
    return out;
}

UniqueId::UniqueId(const std::string& text) {
    if (text.empty()) return;
    if (text.size() != 28) throw std::runtime_error("UniqueId string length should be 28");
    std::memcpy(prefix, text.data(), 4);
    auto a = quorl::Base16::Decode(std::string_view(text).substr(4, 8));
    auto b = quorl::Base16::Decode(std::string_view(text).substr(12, 16));
    if (a.size() != 4 || b.size() != 8) throw std::invalid_argument("invalid size");
    std::memcpy(reinterpret_cast<char*>(this) + 4, a.data(), 4);
    std::memcpy(reinterpret_cast<char*>(this) + 8, b.data(), 8);
}

}  // namespace game
