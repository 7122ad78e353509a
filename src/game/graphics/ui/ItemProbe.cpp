#include "game/graphics/ui/ItemProbe.h"

#include <imgui_internal.h>

namespace game::graphics::ui {

namespace {
ItemProbe::Observer& CurrentObserver() {
    static ItemProbe::Observer observer;
    return observer;
}
}  // namespace

void ItemProbe::SetObserver(Observer observer) { CurrentObserver() = std::move(observer); }

void ItemProbe::Note(const std::string& name) {
    // The part of the item that takes the mouse: a slider's frame, without its label.
    if (const Observer& observer = CurrentObserver()) {
        const ImRect& rect = ImGui::GetCurrentContext()->LastItemData.NavRect;
        observer(name, rect.Min, rect.Max);
    }
}

}  // namespace game::graphics::ui
