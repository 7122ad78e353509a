#pragma once
// A headless ImGui context driven frame by frame with scripted mouse input; controls are found
// by the names the panels give them (ItemProbe).
#include <gtest/gtest.h>
#include <imgui.h>

#include <functional>
#include <map>
#include <string>

#include "game/graphics/ui/ItemProbe.h"

namespace game::graphics::ui::testing {

class ScriptedUi {
public:
    explicit ScriptedUi(std::function<void()> draw, ImVec2 display = ImVec2(1600, 4000)) : _draw(std::move(draw)) {
        ImGui::CreateContext();
        ImGuiIO& io = ImGui::GetIO();
        io.DisplaySize = display;
        io.IniFilename = nullptr;
        unsigned char* pixels;
        int w, h;
        io.Fonts->GetTexDataAsRGBA32(&pixels, &w, &h);
        ItemProbe::SetObserver([this](const std::string& name, ImVec2 min, ImVec2 max) { items[name] = {min, max}; });
        for (int i = 0; i < 3; ++i) Frame();  // auto-sized windows settle
    }
    ~ScriptedUi() {
        ItemProbe::SetObserver(nullptr);
        ImGui::DestroyContext();
    }

    void Frame() {
        items.clear();
        ImGui::NewFrame();
        _draw();
        ImGui::EndFrame();
    }
    bool Has(const std::string& name) const { return items.count(name) != 0; }
    // Presses the left button at fx across the control, moves dx to the right, releases.
    void Click(const std::string& name, float fx = 0.5f, float dx = 0) {
        Frame();  // a popup opened by the last click has its place now
        if (!Has(name)) ADD_FAILURE() << "no control named " << name;
        const auto& [min, max] = items[name];
        ImGuiIO& io = ImGui::GetIO();
        io.MousePos = ImVec2(min.x + (max.x - min.x) * fx, (min.y + max.y) * 0.5f);
        Frame();
        io.MouseDown[0] = true;
        Frame();
        io.MousePos.x += dx;
        Frame();
        io.MouseDown[0] = false;
        Frame();
    }

    std::map<std::string, std::pair<ImVec2, ImVec2>> items;

private:
    std::function<void()> _draw;
};

}  // namespace game::graphics::ui::testing
