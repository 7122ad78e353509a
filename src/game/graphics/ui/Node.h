#pragma once
#include <imgui.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "game/UniqueId.h"

namespace game::graphics::ui {

// One box of a node graph. A connection is stored on the consumer's side only: inputs[pin] holds
// the id of the node whose output feeds that pin, or a null id for a free pin. Position and size
// are in graph units; the editor scales them by its zoom and the interface scale.
class Node {
public:
    UniqueId id;
    std::string title;
    ImVec2 pos{0, 0};
    ImVec2 size{0, 0};
    std::vector<UniqueId> inputs;
    bool resizable = true;
    bool movable = true;
    bool hasOutput = true;
    bool locked = false;
    bool visible = true;
    bool dirty = false;
    bool selected = false;
    bool hovered = false;
    int32_t hoveredInput = -1;
    bool draggingOutput = false;
    bool disconnectOutputs = false;

    // A fresh node with a new "NODE" id and as many pins as inputs has entries.
    Node(const std::string& title, const std::vector<UniqueId>& inputs);
    // Reads "id", "title", "pos", "size" and "inputs"; the id is kept, not regenerated.
    // Wrong types raise the JSON library's type errors.
    explicit Node(const nlohmann::json& j);

    virtual ~Node() = default;
    virtual nlohmann::json Serialize();
    virtual bool CanClone() const { return true; }
    virtual float GetMinimumWidth() const { return 35.0f; }
    virtual float GetMinimumHeight() const;
    virtual void DrawContent(ImDrawList*, ImVec2, float) {}
    virtual void ContextMenu() {}
    // pos is the pin's centre on the screen, radius its radius, scale = zoom x interface scale.
    virtual void DrawInput(ImDrawList* drawList, ImVec2 pos, float radius, float scale, int pin);
    virtual void DrawOutput(ImDrawList* drawList, ImVec2 pos, float radius, float scale);
    virtual void ContextMenuInput(int) {}
    virtual void ContextMenuOutput() {}
    virtual ImU32 GetInputColor(bool hovered, int pin) const;
    virtual ImU32 GetOutputColor(bool hovered) const;
    virtual bool CanConnectInputToOutput(int, const Node*) const { return true; }
    virtual bool CanConnectInput(int) const { return true; }
    virtual bool CanConnectOutput() const { return true; }
    virtual bool operator==(const Node& other) const { return id == other.id; }
    virtual void OnDoubleClick() {}
};

// Reads a float from a JSON number, clamped to a range that keeps the canvas arithmetic finite.
float JsonCoordinate(const nlohmann::json& j);
// Reads a 32-bit integer from a JSON number; anything that is no integer within range throws
// std::runtime_error naming the key.
int32_t JsonInt(const nlohmann::json& j, const char* key);

}  // namespace game::graphics::ui
