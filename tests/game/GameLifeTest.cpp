// A whole life of the library as a host drives it: statics filled, Start, Ready, four loops on
// four threads, Quit, Stop, and a second Start. The test modules under tests/modules/SP_life
// record what they see.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <shared_mutex>
#include <thread>

#include "game/GAME_Mod.h"
#include "game/Game.h"
#include "game/SERVER_Mod.h"
#include "game/ZENDOLA_Mod.h"
#include "game/entity/ClientSideEntity.h"
#include "game/entity/ServerSideEntity.h"
#include "game/graphics/GameRenderer.h"
#include "quorl/audio/Studio.h"
#include "quorl/graphics/Window.h"

using game::Game;
using game::GAME_Mod;
using game::SERVER_Mod;
using game::ZENDOLA_Mod;
using game::entity::ClientSideEntity;
using game::entity::ServerSideEntity;

namespace {

double Channel(const std::string& name) {
    return Game::GetNumericIMC("SP_life." + name, -1);
}

void ClearChannels() {
    std::unique_lock lock(Game::_imcMutex);
    for (auto it = Game::_imcData.begin(); it != Game::_imcData.end();)
        it = it->first.rfind("SP_life.", 0) == 0 ? Game::_imcData.erase(it) : std::next(it);
}

struct Counts {
    int updates = 0, inputs = 0, ticks = 0;
};

// Runs the four loops until Game::isActive is cleared; the server loop quits after `ticks`.
Counts RunLoops(int ticks) {
    Counts c;
    std::atomic<int> posted{0};
    std::atomic<int> ran{0}, wrongThread{0};
    std::atomic<std::thread::id> gameThread;
    std::atomic<bool> inputDone{false};
    // A fast server loop may finish its ticks before the other loops are scheduled at all: it
    // quits only once each of them has run, as in a host whose loops all start.
    std::atomic<bool> gameRan{false}, inputRan{false};
    Game::isActive = true;
    std::thread render([&] {
        while (Game::isActive) {
            Game::mainRenderingFramerate.Tick(1.0 / 120.0);
            std::this_thread::yield();
        }
    });
    std::thread gameLoop([&] {
        gameThread = std::this_thread::get_id();
        while (Game::isActive) {
            Game::Update(0);
            Game::ClientUpdate();
            Game::gameFramerate.Tick();
            ++c.updates;
            gameRan = true;
        }
        while (!inputDone) std::this_thread::yield();
        Game::Update(0);  // runs what was posted last
    });
    std::thread input([&] {
        while (Game::isActive) {
            Game::InputUpdate(0.01);
            if (Game::_inputMode == 1) Game::InputUpdate_Play(0.01);
            if (Game::_inputMode == 2) Game::InputUpdate_Station(0.01);
            Game::inputFramerate.Tick();
            // Work for the game thread, posted from another thread.
            if (c.inputs % 3 == 0) {
                ++posted;
                Game::Synchronize([&] {
                    if (std::this_thread::get_id() != gameThread.load()) ++wrongThread;
                    ++ran;
                });
            }
            ++c.inputs;
            inputRan = true;
        }
        inputDone = true;
    });
    std::thread server([&] {
        for (int i = 0; i < ticks && Game::isActive; ++i) {
            Game::ServerUpdate(1.0 / 60.0, 2);
            Game::serverFramerate.Tick();
            ++c.ticks;
        }
        while (!gameRan || !inputRan) std::this_thread::yield();
        Game::Quit();  // from a loop thread; it waits for nothing
    });
    server.join();
    input.join();
    gameLoop.join();
    render.join();
    EXPECT_EQ(ran.load(), posted.load());
    EXPECT_GT(ran.load(), 0);
    EXPECT_EQ(wrongThread.load(), 0);
    return c;
}

}  // namespace

