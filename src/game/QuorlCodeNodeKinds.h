#pragma once
// The table of node kinds: one row per kind, read by the editor (the titles CreateNode knows, the
// JSON types DeserializeNode knows, the canvas menu) and by the generator (what a node declares
// and the text it stands for). A new kind is its class (QuorlCodeNodes.h) and one row here, plus a
// case in the generator when it writes text of a new shape.
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "game/QuorlCodeEditor.h"

namespace game::QuorlCodeEditor {

// The text a node stands for where another node reads it (QuorlCodeGeneration.cpp).
enum class NodeText {
    None,         // nothing: comments, sinks
    Input,        // one shared read per block, channel and type
    Name,         // "$name" of a constant or variable
    Expression,   // its code in a variable of its own
    Statement,    // its code, inlined
    Conditional,
    Switch,
    Delay,
    Blinker,
    Counter,
    Smooth,
    Pulse,
    PulseToggle,
    Time,
    Text,
    Math,         // the operator of its title, inlined
    PID,
};

// What the generator's first pass writes for a node, wherever it is read or not.
enum class NodeDeclaration { None, NumberConstant, TextConstant, NumberVariable, TextVariable, Output, Print, Execute, Include };

struct NodeKind {
    const char* type;  // the "type" of the JSON form, also the node's `type`
    // The title CreateNode makes it from; null for kinds made from a pattern ("input.N",
    // "output.N", "const $name = 1", "var $name : text") or never made from a title.
    const char* key;
    // "Group/Label" in the canvas menu; null where the menu builds the entry itself (it numbers
    // or names it) or offers none. `separated`: a separator before it in its group.
    const char* menu;
    bool separated;
    Editor::QuorlNode* (*create)(const std::string& title, const std::vector<UniqueId>& inputs);
    Editor::QuorlNode* (*load)(const nlohmann::json& j);
    NodeText text;
    NodeDeclaration declaration;
};

// Every kind, math operators in the order of their menus.
const std::vector<NodeKind>& NodeKinds();
// The kind of a JSON type or a node's `type`; null for none.
const NodeKind* NodeKindOfType(const std::string& type);
// The kind CreateNode makes for a title; null for none.
const NodeKind* NodeKindOfKey(const std::string& key);

}  // namespace game::QuorlCodeEditor
