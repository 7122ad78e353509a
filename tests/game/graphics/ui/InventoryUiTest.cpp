#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#define IMGUI_DEFINE_MATH_OPERATORS
#include <imgui.h>
#include <imgui_internal.h>

#include "GoldenImage.h"
#include "VulkanTest.h"
#include "game/Game.h"
#include "game/ModuleTestFixture.h"
#include "game/graphics/GameRenderer.h"
#include "game/graphics/OutputPixels.h"
#include "game/graphics/ui/ImGuiBackend.h"
#include "game/Inventory.h"
#include "game/Item.h"
#include "game/graphics/ui/InventoryUi.h"
#include "quorl/graphics/Window.h"

using game::Game;
using game::graphics::ui::InventoryUi;
using Ptr = InventoryUi::Ptr;

namespace {

const quorl::modular::ModuleID kDemo("ZEN_demo");
constexpr ImGuiPopupFlags kAnyPopup = ImGuiPopupFlags_AnyPopupId | ImGuiPopupFlags_AnyPopupLevel;

// Two inventories side by side with the host's true contents behind them. The host's callbacks
// apply each request to its game::Inventory when `allow` holds, and log it. Input is scripted
// frame by frame on a headless ImGui context.
class InventoryUiTest : public testing::Test {
protected:
    void SetUp() override {
        ImGui::CreateContext();
        ImGuiIO& io = ImGui::GetIO();
        io.DisplaySize = ImVec2(800, 600);
        io.IniFilename = nullptr;
        io.DeltaTime = 0.1f;  // items reach their slot in one frame
        unsigned char* pixels;
        int w, h;
        io.Fonts->GetTexDataAsRGBA32(&pixels, &w, &h);

        a = InventoryUi::Create("Backpack", 8);
        b = InventoryUi::Create("Crate", 8);
        a->SetPosition(ImVec2(10, 10)), b->SetPosition(ImVec2(10, 300));
        a->Show(), b->Show();
        InventoryUi::OnMoveItem = [this](const Ptr& from, size_t fs, const Ptr& to, size_t ts, auto&) {
            return Log("move") && Host(from).Move(fs, Host(to), ts);
        };
        InventoryUi::OnSwapItems = [this](const Ptr& from, size_t fs, const Ptr& to, size_t ts, auto&, auto&) {
            return Log("swap") && Host(from).Swap(fs, Host(to), ts);
        };
        InventoryUi::OnStackItems = [this](const Ptr& from, size_t fs, const Ptr& to, size_t ts, auto&, auto&) {
            return Log("stack") && Host(from).Stack(fs, Host(to), ts);
        };
        InventoryUi::OnSplitItem = [this](const Ptr& from, size_t fs, const Ptr& to, size_t ts, auto&, uint32_t n) {
            return Log("split " + std::to_string(n)) && Host(from).Split(fs, n, Host(to), ts);
        };
        InventoryUi::OnDropItem = [this](const Ptr& from, size_t fs, auto&) {
            return Log("drop") && Host(from).Take(fs).has_value();
        };
        InventoryUi::OnTryQuickTakeItem = [this](const Ptr& from, size_t fs, const Ptr& to, size_t ts, auto&) {
            return Log("take") && Host(from).Move(fs, Host(to), ts);
        };
        hostA.Put(0, game::Item(kDemo, "rock", 3));
        hostA.Put(1, game::Item(kDemo, "drill", 1, {{"power", "5"}}));
        hostA.Put(2, game::Item(kDemo, "rock", 2));
        Sync();
        Frame(kAway);
    }
    void TearDown() override {
        InventoryUi::OnMoveItem = InventoryUi::OnTryQuickTakeItem = {};
        InventoryUi::OnSwapItems = InventoryUi::OnStackItems = {};
        InventoryUi::OnSplitItem = {};
        InventoryUi::OnDropItem = {};
        Game::userInventory.reset();
        ImGui::DestroyContext();
        std::lock_guard lock(InventoryUi::_inventoriesMutex);
        InventoryUi::_inventories.clear();
    }

    bool Log(const std::string& what) { return calls.push_back(what), allow; }
    game::Inventory& Host(const Ptr& ui) { return ui == a ? hostA : hostB; }
    void Sync() { a->UpdateInventory(hostA), b->UpdateInventory(hostB); }

    void Frame(ImVec2 mouse, bool down = false, const std::function<void()>& more = {}) {
        ImGuiIO& io = ImGui::GetIO();
        io.MousePos = mouse;
        io.MouseDown[0] = down;
        io.KeyShift = shift;
        io.KeyCtrl = ctrl;
        ImGui::NewFrame();
        InventoryUi::UpdateUi();
        if (more) more();
        ImGui::Render();
    }
    ImVec2 Slot(const Ptr& ui, size_t slot) const {
        return ui->GetPosition() + ui->GetSlotPos(slot) + ImVec2(ui->slotSize / 2, ui->slotSize / 2);
    }
    // Press, move past the drag threshold in steps, release, and one quiet frame.
    void Drag(ImVec2 from, ImVec2 to) {
        Frame(from);
        Frame(from, true);
        for (int i = 1; i <= 4; ++i) Frame(from + (to - from) * (float(i) / 4), true);
        Frame(to);
        Frame(kAway);
    }

