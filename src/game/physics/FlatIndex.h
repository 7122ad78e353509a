#pragma once
#include <cstddef>
#include <cstdint>
#include <vector>

namespace game::physics {

// Open-addressing map from a key of three words to a 32-bit value, for the physics step's lookups
// (groups, environments, bodies by entity). Clearing keeps the memory, so a steady world makes no
// allocation here.
class FlatIndex {
public:
    struct Key {
        uint64_t a = 0, b = 0, c = 0;
        bool operator==(const Key&) const = default;
    };
    static constexpr uint32_t kMissing = UINT32_MAX;

    // Empties the map and makes room for `count` entries without growing.
    void Clear(size_t count) {
        size_t wanted = 16;
        while (wanted < count * 2) wanted *= 2;
        if (_slots.size() < wanted) _slots.resize(wanted);
        _mask = _slots.size() - 1;
        for (Slot& s : _slots) s.value = kMissing;
    }

    uint32_t Find(const Key& key) const {
        for (size_t i = Hash(key) & _mask;; i = (i + 1) & _mask) {
            const Slot& s = _slots[i];
            if (s.value == kMissing) return kMissing;
            if (s.key == key) return s.value;
        }
    }

    // The value of `key`, inserting `value` when absent. The map must have room (see Clear).
    uint32_t FindOrInsert(const Key& key, uint32_t value) {
        for (size_t i = Hash(key) & _mask;; i = (i + 1) & _mask) {
            Slot& s = _slots[i];
            if (s.value == kMissing) {
                s.key = key;
                s.value = value;
                return value;
            }
            if (s.key == key) return s.value;
        }
    }

private:
    struct Slot {
        Key key;
        uint32_t value = kMissing;
    };
    static size_t Hash(const Key& k) {
        uint64_t h = k.a * 0x9E3779B97F4A7C15ull ^ (k.b + 0x632BE59BD9B4E019ull) * 0xC2B2AE3D27D4EB4Full;
        h ^= (k.c + (h << 6) + (h >> 2)) * 0x165667B19E3779F9ull;
        return size_t(h ^ (h >> 29));
    }
    std::vector<Slot> _slots;
    size_t _mask = 0;
};

}  // namespace game::physics
