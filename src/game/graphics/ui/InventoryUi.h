#pragma once
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include <imgui.h>

#include "quorl/modular/ModuleID.h"

namespace game::graphics::ui {

// One inventory drawn as a grid of slots. This part holds the item and tool records, the registry
// of open inventories, the item factories and the font.
class InventoryUi {
public:
    class Item {
    public:
        quorl::modular::ModuleID itemId;
        std::string name;
        uint64_t slot = 0;
        std::weak_ptr<InventoryUi> owner;
        ImVec2 pos{0, 0};
        ImVec2 targetPos{0, 0};
        uint32_t stack = 0;

        virtual void UpdateItem(Item&&) {}
        virtual ~Item() = default;
        virtual void Draw(ImVec2) {}
        virtual bool StackableOn(std::shared_ptr<Item>&) const { return false; }
        virtual bool CanStack(std::shared_ptr<Item>&) const { return false; }

        std::shared_ptr<InventoryUi> GetInventory() const { return owner.lock(); }
    };

    // An item that is held in hand and takes input while it is the active tool.
    class Tool : public Item {
    public:
        virtual void InputUpdate(double) {}
    };

    static constexpr const char* FontPath = "game/graphics/ui/fonts/OpenSans-SemiBold.ttf";

    // Factories of the items that modules define, by item type.
    static std::unordered_map<std::string, std::function<std::shared_ptr<Item>()>> ItemCreatorFunctions;
    static std::vector<std::weak_ptr<InventoryUi>> _inventories;
    static std::mutex _inventoriesMutex;
    static ImFont* font;

    // Adds the inventory's face to the user-interface atlas; a missing file is reported and left out.
    static void LoadFonts();
};

}  // namespace game::graphics::ui
