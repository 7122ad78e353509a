#include "game/graphics/ui/SettingsUi.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

#include "ScriptedUi.h"
#include "game/Game.h"
#include "game/GameSettings.h"
#include "game/GraphicsPresets.h"
#include "game/input/Controller.h"
#include "game/input/Joystick.h"
#include "game/graphics/ui/HelpUi.h"
#include "game/graphics/ui/Opener.h"
#include "quorl/graphics/Window.h"

using game::Game;
using game::GameSettings;
using game::graphics::ui::SettingsUi;
using game::graphics::ui::testing::ScriptedUi;
using quorl::graphics::RELEASE;

namespace {

constexpr int KEY_G = 71, KEY_ESCAPE = 256, KEY_LEFT_SHIFT = 340, MOD_SHIFT = 1;

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
    // The panel in a fresh interface; watch, if set, is read after every frame's drawing.
    void Open(std::function<void()> watch = nullptr) {
        panel = std::make_unique<SettingsUi>();
        ui = std::make_unique<ScriptedUi>([this, watch] {
            panel->Draw(*settings, &window);
            if (watch) watch();
        });
    }
    GameSettings Saved() { return GameSettings(path.string(), 0); }

    std::filesystem::path path = std::filesystem::temp_directory_path() / "zendola_settings_ui_test.ini";
    quorl::graphics::Window window;
    std::unique_ptr<GameSettings> settings;
    std::unique_ptr<SettingsUi> panel;
    std::unique_ptr<ScriptedUi> ui;
};

// One control of the window: the tree it is in, the clicks that reach it (a combo, then its
// entry), where along the last control to click (or how far to drag it), and the field it sets.
struct Control {
    const char* tree;
    std::vector<std::string> clicks;
    float at;  // fraction of the width to click; below 0, drag by -at pixels instead
    std::function<double(const GameSettings&)> field;
    std::function<void(GameSettings&)> before = nullptr;
    std::function<bool(const GameSettings&)> expect = nullptr;
};

TEST_F(SettingsUiTest, EveryControlChangesItsFieldAndTheFileHasItInTheSameFrame) {
    const auto& presets = game::GraphicsPresets();
    auto custom = [](GameSettings& s) { s.graphics_preset = 0; };
    const std::vector<Control> controls = {
        {"Help##Settings", {"Show Help Tooltips"}, 0.5f, [](auto& s) { return s.show_help_tooltips; }},
        {"Graphics##Settings", {"V-Sync"}, 0.5f, [](auto& s) { return s.vsync; }},
        {"Graphics##Settings", {"Field Of View"}, 0.9f, [](auto& s) { return s.fov; },
         nullptr, [](auto& s) { return s.fov > 100 && s.fov <= 125; }},
        {"Graphics##Settings", {"Gamma"}, 0.05f, [](auto& s) { return s.gamma; },
         nullptr, [](auto& s) { return s.gamma >= 1 && s.gamma < 1.5; }},
        {"Graphics##Settings", {"UI Scaling"}, -30.0f, [](auto& s) { return s.ui_scaling; },
         nullptr, [](auto& s) { return s.ui_scaling > 1.2f && s.ui_scaling < 1.4f; }},
        {"Graphics##Settings", {"##Performance/Quality", presets[1].label}, 0.5f,
         [](auto& s) { return s.graphics_preset; }, nullptr,
         [](auto& s) { return s.graphics_preset == 1 && s.final_upscale == 2.0f && s.upscaling_quality_setting == 1; }},
        {"Graphics##Settings", {"##Performance/Quality", presets[5].label}, 0.5f,
         [](auto& s) { return s.graphics_preset; }, nullptr,
         [](auto& s) { return s.graphics_preset == 5 && s.final_upscale == 1.0f && s.upscaling_quality_setting == 2; }},
        {"Graphics##Settings", {"Resolution (DLSS mode)", SettingsUi::kResolutionLabels[3]}, 0.5f,
         [](auto& s) { return s.upscaling_quality_setting; }, custom,
         [](auto& s) { return s.upscaling_quality_setting == 4; }},
        {"Graphics##Settings", {"Automatic Final Render Upscale (clamp to 1440p)"}, 0.5f,
         [](auto& s) { return s.final_upscale; }, custom, [](auto& s) { return s.final_upscale == 1.5f; }},
        {"Graphics##Settings", {"Higher value +FPS but +Fuzzy"}, 0.95f, [](auto& s) { return s.final_upscale; },
         [](auto& s) { s.graphics_preset = 0, s.final_upscale = 1.5f; },
         [](auto& s) { return s.final_upscale > 2.5f && s.final_upscale <= 3; }},
        {"Audio##Settings", {"Master Volume"}, 0.05f, [](auto& s) { return s.master_volume; }},
        {"Audio##Settings", {"Entities Volume"}, 0.05f, [](auto& s) { return s.entities_volume; }},
        {"Audio##Settings", {"Interface Volume"}, 0.05f, [](auto& s) { return s.interface_volume; }},
        {"Audio##Settings", {"Environment Volume"}, 0.95f, [](auto& s) { return s.environment_volume; }},
        {"Input##Settings", {"MouseLook Sensitivity"}, 0.95f, [](auto& s) { return s.look_sensitivity; },
         nullptr, [](auto& s) { return s.look_sensitivity > 9 && s.look_sensitivity <= 10; }},
        {"Input##Settings", {"MouseLook Invert Y"}, 0.5f, [](auto& s) { return s.avatar_mouselook_invert_y; }},
        {"Input##Settings", {"Gamepad Axis Deadzone"}, 0.95f, [](auto& s) { return s.input_gamepad_axis_deadzone; }},
        {"Input##Settings", {"Joystick Axis Deadzone"}, 0.95f, [](auto& s) { return s.input_joystick_axis_deadzone; }},
    };
    for (const Control& c : controls) {
        const std::string name = c.clicks.back();
        SCOPED_TRACE(name);
        TearDown();
        SetUp();
        if (c.before) {
            c.before(*settings);
            settings->WriteConfig();
        }
        const double initial = c.field(*settings);
        // After each frame: a field that changed in it is in the file already.
        double last = initial;
        int lagging = 0, changes = 0;
        Open([&] {
            const double now = c.field(*settings);
            if (now == last) return;
            last = now;
            ++changes;
            lagging += c.field(Saved()) != now;
        });
        if (std::string(c.tree) != "Help##Settings") ui->Click(c.tree);
        for (size_t i = 0; i + 1 < c.clicks.size(); ++i) ui->Click(c.clicks[i]);
        if (c.at < 0)
            ui->Drag(name, -c.at);
        else
            ui->Click(name, c.at);
        EXPECT_NE(c.field(*settings), initial);
        EXPECT_GT(changes, 0);
        EXPECT_EQ(lagging, 0);
        if (c.expect) {
            EXPECT_TRUE(c.expect(*settings));
        }
    }
}

