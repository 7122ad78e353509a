#include "game/graphics/ui/NodeEditor.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <unordered_map>
#include <unordered_set>

#include "game/Game.h"
#include "quorl/graphics/Window.h"

namespace game::graphics::ui {

using nlohmann::json;

json NodeEditor::clipboard = json::array();
NodeEditor* NodeEditor::clipboardFrom = nullptr;

static ImVec2 operator+(ImVec2 a, ImVec2 b) { return ImVec2(a.x + b.x, a.y + b.y); }
static ImVec2 operator-(ImVec2 a, ImVec2 b) { return ImVec2(a.x - b.x, a.y - b.y); }
static ImVec2 operator*(ImVec2 a, float k) { return ImVec2(a.x * k, a.y * k); }
static ImVec2 operator/(ImVec2 a, float k) { return ImVec2(a.x / k, a.y / k); }

// The operating system's clipboard is the window's; without a window (tests, tools), ImGui's.
static std::string SystemClipboardText() {
    if (Game::window) return Game::window->GetClipboardString();
    if (!ImGui::GetCurrentContext()) return {};
    const char* text = ImGui::GetClipboardText();
    return text ? text : "";
}

static void SetSystemClipboardText(const char* text) {
    if (Game::window) Game::window->SetClipboardString(text);
    else if (ImGui::GetCurrentContext()) ImGui::SetClipboardText(text);
}

// Runs draw with every widget it makes refusing input when readOnly, in its usual colours.
template <class F>
static void DrawNodeWidgets(bool readOnly, F&& draw) {
    if (!readOnly) {
        draw();
        return;
    }
    ImGui::PushStyleVar(ImGuiStyleVar_DisabledAlpha, 1.0f);
    ImGui::BeginDisabled();
    draw();
    ImGui::EndDisabled();
    ImGui::PopStyleVar();
}

NodeEditor::~NodeEditor() {
    for (Node* n : nodes) delete n;
    if (clipboardFrom == this) clipboardFrom = nullptr;
}

float NodeEditor::UiScaling() {
    if (!ImGui::GetCurrentContext()) return 1.0f;
    return 2.0f * ImGui::GetIO().FontGlobalScale;
}

ImVec2 NodeEditor::ToGraph(ImVec2 screen) const { return (screen - origin) / (zoom * UiScaling()) - pan; }

ImVec2 NodeEditor::MouseInGraph() const {
    if (!ImGui::GetCurrentContext() || !ImGui::IsMousePosValid()) return ToGraph(origin);
    return ToGraph(ImGui::GetIO().MousePos);
}

Node* NodeEditor::CreateNode(const std::string& title, ImVec2 pos, const std::vector<UniqueId>& inputs) {
    Node* n = new Node(title, inputs);
    n->pos = pos;
    return n;
}

void NodeEditor::DisconnectOutputsOf(Node* producer) {
    for (Node* n : nodes) {
        for (UniqueId& in : n->inputs) {
            if (!in.IsNull() && in == producer->id) {
                in = UniqueId();
                n->dirty = true;
                modified = true;
            }
        }
    }
}

void NodeEditor::DestroyNode(Node* node) {
    if (readOnly || !node) return;
    for (Node* n : nodes) {
        if (n == node) continue;
        for (UniqueId& in : n->inputs) {
            if (!in.IsNull() && in == node->id) {
                in = UniqueId();
                n->dirty = true;
            }
        }
    }
    if (draggedNode == node) draggedNode = nullptr;
    if (resizedNode == node) resizedNode = nullptr;
    if (wireFromInputNode == node) wireFromInputNode = nullptr;
    delete node;
    modified = true;
}

void NodeEditor::EraseNode(Node* node) {
    auto it = std::find(nodes.begin(), nodes.end(), node);
    if (it != nodes.end()) nodes.erase(it);
}

void NodeEditor::ClearAllNodes() {
    for (Node* n : nodes) delete n;
    nodes.clear();
    draggedNode = resizedNode = wireFromInputNode = nullptr;
}

Node* NodeEditor::DeserializeNode(const json& j) { return new Node(j); }

Node* NodeEditor::AddNode(const std::string& title, ImVec2 pos, const std::vector<UniqueId>& inputs) {
    Node* n = CreateNode(title, pos, inputs);
    if (!n) return nullptr;
    nodes.push_back(n);
    n->size.x = std::max(n->size.x, n->GetMinimumWidth());
    n->size.y = std::max(n->size.y, n->GetMinimumHeight());
    return n;
}

bool NodeEditor::NodeDependsOn(const Node* a, const Node* b) const {
    if (!a || !b) return false;
    std::unordered_map<UniqueId, const Node*> byId;
    for (const Node* n : nodes) byId.emplace(n->id, n);
    std::unordered_set<const Node*> seen{a};
    std::vector<const Node*> stack{a};
    while (!stack.empty()) {
        const Node* n = stack.back();
        stack.pop_back();
        if (n == b || *n == *b) return true;
        for (const UniqueId& in : n->inputs) {
            if (in.IsNull()) continue;
            auto it = byId.find(in);
            if (it != byId.end() && seen.insert(it->second).second) stack.push_back(it->second);
        }
    }
    return false;
}

bool NodeEditor::CanConnectInputToOutput(Node* consumer, int pin, Node* producer) {
    if (!consumer || !producer) return false;
    if (!consumer->CanConnectInputToOutput(pin, producer)) return false;
    if (*producer == *consumer) return false;
    return !NodeDependsOn(producer, consumer);
}

void NodeEditor::Drag(ImVec2 delta, int button) {
    pan = pan + delta / (zoom * UiScaling());
    if (ImGui::GetCurrentContext()) ImGui::ResetMouseDragDelta(button);
}

void NodeEditor::Zoom(ImVec2 at, float wheel) {
    const float s = UiScaling();
    pan = pan - at / (zoom * s);
    float z = zoom * (1.0f + 0.125f * wheel);
    const float upper = 2.0f / s;
    if (z < 0.05f) {
        zoom = std::min(0.05f, upper);
    } else {
        z = std::min(z, upper);
        zoom = std::fabs(1.0f - z) < 0.1f ? 1.0f : z;
    }
    pan = pan + at / (zoom * s);
}

void NodeEditor::ContextMenu(ImVec2 pos) {
    if (ImGui::MenuItem("Add Node")) {
        Node* n = AddNode("New Node", pos, {UniqueId(), UniqueId()});
        if (n) n->pos = n->pos - n->size * 0.5f;
    }
}

void NodeEditor::Copy() {
    clipboard = json::array();
    clipboardFrom = this;
    for (Node* n : nodes) {
        if (!n->selected) continue;
        n->selected = false;
        clipboard.push_back(n->Serialize());
    }
    // Wiping the system clipboard marks the node clipboard as the current one.
    if (!clipboard.empty()) SetSystemClipboardText("");
}

void NodeEditor::Paste() {
    if (readOnly || !clipboard.is_array() || clipboard.empty()) return;
    if (!SystemClipboardText().empty()) return;  // something else was copied since
    pasteArmed = false;
    json objects = clipboard;
    std::unordered_map<UniqueId, UniqueId> renamed;
    ImVec2 sum(0, 0);
    for (json& o : objects) {
        UniqueId fresh = UniqueId::Generate("NODE");
        renamed[UniqueId(o.at("id").get<std::string>())] = fresh;
        o["id"] = fresh.ToString();
        sum.x += o.at("pos").at("x").get<float>();
        sum.y += o.at("pos").at("y").get<float>();
    }
    ImVec2 centre = sum / float(objects.size());
    ImVec2 offset = MouseInGraph() - centre;
    for (const json& o : objects) {
        Node* n = DeserializeNode(o);
        if (!n) continue;
        if (clipboardFrom == this && !n->CanClone()) {
            delete n;
            continue;
        }
        n->pos = n->pos + offset;
        for (UniqueId& in : n->inputs) {
            auto it = renamed.find(in);
            in = (!in.IsNull() && it != renamed.end()) ? it->second : UniqueId();
        }
        n->selected = true;
        nodes.push_back(n);
    }
    modified = true;
}

void NodeEditor::DeleteSelection() {
    if (readOnly) return;
    for (size_t i = 0; i < nodes.size();) {
        if (nodes[i]->selected) {
            DestroyNode(nodes[i]);
            nodes.erase(nodes.begin() + long(i));
        } else {
            ++i;
        }
    }
}

json NodeEditor::SerializeNodes() {
    json list = json::array();
    for (Node* n : nodes) list.push_back(n->Serialize());
    json root = json::object();
    root["nodes"] = std::move(list);
    return root;
}

void NodeEditor::LoadNodes(const json& root, std::vector<std::string>* errors) {
    if (!root.is_object() || !root.contains("nodes") || !root["nodes"].is_array())
        throw std::runtime_error("graph JSON must be an object with a \"nodes\" array");
    std::vector<Node*> loaded;
    size_t index = 0;
    for (const json& j : root["nodes"]) {
        try {
            if (Node* n = DeserializeNode(j)) loaded.push_back(n);
        } catch (const std::exception& e) {
            if (errors) errors->push_back("node " + std::to_string(index) + ": " + e.what());
        }
        ++index;
    }
    ClearAllNodes();
    nodes = std::move(loaded);

    // Cut every wire that closes a loop: depth-first over producers, a wire to a node still on
    // the path is a back edge.
    std::unordered_map<UniqueId, Node*> byId;
    for (Node* n : nodes) byId.emplace(n->id, n);
    enum : char { White, Grey, Black };
    std::unordered_map<Node*, char> colour;
    for (Node* start : nodes) {
        if (colour[start] != White) continue;
        std::vector<std::pair<Node*, size_t>> stack{{start, 0}};
        colour[start] = Grey;
        while (!stack.empty()) {
            auto& [n, pin] = stack.back();
            if (pin == n->inputs.size()) {
                colour[n] = Black;
                stack.pop_back();
                continue;
            }
            UniqueId& in = n->inputs[pin++];
            if (in.IsNull()) continue;
            auto it = byId.find(in);
            if (it == byId.end()) continue;
            char& c = colour[it->second];
            if (c == Grey) {
                if (errors) errors->push_back("node \"" + n->title + "\": wire closes a loop; cut");
                in = UniqueId();
            } else if (c == White) {
                c = Grey;
                stack.emplace_back(it->second, 0);
            }
        }
    }
}

bool NodeEditor::RenderNode(Node* node, float k, float r) {
    ImGuiIO& io = ImGui::GetIO();
    const ImVec2 mouse = io.MousePos;
    ImGui::SetCursorPos((pan + node->pos) * k);
    ImGui::PushID(node->id.ToString().c_str());
    node->size.x = std::max(node->size.x, node->GetMinimumWidth());
    node->size.y = std::max(node->size.y, node->GetMinimumHeight());
    const ImVec2 sizePx = node->size * k;
    ImGui::BeginChild("##", sizePx, false, ImGuiWindowFlags_NoScrollbar | ImGuiWindowFlags_NoScrollWithMouse);
    node->hovered = ImGui::IsWindowHovered();
    ImDrawList* dl = ImGui::GetWindowDrawList();
    const ImVec2 wpos = ImGui::GetWindowPos();
    const float titleH = 1.5f * ImGui::GetFontSize();
    const float pinW = 2.0f * r;

    dl->ChannelsSplit(2);
    dl->ChannelsSetCurrent(1);
    ImGui::SetCursorPos(ImVec2(pinW, titleH));
    // What nodes draw inside (pin types, "Add" buttons, inline values, text fields) is refused on
    // a read-only canvas too.
    DrawNodeWidgets(readOnly, [&] { node->DrawContent(dl, ImVec2(sizePx.x - 2.0f * pinW, sizePx.y - titleH), k); });

    if (boxActive) {
        ImVec2 bmin(std::min(boxStart.x, boxEnd.x), std::min(boxStart.y, boxEnd.y));
        ImVec2 bmax(std::max(boxStart.x, boxEnd.x), std::max(boxStart.y, boxEnd.y));
        bool overlap = wpos.x < bmax.x && wpos.x + sizePx.x > bmin.x && wpos.y < bmax.y && wpos.y + sizePx.y > bmin.y;
        if (overlap)
            node->selected = true;
        else if (!io.KeyCtrl)
            node->selected = false;
    }

    // Title bar.
    dl->ChannelsSetCurrent(0);
    ImGui::SetCursorPos(ImVec2(0, 0));
    ImVec4 c = ImGui::GetStyle().Colors[ImGuiCol_Button];
    c = ImVec4(c.x + 0.07f, c.y + 0.07f, c.z + 0.07f, c.w + 0.07f);
    ImGui::PushStyleColor(ImGuiCol_Button, c);
    ImGui::PushStyleColor(ImGuiCol_ButtonHovered, c);
    ImGui::PushStyleColor(ImGuiCol_ButtonActive, c);
    int pushedVars = 0, pushedColors = 3;
    if (node->selected) {
        ImGui::PushStyleVar(ImGuiStyleVar_FrameBorderSize, std::max(2.0f, k * 3.0f));
        ImGui::PushStyleColor(ImGuiCol_Border, ImVec4(0.2f, 0.8f, 1.0f, 1.0f));
        ++pushedVars;
        ++pushedColors;
    }
    ImGui::Button((node->title + "##title").c_str(), ImVec2(sizePx.x, titleH));
    ImGui::PopStyleColor(pushedColors);
    ImGui::PopStyleVar(pushedVars);

    bool destroy = false;
    if (!readOnly) {
        if (ImGui::IsItemHovered()) ImGui::SetMouseCursor(ImGuiMouseCursor_ResizeAll);
        if (ImGui::IsItemClicked(ImGuiMouseButton_Left) && io.KeyCtrl) {
            node->selected = !node->selected;
        } else if (ImGui::IsItemActive() && !io.KeyCtrl && node->movable) {
            mouseCaptured = true;
            if (draggedNode != node) {
                draggedNode = node;
                dragOffset = ToGraph(mouse) - node->pos;
            }
        }
        if (ImGui::IsItemHovered() && ImGui::IsMouseDoubleClicked(ImGuiMouseButton_Left)) node->OnDoubleClick();
        if (ImGui::BeginPopupContextItem("nodeMenu")) {
            if (ImGui::MenuItem("Delete Node"))
                destroy = true;
            else
                ContextMenuNode(node);
            ImGui::EndPopup();
        }
    }

    if (!destroy && node->resizable) {
        const float side = pinW;
        ImGui::SetCursorPos(ImVec2(sizePx.x - side, sizePx.y - side));
        ImGui::InvisibleButton("resize", ImVec2(side, side));
        ImGuiCol col = ImGui::IsItemActive() ? ImGuiCol_ResizeGripActive
                       : ImGui::IsItemHovered() ? ImGuiCol_ResizeGripHovered
                                                : ImGuiCol_ResizeGrip;
        ImVec2 br = wpos + sizePx;
        dl->AddTriangleFilled(br, ImVec2(br.x, br.y - 0.75f * side), ImVec2(br.x - 0.75f * side, br.y),
                              ImGui::GetColorU32(col));
        if (ImGui::IsItemHovered() || ImGui::IsItemActive()) ImGui::SetMouseCursor(ImGuiMouseCursor_ResizeNWSE);
        if (!readOnly && ImGui::IsItemActive() && io.MouseDown[0]) {
            mouseCaptured = true;
            resizedNode = node;
            node->size = node->size + io.MouseDelta / k;
            node->size.x = std::max(node->size.x, node->GetMinimumWidth());
            node->size.y = std::max(node->size.y, node->GetMinimumHeight());
        }
    }

    if (!destroy) {
        node->hoveredInput = -1;
        std::vector<ImVec2>& pinPositions = inputPinPositions[node->id];
        pinPositions.clear();
        for (int pin = 0; pin < int(node->inputs.size()); ++pin) {
            const float y = titleH + float(pin) * 20.0f * k;
            ImGui::PushID(pin);
            ImGui::SetCursorPos(ImVec2(0, y));
            ImGui::InvisibleButton("input", ImVec2(pinW, pinW));
            const bool pinHovered = ImGui::IsItemHovered();
            if (pinHovered) node->hoveredInput = pin;
            const bool active = ImGui::IsItemActive();
            const bool doubleClicked = pinHovered && ImGui::IsMouseDoubleClicked(ImGuiMouseButton_Left);
            const ImVec2 centre = wpos + ImVec2(r, y + r);
            if (!readOnly && ImGui::BeginPopupContextItem("inputMenu")) {
                if (ImGui::MenuItem("Disconnect")) {
                    node->inputs[size_t(pin)] = UniqueId();
                    node->dirty = true;
                    modified = true;
                }
                ContextMenuInput(node, pin);
                ImGui::EndPopup();
            }
            if (!readOnly && doubleClicked) {
                node->inputs[size_t(pin)] = UniqueId();
                node->dirty = true;
                modified = true;
            }
            if (!readOnly && active && node->CanConnectInput(pin)) {
                mouseCaptured = true;
                if (ImGui::IsMouseDragging(ImGuiMouseButton_Left)) {
                    wireFromInputNode = node;
                    wireFromInputPin = pin;
                }
            }
            DrawNodeWidgets(readOnly, [&] { node->DrawInput(dl, centre, r, k, pin); });
            pinPositions.push_back(centre);
            if (size_t(pin) < node->inputs.size() && !node->inputs[size_t(pin)].IsNull())
                pendingWires.push_back({centre, node->inputs[size_t(pin)], node->GetInputColor(pinHovered, pin), pinHovered});
            ImGui::PopID();
        }

        if (node->hasOutput) {
            ImGui::SetCursorPos(ImVec2(sizePx.x - pinW, titleH));
            ImGui::InvisibleButton("output", ImVec2(pinW, pinW));
            const ImVec2 centre = wpos + ImVec2(sizePx.x - r, titleH + r);
            const bool active = ImGui::IsItemActive();
            const bool doubleClicked = ImGui::IsItemHovered() && ImGui::IsMouseDoubleClicked(ImGuiMouseButton_Left);
            if (!readOnly && ImGui::BeginPopupContextItem("outputMenu")) {
                if (ImGui::MenuItem("Disconnect from all input nodes")) node->disconnectOutputs = true;
                ContextMenuOutput(node);
                ImGui::EndPopup();
            }
            if (!readOnly && doubleClicked) node->disconnectOutputs = true;
            if (!readOnly && active && node->CanConnectOutput()) {
                mouseCaptured = true;
                if (ImGui::IsMouseDragging(ImGuiMouseButton_Left)) node->draggingOutput = true;
            }
            DrawNodeWidgets(readOnly, [&] { node->DrawOutput(dl, centre, r, k); });
            outputPinPositions[node->id] = centre;
        } else {
            outputPinPositions.erase(node->id);
        }
    }

    dl->ChannelsMerge();
    ImGui::EndChild();
    ImGui::PopID();

    if (destroy && !readOnly) {
        DestroyNode(node);
        EraseNode(node);
        return true;
    }
    return false;
}

void NodeEditor::FinishWires(float k, float r) {
    ImGuiIO& io = ImGui::GetIO();
    ImDrawList* dl = ImGui::GetWindowDrawList();
    const ImVec2 mouse = io.MousePos;
    auto bezier = [&](ImVec2 out, ImVec2 in, ImU32 col, float thickness) {
        float d = std::max(30.0f * k, std::fabs(in.x - out.x) * 0.5f);
        dl->AddBezierCubic(out, out + ImVec2(d, 0), in - ImVec2(d, 0), in, col, thickness);
    };

    connections.clear();
    for (const PendingWire& w : pendingWires) {
        auto it = outputPinPositions.find(w.from);
        if (it == outputPinPositions.end()) continue;
        connections.push_back({it->second, w.input, w.color, w.hovered});
    }
    pendingWires.clear();
    for (const Connection& c : connections) {
        bezier(c.output, c.input, c.color, (c.hovered ? 3.0f : 2.0f) * k);
        dl->AddCircleFilled(c.output, r * 0.4f, c.color);
        dl->AddCircleFilled(c.input, r * 0.4f, c.color);
    }

    auto pinHit = [&](ImVec2 centre) {
        return mouse.x >= centre.x - r && mouse.x <= centre.x + r && mouse.y >= centre.y - r && mouse.y <= centre.y + r;
    };

    // A wire pulled out of an output pin.
    for (Node* producer : nodes) {
        if (!producer->draggingOutput) continue;
        auto out = outputPinPositions.find(producer->id);
        if (io.MouseDown[0] && out != outputPinPositions.end()) {
            bezier(out->second, mouse, producer->GetOutputColor(true), 2.0f * k);
            continue;
        }
        producer->draggingOutput = false;
        if (readOnly || !producer->CanConnectOutput()) continue;
        bool done = false;
        for (Node* consumer : nodes) {
            auto pins = inputPinPositions.find(consumer->id);
            if (pins == inputPinPositions.end() || !consumer->visible) continue;
            for (size_t pin = 0; pin < pins->second.size() && pin < consumer->inputs.size(); ++pin) {
                if (!pinHit(pins->second[pin])) continue;
                if (consumer->CanConnectInput(int(pin)) && CanConnectInputToOutput(consumer, int(pin), producer)) {
                    consumer->inputs[pin] = producer->id;
                    consumer->dirty = true;
                    modified = true;
                    done = true;
                    break;
                }
            }
            if (done) break;
        }
    }

    // A wire pulled out of an input pin.
    if (wireFromInputNode) {
        Node* consumer = wireFromInputNode;
        const int pin = wireFromInputPin;
        auto pins = inputPinPositions.find(consumer->id);
        if (io.MouseDown[0]) {
            if (pins != inputPinPositions.end() && size_t(pin) < pins->second.size())
                bezier(mouse, pins->second[size_t(pin)], consumer->GetInputColor(true, pin), 2.0f * k);
        } else {
            wireFromInputNode = nullptr;
            wireFromInputPin = -1;
            if (!readOnly && consumer->CanConnectInput(pin) && size_t(pin) < consumer->inputs.size()) {
                for (Node* producer : nodes) {
                    auto out = outputPinPositions.find(producer->id);
                    if (out == outputPinPositions.end() || !producer->visible || !producer->hasOutput) continue;
                    ImVec2 c = out->second;
                    if (!ImGui::IsMouseHoveringRect(c - ImVec2(r, r), c + ImVec2(r, r), false)) continue;
                    if (CanConnectInputToOutput(consumer, pin, producer)) {
                        consumer->inputs[size_t(pin)] = producer->id;
                        consumer->dirty = true;
                        modified = true;
                        break;
                    }
                }
            }
        }
    }
}

void NodeEditor::Render() {
    ImGuiIO& io = ImGui::GetIO();
    const float s = UiScaling();
    float k = zoom * s;
    ImDrawList* foreground = ImGui::GetForegroundDrawList();
    ImGui::PushStyleVar(ImGuiStyleVar_ChildRounding, 4.0f * k);
    ImGui::PushStyleVar(ImGuiStyleVar_FrameRounding, 4.0f * k);
    ImGui::PushStyleVar(ImGuiStyleVar_FramePadding, ImVec2(4.0f * k, 4.0f * k));
    ImGui::PushStyleColor(ImGuiCol_ChildBg, ImVec4(0.2f, 0.2f, 0.2f, 1.0f));
    ImGui::SetWindowFontScale(zoom);
    const float r = 16.0f * k / 2.0f;
    const ImVec2 mouse = io.MousePos;
    origin = ImGui::GetWindowPos();
    const ImVec2 view = ImGui::GetWindowSize();
    mouseCaptured = false;

    // Requests made from the output pins' menus in the previous frame.
    for (Node* n : nodes) {
        if (n->disconnectOutputs) {
            n->disconnectOutputs = false;
            if (!readOnly) DisconnectOutputsOf(n);
        }
    }

    // The canvas itself is a button under the nodes: pressing it starts a rubber band and keeps
    // the host window from moving.
    ImGui::SetCursorPos(ImVec2(0, 0));
    ImGui::InvisibleButton("##box", ImVec2(std::max(1.0f, view.x), std::max(1.0f, view.y)));
    boxButton = ImGui::IsItemActive();

    if (ImGui::IsMouseReleased(ImGuiMouseButton_Left) && !boxActive && boxButtonWasActive) {
        ImVec2 moved = mouse - io.MouseClickedPos[0];
        if (moved.x == 0 && moved.y == 0 && !io.KeyCtrl && !draggedNode)
            for (Node* n : nodes) n->selected = false;
    }
    if (boxButton && ImGui::IsMouseDragging(ImGuiMouseButton_Left) && !draggedNode && !resizedNode) {
        boxActive = true;
        boxStart = io.MouseClickedPos[0];
        boxDelta = io.MouseDelta;
        boxEnd = mouse;
    } else if (!boxButton) {
        boxActive = false;
    }

    for (size_t i = 0; i < nodes.size();) {
        Node* node = nodes[i];
        if (!node->visible || !RenderNode(node, k, r)) ++i;
    }

    if (!io.MouseDown[0] && !mouseCaptured) {
        if (draggedNode || resizedNode) modified = true;
        draggedNode = nullptr;
        resizedNode = nullptr;
    }

    if (draggedNode && !readOnly) {
        const ImVec2 old = draggedNode->pos;
        ImVec2 p = ToGraph(mouse) - dragOffset;
        if (io.KeyShift) p = ImVec2(std::round(p.x / 10.0f) * 10.0f, std::round(p.y / 10.0f) * 10.0f);
        const ImVec2 half = draggedNode->size * 0.5f;
        const ImVec2 viewGraph = view / k;
        p.x = std::clamp(p.x, -pan.x - half.x, std::max(-pan.x - half.x, viewGraph.x - half.x - pan.x));
        p.y = std::clamp(p.y, -pan.y - half.y, std::max(-pan.y - half.y, viewGraph.y - half.y - pan.y));
        const ImVec2 delta = p - old;
        draggedNode->pos = p;
        if (delta.x != 0 || delta.y != 0) {
            modified = true;
            for (Node* n : nodes)
                if (n->selected && n != draggedNode) n->pos = n->pos + delta;
        }
    }

    if (ImGui::IsWindowFocused(ImGuiFocusedFlags_RootAndChildWindows)) {
        const bool ctrl = io.KeyCtrl;
        const bool keyC = ctrl && ImGui::IsKeyDown(ImGui::GetKeyIndex(ImGuiKey_C));
        const bool keyV = ctrl && ImGui::IsKeyDown(ImGui::GetKeyIndex(ImGuiKey_V));
        const bool keyDup = ctrl && ImGui::IsKeyDown(keyD);
        if (keyC || keyDup) {
            if (copyArmed) {
                Copy();
                copyArmed = false;
            }
        } else {
            copyArmed = true;
        }
        if (keyV || keyDup) {
            if (pasteArmed) Paste();
        } else {
            pasteArmed = true;
        }
        if (!readOnly && ImGui::IsKeyPressed(ImGui::GetKeyIndex(ImGuiKey_Delete), false)) DeleteSelection();
    }

    FinishWires(k, r);

    if (!panning && !readOnly && ImGui::BeginPopupContextWindow("canvasMenu", ImGuiPopupFlags_MouseButtonRight)) {
        static ImVec2 hitPos;
        if (ImGui::IsWindowAppearing()) hitPos = ToGraph(mouse);
        ContextMenu(hitPos);
        ImGui::EndPopup();
    }

    if (ImGui::IsWindowHovered(ImGuiHoveredFlags_ChildWindows)) {
        for (int button : {ImGuiMouseButton_Right, ImGuiMouseButton_Middle}) {
            if (!ImGui::IsMouseDragging(button)) continue;
            if (button == ImGuiMouseButton_Right) panning = true;
            Drag(ImGui::GetMouseDragDelta(button), button);
            draggedNode = nullptr;
            resizedNode = nullptr;
            break;
        }
        if (io.MouseWheel != 0) Zoom(mouse - origin, io.MouseWheel > 0 ? 1.0f : -1.0f);
    }
    if (!io.MouseDown[ImGuiMouseButton_Right] && !ImGui::IsMouseReleased(ImGuiMouseButton_Right)) panning = false;

    pan.x = std::clamp(pan.x, -4000.0f, 40000.0f);
    pan.y = std::clamp(pan.y, -4000.0f, 40000.0f);

    if (boxActive) {
        ImVec2 bmin(std::min(boxStart.x, boxEnd.x), std::min(boxStart.y, boxEnd.y));
        ImVec2 bmax(std::max(boxStart.x, boxEnd.x), std::max(boxStart.y, boxEnd.y));
        foreground->AddRectFilled(bmin, bmax, ImGui::ColorConvertFloat4ToU32(ImVec4(0.2f, 0.6f, 1.0f, 0.25f)));
        foreground->AddRect(bmin, bmax, ImGui::ColorConvertFloat4ToU32(ImVec4(0.2f, 0.6f, 1.0f, 0.8f)));
    }

    ImGui::PopStyleColor();
    ImGui::PopStyleVar(3);
    mouseWasDown = io.MouseDown[0];
    boxButtonWasActive = boxButton;
}

}  // namespace game::graphics::ui
