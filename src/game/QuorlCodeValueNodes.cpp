// Named values: the constants and variables, and their "Edit Name" popup.
#include "game/QuorlCodeValueNodes.h"

#include <imgui_stdlib.h>

#include <cctype>
#include <cmath>
#include <cstdio>
#include <stdexcept>

namespace game::QuorlCodeEditor {

using nlohmann::json;
using graphics::ui::JsonInt;
using IO = Editor::IO_TYPE;

// ---- constants and variables -----------------------------------------------------------------

bool NamedNodeEditing::IsValidName(const std::string& name) {
    // [A-Za-z][A-Za-z0-9_]*
    if (name.empty() || !std::isalpha(static_cast<unsigned char>(name[0]))) return false;
    for (char c : name)
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '_') return false;
    return true;
}

bool NamedNodeEditing::DrawNamePopup() {
    if (openNamePopup) {
        ImGui::OpenPopup("Edit Name");
        nameEdit = name;
        nameInvalid = false;
        openNamePopup = false;
    }
    bool accepted = false;
    if (ImGui::BeginPopupModal("Edit Name", nullptr, ImGuiWindowFlags_AlwaysAutoResize)) {
        ImGui::InputText("##name", &nameEdit);
        if (nameInvalid) ImGui::TextColored(ImVec4(1.0f, 0.3f, 0.3f, 1.0f), "Invalid name");
        if (ImGui::Button("OK")) {
            if (IsValidName(nameEdit)) {
                name = nameEdit;
                nameInvalid = false;
                accepted = true;
                ImGui::CloseCurrentPopup();
            } else {
                nameInvalid = true;
            }
        }
        ImGui::EndPopup();
    }
    return accepted;
}

static std::string FormatNumber(double v) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%g", v);
    return buffer;
}

Editor::ConstNumberNode::ConstNumberNode(const std::string& title, std::string name_, double value_)
    : QuorlNode("ConstNumberNode", title, {}), value(value_), valueStr(FormatNumber(value_)) {
    name = std::move(name_);
}

Editor::ConstNumberNode::ConstNumberNode(const json& j) : QuorlNode(j) {
    name = j.at("name").get<std::string>();
    value = j.at("value").get<double>();
    if (!std::isfinite(value)) throw std::runtime_error("\"value\": not a finite number");
    valueStr = FormatNumber(value);
    SetPins(0, NUMBER);
    outputType = NUMBER;
}

json Editor::ConstNumberNode::Serialize() {
    json j = QuorlNode::Serialize();
    j["name"] = name;
    j["value"] = value;
    return j;
}

void Editor::ConstNumberNode::DrawContent(ImDrawList*, ImVec2 size_, float) {
    ImGui::SetNextItemWidth(size_.x);
    if (ImGui::InputText("##valueStr", &valueStr)) {
        value = std::atof(valueStr.c_str());
        dirty = true;
    }
    if (DrawNamePopup()) {
        title = "const $" + name;
        dirty = true;
    }
}

void Editor::ConstNumberNode::ContextMenu() {
    if (ImGui::MenuItem("Edit Name")) openNamePopup = true;
}

Editor::ConstTextNode::ConstTextNode(const std::string& title, std::string name_, std::string value_)
    : QuorlNode("ConstTextNode", title, {}), value(std::move(value_)) {
    name = std::move(name_);
    outputType = TEXT;
}

Editor::ConstTextNode::ConstTextNode(const json& j) : QuorlNode(j) {
    name = j.at("name").get<std::string>();
    value = j.at("value").get<std::string>();
    SetPins(0, TEXT);
    outputType = TEXT;
}

json Editor::ConstTextNode::Serialize() {
    json j = QuorlNode::Serialize();
    j["name"] = name;
    j["value"] = value;
    return j;
}

void Editor::ConstTextNode::DrawContent(ImDrawList*, ImVec2 size_, float) {
    ImGui::SetNextItemWidth(size_.x);
    if (ImGui::InputText("##value", &value)) dirty = true;
    if (DrawNamePopup()) {
        title = "const $" + name;
        dirty = true;
    }
}

void Editor::ConstTextNode::ContextMenu() {
    if (ImGui::MenuItem("Edit Name")) openNamePopup = true;
}

namespace {

const std::vector<std::pair<std::string, std::string>> varLabels = {{"value", ""}, {"set", ""}, {"reset", ""}};

// Pins of a variable: the value of its own type, then "set" and "reset".
void MakeVariablePins(Editor::QuorlNode& node, IO valueType) {
    node.inputs.resize(3);
    node.inputTypes.clear();
    node.inputTypes[0] = valueType;
    node.inputTypes[1] = node.inputTypes[2] = IO::NUMBER;
    node.outputType = valueType;
    node.pinLabels = varLabels;
}

template <class VarNode>
void DrawVariableContent(VarNode& node) {
    if (node.DrawNamePopup()) {
        node.title = "var $" + node.name;
        node.dirty = true;
    }
}


}  // namespace

Editor::VarNumberNode::VarNumberNode(const std::string& title, std::string name_)
    : QuorlNode("VarNumberNode", title, {}) {
    name = std::move(name_);
    MakeVariablePins(*this, NUMBER);
}

Editor::VarNumberNode::VarNumberNode(const json& j) : QuorlNode(j) {
    name = j.at("name").get<std::string>();
    MakeVariablePins(*this, NUMBER);
}

json Editor::VarNumberNode::Serialize() {
    json j = QuorlNode::Serialize();
    j["name"] = name;
    return j;
}

void Editor::VarNumberNode::DrawContent(ImDrawList*, ImVec2, float) { DrawVariableContent(*this); }

void Editor::VarNumberNode::ContextMenu() {
    if (ImGui::MenuItem("Edit Name")) openNamePopup = true;
}

Editor::VarTextNode::VarTextNode(const std::string& title, std::string name_) : QuorlNode("VarTextNode", title, {}) {
    name = std::move(name_);
    MakeVariablePins(*this, TEXT);
}

Editor::VarTextNode::VarTextNode(const json& j) : QuorlNode(j) {
    name = j.at("name").get<std::string>();
    MakeVariablePins(*this, TEXT);
}

json Editor::VarTextNode::Serialize() {
    json j = QuorlNode::Serialize();
    j["name"] = name;
    return j;
}

void Editor::VarTextNode::DrawContent(ImDrawList*, ImVec2, float) { DrawVariableContent(*this); }

void Editor::VarTextNode::ContextMenu() {
    if (ImGui::MenuItem("Edit Name")) openNamePopup = true;
}

}  // namespace game::QuorlCodeEditor
