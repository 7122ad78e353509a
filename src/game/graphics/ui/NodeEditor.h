#pragma once
#include <imgui.h>

#include <nlohmann/json.hpp>
#include <string>
#include <unordered_map>
#include <vector>

#include "game/UniqueId.h"
#include "game/graphics/ui/Node.h"

namespace game::graphics::ui {

// A canvas of nodes drawn with Dear ImGui into the current window, once per frame: pan, zoom,
// selection, wires between pins, copy and paste. It knows no language; a derived editor supplies
// the node kinds. Connections can never form a cycle.
class NodeEditor {
public:
    // A wire gathered during Render, drawn after all nodes.
    struct Connection {
        ImVec2 output;
        ImVec2 input;
        ImU32 color;
        bool hovered;
    };

    // Rubber band, in canvas (screen) coordinates.
    bool boxActive = false;
    ImVec2 boxStart{0, 0};
    ImVec2 boxEnd{0, 0};
    ImVec2 boxDelta{0, 0};
    Node* draggedNode = nullptr;
    Node* resizedNode = nullptr;
    bool mouseCaptured = false;
    bool mouseWasDown = false;
    bool panning = false;
    bool copyArmed = true;
    bool pasteArmed = true;
    bool readOnly = false;
    ImVec2 pan{0, 0};
    float zoom = 1.0f;
    std::vector<Node*> nodes;
    bool modified = false;

    // Shared by every editor of the process, so nodes can move from one graph to another.
    static nlohmann::json clipboard;
    static NodeEditor* clipboardFrom;

    // Key number of "D" in io.KeysDown: the window layer numbers letter keys by their upper-case
    // character (as GLFW does), and ImGui 1.86 has no key name of its own for it.
    static constexpr int keyD = 'D';

    NodeEditor() = default;
    NodeEditor(const NodeEditor&) = delete;
    NodeEditor& operator=(const NodeEditor&) = delete;

    virtual ~NodeEditor();
    virtual Node* CreateNode(const std::string& title, ImVec2 pos, const std::vector<UniqueId>& inputs);
    virtual void DestroyNode(Node* node);
    virtual void ClearAllNodes();
    virtual Node* DeserializeNode(const nlohmann::json& j);
    virtual void Render();
    virtual void Drag(ImVec2 delta, int button);
    virtual void Zoom(ImVec2 at, float wheel);
    virtual bool CanConnectInputToOutput(Node* consumer, int pin, Node* producer);
    virtual void ContextMenu(ImVec2 pos);
    virtual void ContextMenuNode(Node* node) { node->ContextMenu(); }
    virtual void ContextMenuInput(Node* node, int pin) { node->ContextMenuInput(pin); }
    virtual void ContextMenuOutput(Node* node) { node->ContextMenuOutput(); }

    Node* AddNode(const std::string& title, ImVec2 pos, const std::vector<UniqueId>& inputs);

    template <class T>
    T* GetNode(const UniqueId& id) const {
        if (id.IsNull()) return nullptr;
        for (Node* n : nodes)
            if (n->id == id) return dynamic_cast<T*>(n);
        return nullptr;
    }

    bool NodeDependsOn(const Node* a, const Node* b) const;

    // Clipboard operations behind Ctrl+C, Ctrl+V and Ctrl+D.
    void Copy();
    void Paste();

    // Destroys every selected node (the Delete key).
    void DeleteSelection();

    // The graph as {"nodes": [...]}, in nodes order.
    nlohmann::json SerializeNodes();
    // Replaces the graph with the nodes of {"nodes": [...]}. A node that cannot be read is skipped
    // and its error, prefixed with its index, is added to errors; a wire that would close a loop is
    // cut. A root of the wrong shape throws std::runtime_error and leaves the graph untouched.
    void LoadNodes(const nlohmann::json& root, std::vector<std::string>* errors = nullptr);

    // Screen pixels per graph unit at zoom 1: twice the global font scale, 1 without a context.
    static float UiScaling();

protected:
    // Screen position of the canvas origin during Render.
    ImVec2 origin{0, 0};
    ImVec2 dragOffset{0, 0};
    bool boxButton = false;
    bool boxButtonWasActive = false;
    Node* wireFromInputNode = nullptr;
    int wireFromInputPin = -1;

    // Scratch of one frame: wires and pin centres on the screen.
    struct PendingWire {
        ImVec2 input;
        UniqueId from;
        ImU32 color;
        bool hovered;
    };
    std::vector<PendingWire> pendingWires;
    std::vector<Connection> connections;
    std::unordered_map<UniqueId, std::vector<ImVec2>> inputPinPositions;
    std::unordered_map<UniqueId, ImVec2> outputPinPositions;

    ImVec2 ToGraph(ImVec2 screen) const;
    ImVec2 MouseInGraph() const;
    // Draws one node; true when its menu destroyed it (the entry is then gone from nodes).
    bool RenderNode(Node* node, float scale, float radius);
    void FinishWires(float scale, float radius);
    void DisconnectOutputsOf(Node* producer);
    void EraseNode(Node* node);
};

}  // namespace game::graphics::ui
