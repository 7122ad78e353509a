#include "game/graphics/ui/FrameUi.h"

#include <imgui.h>
#include <imgui_internal.h>

#include <cmath>
#include <glm/gtc/matrix_transform.hpp>
#include <glm/matrix.hpp>

#include "game/GAME_Mod.h"
#include "game/Game.h"
#include "game/GameSettings.h"
#include "game/graphics/GameRenderer.h"
#include "game/graphics/ui/AdminPanel.h"
#include "game/graphics/ui/DebugUi.h"
#include "game/graphics/ui/Gizmo.h"
#include "game/graphics/ui/InventoryUi.h"
#include "game/graphics/ui/SettingsUi.h"
#include "game/entity/ClientSideEntity.h"

namespace game::graphics::ui {

namespace {

void ModulesUi() {
    GAME_Mod::ForEachSortedModule("ui", [](GAME_Mod::Ptr& mod) {
        if (auto f = mod->Renderer_FrameUpdateUi) f();
    });
}

void DebugGizmo(GameRenderer* renderer) {
    Gizmo::BeginFrame();
    if (!renderer || Game::debugGizmoEntityId.IsNull()) return;
    const ImVec2 display = ImGui::GetIO().DisplaySize;
    if (display.x <= 0 || display.y <= 0) return;
    const double fov = Game::settings ? Game::settings->fov : 70.0;
    const glm::dmat4 projection = glm::perspective(glm::radians(fov), double(display.x) / display.y, 0.01, 1e6);
    const glm::dmat4 view = glm::inverse(renderer->camera.worldTransform);
    Gizmo::Manipulate(view, projection, Game::debugGizmoOp == Gizmo::ROTATE ? Gizmo::ROTATE : Gizmo::TRANSLATE,
                      Game::debugGizmoTransform);
}

}  // namespace

SettingsUi& FrameUi::Settings() {
    static SettingsUi ui;
    return ui;
}

DebugUi& FrameUi::Debug() {
    static DebugUi ui;
    return ui;
}

void FrameUi::Update(GameRenderer* renderer) {
    ImGuiContext* context = ImGui::GetCurrentContext();
    if (!context || !context->WithinFrameScope) {
        ModulesUi();
        return;
    }
    GameSettings* settings = Game::settings;
    if (settings && settings->debug_window) Debug().Draw(*settings, renderer, Settings().Saver());
    DebugGizmo(renderer);
    InventoryUi::UpdateUi();
    // Entity interfaces: each client entity's behaviour draws its own windows (a programmable
    // part's node editor, a panel's controls).
    entity::ClientSideEntity::ForEach([](std::shared_ptr<entity::ClientSideEntity> e) { e->Ui(); });
    ModulesUi();
    if (settings && Game::settingsWindowOpen) Settings().Draw(*settings, Game::window);
    if (Game::adminWindowOpen) AdminPanel::Draw();
    if (settings && renderer && std::fabs(settings->ui_scaling - Game::GetUiScaling()) > 0.01f)
        renderer->rebuildStyle = true;
}

}  // namespace game::graphics::ui
