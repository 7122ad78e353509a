#pragma once
#include <cstddef>
#include <optional>
#include <vector>

#include "game/Item.h"

namespace game {

// The true contents of an inventory: a fixed number of slots, each empty or holding one item
// (with its stack). The interface only mirrors it (graphics::ui::InventoryUi::UpdateInventory);
// the host changes it when it accepts a move. Slot indices past the capacity are refused by
// every operation, which then returns false and changes nothing.
class Inventory {
public:
    explicit Inventory(size_t capacity = 0) : _slots(capacity) {}

    size_t Capacity() const { return _slots.size(); }
    // Growing adds empty slots; shrinking drops the slots past the new end with their items.
    void SetCapacity(size_t capacity) { _slots.resize(capacity); }
    const std::vector<std::optional<Item>>& Slots() const { return _slots; }

    // The item in `slot`, or null for an empty slot or one past the capacity.
    const Item* Get(size_t slot) const;
    size_t Count() const;

    // Puts `item` into an empty slot.
    bool Put(size_t slot, Item item);
    // Empties the slot and gives what it held.
    std::optional<Item> Take(size_t slot);

    // Moves the item of `from` into an empty slot of `to` (which may be this inventory).
    bool Move(size_t from, Inventory& to, size_t toSlot);
    // Exchanges the contents of two slots, either of which may be empty.
    bool Swap(size_t from, Inventory& to, size_t toSlot);
    // Adds the whole stack of `from` onto a stackable item in `toSlot`, emptying `from`.
    bool Stack(size_t from, Inventory& to, size_t toSlot);
    // Moves `count` of the stack in `from` (fewer than it holds) to an empty slot, or onto a
    // stackable item, in `to`.
    bool Split(size_t from, uint32_t count, Inventory& to, size_t toSlot);

private:
    std::vector<std::optional<Item>> _slots;
};

}  // namespace game
