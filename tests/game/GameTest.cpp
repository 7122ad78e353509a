// Game's entry points and helpers one by one, without modules.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <thread>

#include <imgui.h>
#include <imgui_internal.h>

#include "TestFiles.h"
#include "game/entity/EntityTestWorld.h"
#include "game/graphics/ui/ScriptedUi.h"
#include "game/Game.h"
#include "game/GameSettings.h"
#include "game/Options.h"
#include "game/audio/EnvironmentAudio.h"
#include "game/entity/ClientSideEntity.h"
#include "game/entity/ServerSideEntity.h"
#include "game/graphics/GameRenderer.h"
#include "game/graphics/ui/Element.h"
#include "game/input/Joystick.h"
#include "quorl/audio/Studio.h"
#include "quorl/graphics/Window.h"

using game::Game;
using game::entity::ClientSideEntity;
using game::entity::Id;
using game::entity::ServerSideEntity;
using quorl::modular::ModuleID;

namespace {

// Records the delta times that Game::Update hands to client entities.
struct DtRecorder : ClientSideEntity::Interface {
    static inline std::vector<double> seen;
    void Update(double dt) override { seen.push_back(dt); }
};

// Server behaviour that spends a measurable time in each hook.
struct SlowTicker : ServerSideEntity::Interface {
    void Update(double) override { std::this_thread::sleep_for(std::chrono::milliseconds(2)); }
};

class GameState : public ::testing::Test {
protected:
    void TearDown() override {
        Game::window = nullptr;
        Game::audio = nullptr;
        Game::renderer = nullptr;
        Game::settings = nullptr;
        Game::_mouseLook = false;
        Game::_inputMode = 0;
        Game::_joysticks.clear();
        Game::timeActive = true;
        Game::serverSideEntityPerformanceMetrics = false;
        Game::_serverSideEntityPerformance_timers.clear();
        Game::serverSideEntityPerformance_avg_time.clear();
        {
            std::unique_lock lock(ClientSideEntity::_sharedObjectsMutex);
            ClientSideEntity::_sharedObjects.clear();
        }
        ClientSideEntity::_registered_interfaces.clear();
        entity_test::ForgetAllEntities();
        ServerSideEntity::_registered_interfaces.clear();
        std::lock_guard lock(Game::_syncMutex);
        Game::_syncQueue.clear();
    }
};

}  // namespace

TEST_F(GameState, UpdateIgnoresItsArgument) {
    ClientSideEntity::_registered_interfaces["SP_game"]["dt"] = {nullptr, [] { return std::make_shared<DtRecorder>(); }};
    ClientSideEntity::Create(Id::Generate("ENTT"), ModuleID("SP_game"), "dt");
    Game::mainRenderingFramerate.Tick(0.02);
    const double frame = Game::mainRenderingFramerate.GetFrameDuration();
    DtRecorder::seen.clear();
    for (double argument : {0.0, 1e9, -5.0, 0.016}) Game::Update(argument);
    ASSERT_EQ(DtRecorder::seen.size(), 4u);
    // Each value follows from the one before and the frame time only.
    for (size_t i = 1; i < DtRecorder::seen.size(); ++i)
        EXPECT_EQ(DtRecorder::seen[i], 0.5 * DtRecorder::seen[i - 1] + 0.5 * frame);
}

TEST_F(GameState, SynchronizedWorkRunsOnceInOrder) {
    std::vector<int> order;
    std::thread poster([&] {
        for (int i = 0; i < 5; ++i) Game::Synchronize([&order, i] { order.push_back(i); });
    });
    poster.join();
    Game::Update(0);
    Game::Update(0);
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4}));
    // A slot without a target raises the standard error; what ran before it is not run again.
    Game::Synchronize([&order] { order.push_back(5); });
    Game::Synchronize(std::function<void()>());
    Game::Synchronize([&order] { order.push_back(6); });
    EXPECT_THROW(Game::Update(0), std::bad_function_call);
    Game::Update(0);
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4, 5, 6}));
}

