#include "game/Item.h"

#include <utility>

namespace game {

Item::Item(quorl::modular::ModuleID module, std::string name, uint32_t stack,
           std::unordered_map<std::string, std::string> properties)
    : module(module), name(std::move(name)), stack(stack), properties(std::move(properties)) {}

bool Item::StacksWith(const Item& other) const {
    return module == other.module && name == other.name && properties == other.properties;
}

}  // namespace game
