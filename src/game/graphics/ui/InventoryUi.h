#pragma once
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include <imgui.h>

#include "quorl/modular/ModuleID.h"

namespace game {
class Inventory;
class Item;
}  // namespace game

namespace game::graphics::ui {

// One inventory drawn as a grid of slots in its own ImGui window. It turns the player's drags
// into requests and never changes the true contents on its own authority: a move, swap, stack,
// split, drop or quick take is offered to the host's static callback, and the local picture
// changes only when that callback returns true (an unset callback refuses). The host applies the
// change to its game::Inventory and may later send the result back with UpdateInventory.
//
// Gestures, all with the left mouse button, handled by UpdateUi once a frame:
// - drag an item onto a slot of any open inventory: onto an empty slot a move (OnMoveItem), onto
//   an item it stacks with a stack (OnStackItems), onto any other item a swap (OnSwapItems). An
//   occupied slot is never overwritten: without OnStackItems a stackable pair is offered as a swap.
// - the same drag with Shift held at its start, from a stack above one: a split (OnSplitItem) of
//   half the stack, rounded down, onto an empty slot or onto an item it stacks with.
// - release outside every ImGui window: a drop (OnDropItem); the item leaves the picture.
// - release over a window but not over a slot of an inventory (search line, other panels, past
//   the capacity), or on the item's own slot: nothing happens.
// - Ctrl+click: a quick take (OnTryQuickTakeItem) into the first free slot of Game::userInventory,
//   or, for an item already in it, of the first other open inventory with space.
//
// Locks: the list of inventories first, then an instance's item mutex; two instances are locked
// together without order. No callback is called with a lock held, so a callback may call
// UpdateInventory; a change it agrees to is applied only if both slots still hold what they held
// when it was asked.
class InventoryUi : public std::enable_shared_from_this<InventoryUi> {
public:
    class Item : public std::enable_shared_from_this<Item> {
    public:
        quorl::modular::ModuleID itemId;
        std::string name;
        uint64_t slot = 0;
        std::weak_ptr<InventoryUi> owner;
        ImVec2 pos{0, 0};
        ImVec2 targetPos{0, 0};
        uint32_t stack = 0;
        bool dragging = false;
        std::unordered_map<std::string, std::string> properties;
        std::string summary;

        Item() = default;
        Item(const game::Item& item, size_t slot);

        // Takes over slot, stack and properties of a newer copy of this item.
        virtual void UpdateItem(Item&& newer);
        virtual ~Item() = default;
        // Draws the item's button at `pos` in the current window (window coordinates).
        virtual void Draw(ImVec2 pos);
        // Same module, same name, and the same properties both ways.
        virtual bool StackableOn(std::shared_ptr<Item>& other) const;
        // StackableOn, a different item, and a sum that fits the stack's width.
        virtual bool CanStack(std::shared_ptr<Item>& other) const;

        std::shared_ptr<InventoryUi> GetInventory() const { return owner.lock(); }
        // Called while the item's button is being dragged: marks it dragged, or with Shift held
        // starts a split drag (a stack of one is not split) and leaves `dragging` clear.
        void MakeItemDraggable();
        // Moves the item into `inventory`'s slot `slot`, out of the slot that held it before.
        void Assign(std::shared_ptr<InventoryUi> inventory);
        void UpdateItemFromInventory(const game::Item& item, size_t slot);
        // The name under which the item's texture is looked up: its identifier's two words in
        // hexadecimal digits, then ':' and its name.
        std::string TextureKey() const;
        // Rebuilds `summary` from name, stack and properties.
        void UpdateSummary();
    };

    // An item that is held in hand and takes input while it is the active tool.
    class Tool : public Item {
    public:
        using Item::Item;
        virtual void InputUpdate(double) {}

        // Call once a frame while the player configures the tool: a modal popup "Tool
        // Configuration" in the centre of the viewport, a dial of the values minimum..maximum.
        // The mouse movement since the popup opened, each axis clamped to -1..1 (`sensitivity`
        // pixels of movement make 1) and its length to 1, points at a value; clockwise from the
        // top the dial runs from minimum to maximum. Within the middle third of the dial the value
        // stays. A change sets *value, calls `onChange` and plays "event:/game/tick" with
        // "intensity" 0..1 along the range. A frame without the call closes the popup.
        static void ConfigureWithRadialMenu(int* value, int minimum, int maximum, float sensitivity,
                                            std::function<void(int)> onChange);
    };

    using Ptr = std::shared_ptr<InventoryUi>;
    using ItemPtr = std::shared_ptr<Item>;
    using MoveCallback = std::function<bool(const Ptr& from, size_t fromSlot, const Ptr& to, size_t toSlot,
                                            const ItemPtr& item)>;
    using PairCallback = std::function<bool(const Ptr& from, size_t fromSlot, const Ptr& to, size_t toSlot,
                                            const ItemPtr& item, const ItemPtr& target)>;
    using SplitCallback = std::function<bool(const Ptr& from, size_t fromSlot, const Ptr& to, size_t toSlot,
                                             const ItemPtr& item, uint32_t count)>;
    using DropCallback = std::function<bool(const Ptr& from, size_t fromSlot, const ItemPtr& item)>;