TEST_F(GameState, UpdateDrivesAudio) {
    quorl::audio::Studio studio;
    quorl::graphics::Window window;
    game::graphics::GameRenderer renderer(&window);
    Game::audio = &studio;
    Game::renderer = &renderer;
    renderer.camera.worldTransform = glm::dmat4(2.0);  // scales: forward and up come back normalised
    renderer.camera.worldTransform[3] = glm::dvec4(1, 2, 3, 1);
    Game::Update(0);
    EXPECT_EQ(studio.GetVolume("bus:/"), 0.5f);  // no settings: full master volume, halved
    auto listener = studio.GetListenerAttributes();
    using V = std::array<float, 3>;
    EXPECT_EQ(listener.position, (V{1, 2, 3}));
    EXPECT_EQ(listener.forward, (V{0, 0, -1}));
    EXPECT_EQ(listener.up, (V{0, 1, 0}));
    EXPECT_EQ(studio.GetUpdateCount(), 1u);
}

TEST_F(GameState, StartWithoutModulesStillPrints) {
    quorl::audio::Studio studio;
    Game::audio = &studio;
    Game::_mods.clear();
    ::testing::internal::CaptureStdout();
    Game::Start();
    std::string out = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(out,
              "Shader compilation may take several minutes before starting the game the first time or after an "
              "update...\n");
    ASSERT_NE(Game::environmentAudio, nullptr);
    EXPECT_TRUE(Game::environmentAudio->IsPlaying());
    Game::relativeEnvironmentId = 4;
    Game::Stop();
    EXPECT_EQ(Game::environmentAudio, nullptr);
    EXPECT_EQ(studio.GetEventCount(), 0u);
    EXPECT_EQ(Game::relativeEnvironmentId, 0u);
}

TEST_F(GameState, MouseLookNeedsFocus) {
    Game::SetInputMode_Station();  // no window: the mode is still set
    EXPECT_EQ(Game::_inputMode, 2);
    EXPECT_FALSE(Game::_mouseLook);

    quorl::graphics::Window window;
    Game::window = &window;
    window.SetFocused(false);
    window.SetInputMode(quorl::graphics::CURSOR, quorl::graphics::CURSOR_DISABLED);
    Game::SetInputMode_Play();
    EXPECT_FALSE(Game::_mouseLook);
    EXPECT_EQ(window.GetInputMode(quorl::graphics::CURSOR), quorl::graphics::CURSOR_NORMAL);

    window.SetFocused(true);
    window.SetCursorPos(40, 50);
    Game::SetMouseLook(true);
    EXPECT_TRUE(Game::_mouseLook);
    EXPECT_EQ(window.GetInputMode(quorl::graphics::CURSOR), quorl::graphics::CURSOR_DISABLED);
    Game::SetInputMode_Ui();
    EXPECT_FALSE(Game::_mouseLook);
    EXPECT_EQ(window.GetInputMode(quorl::graphics::CURSOR), quorl::graphics::CURSOR_NORMAL);

    // Quit leaves look mode, ends the loops and clears the options.
    Game::SetMouseLook(true);
    game::Options::Set("speed", 2.0);
    Game::isActive = true;
    Game::Quit();
    EXPECT_FALSE(Game::_mouseLook);
    EXPECT_FALSE(Game::isActive);
    EXPECT_EQ(game::Options::Get<double>("speed", 7.0), 7.0);
}

TEST_F(GameState, TimestampFreezes) {
    Game::timeActive = false;
    Game::timestamp = 12.5;
    Game::ServerUpdate(0.1, 1);
    EXPECT_EQ(Game::timestamp, 12.5);
    Game::timeActive = true;
    Game::timeOffset = 1000;
    double now = std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
    Game::ServerUpdate(0.1, 1);
    EXPECT_NEAR(Game::timestamp, now + 1000, 5);
    Game::timeOffset = 0;
}

TEST_F(GameState, PerVehicleTimesWithDtOneEqualTheLastTick) {
    ServerSideEntity::_registered_interfaces["SP_game"]["slow"] = {nullptr, [] { return std::make_shared<SlowTicker>(); }};
    auto vehicle = ServerSideEntity::Create(ModuleID("SP_game"), "slow", Id());
    auto part = ServerSideEntity::Create(ModuleID("SP_game"), "slow", Id());
    auto loose = ServerSideEntity::Create(ModuleID(), "", Id());
    vehicle->_interface->initialized = part->_interface->initialized = true;
    part->isComponent = true;
    part->parentEntity = vehicle->id;
    Game::serverSideEntityPerformanceMetrics = true;
    Game::serverSideEntityPerformance_avg_time[vehicle->id] = 1000;
    Game::ServerUpdate(1.0, 1);
    double t = Game::_serverSideEntityPerformance_timers.at(vehicle->id);
    EXPECT_GE(t, 4.0);  // the part's time counts to its vehicle
    EXPECT_EQ(Game::serverSideEntityPerformance_avg_time.at(vehicle->id), t);
    EXPECT_EQ(Game::serverSideEntityPerformance_avg_time.count(part->id), 0u);
    EXPECT_LT(Game::serverSideEntityPerformance_avg_time.at(loose->id), 1.0);
    // With dt 0.5 the average moves half way.
    Game::ServerUpdate(0.5, 1);
    double t2 = Game::_serverSideEntityPerformance_timers.at(vehicle->id);
    EXPECT_DOUBLE_EQ(Game::serverSideEntityPerformance_avg_time.at(vehicle->id), 0.5 * t2 + 0.5 * t);
}