TEST_F(SettingsUiTest, ANamedPresetHidesTheCustomPart) {
    settings->graphics_preset = 3;
    Open();
    ui->Click("Graphics##Settings");
    EXPECT_TRUE(ui->Has("##Performance/Quality"));
    EXPECT_FALSE(ui->Has("Automatic Final Render Upscale (clamp to 1440p)"));
    EXPECT_FALSE(ui->Has("Resolution (DLSS mode)"));
    settings->graphics_preset = 0;
    ui->Frame();
    EXPECT_TRUE(ui->Has("Automatic Final Render Upscale (clamp to 1440p)"));
    EXPECT_FALSE(ui->Has("Higher value +FPS but +Fuzzy"));  // automatic: no slider
}

TEST_F(SettingsUiTest, BindingCellsClearAndCapture) {
    Open();
    ui->Click("Input##Settings");
    auto& chat = settings->input_binding_input_chat;
    ASSERT_EQ(chat.key, 257);  // Enter

    // A bound cell clears its source, and the file has it at once.
    ui->Click("input_chat/Keyboard");
    EXPECT_EQ(chat.key, -1);
    EXPECT_EQ(Saved().input_binding_input_chat.key, -1);

    // The empty cell starts the capture; a release with Shift held is not taken, a plain one is.
    ui->Click("input_chat/Keyboard");
    ASSERT_TRUE(panel->Capturing());
    window.KeyEvent(KEY_G, 0, RELEASE, MOD_SHIFT);
    window.KeyEvent(KEY_LEFT_SHIFT, 0, RELEASE, MOD_SHIFT);
    ui->Frame();
    EXPECT_TRUE(panel->Capturing());
    EXPECT_EQ(chat.key, -1);
    window.KeyEvent(KEY_G, 0, RELEASE, 0);
    ui->Frame();
    EXPECT_FALSE(panel->Capturing());
    EXPECT_EQ(chat.key, KEY_G);
    EXPECT_EQ(Saved().input_binding_input_chat.key, KEY_G);
    window.KeyEvent(KEY_ESCAPE, 0, RELEASE, 0);  // the capture has let go of the keyboard
    EXPECT_EQ(chat.key, KEY_G);

    // Escape leaves the capture and the binding as it was.
    auto& sit = settings->input_binding_sit;
    ui->Click("sit/Keyboard");
    ui->Click("sit/Keyboard");
    ASSERT_TRUE(panel->Capturing());
    window.KeyEvent(KEY_ESCAPE, 0, RELEASE, 0);
    ui->Frame();
    ui->Frame();
    EXPECT_FALSE(panel->Capturing());
    EXPECT_EQ(sit.key, -1);

    // A mouse button is taken on its release.
    ui->Click("sit/Mouse");
    ASSERT_TRUE(panel->Capturing());
    window.MouseButtonEvent(1, RELEASE, 0);
    ui->Frame();
    EXPECT_FALSE(panel->Capturing());
    EXPECT_EQ(sit.mouseButton, 1);
    EXPECT_EQ(Saved().input_binding_sit.mouseButton, 1);
}

