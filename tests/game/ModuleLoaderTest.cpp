#include <dlfcn.h>

#include "ModuleTestFixture.h"
#include "TestFiles.h"

using game::GAME_Init;
using game::GAME_Mod;
using game::Game;
using game::SERVER_Mod;
using game::ZENDOLA_Mod;

namespace {

// The export tables as modules are built against them; the order is a binary contract.
const std::vector<std::string> kCommonExports = {"ModuleLoad", "ModuleUnload", "ModuleSort", "ModuleSetCustomPtr",
                                                 "ModuleGetCustomPtr"};
const std::vector<std::string> kGameModExports = {
    "Game_Start", "Game_Ready", "Game_Stop", "Game_Update", "Game_ClientUpdate", "Input_Update",
    "Input_Update_Play", "Input_Update_Station", "Input_Key_Play", "Input_Key_Station", "Input_Char_Play",
    "Input_Char_Station", "Input_MouseButton_Play", "Input_MouseButton_Station", "Input_MouseScroll_Play",
    "Input_MouseScroll_Station", "Client_Connected", "Client_Send", "Client_Receive", "Physics_PlayerPosition",
    "Physics_CameraPosition", "Renderer_StartRendering", "Renderer_StopRendering", "Renderer_RefreshViewport",
    "Renderer_FrameCollectGarbage", "Renderer_FrameUpdateDescriptorSets", "Renderer_FrameBeforePost",
    "Renderer_FrameInit", "Renderer_FrameUpdateUi", "Renderer_FrameBeforeUpdate", "Renderer_FrameUpdate",
    "Renderer_FrameAfterUpdate", "Renderer_FrameBeforeRender", "Renderer_FrameAfterRender",
    "Renderer_FramePushCommands", "Renderer_FrameBuildCommands", "Renderer_FrameRenderCommands",
    "Renderer_FrameResolveCommands", "Renderer_FrameBlitCommands", "Renderer_FramePostCommands",
    "Renderer_FrameOverlayCommands"};
const std::vector<std::string> kServerModExports = {
    "Server_Load", "Server_Serialize", "Server_PlayerConnected", "Server_PlayerDisconnected",
    "Server_Send", "Server_Receive", "Server_BeforeUpdate", "Server_GameUpdate"};
const std::vector<std::string> kZendolaModExports = {"_ZENDOLA_Mod_VERSION", "Load", "Unload"};
const std::vector<std::string> kGameInitExports = {"Vulkan_Init", "Vulkan_ScoreGPU", "SplashBegin", "SplashEnd"};

struct Slot {
    std::string name;
    const char* address;
    void* value;
};

// The pointers of the common table (common = true) or of the kind's own table.
template <class M>
std::vector<Slot> Slots(M& module, bool common) {
    std::vector<Slot> slots;
    auto add = [&](const char* name, auto& slot) {
        slots.push_back({name, reinterpret_cast<const char*>(&slot), reinterpret_cast<void*>(slot)});
    };
    common ? module.ForEachCommonExport(add) : module.ForEachExport(add);
    return slots;
}

// Checks that a module's pointers follow the table: names in order, one pointer after another
// (the kind's right after the common ones), each bound to the library's own symbol of that name.
template <class M>
void ExpectTableBound(M& module, const std::vector<std::string>& kindNames) {
    std::vector<Slot> all = Slots(module, true), kind = Slots(module, false);
    all.insert(all.end(), kind.begin(), kind.end());
    std::vector<std::string> expected = kCommonExports;
    expected.insert(expected.end(), kindNames.begin(), kindNames.end());
    ASSERT_EQ(all.size(), expected.size());
    for (size_t i = 0; i < all.size(); ++i) {
        SCOPED_TRACE(expected[i]);
        EXPECT_EQ(all[i].name, expected[i]);
        if (i > 0) {
            EXPECT_EQ(all[i].address - all[i - 1].address, ptrdiff_t(sizeof(void*)));
        }
        EXPECT_NE(all[i].value, nullptr);
        EXPECT_EQ(all[i].value, dlsym(module.handle, expected[i].c_str()));
    }
}

bool IsMapped(const std::string& file) {
    void* h = dlopen(file.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (h) dlclose(h);
    return h != nullptr;
}

}  // namespace

class ModuleLoader : public ModuleTestBase {};

TEST_F(ModuleLoader, LoadsOnceAndFillsTheModuleRecord) {
    double loads = Counter("TS_full.loads");
    int callbacks = 0;
    GAME_Mod::Ptr seen;
    GAME_Mod::ModulesSetLoadCallback([&](GAME_Mod::Ptr m) {
        ++callbacks;
        seen = m;
        // ModuleLoad ran and the module was inserted before the callback.
        EXPECT_EQ(Counter("TS_full.loads"), loads + 1);
        EXPECT_EQ(GAME_Mod::_loadedModules.count("TS_full.GAME_Mod"), 1u);
    });

    GAME_Mod::Ptr m = GAME_Mod::LoadModule("TS_full", true);
    ASSERT_TRUE(m);
    EXPECT_EQ(m->name, "TS_full");
    EXPECT_EQ(m->path, "modules/TS_full/TS_full.GAME_Mod.so");
    EXPECT_EQ(m->moduleId.String(), "TS_full");
    EXPECT_EQ(seen, m);

    EXPECT_EQ(GAME_Mod::LoadModule("TS_full", true), m);
    EXPECT_EQ(Counter("TS_full.loads"), loads + 1);
    EXPECT_EQ(callbacks, 1);
    EXPECT_EQ(GAME_Mod::GetModule("TS_full"), m);
    // The class word is part of the key.
    EXPECT_EQ(SERVER_Mod::GetModule("TS_full"), nullptr);
    EXPECT_TRUE(errors.empty());
}

TEST_F(ModuleLoader, BindsEveryExportOfEachKindInTableOrder) {
    auto gameMod = GAME_Mod::LoadModule("TS_full", true);
    auto serverMod = SERVER_Mod::LoadModule("TS_server", true);
    auto content = ZENDOLA_Mod::LoadModule("TS_content", true);
    auto init = GAME_Init::LoadModule("TS_init", true);
    ASSERT_TRUE(gameMod && serverMod && content && init);

    ExpectTableBound(*gameMod, kGameModExports);
    ExpectTableBound(*serverMod, kServerModExports);
    ExpectTableBound(*content, kZendolaModExports);
    ExpectTableBound(*init, kGameInitExports);
}

TEST_F(ModuleLoader, MissingExportsStayNull) {
    double loads = Counter("TS_loadonly.loads");
    auto partial = GAME_Mod::LoadModule("TS_partial", true);
    auto loadOnly = GAME_Mod::LoadModule("TS_loadonly", true);
    ASSERT_TRUE(partial && loadOnly);
    EXPECT_EQ(Counter("TS_loadonly.loads"), loads + 1);

    for (const Slot& s : Slots(*partial, true)) EXPECT_EQ(s.value, nullptr) << s.name;
    for (const Slot& s : Slots(*partial, false)) EXPECT_EQ(s.value != nullptr, s.name == "Game_Update") << s.name;
    for (const Slot& s : Slots(*loadOnly, true)) EXPECT_EQ(s.value != nullptr, s.name == "ModuleLoad") << s.name;
    for (const Slot& s : Slots(*loadOnly, false)) EXPECT_EQ(s.value, nullptr) << s.name;
}

TEST_F(ModuleLoader, FailedLoadsReportThroughTheCallbackAndStopNothing) {
    int loadCallbacks = 0;
    GAME_Mod::ModulesSetLoadCallback([&](GAME_Mod::Ptr) { ++loadCallbacks; });

    // Without reportFailure nothing is said, neither to the callback nor on the error stream.
    testing::internal::CaptureStderr();
    EXPECT_EQ(GAME_Mod::LoadModule("TS_nothere", false), nullptr);
    EXPECT_EQ(GAME_Mod::LoadModule("TS_broken", false), nullptr);
    EXPECT_EQ(GAME_Mod::LoadModule("../evil", false), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_TRUE(errors.empty());

    testing::internal::CaptureStderr();
    EXPECT_EQ(GAME_Mod::LoadModule("TS_nothere", true), nullptr);
    EXPECT_EQ(GAME_Mod::LoadModule("TS_broken", true), nullptr);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("TS_broken.GAME_Mod.so"), std::string::npos);
    ASSERT_EQ(errors.size(), 2u);
    EXPECT_EQ(errors[0], "Module 'modules/TS_nothere/TS_nothere.GAME_Mod' failed to load with error: 2");
    EXPECT_EQ(errors[1], "Module 'modules/TS_broken/TS_broken.GAME_Mod' failed to load with error: 1");
    EXPECT_EQ(GAME_Mod::Count(), 0u);
    EXPECT_EQ(GAME_Mod::GetModule("TS_broken"), nullptr);
    EXPECT_EQ(loadCallbacks, 0);
}

TEST_F(ModuleLoader, ExplicitPathLoadsUnderTheGivenName) {
    auto m = GAME_Mod::LoadModuleLib<GAME_Mod>("XX_alias", "GAME_Mod", true,
                                               std::string(ZENDOLA_BINARY_DIR) + "/modules/TS_partial/TS_partial.GAME_Mod");
    ASSERT_TRUE(m);
    EXPECT_EQ(GAME_Mod::GetModule("XX_alias"), m);
    EXPECT_EQ(m->moduleId.String(), "XX_alias");
    EXPECT_NE(m->Game_Update, nullptr);
}

TEST_F(ModuleLoader, RefusesNamesThatLeaveTheModuleFolder) {
    // A library placed where "modules/../evil/../evil.GAME_Mod.so" resolves to.
    testfiles::TempFolder folder("zendola_modules");
    const std::filesystem::path root = folder.path;
    std::filesystem::create_directories(root / "modules");
    std::filesystem::create_directories(root / "evil");
    std::filesystem::copy_file(ModuleFile("TS_full", "GAME_Mod"), root / "evil.GAME_Mod.so");
    std::filesystem::current_path(root);
    ASSERT_TRUE(std::filesystem::exists("modules/../evil/../evil.GAME_Mod.so"));

    double loads = Counter("TS_full.loads");
    for (const std::string name : {"../evil", "evil/../../evil", "a/b", "a\\b", "..", ""}) {
        SCOPED_TRACE(name);
        errors.clear();
        EXPECT_EQ(GAME_Mod::LoadModule(name, true), nullptr);
        ASSERT_EQ(errors.size(), 1u);
        EXPECT_NE(errors[0].find("refused"), std::string::npos) << errors[0];
        EXPECT_NE(errors[0].find("'" + name + "'"), std::string::npos) << errors[0];
    }
    EXPECT_EQ(Counter("TS_full.loads"), loads);
    EXPECT_EQ(GAME_Mod::Count(), 0u);
    EXPECT_FALSE(IsMapped((root / "evil.GAME_Mod.so").string()));
    std::filesystem::current_path(ZENDOLA_BINARY_DIR);
}

TEST_F(ModuleLoader, ALivePtrKeepsTheLibraryUntilItGoes) {
    const std::string file = ModuleFile("TS_full", "GAME_Mod");
    double unloads = Counter("TS_full.unloads");
    std::vector<std::string> unloaded;
    GAME_Mod::ModulesSetUnloadCallback([&](GAME_Mod::Ptr m) {
        unloaded.push_back(m->name);
        EXPECT_EQ(GAME_Mod::_loadedModules.count("TS_full.GAME_Mod"), 1u);  // callback before removal
    });

    GAME_Mod::Ptr kept = GAME_Mod::LoadModule("TS_full", true);
    ASSERT_TRUE(kept);
    GAME_Mod::UnloadModule("TS_absent");
    EXPECT_TRUE(unloaded.empty());

    GAME_Mod::UnloadModule("TS_full");
    EXPECT_EQ(unloaded, std::vector<std::string>{"TS_full"});
    EXPECT_EQ(GAME_Mod::GetModule("TS_full"), nullptr);

    // Still mapped and callable while the Ptr lives; ModuleUnload has not run.
    EXPECT_EQ(Counter("TS_full.unloads"), unloads);
    EXPECT_TRUE(IsMapped(file));
    kept->Renderer_FrameInit();
    EXPECT_EQ(Game::GetIMC("TS_full.last", ""), "Renderer_FrameInit");

    kept.reset();
    EXPECT_EQ(Counter("TS_full.unloads"), unloads + 1);
    EXPECT_FALSE(IsMapped(file));
}

TEST_F(ModuleLoader, UnloadModulesForgetsAllWithoutTheCallback) {
    int unloadCallbacks = 0;
    GAME_Mod::ModulesSetUnloadCallback([&](GAME_Mod::Ptr) { ++unloadCallbacks; });
    double unloads = Counter("TS_full.unloads");
    ASSERT_TRUE(GAME_Mod::LoadModule("TS_full", true));
    ASSERT_TRUE(GAME_Mod::LoadModule("TS_partial", true));
    GAME_Mod::SortModules("render", [](GAME_Mod::Ptr a, GAME_Mod::Ptr b) { return a->name < b->name; });

    GAME_Mod::UnloadModules();
    EXPECT_EQ(unloadCallbacks, 0);
    EXPECT_EQ(GAME_Mod::Count(), 0u);
    EXPECT_EQ(Counter("TS_full.unloads"), unloads + 1);
    EXPECT_TRUE(GAME_Mod::_loadedSortedModules.empty());
}