TEST_F(GameState, JoystickFinders) {
    quorl::graphics::Window window;
    Game::window = &window;
    auto device = [&](int slot, bool gamepad, int axes, const std::string& guid) {
        quorl::graphics::Window::Joystick j;
        j.isGamepad = gamepad;
        j.axes.assign(size_t(axes), 0.0f);
        j.guid = guid;
        window.SetJoystick(slot, j);
        Game::_joysticks[slot] = std::make_shared<game::input::Joystick>(slot);
    };
    device(0, true, 6, "pad");
    device(1, false, 1, "knob");
    device(2, false, 2, "stick");
    device(3, false, 3, "gone");
    device(4, false, 4, "StIcK");
    device(5, true, 6, "STICK");
    Game::_joysticks[3]->connected = false;
    EXPECT_EQ(Game::GetFirstGamepad()->id, 0);
    EXPECT_EQ(Game::GetFirstJoystick()->id, 2);
    EXPECT_EQ(Game::GetJoystick(0)->id, 2);
    EXPECT_EQ(Game::GetJoystick(1)->id, 4);
    EXPECT_EQ(Game::GetJoystick(2), nullptr);
    EXPECT_EQ(Game::GetJoystick("stick", 2)->id, 5);  // gamepads count when a GUID is given
    EXPECT_EQ(Game::GetJoystick("gone", 0), nullptr);
    EXPECT_EQ(Game::GetGamepad("", 1)->id, 5);
    EXPECT_EQ(Game::GetGamepad("pad ", 0), nullptr);
}

// Fonts and the scaled style are drawn in the panel pictures; here, when the help window shows.
TEST_F(GameState, HelpTooltipsShowInLookModeWhenTheSettingAllows) {
    testfiles::TempFolder settingsFolder("zendola_game_style");
    game::GameSettings settings(settingsFolder.path + "/settings.ini", 0);
    Game::settings = &settings;
    bool shown = true;
    game::graphics::ui::testing::ScriptedUi ui([&] { shown = Game::ShowHelpTooltip(); }, ImVec2(800, 600));
    EXPECT_FALSE(shown);  // only in look mode
    // Entering look mode takes the focus away from the interface's windows.
    quorl::graphics::Window window;
    Game::window = &window;
    Game::SetMouseLook(true);
    settings.show_help_tooltips = false;
    ui.Frame();
    EXPECT_FALSE(shown);
    settings.show_help_tooltips = true;
    ui.Frame();
    EXPECT_TRUE(shown);
    EXPECT_NE(ImGui::FindWindowByName("Help Tooltips"), nullptr);
}

// Game::Stop empties the element registry outside its lock: what the registry's last
// references keep alive may look at the registry as it goes.
TEST_F(GameState, StopReleasesElementsOutsideTheRegistryLock) {
    using game::graphics::ui::Element;
    struct Looking : Element {
        bool* couldRead = nullptr;
        ~Looking() override {
            if (!Element::_sharedObjectsMutex.try_lock_shared()) return;
            *couldRead = true;
            Element::_sharedObjectsMutex.unlock_shared();
        }
    };
    bool couldRead = false;
    {
        auto owner = std::make_shared<Looking>();
        owner->couldRead = &couldRead;
        // The deleter keeps the owner until the child's record goes, with the registry's entry.
        std::shared_ptr<Element> child(new Element, [owner](Element* e) { delete e; });
        std::unique_lock lock(Element::_sharedObjectsMutex);
        Element::_sharedObjects.push_back(child);
    }
    EXPECT_FALSE(couldRead);
    Game::Stop();
    EXPECT_TRUE(couldRead);
}
