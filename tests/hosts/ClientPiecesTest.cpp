// The windowed host's command line and the demo's client half in one process: the mirror of the
// server world, the drone camera and the monitor.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <tuple>

#include <glm/geometric.hpp>

#include "ClientOptions.h"
#include "DemoMirror.h"
#include "DemoMonitor.h"
#include "DemoWorld.h"
#include "DroneCamera.h"
#include "Planet.h"
#include "game/Game.h"
#include "game/entity/ClientSideEntity.h"
#include "game/entity/ServerSideEntity.h"
#include "game/physics/EnvironmentRandom.h"

extern "C" {
void Load();
void Unload();
void ModuleLoad();
void ModuleUnload();
void Server_Load();
}

using game::Game;
using game::entity::ClientSideEntity;
using game::entity::ServerSideEntity;

TEST(ClientOptions, OwnOptionsServerOptionsAndTheirErrors) {
    host::ClientParseResult r = host::ParseClientOptions(
        {"--offscreen", "--frames", "5", "--screenshot=a.png", "--width", "320", "--height=180", "--world", "w2",
         "--rate", "30", "--camera", "1.5,-2,3e2,-90,45"});
    ASSERT_EQ(r.error, "");
    EXPECT_EQ(r.options.camera, (std::vector<double>{1.5, -2, 300, -90, 45}));
    EXPECT_TRUE(r.options.offscreen);
    EXPECT_EQ(r.options.frames, 5u);
    EXPECT_EQ(r.options.screenshot, "a.png");
    EXPECT_EQ(r.options.width, 320);
    EXPECT_EQ(r.options.height, 180);
    EXPECT_EQ(r.options.server.world, "w2");  // through the server's parser
    EXPECT_EQ(r.options.server.rate, 30.0);

    // --benchmark fills what was not given, and keeps what was.
    r = host::ParseClientOptions({"--benchmark", "--width", "640"});
    ASSERT_EQ(r.error, "");
    EXPECT_TRUE(r.options.offscreen);
    EXPECT_EQ(r.options.frames, 600u);
    EXPECT_EQ(r.options.width, 640);
    EXPECT_EQ(r.options.height, 720);

    const std::pair<std::vector<std::string>, std::string> bad[] = {
        {{"--width", "8"}, "option --width: '8' is not a size"},
        {{"--frames", "-1"}, "option --frames: '-1'"},
        {{"--screenshot", "x.png"}, "--screenshot needs --offscreen"},
        {{"--poses", "p.txt"}, "belongs to zendola-server"},
        {{"--unpaced"}, "belongs to zendola-server"},
        {{"--fullscreen"}, "unknown option '--fullscreen'"},
        {{"--camera", "1,2,3,4"}, "option --camera: '1,2,3,4' is not five numbers"},
        {{"--camera", "1,2,3,4,5,"}, "is not five numbers"},
        {{"--camera", "1,2,,4,5"}, "is not five numbers"},
        {{"--camera", "1,2,nan,4,5"}, "is not five numbers"},
        {{"--camera", "0,0,0,0,91"}, "has a pitch beyond 90 degrees"},
    };
    for (const auto& [args, error] : bad)
        EXPECT_NE(host::ParseClientOptions(args).error.find(error), std::string::npos)
            << args.front() << ": " << host::ParseClientOptions(args).error;
}

TEST(ClientOptions, SettingsLiveInThePerUserConfigFolder) {
    const char* xdg = std::getenv("XDG_CONFIG_HOME");
    std::string saved = xdg ? xdg : "";
    setenv("XDG_CONFIG_HOME", "/tmp/cfg", 1);
    EXPECT_EQ(host::SettingsPath(), "/tmp/cfg/zendola/settings.ini");
    setenv("XDG_CONFIG_HOME", "relative", 1);  // not absolute: ignored, as the convention says
    EXPECT_EQ(host::SettingsPath(), std::string(std::getenv("HOME")) + "/.config/zendola/settings.ini");
    if (xdg)
        setenv("XDG_CONFIG_HOME", saved.c_str(), 1);
    else
        unsetenv("XDG_CONFIG_HOME");
}

