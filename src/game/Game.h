#pragma once
#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

#include "game/Config.h"
#include "game/UniqueId.h"
#include "game/graphics/ui/InventoryUi.h"
#include "game/physics/EnvironmentInfo.h"
#include "quorl/FPSCounter.h"
#include "quorl/SharedMutex.h"

namespace quorl::graphics {
class Window;
}
namespace quorl::audio {
class Studio;
}
namespace game::graphics {
class GameRenderer;
}
namespace game::audio {
class EnvironmentAudio;
}
namespace game::input {
class Joystick;
}

namespace game {

class ElectronWebview;
class GameSettings;

// The library's process-wide state and entry points; static members only. The host fills the
// public statics, calls Start, Ready, then the loop entry points from its own threads while
// isActive holds, then Quit and Stop.
class Game {
public:
    Game() = delete;

    // One line of the physics debug drawing.
    struct PhysicsLineDebug {
        entity::Id entity;
        glm::dvec3 from{0.0};
        glm::dvec3 to{0.0};
        float color[4]{};
    };
    // One collider of the physics debug drawing.
    struct PhysicsColliderDebug {
        entity::Id entity;
        glm::dmat4 transform{1.0};
        glm::vec3 box_min{0.0f};
        glm::vec3 box_max{0.0f};
        float color[4]{};
    };

    using EnvironmentFunction = physics::EnvironmentFunction;

    // Core objects, set by the host (environmentAudio is made by Start).
    static graphics::GameRenderer* renderer;
    static quorl::graphics::Window* window;
    static quorl::audio::Studio* audio;
    static audio::EnvironmentAudio* environmentAudio;
    static GameSettings* settings;
    // The process-wide YAML document for modules: empty at start, cleared by Stop.
    static Config config;
    // The web view (game/ElectronWebview.h); the host runs its pipe loops (WebviewHost).
    static ElectronWebview electronWebview;

    // Run control.
    static std::atomic<bool> isActive;
    static int32_t _mode;
    static bool _is_server;
    static std::vector<std::string> _mods;
    static std::string _current_world;
    static uint64_t offlineSteamId;
    static std::string offlineSteamUsername;
    static bool timeActive;
    static double timeOffset;
    static double timestamp;
    static bool uiVisible;
    static bool settingsWindowOpen;
    static bool adminWindowOpen;

    // Input state.
    static bool _mouseLook;
    static uint8_t _inputMode;  // 0 user interface, 1 play, 2 station
    static std::map<int, std::shared_ptr<input::Joystick>> _joysticks;
    static std::shared_ptr<graphics::ui::InventoryUi::Tool> activeTool;
    static std::shared_ptr<graphics::ui::InventoryUi::Item> activeItem;
    static std::shared_ptr<graphics::ui::InventoryUi> userInventory;
    static uint32_t currentMonitorX;
    static uint32_t currentMonitorY;
    static double currentMonitorDistance;

    // Timing and diagnostics.
    static quorl::FPSCounter mainRenderingFramerate;
    static quorl::FPSCounter serverFramerate;
    static quorl::FPSCounter inputFramerate;
    static quorl::FPSCounter gameFramerate;
    static double serverSideSyncAvgTime;
    static double serverSidePhysicsAvgTime;
    static bool serverSideEntityPerformanceMetrics;
    static std::unordered_map<entity::Id, double> _serverSideEntityPerformance_timers;
    static std::unordered_map<entity::Id, double> serverSideEntityPerformance_avg_time;
    static bool debugServerSidePhysics;
    static bool debugClientSidePhysics;
    static std::vector<PhysicsLineDebug> physicsDebugLines_front;
    static std::vector<PhysicsLineDebug> physicsDebugLines_staging;
    static std::vector<PhysicsLineDebug> physicsDebugLines_back;
    static std::vector<PhysicsColliderDebug> physicsDebugColliders_front;
    static std::vector<PhysicsColliderDebug> physicsDebugColliders_staging;
    static std::vector<PhysicsColliderDebug> physicsDebugColliders_back;
    static bool physicsDebugCollidersUpdated;
    static std::mutex physicsDebugMutex;
    static entity::Id debugGizmoEntityId;
    static glm::dmat4 debugGizmoTransform;
    static int debugGizmoOp;
    static double testSlider;

