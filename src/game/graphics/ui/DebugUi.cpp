#include "game/graphics/ui/DebugUi.h"

#include <imgui.h>

#include <string>

#include "game/DebugInfo.h"
#include "game/Game.h"
#include "game/GameSettings.h"
#include "game/graphics/GameRenderer.h"
#include "game/graphics/ui/ItemProbe.h"
#include "game/graphics/ui/SettingsSaver.h"
#include "quorl/cpu/Profiler.h"
#include "quorl/graphics/Upscaler.h"

namespace game::graphics::ui {

using quorl::graphics::Upscaler;

namespace {

bool Noted(bool result, const char* name) {
    ItemProbe::Note(name);
    return result;
}

void FrameRateLine(const char* name, const quorl::FPSCounter& counter) {
    ImGui::Text("%s: %.1f FPS (%.2f ms)", name, counter.GetFPS(), counter.GetFrameDuration() * 1000.0);
}

void DrawSettingsTree(GameSettings& s, GameRenderer* renderer, SettingsSaver& saver, DebugUi& ui) {
    if (!Noted(ImGui::TreeNode("Settings"), "Settings")) return;
    if (!s.vsync)
        Noted(ImGui::SliderInt("Limit Render Framerate", &s.framerate_limit_main_rendering, 0, 90, "%d"),
              "Limit Render Framerate");
    Noted(ImGui::SliderFloat("Brightness", &s.brightness, 0.5f, 2.0f), "Brightness");
    Noted(ImGui::SliderFloat("Contrast", &s.contrast, 0.5f, 2.0f), "Contrast");
    Noted(ImGui::Checkbox("Tone Mapping", &s.tone_mapping), "Tone Mapping");
    Noted(ImGui::Checkbox("Dithering", &s.dithering), "Dithering");

    // Overriding the render scale sets the upscaler choice aside: the combo is shown disabled.
    if (ui.overrideRenderScale) ImGui::BeginDisabled();
    const bool algoOpen = ImGui::BeginCombo("Upscaling Algo", s.upscaling_algo.c_str());
    ItemProbe::Note("Upscaling Algo");
    if (algoOpen) {
        for (size_t i = 0; i < Upscaler::UPSCALER_ALGOS_STR.size(); ++i) {
            if (!Upscaler::IsSupported(Upscaler::Algo(i))) continue;
            const char* name = Upscaler::UPSCALER_ALGOS_STR[i];
            if (Noted(ImGui::Selectable(name, s.upscaling_algo == name), name)) s.upscaling_algo = name;
        }
        ImGui::EndCombo();
    }
    if (ui.overrideRenderScale) ImGui::EndDisabled();
    Noted(ImGui::Checkbox("Override Render Scale", &ui.overrideRenderScale), "Override Render Scale");
    Noted(ImGui::SliderFloat("Upscaling Sharpness", &s.upscaling_sharpness, 0.0f, 1.0f), "Upscaling Sharpness");
    Noted(ImGui::Checkbox("TAA", &s.taa), "TAA");
    Noted(ImGui::SliderFloat("Render Scale", &s.render_scale, 0.01f, 2.0f), "Render Scale");

    static const std::vector<const char*> kNoViews{"NONE"};
    const std::vector<const char*>& views = renderer ? renderer->debugViewNames : kNoViews;
    if (ui.debugView < 0 || size_t(ui.debugView) >= views.size()) ui.debugView = 0;
    Noted(ImGui::Combo("Debug View", &ui.debugView, views.data(), int(views.size())), "Debug View");
    if (ui.debugView != 0)
        Noted(ImGui::SliderFloat("Debug View Scale", &ui.debugViewScale, 0.01f, 10.0f), "Debug View Scale");
    if (Noted(ImGui::Button("Save Settings"), "Save Settings")) saver.Save(s);
    if (!saver.Error().empty()) ImGui::TextColored(ImVec4(1.0f, 0.35f, 0.3f, 1.0f), "Not saved");
    ImGui::TreePop();
}

void DrawProfilingTree() {
    if (!Noted(ImGui::TreeNode("Profiling (milliseconds)"), "Profiling (milliseconds)")) return;
    if (Noted(ImGui::Button("Reset All Profiling"), "Reset All Profiling")) quorl::cpu::Profiler::ResetAll();
    if (ImGui::BeginTable("##profiling", 4, ImGuiTableFlags_RowBg | ImGuiTableFlags_SizingFixedFit)) {
        for (const char* column : {"Scope", "Average", "Last", "Count"}) ImGui::TableSetupColumn(column);
        ImGui::TableHeadersRow();
        std::string thread;
        for (const auto& entry : quorl::cpu::Profiler::Snapshot()) {
            if (entry.thread != thread) {
                thread = entry.thread;
                ImGui::TableNextRow();
                ImGui::TableNextColumn();
                ImGui::TextUnformatted(thread.c_str());
            }
            const size_t slash = entry.path.rfind('/');
            const std::string name = slash == std::string::npos ? entry.path : entry.path.substr(slash + 1);
            ImGui::TableNextRow();
            ImGui::TableNextColumn();
            ImGui::Text("%*s%s", (entry.depth + 1) * 2, "", name.c_str());
            ImGui::TableNextColumn();
            ImGui::Text("%.3f", entry.averageMs());
            ImGui::TableNextColumn();
            ImGui::Text("%.3f", entry.lastMs);
            ImGui::TableNextColumn();
            ImGui::Text("%llu", static_cast<unsigned long long>(entry.count));
        }
        ImGui::EndTable();
    }
    ImGui::TreePop();
}

}  // namespace

void DebugUi::Draw(GameSettings& s, GameRenderer* renderer, SettingsSaver& saver) {
    ImGui::SetNextWindowPos(ImVec2(710, 5), ImGuiCond_FirstUseEver);
    ImGui::SetNextWindowSize(ImVec2(300, 150), ImGuiCond_FirstUseEver);
    if (ImGui::Begin("Debug Window")) {
        FrameRateLine("Rendering", Game::mainRenderingFramerate);
        FrameRateLine("Game", Game::gameFramerate);
        FrameRateLine("Input", Game::inputFramerate);
        if (Game::_is_server) {
            // The share of each tick spent on work rather than waiting for the next one.
            const double tick = Game::serverFramerate.GetFrameDuration();
            const double work = Game::serverSideSyncAvgTime + Game::serverSidePhysicsAvgTime;
            ImGui::Text("Server Load: %3.1f %%", tick > 0 ? 100.0 * work / tick : 0.0);
            ImGui::Text("Server Ticks per second: %2.1f", Game::serverFramerate.GetFPS());
        }
        DrawSettingsTree(s, renderer, saver, *this);
        DrawProfilingTree();
        if (Noted(ImGui::TreeNode("Debug Info"), "Debug Info")) {
            for (const auto& [name, value] : DebugInfo::Snapshot())
                ImGui::Text("%s: %llu", name, static_cast<unsigned long long>(value));
            ImGui::TreePop();
        }
        Noted(ImGui::Checkbox("Debug Client-Side Physics", &Game::debugClientSidePhysics), "Debug Client-Side Physics");
        if (Game::_is_server)
            Noted(ImGui::Checkbox("Debug Server-Side Physics", &Game::debugServerSidePhysics),
                  "Debug Server-Side Physics");
        Noted(ImGui::Checkbox("Show ImGui Metrics", &showMetricsWindow), "Show ImGui Metrics");
        testSliders[0] = float(Game::testSlider);
        for (int i = 0; i < int(testSliders.size()); ++i) {
            const std::string label = "Test Slider " + std::to_string(i);
            if (Noted(ImGui::SliderFloat(label.c_str(), &testSliders[size_t(i)], 0.0f, 1.0f), label.c_str()) && i == 0)
                Game::testSlider = testSliders[0];
        }
    }
    ImGui::End();
    if (showMetricsWindow) ImGui::ShowMetricsWindow(&showMetricsWindow);
}

}  // namespace game::graphics::ui
