// The game program end to end: offscreen runs of the demo world against golden pictures, its
// answers to bad input, and a real window under Xvfb driven by scripted X input.
#include <stb_image.h>

#include <signal.h>
#include <spawn.h>

#include <cstdlib>
#include <fstream>

#include "../GoldenImage.h"
#include "HostProcess.h"

namespace fs = std::filesystem;

extern char** environ;

namespace {

struct Picture {
    std::vector<uint8_t> rgba;
    int width = 0, height = 0;
};

Picture Load(const fs::path& file) {
    Picture p;
    int n = 0;
    stbi_uc* data = stbi_load(file.c_str(), &p.width, &p.height, &n, 4);
    if (data) p.rgba.assign(data, data + size_t(p.width) * p.height * 4);
    stbi_image_free(data);
    return p;
}

// Each test has a settings folder of its own: nothing of the user's is read or written.
class ClientProcess : public HostProcess {
protected:
    ClientProcess() : HostProcess(ZENDOLA_CLIENT_PROGRAM, "zendola-client-test") {}
    void SetUp() override {
        HostProcess::SetUp();
        env["XDG_CONFIG_HOME"] = (root / "config").string();
        env["XDG_PICTURES_DIR"] = (root / "pictures").string();
        env["ALSOFT_DRIVERS"] = "null";  // no sound card here
        env["QUORL_VK_VALIDATION"] = "1";
    }
    void TearDown() override {
        for (const auto& e : std::filesystem::directory_iterator(root)) {
            if (e.path().extension() != ".err") continue;
            EXPECT_EQ(testfiles::ReadAll(e.path()).find("Vulkan validation:"), std::string::npos) << e.path();
        }
        HostProcess::TearDown();
    }
    // An offscreen run of `frames` frames (one server tick each) with its last frame, at 160 x 90
    // from the game's own start camera, or at 320 x 180 from `camera`.
    Picture RunFrames(const std::string& name, int frames, const std::string& camera = "") {
        fs::path shot = root / (name + ".png");
        std::vector<std::string> args = {"--offscreen", "--frames", std::to_string(frames), "--screenshot",
                                         shot.string(), "--progress", "0", "--width", "160", "--height", "90"};
        if (!camera.empty()) args.insert(args.end(), {"--width", "320", "--height", "180", "--camera", camera});
        EXPECT_EQ(RunToEnd(name, args), 0) << Err(name);
        return Load(shot);
    }
};

TEST_F(ClientProcess, OffscreenFramesOfTheDemoWorldMatchTheirPicturesAndTheWorldIsSaved) {
    // The slab from the start camera; the buoy floating upright beyond the beach, four seconds in;
    // the glider at Mach 9 with its plasma trail, seen from beside its circuit; the monitor's text
    // close up, on the simulated clock of an offscreen run (00:00:02, 60.0 ticks/s, 15 bodies).
    const std::tuple<const char*, int, const char*> shots[] = {
        {"demo_tick30", 30, ""},
        {"demo_tick240", 240, ""},
        {"buoy_tick240", 240, "126,1.2,4.5,32,-6"},
        {"glider_tick120", 120, "13836.2,396.0,-5849.8,-148.9,8.4"},
        {"monitor_tick130", 130, "2.384,0.810,3.161,-28.4,-4"},
    };
    for (const auto& [shotName, frames, camera] : shots) {
        const std::string name = shotName;
        fs::remove_all(saves.parent_path());  // each picture starts from a new world
        Picture p = RunFrames(name, frames, camera);
        ASSERT_FALSE(p.rgba.empty()) << Out(name) << Err(name);
        EXPECT_TRUE(MatchesGolden("client_" + name, p.rgba, uint32_t(p.width), uint32_t(p.height), 8, 0.01));
        EXPECT_NE(Out(name).find("Stopping after " + std::to_string(frames) + " frames and " +
                                 std::to_string(frames) + " ticks"),
                  std::string::npos)
            << Out(name);
        EXPECT_NE(Out(name).find("Saved 13 entities of world 'demo'"), std::string::npos) << Out(name);
        EXPECT_EQ(SaveFiles().size(), 13u);
    }
    // The next run goes on with the saved world, and the settings file was made on the first run.
    EXPECT_EQ(RunToEnd("again", {"--offscreen", "--frames", "2"}), 0) << Err("again");
    EXPECT_NE(Out("again").find("13 entities restored"), std::string::npos) << Out("again");
    // The benchmark's table has a row per loop, each having run once per frame.
    EXPECT_EQ(RunToEnd("bench", {"--benchmark", "--frames", "3", "--width", "64", "--height", "64"}), 0);
    for (const char* row : {"\n  render ", "\n  game ", "\n  input ", "\n  server "})
        EXPECT_NE(Out("bench").find(row), std::string::npos) << row << Out("bench");
    EXPECT_NE(Out("bench").find("Stopping after 3 frames and 3 ticks"), std::string::npos) << Out("bench");
    EXPECT_NE(testfiles::ReadAll(root / "config" / "zendola" / "settings.ini").find("graphics_preset = 3"),
              std::string::npos);
}

TEST_F(ClientProcess, BadInputIsRefusedWithAClearMessageAndTouchesNoFile) {
    ASSERT_EQ(RunToEnd("first", {"--offscreen", "--frames", "2"}), 0) << Err("first");
    std::map<std::string, std::string> files = SaveFiles();
    ASSERT_EQ(files.size(), 13u);

    env["DISPLAY"] = std::nullopt;
    env["WAYLAND_DISPLAY"] = std::nullopt;
    EXPECT_EQ(RunToEnd("nodisplay", {}), 1);
    EXPECT_NE(Err("nodisplay").find("run with --offscreen"), std::string::npos) << Err("nodisplay");

    env["VK_ICD_FILENAMES"] = env["VK_DRIVER_FILES"] = "/nonexistent.json";
    env["QUORL_VK_VALIDATION"] = std::nullopt;  // the layer has no driver to check either
    EXPECT_EQ(RunToEnd("novulkan", {"--offscreen", "--frames", "2"}), 1);
    EXPECT_NE(Err("novulkan").find("cannot start the renderer: No Vulkan driver"), std::string::npos)
        << Err("novulkan");
    env.erase("VK_ICD_FILENAMES");
    env.erase("VK_DRIVER_FILES");
    env["QUORL_VK_VALIDATION"] = "1";

    EXPECT_EQ(RunToEnd("nomodule", {"--offscreen", "--modules", "nosuch"}), 1);
    EXPECT_NE(Err("nomodule").find("no file"), std::string::npos) << Err("nomodule");
    EXPECT_EQ(RunToEnd("badoption", {"--offscreen", "--frames", "x"}), 2);

    // A save that can't be read: the run stops before its first frame and writes nothing.
    const std::string victim = files.begin()->first;
    testfiles::WriteAll((saves / victim).string(), "ZENDOLA!ENTITY !");
    files = SaveFiles();
    EXPECT_EQ(RunToEnd("broken", {"--offscreen", "--frames", "2"}), 1);
    EXPECT_NE(Err("broken").find("cannot load world 'demo'"), std::string::npos) << Err("broken");
    EXPECT_EQ(SaveFiles(), files);

    // A settings file that is not text is reported and left as it was; the game runs on defaults.
    fs::remove(saves / victim);
    const fs::path settings = root / "config" / "zendola" / "settings.ini";
    const std::string garbage("\x01\x02\x00\xff settings", 13);
    testfiles::WriteAll(settings.string(), garbage);
    EXPECT_EQ(RunToEnd("badsettings", {"--offscreen", "--frames", "2"}), 0) << Err("badsettings");
    EXPECT_NE(Err("badsettings").find("settings.ini"), std::string::npos) << Err("badsettings");
    EXPECT_EQ(testfiles::ReadAll(settings.string()), garbage);
}

// A private X server for the window, ended with the test.
class Xvfb {
public:
    Xvfb() {
        _display = ":" + std::to_string(40 + getpid() % 400);
        const char* argv[] = {"Xvfb", _display.c_str(), "-screen", "0", "640x400x24", "-nolisten", "tcp", nullptr};
        if (posix_spawnp(&_pid, "Xvfb", nullptr, nullptr, const_cast<char**>(argv), environ) != 0) _pid = 0;
        for (int i = 0; _pid && i < 100 && !fs::exists("/tmp/.X11-unix/X" + _display.substr(1)); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    ~Xvfb() {
        if (!_pid) return;
        kill(_pid, SIGTERM);
        waitpid(_pid, nullptr, 0);
    }
    bool Running() const { return _pid != 0 && fs::exists("/tmp/.X11-unix/X" + _display.substr(1)); }
    const std::string& Display() const { return _display; }
    // Runs xdotool on this display; true when it succeeded.
    bool Do(const std::string& args) const {
        return std::system(("DISPLAY=" + _display + " xdotool " + args + " >/dev/null 2>&1").c_str()) == 0;
    }

private:
    std::string _display;
    pid_t _pid = 0;
};

TEST_F(ClientProcess, InAWindowKeysFlyF12TakesPicturesAndHoldingEscapeQuitsAndSaves) {
    if (std::system("command -v xdotool >/dev/null 2>&1") != 0) GTEST_SKIP() << "xdotool is not installed";
    Xvfb x;
    if (!x.Running()) GTEST_SKIP() << "Xvfb can't be started";
    env["DISPLAY"] = x.Display();
    // The X and driver libraries that GLFW opens keep allocations past their unloading, where
    // LeakSanitizer can only name them "unknown module": the window's run is not leak-checked.
    env["ASAN_OPTIONS"] = "detect_leaks=0";
    pid_t pid = Start("window", {"--width", "320", "--height", "180", "--progress", "0.5"});
    // Five seconds in, the boxes have come to rest.
    ASSERT_TRUE(WaitForTicks("window", 300)) << Out("window") << Err("window");
    auto shots = [&] {
        std::vector<fs::path> files;
        if (fs::is_directory(root / "pictures"))
            for (const auto& e : fs::directory_iterator(root / "pictures")) files.push_back(e.path());
        std::sort(files.begin(), files.end());
        return files;
    };
    auto screenshot = [&](size_t count) {
        EXPECT_TRUE(x.Do("keydown F12 sleep 0.1 keyup F12"));
        for (int i = 0; i < 100 && shots().size() < count; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        EXPECT_EQ(shots().size(), count) << Out("window");
        return shots().empty() ? Picture() : Load(shots().back());
    };
    // The game starts at the main menu, over the running world.
    Picture menu = screenshot(1);
    ASSERT_FALSE(menu.rgba.empty());
    EXPECT_TRUE(MatchesGolden("client_window_start", menu.rgba, uint32_t(menu.width), uint32_t(menu.height), 8, 0.01));
    // PLAY sits just above the centre: (160, 85) in a 320 x 180 window.
    EXPECT_TRUE(x.Do("search --sync --name Zendola mousemove --window %1 160 85 "
                     "sleep 0.2 mousedown 1 sleep 0.2 mouseup 1"));
    ASSERT_TRUE(WaitForLine("window", [](const std::string& line) { return line == "Main menu: PLAY"; }))
        << Out("window");
    Picture before = screenshot(2);
    EXPECT_NE(before.rgba, menu.rgba) << "the menu is still shown";

    // Fly forward and up while the mouse turns the view up.
    EXPECT_TRUE(x.Do("keydown w keydown space"));
    EXPECT_TRUE(x.Do("mousemove_relative --sync -- 0 -30"));
    std::this_thread::sleep_for(std::chrono::milliseconds(800));
    EXPECT_TRUE(x.Do("keyup w keyup space"));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    Picture after = screenshot(3);
    EXPECT_NE(after.rgba, before.rgba) << "the view did not change";

    // A tap of Escape is not enough; two seconds of it quit.
    EXPECT_TRUE(x.Do("key Escape"));
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    EXPECT_EQ(Out("window").find("Escape held"), std::string::npos);
    EXPECT_TRUE(x.Do("keydown Escape"));
    std::this_thread::sleep_for(std::chrono::milliseconds(2600));
    x.Do("keyup Escape");
    EXPECT_EQ(Wait(pid), 0) << Err("window");
    EXPECT_NE(Out("window").find("Escape held: quitting"), std::string::npos) << Out("window");
    EXPECT_NE(Out("window").find("Saved 13 entities"), std::string::npos) << Out("window");
    EXPECT_EQ(SaveFiles().size(), 13u);
}

}  // namespace
