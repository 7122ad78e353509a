#include "game/Game.h"

#include <chrono>
#include <filesystem>
#include <iostream>

#include <glm/geometric.hpp>
#include <imgui.h>

#include "game/ElectronWebview.h"
#include "game/GAME_Mod.h"
#include "game/GameSettings.h"
#include "game/Options.h"
#include "game/SERVER_Mod.h"
#include "game/ZENDOLA_Mod.h"
#include "game/audio/EnvironmentAudio.h"
#include "game/entity/ClientSideEntity.h"
#include "game/entity/ServerSideEntity.h"
#include "game/graphics/GameRenderer.h"
#include "game/graphics/ui/Element.h"
#include "game/input/Controller.h"
#include "game/input/Joystick.h"
#include "quorl/audio/Studio.h"
#include "quorl/cpu/Profiler.h"
#include "quorl/graphics/Window.h"

namespace game {

graphics::GameRenderer* Game::renderer = nullptr;
quorl::graphics::Window* Game::window = nullptr;
quorl::audio::Studio* Game::audio = nullptr;
audio::EnvironmentAudio* Game::environmentAudio = nullptr;
GameSettings* Game::settings = nullptr;
Config Game::config;
ElectronWebview Game::electronWebview;

std::atomic<bool> Game::isActive{false};
int32_t Game::_mode = 0;
bool Game::_is_server = false;
std::vector<std::string> Game::_mods;
std::string Game::_current_world;
uint64_t Game::offlineSteamId = 0;
std::string Game::offlineSteamUsername;
bool Game::timeActive = true;
double Game::timeOffset = 0;
double Game::timestamp = 0;
bool Game::uiVisible = true;
bool Game::settingsWindowOpen = false;
bool Game::adminWindowOpen = false;

bool Game::_mouseLook = false;
uint8_t Game::_inputMode = 0;
std::map<int, std::shared_ptr<input::Joystick>> Game::_joysticks;
std::shared_ptr<graphics::ui::InventoryUi::Tool> Game::activeTool;
std::shared_ptr<graphics::ui::InventoryUi::Item> Game::activeItem;
std::shared_ptr<graphics::ui::InventoryUi> Game::userInventory;
uint32_t Game::currentMonitorX = 0;
uint32_t Game::currentMonitorY = 0;
double Game::currentMonitorDistance = 0;

quorl::FPSCounter Game::mainRenderingFramerate(0.3);
quorl::FPSCounter Game::serverFramerate(0.5);
quorl::FPSCounter Game::inputFramerate(0.5);
quorl::FPSCounter Game::gameFramerate(0.5);
double Game::serverSideSyncAvgTime = 0;
double Game::serverSidePhysicsAvgTime = 0;
bool Game::serverSideEntityPerformanceMetrics = false;
std::unordered_map<entity::Id, double> Game::_serverSideEntityPerformance_timers;
std::unordered_map<entity::Id, double> Game::serverSideEntityPerformance_avg_time;
bool Game::debugServerSidePhysics = false;
bool Game::debugClientSidePhysics = false;
std::vector<Game::PhysicsLineDebug> Game::physicsDebugLines_front;
std::vector<Game::PhysicsLineDebug> Game::physicsDebugLines_staging;
std::vector<Game::PhysicsLineDebug> Game::physicsDebugLines_back;
std::vector<Game::PhysicsColliderDebug> Game::physicsDebugColliders_front;
std::vector<Game::PhysicsColliderDebug> Game::physicsDebugColliders_staging;
std::vector<Game::PhysicsColliderDebug> Game::physicsDebugColliders_back;
bool Game::physicsDebugCollidersUpdated = false;
std::mutex Game::physicsDebugMutex;
entity::Id Game::debugGizmoEntityId;
glm::dmat4 Game::debugGizmoTransform{1.0};
int Game::debugGizmoOp = 0;
double Game::testSlider = 0;

entity::EnvironmentId Game::relativeEnvironmentId = 0;
entity::EnvironmentId Game::parentEnvironmentId = 0;
bool Game::environmentIsLoaded = false;
glm::dmat4 Game::backgroundTransform{1.0};
std::unordered_map<entity::EnvironmentId, Game::EnvironmentFunction> Game::_environmentFunctions;

std::vector<std::function<void()>> Game::_syncQueue;
std::mutex Game::_syncMutex;

namespace {

constexpr const char* kMonoFontPath = "game/graphics/ui/fonts/SourceCodePro-Semibold.otf";

double WallClockSeconds() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

double ClockMilliseconds() {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// The vehicle whose time an entity's work counts to.
entity::Id MeasuredId(const entity::ServerSideEntity& e) {
    if (!e.isComponent) return e.id;
    if (auto parent = entity::ServerSideEntity::Get(e.parentEntity)) return parent->GetVehicleID();
    return e.GetVehicleID();
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Run

void Game::Start() {
    environmentAudio = new audio::EnvironmentAudio(Game::audio);
    GAME_Mod::ForEachModule([](GAME_Mod::Ptr& mod) {
        if (mod->Game_Start) mod->Game_Start();
    });
    if (renderer) renderer->StartRendering();
    // A content module that fails to load stops nothing.
    for (const std::string& name : _mods) ZENDOLA_Mod::LoadModule(name, false);
    ZENDOLA_Mod::ForEachModule([](ZENDOLA_Mod::Ptr& mod) {
        if (mod->Load) mod->Load();
    });
    std::cout << "Shader compilation may take several minutes before starting the game the first time or after an "
                 "update..."
              << std::endl;
}

void Game::Ready() {
    std::cout << "Starting game..." << std::endl;
    GAME_Mod::ForEachModule([](GAME_Mod::Ptr& mod) {
        if (mod->Game_Ready) mod->Game_Ready();
    });
}

void Game::Update(double) {
    static double avgDeltaTime = 1.0 / 60.0;
    avgDeltaTime = 0.5 * avgDeltaTime + 0.5 * mainRenderingFramerate.GetFrameDuration();
    {
        std::lock_guard lock(_syncMutex);
        size_t done = 0;
        try {
            for (; done < _syncQueue.size(); ++done) _syncQueue[done]();
        } catch (...) {
            // The work that ran (and the one that failed) is not run again next frame.
            _syncQueue.erase(_syncQueue.begin(), _syncQueue.begin() + long(done + 1));
            throw;
        }
        _syncQueue.clear();
    }
    if (audio) {
        audio->SetVolume(0.5f * (settings ? settings->master_volume : 1.0f), "bus:/");
        // The ambience takes the environment volume as its own (EnvironmentAudio::SetWindSpeed).
        audio->SetVolume(settings ? settings->entities_volume : 1.0f, "bus:/entities");
        audio->SetVolume(settings ? settings->interface_volume : 1.0f, "bus:/interface");
        if (renderer) {
            const graphics::GameRenderer::Camera& camera = renderer->camera;
            glm::vec3 position(camera.worldTransform * camera.origin);
            glm::vec3 forward = glm::normalize(glm::vec3(camera.worldTransform * camera.forward));
            glm::vec3 up = glm::normalize(glm::vec3(camera.worldTransform * camera.up));
            audio->SetListenerAttributes(position.x, position.y, position.z, 0, 0, 0, forward.x, forward.y, forward.z,
                                         up.x, up.y, up.z);
        }
        audio->Update();
    }
    const double dt = avgDeltaTime;
    entity::ClientSideEntity::ForEach([dt](std::shared_ptr<entity::ClientSideEntity> e) { e->Update(dt); });
    entity::ClientSideEntity::PhysicsUpdate(dt);
    GAME_Mod::ForEachSortedModule("update", [dt](GAME_Mod::Ptr& mod) {
        if (mod->Game_Update) mod->Game_Update(dt);
    });
    entity::ClientSideEntity::ForEach([dt](std::shared_ptr<entity::ClientSideEntity> e) { e->AfterUpdate(dt); });
}

void Game::ClientUpdate() {
    GAME_Mod::ForEachModule([](GAME_Mod::Ptr& mod) {
        if (mod->Game_ClientUpdate) mod->Game_ClientUpdate();
    });
}

void Game::InputUpdate(double deltaTime) {
    input::Controller::InputUpdate(deltaTime);
    GAME_Mod::ForEachModule([deltaTime](GAME_Mod::Ptr& mod) {
        if (mod->Input_Update) mod->Input_Update(deltaTime);
    });
}

void Game::InputUpdate_Play(double deltaTime) {
    if (std::shared_ptr<graphics::ui::InventoryUi::Tool> tool = activeTool) tool->InputUpdate(deltaTime);
    GAME_Mod::ForEachModule([deltaTime](GAME_Mod::Ptr& mod) {
        if (mod->Input_Update_Play) mod->Input_Update_Play(deltaTime);
    });
}

void Game::InputUpdate_Station(double deltaTime) {
    GAME_Mod::ForEachModule([deltaTime](GAME_Mod::Ptr& mod) {
        if (mod->Input_Update_Station) mod->Input_Update_Station(deltaTime);
    });
}

void Game::ServerUpdate(double deltaTime, int substeps) {
    using entity::ServerSideEntity;
    quorl::cpu::Profiler profile("ServerUpdate", true);
    const double dt = deltaTime;
    if (timeActive) timestamp = WallClockSeconds() + timeOffset;

    SERVER_Mod::ForEachModule([dt](SERVER_Mod::Ptr& mod) {
        quorl::cpu::Profiler scope("ForEachModule::Server_BeforeUpdate", true);
        if (mod->Server_BeforeUpdate) mod->Server_BeforeUpdate(dt);
    });

    if (!serverSideEntityPerformanceMetrics) {
        {
            quorl::cpu::Profiler scope("ForEachEntity::BeforeUpdate", true);
            ServerSideEntity::ForEach([dt](std::shared_ptr<ServerSideEntity> e) { e->BeforeUpdate(dt); });
        }
        {
            quorl::cpu::Profiler scope("ForEachEntity::Update", true);
            ServerSideEntity::ForEach([dt](std::shared_ptr<ServerSideEntity> e) {
                e->Update(dt);
                e->RefreshCache();
            });
        }
        ServerSideEntity::PhysicsUpdate(dt, substeps);
        {
            quorl::cpu::Profiler scope("ForEachEntity::AfterUpdate", true);
            ServerSideEntity::ForEach([dt](std::shared_ptr<ServerSideEntity> e) {
                e->RefreshCache();
                e->AfterUpdate(dt);
            });
        }
    } else {
        auto& timers = _serverSideEntityPerformance_timers;
        ServerSideEntity::ForEach([&timers](std::shared_ptr<ServerSideEntity> e) {
            if (!e->isComponent) timers[e->id] = 0;
        });
        {
            quorl::cpu::Profiler scope("ForEachEntity::BeforeUpdate", true);
            ServerSideEntity::ForEach([&timers, dt](std::shared_ptr<ServerSideEntity> e) {
                double& timer = timers[MeasuredId(*e)];
                timer -= ClockMilliseconds();
                e->BeforeUpdate(dt);
                timer += ClockMilliseconds();
            });
        }
        {
            quorl::cpu::Profiler scope("ForEachEntity::Update", true);
            ServerSideEntity::ForEach([&timers, dt](std::shared_ptr<ServerSideEntity> e) {
                double& timer = timers[MeasuredId(*e)];
                timer -= ClockMilliseconds();
                e->Update(dt);
                e->RefreshCache();
                timer += ClockMilliseconds();
            });
        }
        ServerSideEntity::PhysicsUpdate(dt, substeps);
        {
            quorl::cpu::Profiler scope("ForEachEntity::AfterUpdate", true);
            ServerSideEntity::ForEach([&timers, dt](std::shared_ptr<ServerSideEntity> e) {
                double& timer = timers[MeasuredId(*e)];
                timer -= ClockMilliseconds();
                e->RefreshCache();
                e->AfterUpdate(dt);
                timer += ClockMilliseconds();
            });
        }
        ServerSideEntity::ForEach([&timers, dt](std::shared_ptr<ServerSideEntity> e) {
            if (e->isComponent) return;
            double t = timers[e->id];
            double& a = serverSideEntityPerformance_avg_time[e->id];
            a = dt * t + (1.0 - dt) * a;
        });
    }

    SERVER_Mod::ForEachModule([dt](SERVER_Mod::Ptr& mod) {
        // The debug panels know this walk by this name, not by the hook's.
        quorl::cpu::Profiler scope("ForEachModule::Server_AfterUpdate", true);
        if (mod->Server_GameUpdate) mod->Server_GameUpdate(dt);
    });
}

void Game::Quit() noexcept {
    SetMouseLook(false);
    isActive.store(false);
    std::lock_guard lock(Options::_mu);
    Options::_options.clear();
}

void Game::Stop() {
    if (renderer) renderer->StopRendering();
    ZENDOLA_Mod::ForEachModule([](ZENDOLA_Mod::Ptr& mod) {
        if (mod->Unload) mod->Unload();
    });
    ZENDOLA_Mod::UnloadModules();
    GAME_Mod::ForEachModule([](GAME_Mod::Ptr& mod) {
        if (mod->Game_Stop) mod->Game_Stop();
    });
    {
        // Moved out under the lock, released after it: entity destructors may look at the registry.
        std::unordered_map<entity::Id, std::shared_ptr<entity::ClientSideEntity>> released;
        {
            std::unique_lock lock(entity::ClientSideEntity::_sharedObjectsMutex);
            released.swap(entity::ClientSideEntity::_sharedObjects);
        }
    }
    entity::ClientSideEntity::_registered_interfaces.clear();
    entity::ClientSideEntity::_registered_items_module.clear();
    graphics::ui::InventoryUi::ItemCreatorFunctions.clear();
    {
        std::lock_guard lock(graphics::ui::InventoryUi::_inventoriesMutex);
        graphics::ui::InventoryUi::_inventories.clear();
    }
    if (renderer) renderer->Cleanup();
    {
        // As for the entities: whatever the last reference to an element's record keeps alive
        // (a deleter's captures) goes after the lock, free to look at the registry.
        std::vector<std::weak_ptr<graphics::ui::Element>> released;
        {
            std::unique_lock lock(graphics::ui::Element::_sharedObjectsMutex);
            released.swap(graphics::ui::Element::_sharedObjects);
        }
    }
    delete environmentAudio;
    environmentAudio = nullptr;
    environmentIsLoaded = false;
    parentEnvironmentId = 0;
    relativeEnvironmentId = 0;
    activeItem.reset();
    activeTool.reset();
    userInventory.reset();
    _inputMode = 0;
    _mouseLook = false;
    _joysticks.clear();
    config.Clear();
    settingsWindowOpen = false;
    adminWindowOpen = false;
    uiVisible = true;
}

void Game::Synchronize(std::function<void()> f) {
    std::lock_guard lock(_syncMutex);
    _syncQueue.push_back(std::move(f));
}

// ---------------------------------------------------------------------------------------------
// Input modes

void Game::SetMouseLook(bool on) {
    if (!window || _mouseLook == on) return;
    if (on && window->IsFocused()) {
        window->SetInputMode(quorl::graphics::CURSOR, quorl::graphics::CURSOR_DISABLED);
        window->SetCursorPos(0, 0);
        if (ImGui::GetCurrentContext()) ImGui::SetWindowFocus(nullptr);
        _mouseLook = true;
    } else {
        window->SetInputMode(quorl::graphics::CURSOR, quorl::graphics::CURSOR_NORMAL);
        _mouseLook = false;
    }
}

void Game::SetInputMode_Ui() {
    if (window && _mouseLook) {
        window->SetInputMode(quorl::graphics::CURSOR, quorl::graphics::CURSOR_NORMAL);
        _mouseLook = false;
    }
    _inputMode = 0;
}

void Game::SetInputMode_Play() {
    SetMouseLook(true);
    _inputMode = 1;
}

void Game::SetInputMode_Station() {
    SetMouseLook(true);
    _inputMode = 2;
}

void Game::Play() {
    SetInputMode_Play();
}

void Game::Pause() {}

// ---------------------------------------------------------------------------------------------
// Joysticks

namespace {

bool IsJoystick(const input::Joystick& j) {
    return !j.isGamepad && j.axisCount >= 2;
}

// The index-th connected device that passes `fits`, in key order.
template <class F>
std::shared_ptr<input::Joystick> FindDevice(int index, F&& fits) {
    for (auto& [slot, joystick] : Game::_joysticks) {
        if (!joystick || !joystick->connected || !fits(*joystick)) continue;
        if (index-- == 0) return joystick;
    }
    return nullptr;
}

}  // namespace

std::shared_ptr<input::Joystick> Game::GetFirstJoystick() {
    return FindDevice(0, IsJoystick);
}

std::shared_ptr<input::Joystick> Game::GetFirstGamepad() {
    return FindDevice(0, [](const input::Joystick& j) { return j.isGamepad; });
}

std::shared_ptr<input::Joystick> Game::GetJoystick(int index) {
    return FindDevice(index, IsJoystick);
}

std::shared_ptr<input::Joystick> Game::GetJoystick(const std::string& guid, int index) {
    if (guid.empty()) return GetJoystick(index);
    return FindDevice(index, [&guid](const input::Joystick& j) { return j.IsSameGUID(guid); });
}

std::shared_ptr<input::Joystick> Game::GetGamepad(const std::string& guid, int index) {
    return FindDevice(index,
                      [&guid](const input::Joystick& j) { return j.isGamepad && (guid.empty() || j.IsSameGUID(guid)); });
}

// ---------------------------------------------------------------------------------------------
// Fonts, style, help

void Game::LoadFonts() {
    std::error_code ec;
    if (std::filesystem::is_regular_file(kMonoFontPath, ec))
        ImGui::GetIO().Fonts->AddFontFromFileTTF(kMonoFontPath, 32.0f);
    else
        std::cerr << "Font file not found: " << kMonoFontPath << std::endl;
    graphics::ui::InventoryUi::LoadFonts();
}

void Game::SetupUiStyle() {
    const float scaling = settings ? settings->ui_scaling : 1.0f;
    ImGuiStyle& style = ImGui::GetStyle();
    style.Alpha = 0.8f;
    style.WindowPadding = ImVec2(10, 10);
    style.WindowRounding = 0;
    style.WindowBorderSize = 2;
    style.WindowMinSize = ImVec2(300, 100);
    style.WindowTitleAlign = ImVec2(0.5f, 0.5f);
    style.FramePadding = ImVec2(10, 5);
    style.FrameRounding = 4;
    ImGui::GetIO().FontGlobalScale = 0.5f * scaling;
    style.ScaleAllSizes(scaling);
}

float Game::GetUiScaling() {
    if (!ImGui::GetCurrentContext()) return settings ? settings->ui_scaling : 1.0f;
    return 2.0f * ImGui::GetIO().FontGlobalScale;
}

bool Game::ShowHelpTooltip() {
    if (!settings || !settings->show_help_tooltips) return false;
    if (!ImGui::GetCurrentContext() || ImGui::IsWindowFocused(ImGuiFocusedFlags_AnyWindow)) return false;
    if (!_mouseLook) return false;
    // Not while a tool is in use or being configured.
    if (input::Controller::GetAvatarToolPrimary() != 0 || input::Controller::GetAvatarToolSecondary() != 0 ||
        input::Controller::GetAvatarToolConfigure())
        return false;
    const ImGuiViewport* viewport = ImGui::GetMainViewport();
    ImGui::SetNextWindowPos(ImVec2(viewport->Pos.x + viewport->Size.x, viewport->Pos.y), ImGuiCond_Always,
                            ImVec2(1.0f, 0.0f));
    ImGui::SetNextWindowBgAlpha(0.5f);
    ImGui::Begin("Help Tooltips", nullptr,
                 ImGuiWindowFlags_NoDecoration | ImGuiWindowFlags_AlwaysAutoResize | ImGuiWindowFlags_NoSavedSettings |
                     ImGuiWindowFlags_NoFocusOnAppearing | ImGuiWindowFlags_NoNav | ImGuiWindowFlags_NoInputs);
    ImGui::TextUnformatted("Help Tooltips (Press F1 and uncheck \"Show Help Tooltips\" to disable)");
    ImGui::Separator();
    ImGui::End();
    return true;
}

const char* Game::GetModeName() {
    switch (_mode) {
        case 0: return "Game Mode: Creative";
        case 1: return "Game Mode: Adventure";
        default: return "Game Mode: Survival";
    }
}

}  // namespace game
