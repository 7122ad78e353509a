#include "game/graphics/ui/InventoryUi.h"

#include <filesystem>
#include <iostream>

namespace game::graphics::ui {

std::unordered_map<std::string, std::function<std::shared_ptr<InventoryUi::Item>()>> InventoryUi::ItemCreatorFunctions;
std::vector<std::weak_ptr<InventoryUi>> InventoryUi::_inventories;
std::mutex InventoryUi::_inventoriesMutex;
ImFont* InventoryUi::font = nullptr;

void InventoryUi::LoadFonts() {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(FontPath, ec)) {
        std::cerr << "Font file not found: " << FontPath << std::endl;
        return;
    }
    font = ImGui::GetIO().Fonts->AddFontFromFileTTF(FontPath, 32.0f);
}

}  // namespace game::graphics::ui
