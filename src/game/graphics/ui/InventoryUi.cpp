#define IMGUI_DEFINE_MATH_OPERATORS
#include "game/graphics/ui/InventoryUi.h"

#include <imgui_internal.h>
#include <imgui_stdlib.h>

#include <algorithm>
#include <cctype>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <numbers>
#include <utility>

#include "game/Game.h"
#include "game/Inventory.h"
#include "game/Item.h"
#include "quorl/Assert.h"
#include "quorl/audio/Studio.h"

namespace game::graphics::ui {

std::unordered_map<std::string, std::function<std::shared_ptr<InventoryUi::Item>()>> InventoryUi::ItemCreatorFunctions;
std::function<ImTextureID(const std::string&)> InventoryUi::ItemTextures;
std::vector<std::weak_ptr<InventoryUi>> InventoryUi::_inventories;
std::mutex InventoryUi::_inventoriesMutex;
ImFont* InventoryUi::font = nullptr;
float InventoryUi::DefaultSpawnBottomOffset = 50.0f;

InventoryUi::MoveCallback InventoryUi::OnTryQuickTakeItem;
InventoryUi::SplitCallback InventoryUi::OnSplitItem;
InventoryUi::PairCallback InventoryUi::OnStackItems;
InventoryUi::DropCallback InventoryUi::OnDropItem;
InventoryUi::PairCallback InventoryUi::OnSwapItems;
InventoryUi::MoveCallback InventoryUi::OnMoveItem;

namespace {

// The drag in progress: the item and whether it is a split. UI thread only.
struct Held {
    std::weak_ptr<InventoryUi::Item> item;
    bool split = false;
} gHeld;
std::weak_ptr<InventoryUi::Item> gQuickTake;
bool gDrawingHeld = false;  // Item::Draw is drawing the dragged copy at the mouse
int gRadialFrame = -2;      // frame of the last ConfigureWithRadialMenu

constexpr size_t kDefaultCols = 8;

// Locks one inventory, or two together without deadlock whatever order another thread uses.
class PairLock {
public:
    PairLock(std::mutex& a, std::mutex& b) : _a(a, std::defer_lock) {
        if (&a == &b) {
            _a.lock();
        } else {
            _b = std::unique_lock(b, std::defer_lock);
            std::lock(_a, _b);
        }
    }

private:
    std::unique_lock<std::mutex> _a, _b;
};

bool Holds(const std::vector<InventoryUi::ItemPtr>& items, size_t slot, const InventoryUi::ItemPtr& item) {
    return slot < items.size() && items[slot] == item;
}

std::string SummaryKey(const InventoryUi::Item& item, bool withModule) {
    return withModule ? item.itemId.String() + ":" + item.name : item.name;
}

bool ContainsNoCase(const std::string& text, const std::string& part) {
    auto lower = [](unsigned char c) { return std::tolower(c); };
    return std::search(text.begin(), text.end(), part.begin(), part.end(),
                       [&](char a, char b) { return lower(a) == lower(b); }) != text.end();
}

}  // namespace

// ---- Item ----

InventoryUi::Item::Item(const game::Item& item, size_t slot)
    : itemId(item.module), name(item.name), slot(slot), stack(item.stack), properties(item.properties) {
    UpdateSummary();
}

void InventoryUi::Item::UpdateItem(Item&& newer) {
    slot = newer.slot;
    stack = newer.stack;
    properties = std::move(newer.properties);
    UpdateSummary();
}

void InventoryUi::Item::UpdateItemFromInventory(const game::Item& item, size_t at) { UpdateItem(Item(item, at)); }

bool InventoryUi::Item::StackableOn(std::shared_ptr<Item>& other) const {
    if (!other || other->itemId != itemId || other->name != name) return false;
    auto within = [](const auto& a, const auto& b) {
        return std::all_of(a.begin(), a.end(), [&](const auto& kv) {
            auto it = b.find(kv.first);
            return it != b.end() && it->second == kv.second;
        });
    };
    return within(properties, other->properties) && within(other->properties, properties);
}

bool InventoryUi::Item::CanStack(std::shared_ptr<Item>& other) const {
    return StackableOn(other) && other.get() != this && uint64_t(stack) + other->stack <= UINT32_MAX;
}

std::string InventoryUi::Item::TextureKey() const {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string key;
    for (uint64_t word : {itemId.vendor, itemId.name})
        for (int shift = 60; shift >= 0; shift -= 4) key += digits[(word >> shift) & 0xF];
    return key + ":" + name;
}

void InventoryUi::Item::UpdateSummary() {
    summary = name;
    if (!itemId.IsNull()) summary += " (" + itemId.String() + ")";
    summary += "\nx" + std::to_string(stack);
    std::map<std::string, std::string> sorted(properties.begin(), properties.end());
    for (const auto& [key, value] : sorted) {
        char* end = nullptr;
        const double number = std::strtod(value.c_str(), &end);
        const bool numeric = !value.empty() && end && *end == 0;
        summary += "\n" + key + ": " + (numeric ? FormatNumber(number) : value);
    }
}

void InventoryUi::Item::MakeItemDraggable() {
    if (gHeld.item.lock()) return;  // one drag at a time
    const bool shift = ImGui::GetIO().KeyShift;
    dragging = !shift;
    if (!shift)
        gHeld = {weak_from_this(), false};
    else if (stack > 1)
        gHeld = {weak_from_this(), true};
}

void InventoryUi::Item::Assign(std::shared_ptr<InventoryUi> inventory) {
    QUORL_ASSERT(inventory);
    std::shared_ptr<InventoryUi> old = GetInventory();
    ItemPtr self = shared_from_this();
    PairLock lock(old ? old->_mutex : inventory->_mutex, inventory->_mutex);
    if (old)
        for (ItemPtr& entry : old->items)
            if (entry == self) entry.reset();
    if (slot >= inventory->items.size()) return;  // past the capacity: the item leaves the picture
    inventory->items[slot] = self;
    owner = inventory;
}

void InventoryUi::Item::Draw(ImVec2 at) {
    std::shared_ptr<InventoryUi> inventory = GetInventory();
    const float size = inventory ? inventory->slotSize : 64.0f;
    const bool held = !gDrawingHeld && gHeld.item.lock().get() == this;
    ImGui::SetCursorPos(at);
    if (held) ImGui::PushStyleVar(ImGuiStyleVar_Alpha, ImGui::GetStyle().Alpha * 0.35f);
    ImTextureID texture = ItemTextures ? ItemTextures(TextureKey()) : nullptr;
    ImGui::PushID("##item");
    const bool clicked = texture ? ImGui::ImageButton(texture, ImVec2(size, size), ImVec2(0, 0), ImVec2(1, 1), 0)
                                 : ImGui::Button((name + "##item").c_str(), ImVec2(size, size));
    ImGui::PopID();
    if (stack > 1) {
        const std::string count = std::to_string(stack);
        const ImVec2 extent = ImGui::CalcTextSize(count.c_str());
        const ImVec2 corner = ImGui::GetItemRectMax();
        ImGui::GetWindowDrawList()->AddText(ImVec2(corner.x - extent.x - 4, corner.y - extent.y - 2),
                                            ImGui::GetColorU32(ImGuiCol_Text), count.c_str());
    }
    if (held) ImGui::PopStyleVar();
    if (gDrawingHeld) return;
    if (ImGui::IsItemHovered() && !gHeld.item.lock()) ImGui::SetTooltip("%s", summary.c_str());
    if (ImGui::IsItemActive() && ImGui::IsMouseDragging(ImGuiMouseButton_Left)) MakeItemDraggable();
    if (clicked && !held && ImGui::GetIO().KeyCtrl) gQuickTake = weak_from_this();
}

// ---- Tool ----

void InventoryUi::Tool::ConfigureWithRadialMenu(int* value, int minimum, int maximum, float sensitivity,
                                                std::function<void(int)> onChange) {
    // The mouse movement since the popup opened, in units of `sensitivity` pixels.
    static float dx = 0, dy = 0;
    QUORL_ASSERT(value);
    if (maximum < minimum) std::swap(minimum, maximum);
    const int frame = ImGui::GetFrameCount();
    const bool opening = gRadialFrame < frame - 1;
    gRadialFrame = frame;
    if (opening) {
        dx = dy = 0;
        ImGui::OpenPopup(RadialPopup);
    }
    const ImGuiIO& io = ImGui::GetIO();
    const float unit = sensitivity > 0 ? sensitivity : 100.0f;
    const ImVec2 moved = opening ? ImVec2(0, 0) : io.MouseDelta;  // counted from where it opened
    dx = std::clamp(dx + moved.x / unit, -1.0f, 1.0f);
    dy = std::clamp(dy + moved.y / unit, -1.0f, 1.0f);
    const float length = std::hypot(dx, dy);
    if (length > 1) dx /= length, dy /= length;

    const int count = maximum - minimum + 1;
    if (std::hypot(dx, dy) > 1.0f / 3.0f) {
        // Clockwise from the top, in [0, 2 pi).
        float angle = std::atan2(dx, -dy);
        if (angle < 0) angle += 2 * std::numbers::pi_v<float>;
        const int sector = std::min(count - 1, int(angle / (2 * std::numbers::pi_v<float>) * float(count)));
        const int chosen = minimum + sector;
        if (chosen != *value) {
            *value = chosen;
            if (onChange) onChange(chosen);
            if (Game::audio) {
                auto tick = Game::audio->EventInstance(TickEvent);
                tick->SetParameter("intensity", count > 1 ? float(chosen - minimum) / float(count - 1) : 1.0f);
                tick->Start();  // a one-shot plays on after its instance is released
            }
        }
    }

    const float radius = 110.0f;
    ImGui::SetNextWindowPos(ImGui::GetMainViewport()->GetCenter(), ImGuiCond_Always, ImVec2(0.5f, 0.5f));
    ImGui::SetNextWindowSize(ImVec2(2 * radius + 40, 2 * radius + 40));
    if (!ImGui::BeginPopupModal(RadialPopup, nullptr,
                                ImGuiWindowFlags_NoDecoration | ImGuiWindowFlags_NoMove | ImGuiWindowFlags_NoSavedSettings))
        return;
    ImDrawList* draw = ImGui::GetWindowDrawList();
    const ImVec2 centre = ImGui::GetWindowPos() + ImGui::GetWindowSize() * 0.5f;
    const ImU32 line = ImGui::GetColorU32(ImGuiCol_Border), text = ImGui::GetColorU32(ImGuiCol_Text);
    draw->AddCircle(centre, radius, line, 64, 2.0f);
    draw->AddCircle(centre, radius / 3, line, 32, 1.0f);
    const int labels = std::min(count, 24);
    for (int i = 0; i < labels; ++i) {
        const int v = minimum + int(int64_t(i) * count / labels);
        const float a = (float(v - minimum) + 0.5f) / float(count) * 2 * std::numbers::pi_v<float>;
        const std::string label = std::to_string(v);
        const ImVec2 extent = ImGui::CalcTextSize(label.c_str());
        const ImVec2 at(centre.x + std::sin(a) * radius * 0.75f, centre.y - std::cos(a) * radius * 0.75f);
        draw->AddText(at - extent * 0.5f, v == *value ? ImGui::GetColorU32(ImGuiCol_PlotHistogram) : text,
                      label.c_str());
    }
    draw->AddLine(centre, ImVec2(centre.x + dx * radius, centre.y + dy * radius), text, 2.0f);
    const std::string current = std::to_string(*value);
    draw->AddText(centre - ImGui::CalcTextSize(current.c_str()) * 0.5f, text, current.c_str());
    ImGui::EndPopup();
}

// ---- InventoryUi ----

InventoryUi::InventoryUi(const std::string& title, size_t capacity) : _title(title) {
    static std::atomic<uint64_t> serial{0};
    _windowName = title + "###inventory" + std::to_string(serial++);
    SetCapacity(capacity);
}

InventoryUi::Ptr InventoryUi::Create(const std::string& title, size_t capacity) {
    Ptr inventory = std::make_shared<InventoryUi>(title, capacity);
    std::lock_guard lock(_inventoriesMutex);
    std::erase_if(_inventories, [](const std::weak_ptr<InventoryUi>& w) { return w.expired(); });
    _inventories.push_back(inventory);
    return inventory;
}

void InventoryUi::Show() { _visible = true; }

void InventoryUi::Hide() {
    _visible = false;
    std::lock_guard lock(_mutex);
    for (const ItemPtr& item : items) {
        if (!item) continue;
        item->pos = item->targetPos;
        item->dragging = false;
    }
}

InventoryUi::ItemPtr InventoryUi::GetItem(size_t slot) const {
    std::lock_guard lock(_mutex);
    return slot < items.size() ? items[slot] : nullptr;
}

InventoryUi::ItemPtr InventoryUi::GetSlot(const std::string& name) const {
    if (name.empty() || !std::isdigit(static_cast<unsigned char>(name[0]))) return nullptr;
    return GetItem(size_t(std::atoi(name.c_str())));
}

size_t InventoryUi::Count() const {
    std::lock_guard lock(_mutex);
    return size_t(std::count_if(items.begin(), items.end(), [](const ItemPtr& i) { return i != nullptr; }));
}

bool InventoryUi::HasSpace() const { return Count() < _capacity; }

void InventoryUi::SetCapacity(size_t capacity) {
    std::lock_guard lock(_mutex);
    items.reserve(capacity);  // throws before anything changed when the capacity is absurd
    for (size_t i = capacity; i < items.size(); ++i)
        if (items[i]) items[i]->owner.reset();
    items.resize(capacity);
    _capacity = capacity;
}

size_t InventoryUi::GetCols() const {
    const float pitch = slotSize + slotSpacing;
    const float width = _windowSize.x > 0 ? _windowSize.x : float(kDefaultCols) * pitch + 16;
    return std::max<size_t>(1, size_t(std::floor(width / pitch)));
}

size_t InventoryUi::GetRows() const {
    const size_t cols = GetCols();
    return (_capacity + cols - 1) / cols;
}

ImVec2 InventoryUi::GetSlotPos(size_t slot) const {
    const size_t cols = GetCols();
    const float pitch = slotSize + slotSpacing;
    return ImVec2(_gridOrigin.x + float(slot % cols) * pitch, _gridOrigin.y + float(slot / cols) * pitch);
}

void InventoryUi::SetPosition(ImVec2 position) {
    _position = position;
    _positionSet = true;
}

InventoryUi::ItemPtr InventoryUi::NewItem(const game::Item& item, size_t slot) {
    auto creator = ItemCreatorFunctions.find(item.name);
    ItemPtr made = creator != ItemCreatorFunctions.end() && creator->second ? creator->second() : nullptr;
    if (!made) return std::make_shared<Item>(item, slot);
    made->itemId = item.module;
    made->name = item.name;
    made->UpdateItem(Item(item, slot));
    return made;
}

void InventoryUi::UpdateInventory(const game::Inventory& inventory) {
    SetCapacity(inventory.Capacity());
    std::lock_guard lock(_mutex);
    for (size_t i = 0; i < items.size(); ++i) {
        const game::Item* source = inventory.Get(i);
        ItemPtr& entry = items[i];
        if (!source) {
            if (entry) entry->owner.reset();
            entry.reset();
        } else if (entry && entry->itemId == source->module && entry->name == source->name) {
            entry->UpdateItemFromInventory(*source, i);
        } else {
            if (entry) entry->owner.reset();
            entry = NewItem(*source, i);
            entry->owner = weak_from_this();
            entry->pos = entry->targetPos = GetSlotPos(i);
        }
    }
}

void InventoryUi::SizeConstraint(ImGuiSizeCallbackData* data) {
    const auto* self = static_cast<const InventoryUi*>(data->UserData);
    const float pitch = self->slotSize + self->slotSpacing;
    const size_t cols = std::max<size_t>(1, size_t(std::floor(data->DesiredSize.x / pitch)));
    const size_t rows = std::max<size_t>(1, (self->_capacity + cols - 1) / cols);
    data->DesiredSize.y = self->_headerHeight + float(rows) * pitch - self->slotSpacing + ImGui::GetStyle().WindowPadding.y;
}

void InventoryUi::DrawSlot(ImVec2 at, const std::string& label) {
    ImGui::SetCursorPos(ImVec2(at.x - 3.5f, at.y - 3.5f));
    ImGui::BeginDisabled();
    ImGui::PushStyleVar(ImGuiStyleVar_FrameBorderSize, 1.0f);
    ImGui::Button((label + "##slot").c_str(), ImVec2(slotSize + 6.0f, slotSize + 6.0f));
    ImGui::PopStyleVar();
    ImGui::EndDisabled();
    ImGui::SetItemAllowOverlap();  // the item's button on top takes the mouse
}

void InventoryUi::Draw() {
    if (!_visible) return;
    const ImGuiIO& io = ImGui::GetIO();
    const ImGuiStyle& style = ImGui::GetStyle();
    const float pitch = slotSize + slotSpacing;
    _headerHeight = ImGui::GetFontSize() + 2 * style.FramePadding.y + style.WindowPadding.y +
                    ImGui::GetFrameHeight() + style.ItemSpacing.y;
    if (!_positionSet) {
        // First appearance: centred, above the bottom edge.
        const float width = float(kDefaultCols) * pitch + 2 * style.WindowPadding.x;
        const float rows = std::ceil(float(_capacity) / float(kDefaultCols));
        const float height = _headerHeight + rows * pitch + style.WindowPadding.y;
        SetPosition(ImVec2((io.DisplaySize.x - width) / 2, io.DisplaySize.y - DefaultSpawnBottomOffset - height));
    }
    ImGui::SetNextWindowSize(ImVec2(float(kDefaultCols) * pitch + 2 * style.WindowPadding.x, 0), ImGuiCond_FirstUseEver);
    if (_position.x != _windowPos.x || _position.y != _windowPos.y) ImGui::SetNextWindowPos(_position);
    ImGui::SetNextWindowSizeConstraints(ImVec2(pitch + 2 * style.WindowPadding.x, 0), ImVec2(FLT_MAX, FLT_MAX),
                                        &SizeConstraint, this);
    ImGui::Begin(_windowName.c_str(), nullptr,
                 ImGuiWindowFlags_NoCollapse | ImGuiWindowFlags_NoScrollbar | ImGuiWindowFlags_NoScrollWithMouse |
                     ImGuiWindowFlags_NoSavedSettings);
    // The window's geometry is read by UpdateInventory on the thread that applies updates. The
    // items are drawn from a copy of the list, without the lock: an item's Draw may look at its
    // inventory.
    std::unique_lock lock(_mutex);
    // A drag of the title bar moves the window; it stays inside the viewport.
    ImVec2 at = ImGui::GetWindowPos();
    _windowSize = ImGui::GetWindowSize();
    const ImVec2 kept(std::clamp(at.x, 0.0f, std::max(0.0f, io.DisplaySize.x - _windowSize.x)),
                      std::clamp(at.y, 0.0f, std::max(0.0f, io.DisplaySize.y - _windowSize.y)));
    if (kept.x != at.x || kept.y != at.y) ImGui::SetWindowPos(at = kept);
    _position = _windowPos = at;
    _hovered = ImGui::IsWindowHovered(ImGuiHoveredFlags_AllowWhenBlockedByActiveItem);

    ImGui::TextUnformatted(" Search: ");
    ImGui::SameLine();
    ImGui::SetNextItemWidth(std::max(40.0f, _windowSize.x - 180.0f));
    ImGui::InputText("##InventorySearch", &_search);
    ImGui::SameLine();
    if (ImGui::Button(" clear ")) _search.clear();
    _gridOrigin = ImGui::GetCursorPos();

    const float follow = std::min(1.0f, io.DeltaTime * 12.0f);  // slide towards the slot
    for (size_t i = 0; i < items.size(); ++i) {
        if (!items[i]) continue;
        items[i]->targetPos = GetSlotPos(i);
        items[i]->pos = items[i]->pos + (items[i]->targetPos - items[i]->pos) * follow;
    }
    const std::vector<ItemPtr> shown = items;
    lock.unlock();

    const bool belt = Game::userInventory.get() == this;
    for (size_t i = 0; i < shown.size(); ++i) {
        ImGui::PushID(int(i));
        DrawSlot(GetSlotPos(i), belt && i < 9 ? FormatNumber(double(i + 1)) : std::string());
        ImGui::PopID();
    }
    // The face only while it belongs to the current atlas (a context made anew drops it).
    const bool ownFont = font && io.Fonts->Fonts.contains(font) && font->IsLoaded();
    if (ownFont) ImGui::PushFont(font);
    for (size_t i = 0; i < shown.size(); ++i) {
        Item* item = shown[i].get();
        if (!item) continue;
        const bool match = _search.empty() || ContainsNoCase(item->name, _search);
        if (!match) ImGui::PushStyleVar(ImGuiStyleVar_Alpha, style.Alpha * 0.25f);
        ImGui::PushID(int(i));
        item->Draw(item->pos);
        ImGui::PopID();
        if (!match) ImGui::PopStyleVar();
    }
    if (ownFont) ImGui::PopFont();
    ImGui::End();
}

size_t InventoryUi::SlotAt(ImVec2 screen) const {
    const ImVec2 local = screen - _windowPos;
    if (local.x < 0 || local.y < 0 || local.x >= _windowSize.x || local.y >= _windowSize.y) return _capacity;
    const ImVec2 grid = local - _gridOrigin;
    if (grid.x < 0 || grid.y < 0) return _capacity;
    const float pitch = slotSize + slotSpacing;
    const size_t col = size_t(grid.x / pitch), row = size_t(grid.y / pitch), cols = GetCols();
    if (col >= cols) return _capacity;
    return std::min<size_t>(row * cols + col, _capacity);
}

bool InventoryUi::MoveOrSwapItem(ItemPtr item, bool split) {
    QUORL_ASSERT(item);
    QUORL_ASSERT(!split || item->stack > 1);
    const size_t slot = SlotAt(ImGui::GetIO().MousePos);
    if (slot >= _capacity) return false;
    Ptr self = shared_from_this();
    if (split) return SplitItem(item, self, slot);
    if (item->GetInventory() == self && item->slot == slot) return false;
    return MoveItem(item, self, slot);
}

bool InventoryUi::MoveItem(ItemPtr item, const Ptr& to, size_t toSlot) {
    Ptr oldInventory = item ? item->GetInventory() : nullptr;
    QUORL_ASSERT(oldInventory);
    QUORL_ASSERT(to);
    const size_t fromSlot = item->slot;
    ItemPtr target = to->GetItem(toSlot);
    if (target == item || toSlot >= to->_capacity) return false;

    if (target && OnStackItems && item->CanStack(target)) {
        if (!OnStackItems(oldInventory, fromSlot, to, toSlot, item, target)) return false;
        PairLock lock(oldInventory->_mutex, to->_mutex);
        if (!Holds(oldInventory->items, fromSlot, item) || !Holds(to->items, toSlot, target)) return false;
        target->stack += item->stack;
        target->UpdateSummary();
        oldInventory->items[fromSlot].reset();
        item->owner.reset();
        return true;
    }
    if (target) {
        if (!OnSwapItems || !OnSwapItems(oldInventory, fromSlot, to, toSlot, item, target)) return false;
        PairLock lock(oldInventory->_mutex, to->_mutex);
        if (!Holds(oldInventory->items, fromSlot, item) || !Holds(to->items, toSlot, target)) return false;
        std::swap(oldInventory->items[fromSlot], to->items[toSlot]);
        target->slot = fromSlot;
        target->owner = oldInventory;
        item->slot = toSlot;
        item->owner = to;
        return true;
    }
    if (!OnMoveItem || !OnMoveItem(oldInventory, fromSlot, to, toSlot, item)) return false;
    return Place(item, oldInventory, fromSlot, to, toSlot);
}

bool InventoryUi::Place(const ItemPtr& item, const Ptr& from, size_t fromSlot, const Ptr& to, size_t toSlot) {
    PairLock lock(from->_mutex, to->_mutex);
    if (!Holds(from->items, fromSlot, item) || !Holds(to->items, toSlot, nullptr)) return false;
    from->items[fromSlot].reset();
    to->items[toSlot] = item;
    item->slot = toSlot;
    item->owner = to;
    return true;
}

bool InventoryUi::SplitItem(ItemPtr item, const Ptr& to, size_t toSlot) {
    Ptr oldInventory = item ? item->GetInventory() : nullptr;
    QUORL_ASSERT(oldInventory);
    QUORL_ASSERT(to);
    const size_t fromSlot = item->slot;
    const uint32_t count = item->stack / 2;
    ItemPtr target = to->GetItem(toSlot);
    if (count == 0 || target == item || toSlot >= to->_capacity) return false;
    if (target && (!item->StackableOn(target) || !item->CanStack(target))) return false;
    if (!OnSplitItem || !OnSplitItem(oldInventory, fromSlot, to, toSlot, item, count)) return false;

    ItemPtr part;
    if (!target) {
        game::Item copy(item->itemId, item->name, count, item->properties);
        part = NewItem(copy, toSlot);
        part->owner = to;
    }
    PairLock lock(oldInventory->_mutex, to->_mutex);
    if (!Holds(oldInventory->items, fromSlot, item) || !Holds(to->items, toSlot, target) || item->stack <= count)
        return false;
    item->stack -= count;
    item->UpdateSummary();
    if (target) {
        target->stack += count;
        target->UpdateSummary();
    } else {
        // The new part appears where the mouse let it go.
        part->pos = part->targetPos = to->GetSlotPos(toSlot);
        to->items[toSlot] = part;
    }
    return true;
}

bool InventoryUi::DropItem(ItemPtr item) {
    Ptr oldInventory = item ? item->GetInventory() : nullptr;
    QUORL_ASSERT(oldInventory);
    const size_t fromSlot = item->slot;
    if (!OnDropItem || !OnDropItem(oldInventory, fromSlot, item)) return false;
    std::lock_guard lock(oldInventory->_mutex);
    if (!Holds(oldInventory->items, fromSlot, item)) return false;
    oldInventory->items[fromSlot].reset();
    item->owner.reset();
    return true;
}

bool InventoryUi::QuickTakeItem(ItemPtr item) {
    Ptr oldInventory = item ? item->GetInventory() : nullptr;
    QUORL_ASSERT(oldInventory);
    // Into the player's inventory; from it, into the first other open one with room.
    Ptr to = Game::userInventory;
    if (!to || to == oldInventory || !to->IsVisible() || !to->HasSpace()) {
        to = nullptr;
        ForEachOpenInventory([&](const Ptr& open) {
            if (!to && open != oldInventory && open->HasSpace()) to = open;
        });
    }
    if (!to || to == oldInventory) return false;
    size_t toSlot = 0;
    while (toSlot < to->_capacity && to->GetItem(toSlot)) ++toSlot;
    if (toSlot >= to->_capacity) return false;
    const size_t fromSlot = item->slot;
    if (!OnTryQuickTakeItem || !OnTryQuickTakeItem(oldInventory, fromSlot, to, toSlot, item)) return false;
    return Place(item, oldInventory, fromSlot, to, toSlot);
}

void InventoryUi::ForEachOpenInventory(const std::function<void(const Ptr&)>& f) {
    std::lock_guard lock(_inventoriesMutex);
    for (const std::weak_ptr<InventoryUi>& weak : _inventories)
        if (Ptr inventory = weak.lock(); inventory && inventory->IsVisible()) f(inventory);
}

InventoryUi::ItemPtr InventoryUi::GetDraggedItem() { return gHeld.item.lock(); }

void InventoryUi::UpdateUi() {
    std::vector<Ptr> open;
    ForEachOpenInventory([&](const Ptr& inventory) { open.push_back(inventory); });
    for (const Ptr& inventory : open) inventory->Draw();

    if (ItemPtr item = gHeld.item.lock()) {
        const Ptr from = item->GetInventory();
        const bool split = gHeld.split;
        if (!from || !from->IsVisible() || (!split && !item->dragging)) {
            // Hidden, or taken away by an update: the drag ends where it began.
            gHeld = {};
            item->dragging = false;
        } else if (ImGui::IsMouseDown(ImGuiMouseButton_Left)) {
            // The dragged item follows the mouse above every window and takes no input.
            const float half = from->slotSize / 2;
            ImGui::SetNextWindowPos(ImGui::GetIO().MousePos - ImVec2(half, half));
            ImGui::PushStyleVar(ImGuiStyleVar_WindowPadding, ImVec2(0, 0));
            ImGui::Begin("##hiddenItem", nullptr,
                         ImGuiWindowFlags_NoDecoration | ImGuiWindowFlags_NoInputs | ImGuiWindowFlags_NoSavedSettings |
                             ImGuiWindowFlags_AlwaysAutoResize | ImGuiWindowFlags_NoBackground |
                             ImGuiWindowFlags_NoFocusOnAppearing);
            ImGui::BringWindowToDisplayFront(ImGui::GetCurrentWindow());
            const uint32_t stack = item->stack;
            if (split) item->stack = stack / 2;  // the part that goes
            gDrawingHeld = true;
            item->Draw(ImVec2(0, 0));
            gDrawingHeld = false;
            item->stack = stack;
            ImGui::End();
            ImGui::PopStyleVar();
        } else {
            gHeld = {};
            item->dragging = false;
            Ptr target;
            for (const Ptr& inventory : open)
                if (inventory->_hovered && inventory->IsVisible()) target = inventory;
            if (target)
                target->MoveOrSwapItem(item, split);
            else if (!split && !ImGui::IsWindowHovered(ImGuiHoveredFlags_AnyWindow |
                                                       ImGuiHoveredFlags_AllowWhenBlockedByActiveItem))
                DropItem(item);
        }
    }
    if (ItemPtr item = gQuickTake.lock()) {
        gQuickTake.reset();
        if (item->GetInventory()) QuickTakeItem(item);
    }
    // The dial closes in the first frame its owner no longer asks for it.
    if (gRadialFrame >= 0 && gRadialFrame < ImGui::GetFrameCount() - 1) {
        gRadialFrame = -2;
        if (ImGui::BeginPopupModal(RadialPopup, nullptr, ImGuiWindowFlags_NoDecoration)) {
            ImGui::CloseCurrentPopup();
            ImGui::EndPopup();
        }
    }
}

std::map<std::string, uint64_t> InventoryUi::GetSummary(bool withModule) const {
    std::map<std::string, uint64_t> sums;
    std::lock_guard lock(_mutex);
    for (const ItemPtr& item : items)
        if (item) sums[SummaryKey(*item, withModule)] += item->stack;
    return sums;
}

std::map<std::string, uint64_t> InventoryUi::GetConsumableStackSummary(bool withModule) const {
    std::map<std::string, uint64_t> sums;
    std::lock_guard lock(_mutex);
    for (const ItemPtr& item : items)
        if (item && item->properties.empty()) sums[SummaryKey(*item, withModule)] += item->stack;
    return sums;
}

std::map<std::string, double> InventoryUi::GetPropertySummary(const char* key, double value, bool withModule) const {
    std::map<std::string, double> sums;
    std::lock_guard lock(_mutex);
    for (const ItemPtr& item : items) {
        if (!item) continue;
        auto it = item->properties.find(key);
        if (it == item->properties.end()) continue;
        char* end = nullptr;
        const double number = std::strtod(it->second.c_str(), &end);
        const bool numeric = !it->second.empty() && end && *end == 0;
        sums[SummaryKey(*item, withModule)] += double(item->stack) * (numeric ? number : value);
    }
    return sums;
}

std::string InventoryUi::FormatNumber(double value) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%f", value);
    std::string text = buffer;
    if (text.find('.') != std::string::npos) {
        text.erase(text.find_last_not_of('0') + 1);
        if (text.back() == '.') text.pop_back();
    }
    return text;
}

void InventoryUi::LoadFonts() {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(FontPath, ec)) {
        std::cerr << "Font file not found: " << FontPath << std::endl;
        return;
    }
    font = ImGui::GetIO().Fonts->AddFontFromFileTTF(FontPath, 32.0f);
}

}  // namespace game::graphics::ui
