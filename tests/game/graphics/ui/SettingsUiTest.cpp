#include "game/graphics/ui/SettingsUi.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

#include "ScriptedUi.h"
#include "TestFiles.h"
#include "game/Game.h"
#include "game/GraphicsPresets.h"
#include "game/graphics/ui/HelpUi.h"
#include "game/graphics/ui/Opener.h"
#include "game/input/Controller.h"
#include "game/input/Joystick.h"
#include "quorl/graphics/Window.h"

using game::Game;
using game::GameSettings;
using game::graphics::ui::SettingsUi;
using quorl::graphics::RELEASE;

namespace {

class SettingsUiTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::filesystem::remove(path);
        settings = std::make_unique<GameSettings>(path.string(), 0);
        Game::settings = settings.get();
        Game::window = &window;
        Game::_joysticks.clear();
        game::input::Controller::Reset();
    }
    void TearDown() override {
        ui.reset();
        panel.reset();
        Game::settings = nullptr;
        Game::window = nullptr;
        Game::_joysticks.clear();
        std::filesystem::remove(path);
    }
    // The panel in a fresh interface; watch runs after each frame's drawing.
    void Open(std::function<void()> watch = [] {}) {
        panel = std::make_unique<SettingsUi>();
        ui = std::make_unique<game::graphics::ui::testing::ScriptedUi>([this, watch] {
            panel->Draw(*settings, &window);
            watch();
        });
    }
    GameSettings Saved() { return GameSettings(path.string(), 0); }

    // A folder of this test's own: ctest runs the cases in parallel processes.
    testfiles::TempFolder folder{"zendola-settings-ui"};
    std::filesystem::path path = std::filesystem::path(folder.path) / "settings.ini";
    quorl::graphics::Window window;
    std::unique_ptr<GameSettings> settings;
    std::unique_ptr<SettingsUi> panel;
    std::unique_ptr<game::graphics::ui::testing::ScriptedUi> ui;
};

TEST_F(SettingsUiTest, EveryControlChangesItsFieldAndTheFileHasItInTheSameFrame) {
    // The tree, the clicks (a combo, then its entry), where across the last control to click and
    // how far to drag, the field, what to set first, and what must hold after.
    struct Control {
        const char* tree;
        std::vector<std::string> clicks;
        float at, drag;
        std::function<double(const GameSettings&)> field;
        std::function<void(GameSettings&)> before = nullptr;
        std::function<bool(const GameSettings&)> expect = [](auto&) { return true; };
    };
    const auto& presets = game::GraphicsPresets();
    auto custom = [](GameSettings& s) { s.graphics_preset = 0; };
    const char* G = "Graphics##Settings";
    const char* I = "Input##Settings";
    const std::vector<Control> controls = {
        {"Help##Settings", {"Show Help Tooltips"}, 0.5f, 0, [](auto& s) { return s.show_help_tooltips; }},
        {G, {"V-Sync"}, 0.5f, 0, [](auto& s) { return s.vsync; }},
        {G, {"Field Of View"}, 0.9f, 0, [](auto& s) { return s.fov; }, nullptr, [](auto& s) { return s.fov > 100; }},
        {G, {"Gamma"}, 0.05f, 0, [](auto& s) { return s.gamma; }, nullptr, [](auto& s) { return s.gamma < 1.5; }},
        {G, {"UI Scaling"}, 0.5f, 30, [](auto& s) { return s.ui_scaling; }, nullptr,
         [](auto& s) { return s.ui_scaling > 1.2f && s.ui_scaling < 1.4f; }},
        {G, {"##Performance/Quality", presets[5].label}, 0.5f, 0, [](auto& s) { return s.graphics_preset; }, nullptr,
         [](auto& s) { return s.graphics_preset == 5 && s.final_upscale == 1.0f && s.upscaling_quality_setting == 2; }},
        {G, {"Resolution (DLSS mode)", SettingsUi::kResolutionLabels[3]}, 0.5f, 0,
         [](auto& s) { return s.upscaling_quality_setting; }, custom, [](auto& s) { return s.upscaling_quality_setting == 4; }},
        {G, {"Automatic Final Render Upscale (clamp to 1440p)"}, 0.5f, 0, [](auto& s) { return s.final_upscale; }, custom,
         [](auto& s) { return s.final_upscale == 1.5f; }},
        {G, {"Higher value +FPS but +Fuzzy"}, 0.95f, 0, [](auto& s) { return s.final_upscale; },
         [](auto& s) { s.graphics_preset = 0, s.final_upscale = 1.5f; }, [](auto& s) { return s.final_upscale > 2.5f; }},
        {"Audio##Settings", {"Master Volume"}, 0.05f, 0, [](auto& s) { return s.master_volume; }},
        {"Audio##Settings", {"Environment Volume"}, 0.95f, 0, [](auto& s) { return s.environment_volume; }},
        {I, {"MouseLook Sensitivity"}, 0.95f, 0, [](auto& s) { return s.look_sensitivity; }, nullptr,
         [](auto& s) { return s.look_sensitivity > 9; }},
        {I, {"MouseLook Invert Y"}, 0.5f, 0, [](auto& s) { return s.avatar_mouselook_invert_y; }},
        {I, {"Joystick Axis Deadzone"}, 0.95f, 0, [](auto& s) { return s.input_joystick_axis_deadzone; }},
    };
    for (const Control& c : controls) {
        SCOPED_TRACE(c.clicks.back());
        TearDown();
        SetUp();
        if (c.before) c.before(*settings);
        const double initial = c.field(*settings);
        double last = initial;
        int lagging = 0;  // frames that changed the field but left the file behind
        Open([&] {
            if (c.field(*settings) == last) return;
            last = c.field(*settings);
            lagging += c.field(Saved()) != last;
        });
        if (std::string(c.tree) != "Help##Settings") ui->Click(c.tree);
        for (size_t i = 0; i < c.clicks.size(); ++i)
            ui->Click(c.clicks[i], i + 1 < c.clicks.size() ? 0.5f : c.at, i + 1 < c.clicks.size() ? 0 : c.drag);
        EXPECT_NE(c.field(*settings), initial);
        EXPECT_EQ(c.field(Saved()), c.field(*settings));
        EXPECT_EQ(lagging, 0);
        EXPECT_TRUE(c.expect(*settings));
    }
}

