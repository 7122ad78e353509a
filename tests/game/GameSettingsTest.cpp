#include <gtest/gtest.h>

#include "TestFiles.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "game/GameSettings.h"
#include "game/GraphicsPresets.h"

using game::GameSettings;
using Binding = GameSettings::InputBinding;

namespace {

using namespace testfiles;

// Every saved field moved away from its default, each to a different value.
void Mutate(GameSettings& s) {
    s.show_help_tooltips = false; s.admin_privileges = true; s.graphics_preset = 5;
    s.framerate_limit_main_rendering = 144; s.vsync = true; s.fov = 91.25f; s.taa = false; s.render_scale = 0.8f;
    s.ui_scaling = 1.3f; s.upscaling_algo = "fsr 2"; s.upscaling_quality_setting = 3;
    s.upscaling_sharpness = 0.1234567f; s.final_upscale = 1.5f; s.tone_mapping = false; s.dithering = false;
    s.brightness = 1.1f; s.contrast = 0.9f; s.gamma = 2.2f; s.terrain_clutter = false; s.terrain_detail = 0.3f;
    s.main_thread_cpu_affinity = 3; s.master_volume = 0.11f; s.entities_volume = 0.22f;
    s.interface_volume = 0.33f; s.environment_volume = 0.44f; s.ide_zoom = 1.75f; s.ide_opacity = 0.95f;
    s.look_sensitivity = 3.5f; s.avatar_mouselook_invert_y = true;
    s.input_gamepad_axis_deadzone = 0.05f; s.input_joystick_axis_deadzone = 0.2f;
    int i = 0;
    for (const auto& k : GameSettings::BindingKeys()) {
        Binding& b = s.*(k.field);
        b = {300 + i, i % 8, i % 2 ? "" : "pad " + std::to_string(i), i, i % 15, int16_t(i % 6), int16_t(i % 2 ? 1 : -1),
             "guid" + std::to_string(i), i + 1, i % 16, int16_t(i % 9), int16_t(i % 3 ? -1 : 1)};
        ++i;
    }
}

class GameSettingsTest : public ::testing::Test {
protected:
    TempFolder folder{"zendola_settings"};
    std::string dir = folder.path, path = dir + "/settings.ini";
};

}  // namespace

TEST_F(GameSettingsTest, EveryKeyRoundTrips) {
    {
        testing::internal::CaptureStderr();
        GameSettings out(path, 0);
        EXPECT_EQ(CountLines(testing::internal::GetCapturedStderr()), 1u) << "six sections, one missing file";
        Mutate(out);
        out.WriteConfig();
        // Read back and written again elsewhere, every value gives the same text.
        std::filesystem::copy_file(path, dir + "/again.ini");
        GameSettings in(dir + "/again.ini", 0);
        EXPECT_EQ(in.fov, 91.25f);
        EXPECT_EQ(in.input_binding_vehicle_main_thrust, out.input_binding_vehicle_main_thrust);
        in.WriteConfig();
        EXPECT_EQ(ReadAll(dir + "/again.ini"), ReadAll(path));
    }
    // The file has the six sections, each key once, and nothing of the two unsaved keys.
    const std::string text = ReadAll(path);
    for (const char* section : {"[game]", "[graphics]", "[performance]", "[ide]", "[audio]", "[input]"}) {
        EXPECT_NE(text.find(section), std::string::npos) << section;
    }
    EXPECT_LT(text.find("[ide]"), text.find("[audio]"));
    EXPECT_EQ(CountLines(text), 6u /*headers*/ + 5u /*separators*/ + 2 + 18 + 1 + 2 + 4 + 67) << text;
}