TEST(DemoMirror, ClientEntitiesFollowTheServerWorldThroughSnapshots) {
    ModuleLoad();
    Load();
    Server_Load();
    auto serverCount = [] {
        size_t n = 0;
        ServerSideEntity::ForEach([&](std::shared_ptr<ServerSideEntity>) { ++n; });
        return n;
    };
    auto expectMirrored = [&] {
        size_t clients = 0;
        ClientSideEntity::ForEach([&](std::shared_ptr<ClientSideEntity>) { ++clients; });
        EXPECT_EQ(clients, serverCount());
        ServerSideEntity::ForEach([&](std::shared_ptr<ServerSideEntity> s) {
            std::shared_ptr<ClientSideEntity> c = ClientSideEntity::Get(s->id);
            ASSERT_TRUE(c) << s->type;
            EXPECT_EQ(c->type, s->type);
            EXPECT_EQ(c->moduleId.String(), demo::kModuleText);
            EXPECT_EQ(c->parentEntity, s->parentEntity) << s->type;  // the pose is in the parent's frame
            EXPECT_EQ(c->position, s->position) << s->type;
            EXPECT_EQ(c->rotation, s->rotation) << s->type;
        });
    };
    ASSERT_EQ(serverCount(), 13u);
    demo::ApplySnapshot(demo::TakeSnapshot());
    expectMirrored();

    // The boxes fall: their client entities follow, and are marked moved for their instances.
    for (int i = 0; i < 30; ++i) Game::ServerUpdate(1.0 / 60.0, 2);
    ClientSideEntity::ForEach([](std::shared_ptr<ClientSideEntity> c) { c->moved = false; });
    demo::ApplySnapshot(demo::TakeSnapshot());
    expectMirrored();
    size_t moved = 0;
    ClientSideEntity::ForEach([&](std::shared_ptr<ClientSideEntity> c) {
        moved += c->moved;
        EXPECT_EQ(c->isDetachable, c->type != "slab") << c->type;
    });
    EXPECT_GE(moved, 9u);

    // Boxes that come to rest on the slab join its frame: their client twins are drawn in it too.
    for (int i = 0; i < 150; ++i) Game::ServerUpdate(1.0 / 60.0, 2);
    demo::ApplySnapshot(demo::TakeSnapshot());
    expectMirrored();
    size_t carried = 0;
    ClientSideEntity::ForEach([&](std::shared_ptr<ClientSideEntity> c) { carried += !c->parentEntity.IsNull(); });
    EXPECT_GE(carried, 1u);

    // An entity gone on the server goes on the client.
    game::entity::Id victim;
    ServerSideEntity::ForEach([&](std::shared_ptr<ServerSideEntity> e) {
        if (e->type != "buoy") return;
        victim = e->id;
        e->deleteFilesOnDestroy = false;
    });
    ServerSideEntity::Destroy(victim);
    // A client-only entity of the module (the monitor) is not the mirror's to remove.
    game::entity::Id own = ClientSideEntity::Create(game::entity::Id::Generate("ENTT"), demo::ModuleId(), "monitor")->id;
    demo::ApplySnapshot(demo::TakeSnapshot());
    EXPECT_FALSE(ClientSideEntity::Get(victim));
    EXPECT_TRUE(ClientSideEntity::Destroy(own));
    expectMirrored();

    // Without the client half in the process (a dedicated server) nothing is posted.
    size_t queued = 0;
    {
        std::lock_guard lock(Game::_syncMutex);
        queued = Game::_syncQueue.size();
    }
    demo::PostSnapshot();
    {
        std::lock_guard lock(Game::_syncMutex);
        EXPECT_EQ(Game::_syncQueue.size(), queued);
    }

    {
        std::unique_lock lock(ClientSideEntity::_sharedObjectsMutex);
        ClientSideEntity::_sharedObjects.clear();
    }
    ServerSideEntity::ForEach([](std::shared_ptr<ServerSideEntity> e) { e->deleteFilesOnDestroy = false; });
    Unload();
    ModuleUnload();
}