TEST(GameLife, WholeRunTwiceWithModulesOnFourThreads) {
    auto previous = std::filesystem::current_path();
    std::filesystem::current_path(ZENDOLA_BINARY_DIR);
    ClearChannels();
    quorl::graphics::Window window;
    quorl::audio::Studio studio;
    game::graphics::GameRenderer renderer(&window);

    // The host fills the statics and loads the game and server modules.
    Game::window = &window;
    Game::audio = &studio;
    Game::renderer = &renderer;
    Game::_mods = {"SP_life", "SP_missing"};  // a missing content module stops nothing
    ASSERT_TRUE(GAME_Mod::LoadModule("SP_life", true));
    ASSERT_TRUE(SERVER_Mod::LoadModule("SP_life", true));

    for (int run = 0; run < 2; ++run) {
        SCOPED_TRACE("run " + std::to_string(run));
        ClearChannels();
        Game::Start();
        EXPECT_EQ(ZENDOLA_Mod::Count(), 1u);
        GAME_Mod::SortModules("update", [](GAME_Mod::Ptr a, GAME_Mod::Ptr b) { return a->name < b->name; });
        Game::Ready();
        EXPECT_EQ(Game::GetIMC("SP_life.order", ""), "Game_Start Renderer_StartRendering Load Game_Ready ");

        // Entities of the module's kinds on both sides.
        for (int i = 0; i < 3; ++i) {
            auto e = ServerSideEntity::Create(quorl::modular::ModuleID("SP_life"), "ticker", game::entity::Id());
            ASSERT_TRUE(e->_interface);
            e->_interface->initialized = true;
            ClientSideEntity::Create(game::entity::Id::Generate("ENTT"), quorl::modular::ModuleID("SP_life"),
                                     "ticker");
        }
        Game::SetInputMode_Play();
        Counts c = RunLoops(300);

        EXPECT_EQ(c.ticks, 300);
        EXPECT_EQ(Channel("Server_BeforeUpdate"), 300);
        EXPECT_EQ(Channel("Server_GameUpdate"), 300);
        EXPECT_EQ(Channel("entity_AfterUpdate"), 900);
        EXPECT_EQ(Channel("faults"), -1) << "a server pass came out of order";
        EXPECT_EQ(Channel("phase"), 0);
        // Game_Update comes through the sorted "update" walk, one per Update call.
        EXPECT_EQ(Channel("Game_Update"), c.updates + 1);
        EXPECT_EQ(Channel("client_Update"), 3 * (c.updates + 1));
        EXPECT_EQ(Channel("client_AfterUpdate"), 3 * (c.updates + 1));
        EXPECT_EQ(Channel("Game_ClientUpdate"), c.updates);
        EXPECT_EQ(Channel("Input_Update"), c.inputs);
        EXPECT_EQ(Channel("Input_Update_Play"), c.inputs);
        EXPECT_EQ(Channel("Input_Update_Station"), -1);
        EXPECT_GT(studio.GetUpdateCount(), 0u);
        EXPECT_FALSE(Game::isActive);

        // The server side unloads its entities; then the host stops the game.
        ServerSideEntity::UnloadAllEntities();
        Game::Stop();
        EXPECT_EQ(Game::GetIMC("SP_life.order", ""),
                  "Game_Start Renderer_StartRendering Load Game_Ready Renderer_StopRendering Unload Game_Stop ");
        EXPECT_EQ(ZENDOLA_Mod::Count(), 0u);
        EXPECT_EQ(GAME_Mod::Count(), 1u);  // game modules stay loaded
        EXPECT_EQ(Game::environmentAudio, nullptr);
        EXPECT_EQ(Game::_inputMode, 0);
        std::shared_lock lock(ClientSideEntity::_sharedObjectsMutex);
        EXPECT_TRUE(ClientSideEntity::_sharedObjects.empty());
    }

    GAME_Mod::UnloadModules();
    SERVER_Mod::UnloadModules();
    Game::window = nullptr;
    Game::audio = nullptr;
    Game::renderer = nullptr;
    Game::_mods.clear();
    ClearChannels();
    std::filesystem::current_path(previous);
}
