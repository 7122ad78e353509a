// demo.GAME_Mod: the client half of the demo world, for the windowed host.
//   Game_Start        registers the client kinds (the same models as the server's);
//   Game_Ready        puts the player in the planet's environment, makes the sun light and
//                     the monitor's screen;
//   Input_Update_Play flies the drone camera with the avatar actions (input thread);
//   Renderer_FrameInit hands the camera to the renderer (render thread);
//   Game_Update       (sorted walk "update") draws the monitor each second and feeds the
//                     ambience its wind and surroundings (game thread);
//                     and offers the demo's program to the admin panel's editor;
//   Game_Stop         lets go of what Game_Ready made.
// The client entities themselves come from the server half's snapshots (DemoMirror.h).
#include <chrono>
#include <cmath>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <memory>
#include <mutex>
#include <sstream>

#include <glm/trigonometric.hpp>

#include "DemoMonitor.h"
#include "DemoWorld.h"
#include "DroneCamera.h"
#include "game/Game.h"
#include "game/audio/EnvironmentAudio.h"
#include "game/entity/ClientSideEntity.h"
#include "game/entity/EntityConfig.h"
#include "game/graphics/GameRenderer.h"
#include "game/graphics/LightSourceInstance.h"
#include "game/input/Controller.h"
#include "game/graphics/RenderableInstance.h"
#include "game/graphics/ui/AdminPanel.h"
#include "quorl/graphics/DynamicAsyncTexture.h"

using game::Game;
using game::entity::ClientSideEntity;
using game::input::Controller;

namespace {

// The client behaviour of every demo kind: the pose comes from the server, nothing more.
class DemoClientEntity : public ClientSideEntity::Interface {};

// Where the host asks the view to start: "X Y Z YAW PITCH" (metres; degrees, yaw turning right
// from looking along -z, pitch up) on the host's camera channel. Else looking down at the slab
// from the south-east, the monitor in front of it.
demo::DroneCamera StartCamera() {
    std::istringstream asked(Game::GetIMC("host.camera", ""));
    double x, y, z, yaw, pitch;
    if (asked >> x >> y >> z >> yaw >> pitch)
        return demo::DroneCamera(glm::dvec3(x, y, z), glm::radians(yaw), glm::radians(pitch));
    return demo::DroneCamera(glm::dvec3(5.0, 3.0, 7.0), -0.62, -0.3);
}

std::mutex gCameraMutex;  // the camera is flown on the input thread and read on the others
demo::DroneCamera gCamera = StartCamera();

std::shared_ptr<game::graphics::LightSourceInstance> gSun;
std::unique_ptr<demo::DemoMonitor> gMonitor;
// The monitor's screen on the GPU: texture gScreenTextureIndex of the renderer's list, shown on
// the "screen" material of a client-only monitor entity beside the slab.
std::shared_ptr<quorl::graphics::DynamicAsyncTexture> gScreenTexture;
uint32_t gScreenTextureIndex = 0;
constexpr const char* kMonitorModel = "data/models/monitor.ini";
// The sea's surface beyond the shoreline: the renderer draws no planet surface of its own.
constexpr const char* kSeaModel = "data/models/sea.ini";
// A small program of the demo (a door that opens for two seconds), edited from the admin panel.
constexpr const char* kProgramFile = "data/programs/demo.main.qc";
// Standing on the slab, whose top face is at y = 0.5.
const glm::dvec3 kMonitorPosition(2.0, 0.5, 2.6);

// Mouse travel of one window height turns the view by this much.
constexpr double kLookRadians = 3.0;
constexpr int kLookSettleFrames = 6;
int gLookFrames = 0;  // input frames since look mode began (input thread)

// In a lockstep run (the host's channel "host.lockstep" holds the tick rate) each game update is
// one tick: the monitor runs on that simulated time from midnight and shows the nominal rate, so
// that a run shows the same every time.
double gLockstepRate = 0;
uint64_t gUpdates = 0;  // game thread

demo::DroneCamera CameraNow() {
    std::lock_guard lock(gCameraMutex);
    return gCamera;
}

}  // namespace