    // Environment.
    static entity::EnvironmentId relativeEnvironmentId;
    static entity::EnvironmentId parentEnvironmentId;
    static bool environmentIsLoaded;
    static glm::dmat4 backgroundTransform;
    static std::unordered_map<entity::EnvironmentId, EnvironmentFunction> _environmentFunctions;

    // Thread hand-over.
    static std::vector<std::function<void()>> _syncQueue;
    static std::mutex _syncMutex;

    // Entry points, in the order of a run.
    static void LoadFonts();
    static void SetupUiStyle();
    static void Start();
    static void Ready();
    // The argument is ignored: the time base is the rendering loop's frame time, smoothed.
    static void Update(double ignored);
    static void ClientUpdate();
    static void InputUpdate(double deltaTime);
    static void InputUpdate_Play(double deltaTime);
    static void InputUpdate_Station(double deltaTime);
    // Server tick: module hooks, the entity passes and the physics step (substeps per tick).
    static void ServerUpdate(double deltaTime, int substeps);
    static void Stop();
    // From any thread: ends the loops at their next test of isActive.
    static void Quit() noexcept;

    // Posts work for the thread that runs Update. Never call it from queued work.
    static void Synchronize(std::function<void()> f);

    static void SetMouseLook(bool on);
    static void SetInputMode_Ui();
    static void SetInputMode_Play();
    static void SetInputMode_Station();
    static void Play();
    static void Pause();

    // Twice the user interface's global font scale.
    static float GetUiScaling();
    // Opens the play view's help window when tooltips are wanted; the caller appends lines.
    static bool ShowHelpTooltip();
    // "Game Mode: Creative", "Game Mode: Adventure" or "Game Mode: Survival" for _mode.
    static const char* GetModeName();

    // Devices of _joysticks in key order, connected only. A joystick is not a gamepad and has at
    // least 2 axes. Null when nothing fits.
    static std::shared_ptr<input::Joystick> GetFirstJoystick();
    static std::shared_ptr<input::Joystick> GetFirstGamepad();
    static std::shared_ptr<input::Joystick> GetJoystick(int index);
    static std::shared_ptr<input::Joystick> GetJoystick(const std::string& guid, int index);
    static std::shared_ptr<input::Joystick> GetGamepad(const std::string& guid, int index);

    // Inter-module channels: a process-wide board of named text values. A value holds at most
    // ImcValueLimit characters; longer texts are cut. Readers on any thread always see a whole
    // value, never a mix of two writes.
    static constexpr size_t ImcValueLimit = 4095;
    static std::string GetIMC(const std::string& key, const std::string& defaultValue);
    // The channel's text read with atof (0 for a text without a number), or the default if absent.
    static double GetNumericIMC(const std::string& key, double defaultValue);
    static void SetIMC(const std::string& key, const std::string& value);
    // Stores the shortest text that reads back to the same number.
    static void SetIMC(const std::string& key, double value);

    // Monitors: the name of what each in-game monitor id shows.
    static void AssignMonitor(unsigned int id, const std::string& name);
    // The name assigned to currentMonitorID, or "" when there is none.
    static std::string GetMonitor();

    static uint32_t currentMonitorID;  // the monitor the aim ray hits now

    static std::unordered_map<std::string, std::array<char, ImcValueLimit + 1>> _imcData;
    static quorl::SharedMutex _imcMutex;
    static std::unordered_map<uint32_t, std::string> _monitors;
    static std::mutex _monitorsMutex;
};

}  // namespace game
