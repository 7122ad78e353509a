#include "game/Game.h"

namespace game {

quorl::graphics::Window* Game::window = nullptr;
quorl::audio::Studio* Game::audio = nullptr;

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

void Game::Synchronize(std::function<void()> f) {
    std::lock_guard lock(_syncMutex);
    _syncQueue.push_back(std::move(f));
}

}  // namespace game
