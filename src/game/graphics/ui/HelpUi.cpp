#include "game/graphics/ui/HelpUi.h"

#include <imgui.h>

#include "game/GameSettings.h"
#include "game/graphics/ui/ItemProbe.h"
#include "game/graphics/ui/Opener.h"
#include "game/input/Controller.h"

namespace game::graphics::ui {

using input::Controller;

std::string HelpUi::documentationAddress = "https://zendola.example/docs";
std::string HelpUi::communityAddress = "https://zendola.example/chat";
std::string HelpUi::videosAddress = "https://zendola.example/videos";

namespace {

struct BindingLine {
    const char* format;
    GameSettings::InputBinding GameSettings::*binding;
};

const BindingLine kBindingLines[] = {
    {"Press %s to toggle chat window", &GameSettings::input_binding_input_chat},
    {"Press %s to toggle backpack (inventory)", &GameSettings::input_binding_avatar_inventory_toggle},
    {"Click %s to use tool's primary function", &GameSettings::input_binding_avatar_tool_primary},
    {"Click %s to use tool's secondary function", &GameSettings::input_binding_avatar_tool_secondary},
    {"Press %s to interact with the component you're aiming", &GameSettings::input_binding_avatar_interact},
    {"Hold %s to configure the current tool", &GameSettings::input_binding_avatar_tool_configure},
    {"Hold %s to use special mode on your tool", &GameSettings::input_binding_avatar_tool_special_mode},
    {"Press %s for external view (zoom with mouse wheel)", &GameSettings::input_binding_third_person},
    {"Press or Hold %s to Zoom in/out", &GameSettings::input_binding_zoom},
    {"Press %s to toggle Headlamp", &GameSettings::input_binding_avatar_light},
    {"Press %s to toggle Jetpack", &GameSettings::input_binding_avatar_jetpack},
    {"Press %s to get info or edit the component you're aiming", &GameSettings::input_binding_get_info},
    {"Press %s to sit on the seat you're aiming", &GameSettings::input_binding_sit},
    {"Hold %s for one second to exit a seat", &GameSettings::input_binding_sit},
};

void LinkButton(const char* label, const std::string& address) {
    if (ImGui::Button(label)) Opener::Open(address);
    ItemProbe::Note(label);
}

}  // namespace

bool HelpUi::Draw(GameSettings& s) {
    ImGui::TextUnformatted("Quick-Press LEFT_ALT to release mouse cursor");
    for (size_t i = 0; i < std::size(kBindingLines); ++i) {
        // The belt line names two bindings and stands third, after the backpack.
        if (i == 2)
            ImGui::Text("Press %s through %s to select an item/tool in your belt",
                        Controller::BindingStr(s.input_binding_avatar_inventory_select_1),
                        Controller::BindingStr(s.input_binding_avatar_inventory_select_9));
        ImGui::Text(kBindingLines[i].format, Controller::BindingStr(s.*kBindingLines[i].binding));
    }
    ImGui::TextUnformatted("Press F1 to toggle Settings Panel (this one)");
    ImGui::TextUnformatted("Press F2 to toggle Drone Mode (NoClip)");
    ImGui::TextUnformatted("Press F3 to toggle UI overlays");
    ImGui::TextUnformatted(
        "Using both Drone mode and No UI (F2 and F3) together\n will make for a smooth cinematic mode for video "
        "recording");
    ImGui::TextUnformatted("Press F4 to toggle Admin Panel");
    if (s.dev_tools) ImGui::TextUnformatted("Press F7 to toggle Dev Window");
    ImGui::TextUnformatted("Press Shift+F10 to respawn (drops inventory in adventure mode)");
    ImGui::TextUnformatted("Press F11 to toggle Full Screen mode");
    ImGui::TextUnformatted("Press F12 to take a screenshot");
    ImGui::TextUnformatted("Hold ESCAPE for two seconds to quit the game");
    ImGui::TextUnformatted(
        "Pro Tip:\n\tSome of these actions have a \"HoldOrToggle\" feature,\n\tyou can hold that key to temporarily "
        "toggle the mode.\n\tA quick press will toggle immediately or reverse it.");

    const bool changed = ImGui::Checkbox("Show Help Tooltips", &s.show_help_tooltips);
    ItemProbe::Note("Show Help Tooltips");
    LinkButton("Documentation", documentationAddress);
    ImGui::SameLine();
    LinkButton("Get Help on Discord", communityAddress);
    ImGui::SameLine();
    LinkButton("Tutorial Videos", videosAddress);
    return changed;
}

}  // namespace game::graphics::ui