TEST_F(SettingsUiTest, BindingCellsClearAndCapture) {
    constexpr int KEY_G = 71, KEY_ESCAPE = 256, KEY_LEFT_SHIFT = 340, MOD_SHIFT = 1;
    Open();
    ui->Click("Input##Settings");
    auto& chat = settings->input_binding_input_chat;
    ASSERT_EQ(chat.key, 257);  // Enter
    ui->Click("input_chat/Keyboard");  // a bound cell clears, and the file has it at once
    EXPECT_EQ(chat.key, -1);
    EXPECT_EQ(Saved().input_binding_input_chat.key, -1);

    // The empty cell captures: a release with Shift held is not taken, a plain one is.
    ui->Click("input_chat/Keyboard");
    ASSERT_TRUE(panel->Capturing());
    window.KeyEvent(KEY_G, 0, RELEASE, MOD_SHIFT);
    window.KeyEvent(KEY_LEFT_SHIFT, 0, RELEASE, MOD_SHIFT);
    ui->Frame();
    EXPECT_TRUE(panel->Capturing());
    window.KeyEvent(KEY_G, 0, RELEASE, 0);
    ui->Frame();
    EXPECT_FALSE(panel->Capturing());
    EXPECT_EQ(Saved().input_binding_input_chat.key, KEY_G);

    // Escape leaves the capture and the binding as it was.
    ui->Click("sit/Keyboard");
    ui->Click("sit/Keyboard");
    window.KeyEvent(KEY_ESCAPE, 0, RELEASE, 0);
    ui->Frame();
    EXPECT_FALSE(panel->Capturing());
    EXPECT_EQ(settings->input_binding_sit.key, -1);
    EXPECT_EQ(chat.key, KEY_G);  // the earlier capture let go of the keyboard
}

TEST_F(SettingsUiTest, GamepadCaptureTakesTheFirstAxisThatMovesFarEnough) {
    quorl::graphics::Window::Joystick pad;
    pad.guid = "03000000de280000ff11000001000000";
    pad.isGamepad = true;
    pad.gamepad.axes[4] = pad.gamepad.axes[5] = -1;  // triggers rest at -1
    window.SetJoystick(0, pad);
    auto device = Game::_joysticks[0] = std::make_shared<game::input::Joystick>(0);
    auto move = [&](float trigger) {
        pad.gamepad.axes[5] = trigger;
        window.SetJoystick(0, pad);
        device->InputUpdate();
        ui->Frame();
    };
    Open();
    ui->Click("Input##Settings");
    auto& jump = settings->input_binding_avatar_jump;
    ui->Click("avatar_jump/Gamepad");  // bound to A: cleared
    ui->Click("avatar_jump/Gamepad");
    move(-0.6f);
    EXPECT_TRUE(panel->Capturing());
    move(0.9f);
    EXPECT_FALSE(panel->Capturing());
    EXPECT_EQ(jump.gamepadAxis, 5);
    EXPECT_EQ(jump.gamepadAxisDirection, 1);
    EXPECT_EQ(jump.gamepadId, pad.guid);
    ui->Click("avatar_jump/Inversed##gamepad");
    EXPECT_EQ(Saved().input_binding_avatar_jump.gamepadAxisDirection, -1);
}

TEST_F(SettingsUiTest, LinksGoThroughTheOpener) {
    std::vector<std::string> opened;
    game::graphics::ui::Opener::SetHandler([&](const std::string& address) { return opened.push_back(address), true; });
    Open();
    ui->Click("Tutorial Videos");
    game::graphics::ui::Opener::SetHandler(nullptr);
    EXPECT_EQ(opened, std::vector<std::string>{game::graphics::ui::HelpUi::videosAddress});
}

TEST_F(SettingsUiTest, AFailedSaveKeepsThePanelWorkingAndIsReportedOnce) {
    settings = std::make_unique<GameSettings>((path.parent_path() / "zendola-no-such-folder" / "s.ini").string(), 0);
    Game::settings = settings.get();
    Open();
    ui->Click("Graphics##Settings");
    ::testing::internal::CaptureStderr();
    for (int i = 0; i < 3; ++i) ui->Click("V-Sync");
    const std::string errors = ::testing::internal::GetCapturedStderr();
    EXPECT_TRUE(settings->vsync);
    EXPECT_FALSE(panel->Saver().Error().empty());
    EXPECT_EQ(errors.find("Settings: "), errors.rfind("Settings: ")) << errors;
    EXPECT_NE(errors.find("Settings: "), std::string::npos);
}

}  // namespace
