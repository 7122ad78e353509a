#pragma once
#include <cstdint>
#include <string>
#include <unordered_map>

#include "quorl/modular/ModuleID.h"

namespace game {

// One entry of an inventory as the game holds it: which module defines the item, the item's type
// name inside that module, how many are stacked, and its per-item values. An item with no
// properties is a plain consumable; items stack when module, name and properties are all equal.
class Item {
public:
    quorl::modular::ModuleID module;
    std::string name;
    uint32_t stack = 1;
    std::unordered_map<std::string, std::string> properties;

    Item() = default;
    Item(quorl::modular::ModuleID module, std::string name, uint32_t stack = 1,
         std::unordered_map<std::string, std::string> properties = {});

    bool StacksWith(const Item& other) const;
};

}  // namespace game