extern "C" {

void Game_Start() {
    auto& kinds = ClientSideEntity::_registered_interfaces[demo::kModuleText];
    for (const demo::Kind& kind : demo::kKinds) {
        std::error_code ec;
        if (!std::filesystem::is_regular_file(kind.model, ec)) {
            std::cerr << "demo: model file " << std::filesystem::absolute(kind.model).string()
                      << " is missing; the client shows no " << kind.type << std::endl;
            continue;
        }
        kinds[kind.type] = {std::make_shared<game::entity::EntityConfig>(kind.model),
                            [] { return std::make_shared<DemoClientEntity>(); }};
        ClientSideEntity::_registered_items_module[kind.type] = demo::kModuleText;
    }
    // The monitor exists on the client only: it shows, it does not take part in the simulation.
    std::error_code ec;
    if (std::filesystem::is_regular_file(kMonitorModel, ec))
        kinds["monitor"] = {std::make_shared<game::entity::EntityConfig>(kMonitorModel),
                            [] { return std::make_shared<DemoClientEntity>(); }};
    if (std::filesystem::is_regular_file(kSeaModel, ec))
        kinds["sea"] = {std::make_shared<game::entity::EntityConfig>(kSeaModel),
                        [] { return std::make_shared<DemoClientEntity>(); }};
    gLockstepRate = Game::GetNumericIMC("host.lockstep", 0.0);
    gUpdates = 0;
    std::lock_guard lock(gCameraMutex);
    gCamera = StartCamera();
}

void Game_Ready() {
    // The player is in the planet's air: client entities flying fast through it get plasma trails.
    if (Game::_environmentFunctions.count(demo::kPlanetEnvironment)) Game::parentEnvironmentId = demo::kPlanetEnvironment;
    // A sun high in the south-west, warm white, reaching the whole scene.
    glm::vec3 direction = glm::normalize(glm::vec3(0.4f, -1.0f, 0.3f));
    gSun = std::make_shared<game::graphics::LightSourceInstance>(-direction * 400.0f, 20.0f, direction, 0.0f,
                                                                 glm::vec3(1.0f, 0.95f, 0.85f), 1.0e6f);
    gMonitor = std::make_unique<demo::DemoMonitor>();
    std::error_code ec;
    if (std::filesystem::is_regular_file(kProgramFile, ec))
        game::graphics::ui::AdminPanel::OfferProgram(std::filesystem::absolute(kProgramFile).string());
    if (!Game::renderer) return;
    gScreenTexture = std::make_shared<quorl::graphics::DynamicAsyncTexture>(
        Game::renderer->GetDevice(), demo::DemoMonitor::kWidth, demo::DemoMonitor::kHeight, "demo monitor");
    gScreenTextureIndex = Game::renderer->AddTexture(gScreenTexture, Game::renderer->SamplerNearest());
    if (ClientSideEntity::_registered_interfaces[demo::kModuleText].count("sea")) {
        auto sea = ClientSideEntity::Create(game::entity::Id::Generate("DEMO"), demo::ModuleId(), std::string("sea"));
        sea->moved = true;
    }
    if (!ClientSideEntity::_registered_interfaces[demo::kModuleText].count("monitor")) return;
    auto monitor =
        ClientSideEntity::Create(game::entity::Id::Generate("DEMO"), demo::ModuleId(), std::string("monitor"));
    monitor->position = kMonitorPosition;
    // Turned a little towards where the camera starts.
    monitor->rotation = glm::angleAxis(0.6, glm::dvec3(0, 1, 0));
    monitor->moved = true;
    for (auto& [name, instance] : monitor->renderableInstances)
        if (instance) instance->SetMonitorTexture("screen", gScreenTextureIndex, glm::vec3(1.0f));
}

// No frame runs from here on; the renderer's own cleanup forgets the texture.
void Game_Stop() {
    game::graphics::ui::AdminPanel::WithdrawPrograms();
    gSun.reset();
    gMonitor.reset();
    gScreenTexture.reset();
}

void Input_Update_Play(double dt) {
    demo::DroneCamera::Input in;
    in.yaw = Controller::GetAvatarYaw() * kLookRadians;
    in.pitch = -Controller::GetAvatarPitch() * kLookRadians;
    in.forward = Controller::GetAvatarTranslateForward() - Controller::GetAvatarTranslateBackward();
    in.right = Controller::GetAvatarTranslateRight() - Controller::GetAvatarTranslateLeft();
    in.up = (Controller::GetAvatarJump() ? 1.0 : 0.0) - (Controller::GetAvatarCrouch() ? 1.0 : 0.0);
    in.sprint = Controller::GetAvatarSprint();
    // The window warps the cursor when look mode begins: the travel of the first frames after
    // that is the warp, not the player's hand.
    gLookFrames = Game::_mouseLook ? gLookFrames + 1 : 0;
    if (gLookFrames <= kLookSettleFrames) in.yaw = in.pitch = 0;
    std::lock_guard lock(gCameraMutex);
    gCamera.Update(dt, in);
}

void Renderer_FrameInit() {
    if (!Game::renderer) return;
    Game::renderer->camera.worldTransform = CameraNow().Transform();
}

void Game_Update(double) {
    demo::DroneCamera camera = CameraNow();
    const double simulated = double(++gUpdates) / (gLockstepRate > 0 ? gLockstepRate : 1.0);
    const bool drew = gMonitor && (gLockstepRate > 0 ? gMonitor->Update(simulated, simulated, gLockstepRate)
                                                     : gMonitor->Update());
    if (drew && gScreenTexture && Game::renderer) {
        gScreenTexture->SetPixels(gMonitor->Rgba());
        Game::renderer->PushTexture(gScreenTexture);
    }
    if (Game::environmentAudio) {
        // What the renderer's rays would find around the camera, from the planet's own answer.
        game::audio::EnvironmentAudioData data;
        double density = 1.2;
        auto planet = Game::_environmentFunctions.find(demo::kPlanetEnvironment);
        if (planet != Game::_environmentFunctions.end()) {
            game::physics::EnvironmentInfo info = planet->second(camera.position, 1, 0.0);
            density = info.density;
            if (density > 500.0)
                data.hydrosphere = 1;
            else if (info.altitude < 30.0)
                data.terrain = 1;
            else
                data.miss = 1;
        } else {
            data.miss = 1;
        }
        Game::environmentAudio->UpdateData(&data);
        Game::environmentAudio->SetWindSpeed(float(glm::length(camera.velocity)), float(density));
    }
}

}
