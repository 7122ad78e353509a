// Node kinds that carry program text or steer execution: expression, statement, conditional,
// execute, switch.
#include "game/QuorlCodeCodeNodes.h"

#include <imgui_stdlib.h>

#include <cctype>
#include <cmath>
#include <cstdio>
#include <stdexcept>

namespace game::QuorlCodeEditor {

using nlohmann::json;
using graphics::ui::JsonInt;
using IO = Editor::IO_TYPE;

// ---- code ------------------------------------------------------------------------------------

namespace {

void DrawCodeField(std::string& code, bool& dirty, ImVec2 size, float scale) {
    if (ImGui::InputTextMultiline("##code", &code, ImVec2(size.x, 60.0f * scale))) dirty = true;
}

}  // namespace

Editor::ExpressionNode::ExpressionNode(const std::string& title, const std::vector<UniqueId>& inputs_)
    : QuorlNodeWithVariableInputCount("ExpressionNode", title, inputs_, NUMBER, NUMBER) {}

Editor::ExpressionNode::ExpressionNode(const json& j) : QuorlNodeWithVariableInputCount(j) {
    code = j.at("code").get<std::string>();
    if (outputType == NONE) outputType = NUMBER;
    FillPinTypes(GetDefaultInputType());
}

json Editor::ExpressionNode::Serialize() {
    json j = QuorlNodeWithVariableInputCount::Serialize();
    j["code"] = code;
    return j;
}

void Editor::ExpressionNode::DrawInnerContent(ImDrawList*, ImVec2 size_, float scale) {
    DrawCodeField(code, dirty, size_, scale);
}

Editor::StatementNode::StatementNode(const std::string& title, const std::vector<UniqueId>& inputs_)
    : QuorlNodeWithVariableInputCount("StatementNode", title, inputs_, EXEC, NUMBER) {}

Editor::StatementNode::StatementNode(const json& j) : QuorlNodeWithVariableInputCount(j) {
    code = j.at("code").get<std::string>();
    outputType = EXEC;
    FillPinTypes(NUMBER);
}

json Editor::StatementNode::Serialize() {
    json j = QuorlNodeWithVariableInputCount::Serialize();
    j["code"] = code;
    return j;
}

void Editor::StatementNode::DrawInnerContent(ImDrawList*, ImVec2 size_, float scale) {
    DrawCodeField(code, dirty, size_, scale);
}

Editor::ConditionalNode::ConditionalNode(const std::string& title) : QuorlNode("ConditionalNode", title, {}) {
    SetPins(3, NUMBER);
    inputTypes[1] = inputTypes[2] = EXEC;
    outputType = EXEC;
    pinLabels = {{"condition", ""}, {"if true", ""}, {"else", ""}};
}

Editor::ConditionalNode::ConditionalNode(const json& j) : QuorlNode(j) {
    SetPins(3, NUMBER);
    inputTypes[1] = inputTypes[2] = EXEC;
    outputType = EXEC;
    pinLabels = {{"condition", ""}, {"if true", ""}, {"else", ""}};
}

Editor::ExecuteNode::ExecuteNode(const std::string& title, const std::vector<UniqueId>& inputs_)
    : QuorlNodeWithVariableInputCount("ExecuteNode", title, inputs_, NONE, EXEC) {}

Editor::ExecuteNode::ExecuteNode(const json& j) : QuorlNodeWithVariableInputCount(j) {
    NoOutput();
    FillPinTypes(EXEC);
}

Editor::SwitchNode::SwitchNode(const std::string& title, const std::vector<UniqueId>& inputs_)
    : QuorlNodeWithVariableInputCount("SwitchNode", title, inputs_, NUMBER, NUMBER) {
    // A switch without pins gets its selector and a first case.
    if (inputs.empty()) {
        inputs.resize(2);
        inputTypes[0] = inputTypes[1] = NUMBER;
    }
}

Editor::SwitchNode::SwitchNode(const json& j) : QuorlNodeWithVariableInputCount(j) {
    if (inputs.empty()) inputs.resize(1);
    FillPinTypes(outputType == NONE ? NUMBER : outputType);
}

std::string Editor::SwitchNode::GetInputName(int pin) const {
    return pin == 0 ? std::string("switch") : "case " + std::to_string(pin - 1);
}

void Editor::SwitchNode::OnChangeInputType(int pin, int type_) {
    if (pin < 0 || size_t(pin) >= inputs.size()) return;
    if (pin == 0) {
        // The selector may read a number or a text, independently of the cases.
        if (type_ != NUMBER && type_ != TEXT) return;
        inputTypes[0] = IO(type_);
        inputs[0] = UniqueId();
        dirty = true;
        return;
    }
    if (type_ == NONE) {
        QuorlNodeWithVariableInputCount::OnChangeInputType(pin, type_);
        return;
    }
    OnChangeOutputType(type_);
}

void Editor::SwitchNode::OnChangeOutputType(int type_) {
    if (type_ < 0 || type_ > 3 || type_ == NONE) return;
    for (size_t i = 1; i < inputs.size(); ++i) {
        inputTypes[int(i)] = IO(type_);
        inputs[i] = UniqueId();
    }
    outputType = IO(type_);
    disconnectOutputs = true;
    dirty = true;
}

}  // namespace game::QuorlCodeEditor