    // The picture agrees slot by slot with the host's contents.
    void ExpectMirrors(const Ptr& ui) {
        const game::Inventory& host = Host(ui);
        for (size_t i = 0; i < host.Capacity(); ++i) {
            const game::Item* truth = host.Get(i);
            InventoryUi::ItemPtr shown = ui->GetItem(i);
            ASSERT_EQ(truth != nullptr, shown != nullptr) << ui->GetTitle() << " slot " << i;
            if (!truth) continue;
            EXPECT_EQ(shown->name, truth->name) << "slot " << i;
            EXPECT_EQ(shown->stack, truth->stack) << "slot " << i;
            EXPECT_EQ(shown->slot, i);
            EXPECT_EQ(shown->GetInventory(), ui);
        }
    }

    // Every vertex drawn in the last frame.
    static std::vector<float> Picture() {
        std::vector<float> out;
        const ImDrawData* data = ImGui::GetDrawData();
        for (int l = 0; l < data->CmdListsCount; ++l)
            for (const ImDrawVert& v : data->CmdLists[l]->VtxBuffer)
                out.insert(out.end(), {v.pos.x, v.pos.y, v.uv.x, v.uv.y, float(v.col)});
        return out;
    }

    const ImVec2 kAway{700, 250};
    Ptr a, b;
    game::Inventory hostA{8}, hostB{8};
    std::vector<std::string> calls;
    bool allow = true, shift = false, ctrl = false;
};

TEST_F(InventoryUiTest, DragsMoveSwapAndStackAsTheHostAgrees) {
    InventoryUi::ItemPtr rocks = a->GetItem(0);
    Drag(Slot(a, 0), Slot(a, 5));
    ExpectMirrors(a);
    EXPECT_EQ(a->GetItem(5), rocks);  // the same object, moved

    Drag(Slot(a, 1), Slot(a, 5));  // the drill onto the rocks
    ExpectMirrors(a);
    EXPECT_EQ(a->GetItem(1), rocks);

    Drag(Slot(a, 2), Slot(a, 1));  // two rocks onto three
    ExpectMirrors(a);
    EXPECT_EQ(rocks->stack, 5u);

    Drag(Slot(a, 1), Slot(a, 1) + ImVec2(20, 0));  // released on its own slot
    Drag(Slot(a, 1), a->GetPosition() + ImVec2(200, 8));  // over the title bar, no slot
    EXPECT_EQ(calls, (std::vector<std::string>{"move", "swap", "stack"}));

    // The host's answer keeps the item object a reference may hold.
    hostA.Take(1);
    hostA.Put(1, game::Item(kDemo, "rock", 9));
    Sync();
    EXPECT_EQ(a->GetItem(1), rocks);
    EXPECT_EQ(rocks->stack, 9u);
}

TEST_F(InventoryUiTest, ShiftDragSplitsHalfOntoAnEmptySlotOrAStack) {
    shift = true;
    Drag(Slot(a, 0), Slot(a, 4));  // 3 rocks: 1 goes
    ExpectMirrors(a);
    EXPECT_EQ(a->GetItem(4)->stack, 1u);

    Drag(Slot(a, 2), Slot(a, 0));  // 2 rocks: 1 onto the rocks there
    ExpectMirrors(a);
    EXPECT_EQ(a->GetItem(0)->stack, 3u);

    Drag(Slot(a, 1), Slot(a, 6));  // a single drill is not split, nor moved
    Drag(Slot(a, 0), Slot(a, 1));  // rocks don't split onto a drill
    ExpectMirrors(a);
    EXPECT_EQ(calls, (std::vector<std::string>{"split 1", "split 1"}));
}

TEST_F(InventoryUiTest, BetweenWindowsOutsideThemAndQuickTake) {
    InventoryUi::ItemPtr drill = a->GetItem(1);
    Drag(Slot(a, 1), Slot(b, 3));
    ExpectMirrors(a);
    ExpectMirrors(b);
    EXPECT_EQ(b->GetItem(3), drill);

    Drag(Slot(b, 3), kAway);  // outside every window
    ExpectMirrors(b);
    EXPECT_EQ(drill->GetInventory(), nullptr);

    // Ctrl+click in the crate takes into the player's first free slot.
    Drag(Slot(a, 2), Slot(b, 7));
    Game::userInventory = a;
    ctrl = true;
    Frame(Slot(b, 7));
    Frame(Slot(b, 7), true);
    Frame(Slot(b, 7));
    ExpectMirrors(a);
    ExpectMirrors(b);
    EXPECT_EQ(a->GetItem(1)->name, "rock");
    EXPECT_EQ(calls, (std::vector<std::string>{"move", "drop", "move", "take"}));
}

TEST_F(InventoryUiTest, RefusalLeavesThePictureUnchanged) {
    allow = false;
    hostB.Put(0, game::Item(kDemo, "rock", 4));
    Sync();
    Frame(Slot(a, 0));  // a click on the backpack gives it the focus the gestures give it
    Frame(Slot(a, 0), true);
    Frame(Slot(a, 0));
    Frame(kAway);
    const std::vector<float> before = Picture();
    ASSERT_FALSE(before.empty());

    Drag(Slot(a, 0), Slot(a, 6));
    Drag(Slot(a, 1), Slot(a, 0));
    Drag(Slot(a, 2), Slot(b, 0));
    Drag(Slot(a, 0), kAway);
    shift = true;
    Drag(Slot(a, 0), Slot(a, 7));
    EXPECT_EQ(calls, (std::vector<std::string>{"move", "swap", "stack", "drop", "split 1"}));
    EXPECT_EQ(Picture(), before);
    ExpectMirrors(a);
    ExpectMirrors(b);
}

TEST_F(InventoryUiTest, SlotNamesCapacityAndSummaries) {
    EXPECT_EQ(a->GetSlot("x1"), nullptr);
    EXPECT_EQ(a->GetSlot("1x"), a->GetItem(1));
    EXPECT_EQ(a->GetSlot("99"), nullptr);
    EXPECT_THROW(a->SetCapacity(size_t(1) << 60), std::length_error);
    EXPECT_EQ(a->GetCapacity(), 8u);

    hostA.Put(3, game::Item(kDemo, "drill", 2, {{"power", "2.5"}}));
    hostA.Put(4, game::Item(kDemo, "drill", 1, {{"power", "fast"}}));
    Sync();
    EXPECT_EQ(a->GetSummary(false), (std::map<std::string, uint64_t>{{"drill", 4}, {"rock", 5}}));
    EXPECT_EQ(a->GetConsumableStackSummary(true), (std::map<std::string, uint64_t>{{"ZEN_demo:rock", 5}}));
    EXPECT_EQ(a->GetPropertySummary("power", 10, false), (std::map<std::string, double>{{"drill", 5 + 5 + 10}}));
    EXPECT_EQ(InventoryUi::FormatNumber(2.5), "2.5");
    EXPECT_EQ(InventoryUi::FormatNumber(40), "40");
}

// The dial turns with the mouse from where it opened, calls back on each change, and closes the
// frame after its owner stops asking.
TEST_F(InventoryUiTest, RadialMenuFollowsTheMouse) {
    int value = 0;
    std::vector<int> changes;
    auto dial = [&] {
        InventoryUi::Tool::ConfigureWithRadialMenu(&value, 0, 3, 100, [&](int v) { changes.push_back(v); });
    };
    auto run = [&](std::vector<ImVec2> path) {
        for (ImVec2 p : path) Frame(ImVec2(400, 300) + p, false, dial);
    };
    // A third of the way out changes nothing; then right and down, then left and up.
    run({{0, 0}, {20, 0}});
    EXPECT_TRUE(changes.empty());
    EXPECT_TRUE(ImGui::IsPopupOpen("", kAnyPopup));
    run({{0, 0}, {60, 60}, {-60, 60}, {-60, -60}});
    EXPECT_EQ(changes, (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(value, 3);
    Frame(kAway);
    Frame(kAway);
    EXPECT_FALSE(ImGui::IsPopupOpen("", kAnyPopup));
}

using InventoryUiGolden = VulkanTestOf<ModuleTestBase>;

// A backpack with items as the renderer's overlay shows it.
TEST_F(InventoryUiGolden, GridWithItems) {
    quorl::graphics::Window window;
    game::graphics::GameRenderer r(&window, "InventoryUiGolden", 1, quorl::vk::PhysicalDevice::Features{}, {320, 180});
    r.Imgui().fixedDeltaTime = 1.0f / 60.0f;
    r.showCrosshair = false;
    Game::renderer = &r;
    Game::settings = nullptr;
    Game::SetupUiStyle();
    game::Inventory host(10);
    host.Put(0, game::Item(kDemo, "ore", 3));
    host.Put(1, game::Item(kDemo, "ice", 1, {{"purity", "0.5"}}));
    host.Put(4, game::Item(kDemo, "gel", 12));
    Ptr backpack = InventoryUi::Create("Backpack", 10);
    backpack->slotSize = 40, backpack->slotSpacing = 4;
    backpack->SetPosition(ImVec2(8, 8));
    backpack->UpdateInventory(host);
    backpack->Show();
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(r.Frame());

    EXPECT_TRUE(MatchesGolden("inventory_items", OutputPixels(r, "inventory_items"), 320, 180));
    Game::renderer = nullptr;
    std::lock_guard lock(InventoryUi::_inventoriesMutex);
    InventoryUi::_inventories.clear();
}

}  // namespace