    static constexpr const char* FontPath = "game/graphics/ui/fonts/OpenSans-SemiBold.ttf";
    static constexpr const char* TickEvent = "event:/game/tick";
    static constexpr const char* RadialPopup = "Tool Configuration";

    // Makes an inventory and lists it in _inventories. `title` is shown on its window.
    static Ptr Create(const std::string& title, size_t capacity);
    InventoryUi(const std::string& title, size_t capacity);

    virtual ~InventoryUi() = default;
    virtual void Show();
    virtual void Hide();
    virtual ItemPtr GetItem(size_t slot) const;
    // "3" or "3x" gives slot 3; "", "x3" give null.
    virtual ItemPtr GetSlot(const std::string& name) const;
    virtual size_t Count() const;
    virtual bool HasSpace() const;
    // Mirrors the game's inventory: capacity, new items made, existing ones updated in place
    // (a held reference stays valid), vanished ones cleared.
    virtual void UpdateInventory(const game::Inventory& inventory);
    virtual void Draw();
    virtual void DrawSlot(ImVec2 pos, const std::string& label);
    // The release of a drag over this inventory's window: the slot under the mouse receives the
    // item (or half its stack with `split`). True when the picture changed.
    virtual bool MoveOrSwapItem(ItemPtr item, bool split);

    bool IsVisible() const { return _visible; }
    const std::string& GetTitle() const { return _title; }
    size_t GetCapacity() const { return _capacity; }
    void SetCapacity(size_t capacity);
    size_t GetCols() const;
    size_t GetRows() const;
    // Top-left of a slot in window coordinates.
    ImVec2 GetSlotPos(size_t slot) const;
    // Places the window's top-left corner (screen coordinates); kept inside the viewport.
    void SetPosition(ImVec2 position);
    ImVec2 GetPosition() const { return _position; }

    float slotSize = 64.0f;
    float slotSpacing = 6.0f;

    // From item to the sum of its stacks; the key is the name, or "VENDOR_module:name".
    std::map<std::string, uint64_t> GetSummary(bool withModule) const;
    // The same over items without properties.
    std::map<std::string, uint64_t> GetConsumableStackSummary(bool withModule) const;
    // Over the items holding `key`: stack times the property's number, or times `value` when the
    // property is no number.
    std::map<std::string, double> GetPropertySummary(const char* key, double value, bool withModule) const;

    // The agreed forms of the gestures, also for hosts that move items in code. Each asks its
    // callback and applies the change on true.
    static bool MoveItem(ItemPtr item, const Ptr& to, size_t toSlot);
    static bool SplitItem(ItemPtr item, const Ptr& to, size_t toSlot);
    static bool DropItem(ItemPtr item);
    static bool QuickTakeItem(ItemPtr item);

    // Calls `f` with every listed inventory that still exists and is visible.
    static void ForEachOpenInventory(const std::function<void(const Ptr&)>& f);
    // Once a frame inside the ImGui frame: draws every open inventory and carries out the gesture
    // the mouse finished.
    static void UpdateUi();
    // The item being dragged, if any.
    static ItemPtr GetDraggedItem();

    // "%f" with the trailing zeros (and a trailing point) cut.
    static std::string FormatNumber(double value);

    // Factories of the items that modules define, by item type; a type without one is a plain Item.
    static std::unordered_map<std::string, std::function<std::shared_ptr<Item>()>> ItemCreatorFunctions;
    // Texture of an item by TextureKey(); null (or unset) draws a button with the name.
    static std::function<ImTextureID(const std::string& key)> ItemTextures;
    static std::vector<std::weak_ptr<InventoryUi>> _inventories;
    static std::mutex _inventoriesMutex;
    static ImFont* font;
    static float DefaultSpawnBottomOffset;

    static MoveCallback OnTryQuickTakeItem;
    static SplitCallback OnSplitItem;
    static PairCallback OnStackItems;
    static DropCallback OnDropItem;
    static PairCallback OnSwapItems;
    static MoveCallback OnMoveItem;

    // Adds the inventory's face to the user-interface atlas; a missing file is reported and left out.
    static void LoadFonts();

private:
    static ItemPtr NewItem(const game::Item& item, size_t slot);
    // Moves `item` from its slot into an empty slot, if both still are as they were.
    static bool Place(const ItemPtr& item, const Ptr& from, size_t fromSlot, const Ptr& to, size_t toSlot);
    static void SizeConstraint(ImGuiSizeCallbackData* data);
    // Slot index under a screen position, or capacity when there is none.
    size_t SlotAt(ImVec2 screen) const;

    std::string _title;
    std::string _windowName;
    std::atomic<size_t> _capacity{0};
    std::atomic<bool> _visible{false};
    mutable std::mutex _mutex;
    std::vector<ItemPtr> items;
    std::string _search;

    // Where the last Draw put things.
    ImVec2 _position{-1, -1};
    bool _positionSet = false;
    ImVec2 _windowPos{0, 0};
    ImVec2 _windowSize{0, 0};
    ImVec2 _gridOrigin{8, 8};
    float _headerHeight = 0;
    bool _hovered = false;

    friend class Item;
};

}  // namespace game::graphics::ui
