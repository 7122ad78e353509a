#include "game/graphics/ui/Element.h"

#include <algorithm>
#include <cmath>
#include <shared_mutex>

#include "game/graphics/ui/GraphicsPipelineWrapper.h"

namespace game::graphics::ui {

std::vector<std::weak_ptr<Element>> Element::_sharedObjects;
quorl::SharedMutex Element::_sharedObjectsMutex;

Element::Element(int vertexCount_, int instanceCount_, int sortOrder_, bool visible_)
    : vertexCount(vertexCount_), instanceCount(instanceCount_), sortOrder(sortOrder_), visible(visible_) {}

void Element::Sort(const std::function<bool(std::shared_ptr<Element>&, std::shared_ptr<Element>&)>& less) {
    std::unique_lock lock(_sharedObjectsMutex);
    std::vector<std::shared_ptr<Element>> live;
    live.reserve(_sharedObjects.size());
    for (auto& weak : _sharedObjects)
        if (auto element = weak.lock()) live.push_back(std::move(element));
    std::sort(live.begin(), live.end(), less);
    _sharedObjects.assign(live.begin(), live.end());
}

void Element::ForEach(const std::function<void(Element&)>& f) {
    std::shared_lock lock(_sharedObjectsMutex);
    for (auto& weak : _sharedObjects)
        if (auto element = weak.lock()) f(*element);
}

void Element::DrawAll(VkCommandBuffer cmd, VkExtent2D screen) {
    ForEach([&](Element& e) { e.Draw(cmd, screen); });
}

void Element::MouseButtonEvent(glm::vec2 mouse, glm::vec2 screen, int button, int action) {
    ForEach([&](Element& e) { e.Click(mouse, screen, button, action); });
}

void Element::PointerEvent(glm::vec2 mouse, glm::vec2 screen, bool held) {
    ForEach([&](Element& e) { e.Hover(mouse, screen, held); });
}

glm::vec4 Element::ScreenRect(glm::vec2 screen) const {
    std::lock_guard lock(mutex);
    const glm::vec2 centre((1.0f + data[0]) * 0.5f * screen.x, (1.0f + data[1]) * 0.5f * screen.y);
    const glm::vec2 half(0.25f * data[2] * screen.y, 0.25f * data[3] * screen.y);
    return {centre - half, centre + half};
}

bool Element::IsOver(glm::vec2 mouse, glm::vec2 screen) const {
    const glm::vec4 r = ScreenRect(screen);
    return mouse.x > std::trunc(r.x) && mouse.x < std::trunc(r.z) && mouse.y > std::trunc(r.y) &&
           mouse.y < std::trunc(r.w);
}

bool Element::IsDraggable(glm::vec2 mouse, glm::vec2 screen) const {
    {
        std::lock_guard lock(mutex);
        if (!drag) return false;
    }
    return IsOver(mouse, screen);
}

void Element::Click(glm::vec2 mouse, glm::vec2 screen, int button, int action) {
    std::lock_guard lock(mutex);
    if (visible && click && IsOver(mouse, screen)) click(button, action);
}

void Element::Hover(glm::vec2 mouse, glm::vec2 screen, bool held) {
    std::lock_guard lock(mutex);
    if (!visible) return;
    hovered = IsOver(mouse, screen);
    if (hover) hover(hovered, held);
}

void Element::Drag(glm::vec2 mouse, glm::vec2 screen) {
    std::lock_guard lock(mutex);
    if (visible && drag && IsOver(mouse, screen)) drag(mouse);
}

void Element::Drop(glm::vec2 mouse, glm::vec2 screen) {
    std::lock_guard lock(mutex);
    if (visible && drop && IsOver(mouse, screen)) drop(mouse);
}

void Element::Hover(bool hovered_) {
    std::lock_guard lock(mutex);
    hovered = hovered_;
}

void Element::Reset() { Hover(false); }

void Element::Show() {
    std::lock_guard lock(mutex);
    visible = true;
}

void Element::Hide() {
    std::lock_guard lock(mutex);
    visible = false;
}

bool Element::IsVisible() const {
    std::lock_guard lock(mutex);
    return visible;
}

bool Element::IsHovered() const {
    std::lock_guard lock(mutex);
    return hovered;
}

void Element::Draw(VkCommandBuffer cmd, VkExtent2D screen) {
    std::lock_guard lock(mutex);
    if (!visible) return;
    GraphicsPipelineWrapper* pipeline = GetPipeline();
    if (pipeline && !pipeline->Bind(cmd)) return;
    const Data* block = GetData();
    if (!block || !pipeline) return;
    Data push = *block;
    push.back() = float(screen.height) / float(std::max(1u, screen.width));
    pipeline->Layout().Push(cmd, push.data(), kDataSize);
    vkCmdDraw(cmd, uint32_t(vertexCount), uint32_t(instanceCount), 0, 0);
}

}  // namespace game::graphics::ui
