#include "game/Inventory.h"

#include <utility>

namespace game {

const Item* Inventory::Get(size_t slot) const {
    return slot < _slots.size() && _slots[slot] ? &*_slots[slot] : nullptr;
}

size_t Inventory::Count() const {
    size_t n = 0;
    for (const auto& s : _slots) n += s.has_value();
    return n;
}

bool Inventory::Put(size_t slot, Item item) {
    if (slot >= _slots.size() || _slots[slot]) return false;
    _slots[slot] = std::move(item);
    return true;
}

std::optional<Item> Inventory::Take(size_t slot) {
    if (slot >= _slots.size()) return std::nullopt;
    return std::exchange(_slots[slot], std::nullopt);
}

bool Inventory::Move(size_t from, Inventory& to, size_t toSlot) {
    if (!Get(from) || toSlot >= to._slots.size() || to._slots[toSlot]) return false;
    to._slots[toSlot] = Take(from);
    return true;
}

bool Inventory::Swap(size_t from, Inventory& to, size_t toSlot) {
    if (from >= _slots.size() || toSlot >= to._slots.size()) return false;
    std::swap(_slots[from], to._slots[toSlot]);
    return true;
}

bool Inventory::Stack(size_t from, Inventory& to, size_t toSlot) {
    const Item* source = Get(from);
    const Item* target = to.Get(toSlot);
    if (!source || !target || source == target || !source->StacksWith(*target)) return false;
    to._slots[toSlot]->stack += source->stack;
    _slots[from].reset();
    return true;
}

bool Inventory::Split(size_t from, uint32_t count, Inventory& to, size_t toSlot) {
    const Item* source = Get(from);
    if (!source || count == 0 || count >= source->stack || toSlot >= to._slots.size()) return false;
    std::optional<Item>& target = to._slots[toSlot];
    if (target && (&*target == source || !target->StacksWith(*source))) return false;
    if (target) {
        target->stack += count;
    } else {
        target = *source;
        target->stack = count;
    }
    _slots[from]->stack -= count;
    return true;
}

}  // namespace game
