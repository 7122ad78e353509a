// Controller::InputUpdate with all 63 bindings set on a key, a gamepad source and a joystick
// source, against a loop that reads the same sources directly (the window's keys and mouse
// buttons, the gamepad's and the joystick's buttons and axes, the joystick found by GUID and
// index as the controller finds it). Compare BM_InputUpdate with BM_DirectReads of the same run
// and mode. The allocations counter must read 0: an update allocates nothing.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include "AllocationCounter.h"
#include "game/Game.h"
#include "game/GameSettings.h"
#include "game/input/Controller.h"
#include "game/input/Joystick.h"
#include "quorl/graphics/Window.h"

namespace {

using game::Game;
using game::GameSettings;
using game::input::Controller;
using game::input::Joystick;
using quorl::graphics::Window;

constexpr char kStickGuid[] = "030000006d04000015c2000010010000";

// A window with a gamepad and a joystick, and settings whose every binding has a key, a gamepad
// button or axis, and a joystick button or axis. Everything is pressed or deflected.
struct Scene {
    Window window;
    std::filesystem::path path = std::filesystem::temp_directory_path() / "zendola_bench_input.ini";
    std::unique_ptr<GameSettings> settings;

    explicit Scene(int mode) {
        std::ofstream(path) << "[input]\n";  // an empty settings file: the defaults
        settings = std::make_unique<GameSettings>(path.string(), 0);
        Window::Joystick pad;
        pad.guid = "pad";
        pad.isGamepad = true;
        pad.axes.assign(6, 0.5f);
        pad.buttons.assign(15, 1);
        for (unsigned char& b : pad.gamepad.buttons) b = 1;
        for (float& a : pad.gamepad.axes) a = 0.5f;
        window.SetJoystick(0, pad);
        Window::Joystick stick;
        stick.guid = kStickGuid;
        stick.axes.assign(4, -0.5f);
        stick.buttons.assign(16, 1);
        window.SetJoystick(1, stick);
        for (int key = 0; key <= quorl::graphics::KEY_LAST; ++key) window.SetKey(key, quorl::graphics::PRESS);
        for (int b = 0; b <= quorl::graphics::MOUSE_BUTTON_LAST; ++b) window.SetMouseButton(b, quorl::graphics::PRESS);

        int i = 0;
        for (const auto& k : GameSettings::BindingKeys()) {
            GameSettings::InputBinding& b = (*settings).*(k.field);
            if (b.key < 0 && b.mouseButton < 0) b.key = 65 + i % 26;
            if (b.gamepadButton < 0 && b.gamepadAxis < 0) b.gamepadButton = i % 15;
            b.joystickGuid = kStickGuid;
            b.joystickIndex = 0;
            if (i % 2) b.joystickAxis = int16_t(i % 4), b.joystickAxisDirection = -1;
            else b.joystickButton = i % 16;
            ++i;
        }
        Game::window = &window;
        Game::settings = settings.get();
        Game::_inputMode = uint8_t(mode);
        Game::_mouseLook = true;
        Game::_joysticks.clear();
        Controller::Reset();
        Controller::InputUpdate(0.016);  // finds the devices
    }
    ~Scene() {
        Game::window = nullptr;
        Game::settings = nullptr;
        Game::_inputMode = 0;
        Game::_mouseLook = false;
        Game::_joysticks.clear();
        std::filesystem::remove(path);
    }
};

void BM_InputUpdate(benchmark::State& state) {
    Scene scene(int(state.range(0)));
    const uint64_t before = gAllocations.load();
    for (auto _ : state) {
        Controller::InputUpdate(0.016);
        benchmark::DoNotOptimize(Controller::state);
    }
    state.counters["allocations"] = double(gAllocations.load() - before) / double(state.iterations());
}
BENCHMARK(BM_InputUpdate)->Arg(1)->Arg(2);

// The same sources read one by one, with no rules: the cost of touching the devices.
void BM_DirectReads(benchmark::State& state) {
    Scene scene(int(state.range(0)));
    const GameSettings& g = *scene.settings;
    const float gamepadDeadzone = g.input_gamepad_axis_deadzone, joystickDeadzone = g.input_joystick_axis_deadzone;
    const uint64_t before = gAllocations.load();
    for (auto _ : state) {
        for (auto& [slot, joystick] : Game::_joysticks) joystick->InputUpdate();
        std::shared_ptr<Joystick> pad = Game::GetFirstGamepad();
        double x, y;
        scene.window.GetCursorPos(x, y);
        scene.window.SetCursorPos(0, 0);
        double sum = x + y;
        for (const auto& k : GameSettings::BindingKeys()) {
            const GameSettings::InputBinding& b = g.*(k.field);
            if (b.key >= 0) sum += scene.window.GetKey(b.key);
            if (b.mouseButton >= 0) sum += scene.window.GetMouseButton(b.mouseButton);
            if (b.gamepadAxis >= 0) sum += pad->GetGamepadAxis(b.gamepadAxis, gamepadDeadzone, false, false);
            if (b.gamepadButton >= 0) sum += pad->GetGamepadButton(b.gamepadButton);
            if (std::shared_ptr<Joystick> j = Game::GetJoystick(b.joystickGuid, b.joystickIndex)) {
                if (b.joystickAxis >= 0) sum += j->GetAxis(b.joystickAxis, joystickDeadzone, false, false);
                else sum += j->GetButton(b.joystickButton);
            }
        }
        benchmark::DoNotOptimize(sum);
    }
    state.counters["allocations"] = double(gAllocations.load() - before) / double(state.iterations());
}
BENCHMARK(BM_DirectReads)->Arg(1)->Arg(2);

}  // namespace

BENCHMARK_MAIN();
