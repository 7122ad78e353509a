#pragma once
#include <vulkan/vulkan_core.h>

#include <array>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include <glm/vec2.hpp>
#include <glm/vec4.hpp>

#include "quorl/SharedMutex.h"

namespace game::graphics::ui {

class GraphicsPipelineWrapper;

// A retained widget drawn straight with Vulkan in the overlay pass, outside ImGui (the main menu
// is made of them). Every element lives in the static registry of weak pointers: make them with
// Make, keep the shared pointer as long as the element should exist; Game::Stop empties it.
//
// Geometry: the first four floats of the 128-byte push-constant block are the centre (x, y) in
// normalised coordinates (-1 .. 1, y down) and the width and height in units of half the screen
// height. On a screen of W x H pixels the rectangle's centre is ((1 + x) W / 2, (1 + y) H / 2)
// and its half extents 0.25 width H and 0.25 height H: both axes scale with the height, so a
// square stays square. The last float of the block is the screen's H / W, written at draw time.
//
// The element's state is guarded by its mutex: the render thread draws it while the input side
// changes it.
class Element {
public:
    static constexpr size_t kDataSize = 128;
    using Data = std::array<float, kDataSize / sizeof(float)>;

    Element(int vertexCount = 0, int instanceCount = 0, int sortOrder = 0, bool visible = true);
    virtual ~Element() = default;
    Element(const Element&) = delete;
    Element& operator=(const Element&) = delete;

    // The pipeline that draws the element; null draws nothing.
    virtual GraphicsPipelineWrapper* GetPipeline() { return nullptr; }
    // The push-constant block; null draws nothing. Read under the element's mutex.
    virtual const Data* GetData() { return &data; }

    template <class T, class... Args>
    static std::shared_ptr<T> Make(Args&&... args) {
        auto element = std::make_shared<T>(std::forward<Args>(args)...);
        std::unique_lock lock(_sharedObjectsMutex);
        _sharedObjects.push_back(element);
        return element;
    }

    // Under the exclusive lock: drops the expired entries and sorts the others with `less`.
    static void Sort(const std::function<bool(std::shared_ptr<Element>&, std::shared_ptr<Element>&)>& less);
    // Every live element in registry order, under the shared lock (f must not make elements).
    static void ForEach(const std::function<void(Element&)>& f);
    // Draws every element in registry order.
    static void DrawAll(VkCommandBuffer cmd, VkExtent2D screen);
    // Mouse glue: a button event or the pointer's position, handed to every element.
    static void MouseButtonEvent(glm::vec2 mouse, glm::vec2 screen, int button, int action);
    static void PointerEvent(glm::vec2 mouse, glm::vec2 screen, bool held);

    // The rectangle in pixels as (min x, min y, max x, max y).
    glm::vec4 ScreenRect(glm::vec2 screen) const;
    // A point strictly inside the rectangle, each bound truncated to an integer.
    bool IsOver(glm::vec2 mouse, glm::vec2 screen) const;
    // False without a drag callback; otherwise IsOver.
    bool IsDraggable(glm::vec2 mouse, glm::vec2 screen) const;

    // Nothing on a hidden element. Click, Drag and Drop call their callback when the point is
    // over the element; Hover stores and reports whether it is, over or not.
    void Click(glm::vec2 mouse, glm::vec2 screen, int button, int action);
    void Hover(glm::vec2 mouse, glm::vec2 screen, bool held);
    void Drag(glm::vec2 mouse, glm::vec2 screen);
    void Drop(glm::vec2 mouse, glm::vec2 screen);
    // Sets the hover state directly.
    void Hover(bool hovered);
    // Clears the hover state.
    virtual void Reset();
    virtual void Show();
    virtual void Hide();

    bool IsVisible() const;
    bool IsHovered() const;
    int SortOrder() const { return sortOrder; }

    // For a visible element: binds its pipeline, pushes the 128 bytes for all graphics stages
    // (the range the pipeline layout declares), draws.
    void Draw(VkCommandBuffer cmd, VkExtent2D screen);

    std::function<void(int button, int action)> click;
    std::function<void(bool hovered, bool held)> hover;
    std::function<void(glm::vec2 mouse)> drag;
    std::function<void(glm::vec2 mouse)> drop;

    static std::vector<std::weak_ptr<Element>> _sharedObjects;
    static quorl::SharedMutex _sharedObjectsMutex;

protected:
    // Recursive: a button's action runs under it and may hide or reset the element.
    mutable std::recursive_mutex mutex;
    Data data{};
    int vertexCount;
    int instanceCount;
    const int sortOrder;
    bool visible;
    bool hovered = false;
};

}  // namespace game::graphics::ui
