#pragma once

namespace game::graphics {
class GameRenderer;
}

namespace game::graphics::ui {

class SettingsUi;
class DebugUi;

// The in-game interface of one frame, built anew each time (GameRenderer::FrameUpdateUi), in
// this order: the debug window (debug_window), the debug gizmo on Game::debugGizmoTransform while
// Game::debugGizmoEntityId is set, the open inventories, each client entity's Ui(), the
// modules' Renderer_FrameUpdateUi (sorted "ui"), the Settings window (Game::settingsWindowOpen), the Admin Panel
// (Game::adminWindowOpen), and last the interface scale check that asks the renderer to rebuild
// the style when ui_scaling moved.
//
// Without an ImGui frame in progress only the modules' hooks run.
class FrameUi {
public:
    FrameUi() = delete;

    static void Update(GameRenderer* renderer);

    // The panels' state, kept across frames.
    static SettingsUi& Settings();
    static DebugUi& Debug();
};

}  // namespace game::graphics::ui