// A save of the six sections replaces the file once, not once per section.
TEST_F(GameSettingsTest, ASaveReplacesTheFileOnce) {
    GameSettings s(path, 0);
    s.WriteConfig();
    const int watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ASSERT_GE(watch, 0);
    ASSERT_GE(::inotify_add_watch(watch, dir.c_str(), IN_MOVED_TO | IN_CLOSE_WRITE), 0);
    s.fov = 80.0f;
    s.WriteConfig();
    int renames = 0, writes = 0;
    alignas(inotify_event) char buffer[4096];
    for (ssize_t n; (n = ::read(watch, buffer, sizeof buffer)) > 0;) {
        for (char* at = buffer; at < buffer + n;) {
            const auto* event = reinterpret_cast<const inotify_event*>(at);
            renames += (event->mask & IN_MOVED_TO) && std::strcmp(event->name, "settings.ini") == 0;
            writes += (event->mask & IN_CLOSE_WRITE) != 0;
            at += sizeof(inotify_event) + event->len;
        }
    }
    ::close(watch);
    EXPECT_EQ(renames, 1);
    EXPECT_EQ(writes, 1);
    EXPECT_EQ(GameSettings(path, 0).fov, 80.0f);
}

TEST_F(GameSettingsTest, DebugKeysAreReadButNeverWritten) {
    WriteAll(path, "[game]\ndebug_window yes\ndev_tools = 1\n");
    GameSettings s(path, 0);
    EXPECT_TRUE(s.debug_window);
    EXPECT_TRUE(s.dev_tools);
    s.debug_window = false;
    s.WriteConfig();
    // The hand-written lines stay as the user wrote them; the class adds none of its own.
    const std::string text = ReadAll(path);
    EXPECT_EQ(text.rfind("[game]\ndebug_window yes\ndev_tools = 1\nshow_help_tooltips = true\n", 0), 0u) << text;
    EXPECT_EQ(text.find("debug_window = "), std::string::npos);
}

// The six sections are saved in one write, which never replaces a file that isn't text.
TEST_F(GameSettingsTest, ABinaryFileIsNeverReplaced) {
    const std::string binary("\x7f" "ELF\x02\x01\x01\x00\x00\x00[graphics]\nfov = 10\n", 30);
    WriteAll(path, binary);
    testing::internal::CaptureStderr();
    GameSettings b(path, 0);
    b.WriteConfig();
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(b.fov, 70.0f);
    EXPECT_EQ(ReadAll(path), binary);
    EXPECT_NE(err.find("not a text file"), std::string::npos) << err;
}

TEST_F(GameSettingsTest, InstanceSharesOneObjectPerPath) {
    WriteAll(path, "[graphics]\nfov = 50\n");
    auto a = GameSettings::Instance(path, 0);
    auto b = GameSettings::Instance(quorl::filesystem::FilePath(path), 7);
    EXPECT_EQ(a.get(), b.get());
    EXPECT_EQ(b->GetOption(), 0) << "the second option has no effect";
    auto other = GameSettings::Instance(dir + "/other.ini", 0);
    EXPECT_NE(other.get(), a.get());
    a.reset();
    b.reset();
    WriteAll(path, "[graphics]\nfov = 60\n");
    auto c = GameSettings::Instance(path, 0);
    EXPECT_EQ(c->fov, 60.0f) << "a new object reads the file again";
}

// A preset's values are applied through the settings panel in SettingsUiTest.
TEST_F(GameSettingsTest, CustomAndUnknownPresetsTouchNothing) {
    GameSettings s(path, 0);
    for (int untouched : {-1, 7, 0}) {
        s.graphics_preset = untouched;
        s.upscaling_quality_setting = 9;
        s.final_upscale = 9.0f;
        EXPECT_EQ(game::ApplyGraphicsPreset(s), untouched == 0);
        EXPECT_EQ(s.upscaling_quality_setting, 9);
        EXPECT_EQ(s.final_upscale, 9.0f);
    }
}

TEST_F(GameSettingsTest, EditOnDiskUpdatesLiveObject) {
    WriteAll(path, "[audio]\nmaster_volume = 0.25\n");
    GameSettings s(path, std::nullopt);
    EXPECT_EQ(s.master_volume, 0.25f);
    ReplaceFile(path, "[audio]\nmaster_volume = 0.75\n[graphics]\nupscaling_algo = dlss\n");
    ASSERT_TRUE(WaitFor([&] { return s.GetReloadCount() >= 1; }));
    EXPECT_EQ(s.master_volume, 0.75f);
    EXPECT_EQ(s.upscaling_algo, "dlss");
}