TEST_F(SettingsUiTest, GamepadCaptureTakesTheFirstButtonOrAxisThatMoves) {
    quorl::graphics::Window::Joystick pad;
    pad.guid = "03000000de280000ff11000001000000";
    pad.isGamepad = true;
    pad.axes.assign(6, 0.0f);
    pad.buttons.assign(15, 0);
    pad.gamepad.axes[4] = pad.gamepad.axes[5] = -1;  // triggers rest at -1
    window.SetJoystick(0, pad);
    auto device = std::make_shared<game::input::Joystick>(0);
    Game::_joysticks[0] = device;
    auto update = [&] {
        window.SetJoystick(0, pad);
        device->InputUpdate();
    };

    Open();
    ui->Click("Input##Settings");
    auto& jump = settings->input_binding_avatar_jump;
    ui->Click("avatar_jump/Gamepad");  // bound to A: cleared
    ASSERT_EQ(jump.gamepadButton, -1);
    ui->Click("avatar_jump/Gamepad");
    ASSERT_TRUE(panel->Capturing());
    pad.gamepad.axes[5] = -0.6f;  // a trigger pressed a little
    update();
    ui->Frame();
    EXPECT_TRUE(panel->Capturing());
    pad.gamepad.axes[5] = 0.9f;
    update();
    ui->Frame();
    EXPECT_FALSE(panel->Capturing());
    EXPECT_EQ(jump.gamepadAxis, 5);
    EXPECT_EQ(jump.gamepadAxisDirection, 1);
    EXPECT_EQ(jump.gamepadId, pad.guid);
    EXPECT_EQ(Saved().input_binding_avatar_jump.gamepadAxis, 5);

    // The axis cell flips its direction.
    ui->Frame();
    ui->Click("avatar_jump/Inversed##gamepad");
    EXPECT_EQ(jump.gamepadAxisDirection, -1);
    EXPECT_EQ(Saved().input_binding_avatar_jump.gamepadAxisDirection, -1);
}

TEST_F(SettingsUiTest, LinkButtonsOpenTheirAddressThroughTheOpener) {
    std::vector<std::string> opened;
    game::graphics::ui::Opener::SetHandler([&](const std::string& address) {
        opened.push_back(address);
        return true;
    });
    Open();
    ui->Click("Tutorial Videos");
    ui->Click("Documentation");
    game::graphics::ui::Opener::SetHandler(nullptr);
    using game::graphics::ui::HelpUi;
    EXPECT_EQ(opened, (std::vector<std::string>{HelpUi::videosAddress, HelpUi::documentationAddress}));
}

TEST_F(SettingsUiTest, AFailedSaveKeepsThePanelWorkingAndIsReportedOnce) {
    const std::string unwritable = (path.parent_path() / "zendola-no-such-folder" / "settings.ini").string();
    settings = std::make_unique<GameSettings>(unwritable, 0);
    Game::settings = settings.get();
    Open();
    ui->Click("Graphics##Settings");
    ::testing::internal::CaptureStderr();
    ui->Click("V-Sync");
    ui->Click("V-Sync");
    ui->Click("V-Sync");
    const std::string errors = ::testing::internal::GetCapturedStderr();
    EXPECT_TRUE(settings->vsync);
    EXPECT_FALSE(panel->Saver().Error().empty());
    size_t reports = 0;
    for (size_t at = errors.find("Settings: "); at != std::string::npos; at = errors.find("Settings: ", at + 1))
        ++reports;
    EXPECT_EQ(reports, 1u) << errors;
}

}  // namespace