// The buoy floats upright: set down at its waterline in a new world, its mast stays within 20
// degrees of the vertical for ten seconds of the client's ticks (60 a second, 4 substeps); dropped
// from 1 m turned 45 degrees, it rights itself. With the environment's random draws seeded, every
// new world repeats the buoy's motion bit for bit, whatever order the new entities' ids give the
// bodies in the step.
TEST(DemoWorldBuoy, FloatsUprightRightsItselfAndEveryNewWorldRepeatsIt) {
    ModuleLoad();
    struct Run {
        glm::dvec3 position{0.0};
        glm::dquat rotation{1, 0, 0, 0};
        double maxTilt = 0, lastSecondTilt = 0;  // degrees
    };
    auto run = [](bool dropped) {
        Run r;
        Load();
        game::physics::SeedEnvironmentRandom(1);
        Server_Load();
        std::shared_ptr<ServerSideEntity> buoy;
        ServerSideEntity::ForEach([&](std::shared_ptr<ServerSideEntity> e) {
            if (e->type == "buoy") buoy = e;
        });
        EXPECT_TRUE(buoy);
        if (buoy && dropped) {
            buoy->position.y += 1;
            buoy->rotation = glm::angleAxis(M_PI / 4, glm::dvec3(0, 0, 1));
        }
        for (int tick = 0; buoy && tick < 600; ++tick) {
            Game::ServerUpdate(1.0 / 60.0, 4);
            const glm::dvec3 up = glm::normalize(buoy->position - demo::Planet().Center());
            const double cosine = glm::dot(buoy->rotation * glm::dvec3(0, 1, 0), up);
            const double tilt = std::acos(std::min(1.0, cosine)) * 180 / M_PI;
            r.maxTilt = std::max(r.maxTilt, tilt);
            if (tick >= 540) r.lastSecondTilt = std::max(r.lastSecondTilt, tilt);
        }
        if (buoy) std::tie(r.position, r.rotation) = std::tie(buoy->position, buoy->rotation);
        buoy.reset();
        Unload();
        return r;
    };
    const Run first = run(false);
    EXPECT_LT(first.maxTilt, 20.0);
    // Still afloat at its waterline, near where it was set down.
    EXPECT_NEAR(first.position.y, 0.0, 0.3);
    EXPECT_NEAR(first.position.x, 130, 2.0);
    for (int world = 0; world < 2; ++world) {
        const Run again = run(false);
        EXPECT_EQ(again.position, first.position);
        EXPECT_EQ(again.rotation, first.rotation);
    }
    const Run dropped = run(true);
    EXPECT_LT(dropped.lastSecondTilt, 20.0);
    EXPECT_NEAR(dropped.position.y, 0.0, 0.3);
    ModuleUnload();
}

TEST(DroneCamera, FliesAlongTheViewClimbsAlongTheWorldUpAndNeverFlips) {
    demo::DroneCamera camera(glm::dvec3(0.0), 0.0, 0.0);
    demo::DroneCamera::Input in;
    in.forward = 1;
    camera.Update(1.0, in);
    EXPECT_NEAR(glm::distance(camera.position, glm::dvec3(0, 0, -demo::DroneCamera::kSpeed)), 0.0, 1e-9);

    // A quarter turn to the right: forward is +x; looking down, "up" still climbs straight up.
    camera = demo::DroneCamera(glm::dvec3(0.0), 0.0, 0.0);
    in = {};
    in.yaw = M_PI / 2;
    in.pitch = -0.5;
    camera.Update(0.0, in);
    EXPECT_NEAR(camera.Forward().x, std::cos(0.5), 1e-9);
    EXPECT_NEAR(camera.Forward().y, -std::sin(0.5), 1e-9);
    in = {};
    in.up = 1;
    in.sprint = true;
    camera.Update(0.5, in);
    EXPECT_NEAR(glm::distance(camera.position,
                              glm::dvec3(0, 0.5 * demo::DroneCamera::kSpeed * demo::DroneCamera::kSprintFactor, 0)),
                0.0, 1e-9);

    // Looking on past the vertical stops there.
    in = {};
    in.pitch = 10.0;
    camera.Update(0.0, in);
    EXPECT_GT(camera.Forward().y, 0.99);
    EXPECT_LT(camera.pitch, M_PI / 2);
}

TEST(DemoMonitor, DrawsTheClockRateAndBodiesOnceASecond) {
    EXPECT_EQ(demo::DemoMonitor::Text(3600.0 * 13 + 62, 59.96, 13),
              "ZENDOLA DEMO\n13:01:02 UTC\n60.0 ticks/s\n13 bodies");
    demo::DemoMonitor monitor;
    const std::vector<uint32_t> blank = monitor.screen.pixels;
    EXPECT_TRUE(monitor.Update(100.0));
    EXPECT_FALSE(monitor.Update(100.9));
    EXPECT_TRUE(monitor.Update(101.0));
    EXPECT_EQ(monitor.drawings, 2u);
    EXPECT_NE(monitor.screen.pixels, blank);
    EXPECT_EQ(Game::GetIMC("demo.monitor", "").rfind("ZENDOLA DEMO\n", 0), 0u);
}
