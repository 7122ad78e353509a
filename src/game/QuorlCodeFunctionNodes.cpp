// Functions with state (delay, blinker, counter, smooth, pulses, PID), time, print, text, include,
// comments and the math operators.
#include "game/QuorlCodeFunctionNodes.h"

#include <imgui_stdlib.h>

#include <cctype>
#include <cmath>
#include <cstdio>
#include <stdexcept>

namespace game::QuorlCodeEditor {

using nlohmann::json;
using graphics::ui::JsonInt;
using IO = Editor::IO_TYPE;

// ---- functions with state --------------------------------------------------------------------

Editor::DelayNode::DelayNode(const std::string& title) : QuorlNode("DelayNode", title, {}) {
    SetPins(3, NUMBER);
    pinLabels = {{"delay", "delay (1s)"}, {"set", ""}, {"reset", ""}};
}

Editor::DelayNode::DelayNode(const json& j) : QuorlNode(j) {
    SetPins(3, NUMBER);
    outputType = NUMBER;
    pinLabels = {{"delay", "delay (1s)"}, {"set", ""}, {"reset", ""}};
}

Editor::BlinkerNode::BlinkerNode(const std::string& title) : QuorlNode("BlinkerNode", title, {}) {
    SetPins(1, NUMBER);
    pinLabels = {{"interval", "interval (1s)"}};
}

Editor::BlinkerNode::BlinkerNode(const json& j) : QuorlNode(j) {
    SetPins(1, NUMBER);
    outputType = NUMBER;
    pinLabels = {{"interval", "interval (1s)"}};
}

static const std::vector<std::pair<std::string, std::string>> counterLabels = {
    {"increment", "increment (0)"}, {"initial", "initial (0)"}, {"minimum", ""}, {"maximum", ""}, {"reset", ""}};

Editor::CounterNode::CounterNode(const std::string& title) : QuorlNode("CounterNode", title, {}) {
    SetPins(5, NUMBER);
    pinLabels = counterLabels;
}

Editor::CounterNode::CounterNode(const json& j) : QuorlNode(j) {
    SetPins(5, NUMBER);
    outputType = NUMBER;
    pinLabels = counterLabels;
}

Editor::SmoothNode::SmoothNode(const std::string& title) : QuorlNode("SmoothNode", title, {}) {
    SetPins(3, NUMBER);
    pinLabels = {{"target", ""}, {"duration", "duration (1s)"}, {"start", ""}};
}

Editor::SmoothNode::SmoothNode(const json& j) : QuorlNode(j) {
    SetPins(3, NUMBER);
    outputType = NUMBER;
    pinLabels = {{"target", ""}, {"duration", "duration (1s)"}, {"start", ""}};
}

Editor::PulseNode::PulseNode(const std::string& title) : PulseNode("PulseNode", title) {}

Editor::PulseNode::PulseNode(const std::string& type_, const std::string& title) : QuorlNode(type_, title, {}) {
    SetPins(2, NUMBER);
    pinLabels = {{" 0 -> 1", ""}, {" 1 -> 0", ""}};
}

Editor::PulseNode::PulseNode(const json& j) : QuorlNode(j) {
    SetPins(2, NUMBER);
    outputType = NUMBER;
    pinLabels = {{" 0 -> 1", ""}, {" 1 -> 0", ""}};
}

Editor::PulseToggleNode::PulseToggleNode(const std::string& title) : PulseNode("PulseToggleNode", title) {}

Editor::PulseToggleNode::PulseToggleNode(const json& j) : PulseNode(j) {}

Editor::BasicNumberNode::BasicNumberNode(const std::string& type_, const std::string& title)
    : QuorlNode(type_, title, {}) {}

Editor::BasicNumberNode::BasicNumberNode(const json& j) : QuorlNode(j) {
    SetPins(0, NUMBER);
    outputType = NUMBER;
}

Editor::TimeNode::TimeNode(const std::string& title) : BasicNumberNode("TimeNode", title) {}

Editor::TimeNode::TimeNode(const json& j) : BasicNumberNode(j) {}

Editor::PrintNode::PrintNode(const std::string& title, const std::vector<UniqueId>& inputs_)
    : QuorlNodeWithVariableInputCount("PrintNode", title, inputs_, NONE, NUMBER) {}

Editor::PrintNode::PrintNode(const json& j) : QuorlNodeWithVariableInputCount(j) {
    NoOutput();
    FillPinTypes(NUMBER);
}

Editor::TextNode::TextNode(const std::string& title, const std::vector<UniqueId>& inputs_)
    : QuorlNodeWithVariableInputCount("TextNode", title, inputs_, TEXT, TEXT) {}

Editor::TextNode::TextNode(const json& j) : QuorlNodeWithVariableInputCount(j) {
    format = j.at("format").get<std::string>();
    outputType = TEXT;
    FillPinTypes(TEXT);
}

json Editor::TextNode::Serialize() {
    json j = QuorlNodeWithVariableInputCount::Serialize();
    j["format"] = format;
    return j;
}

void Editor::TextNode::DrawInnerContent(ImDrawList*, ImVec2 size_, float) {
    ImGui::SetNextItemWidth(size_.x);
    if (ImGui::InputText("##format", &format)) dirty = true;
}

static const std::vector<std::pair<std::string, std::string>> pidLabels = {
    {"Set point", ""}, {"Process value", ""}, {"P", ""}, {"I", ""},
    {"D", ""},         {"Reset", ""},         {"Minimum", ""}, {"Maximum", ""}};

Editor::PIDControllerNode::PIDControllerNode(const std::string& title) : QuorlNode("PIDControllerNode", title, {}) {
    SetPins(8, NUMBER);
    pinLabels = pidLabels;
}

Editor::PIDControllerNode::PIDControllerNode(const json& j) : QuorlNode(j) {
    SetPins(8, NUMBER);
    outputType = NUMBER;
    pinLabels = pidLabels;
}

Editor::IncludeNode::IncludeNode(const std::string& title) : QuorlNode("IncludeNode", title, {}) { NoOutput(); }

Editor::IncludeNode::IncludeNode(const json& j) : QuorlNode(j) {
    filename = j.at("filename").get<std::string>();
    SetPins(0, NUMBER);
    NoOutput();
}

json Editor::IncludeNode::Serialize() {
    json j = QuorlNode::Serialize();
    j["filename"] = filename;
    return j;
}

void Editor::IncludeNode::DrawContent(ImDrawList*, ImVec2 size_, float) {
    ImGui::SetNextItemWidth(size_.x);
    if (ImGui::InputText("##filename", &filename)) dirty = true;
}

Editor::CommentNode::CommentNode(const std::string& title) : QuorlNode("CommentNode", title, {}) { NoOutput(); }

Editor::CommentNode::CommentNode(const json& j) : QuorlNode(j) {
    // Also the stand-in for a kind this version does not know: the keys it lacks read as empty.
    if (j.contains("name")) name = j["name"].get<std::string>();
    if (j.contains("comment")) comment = j["comment"].get<std::string>();
    FillPinTypes(NONE);
    NoOutput();
}

json Editor::CommentNode::Serialize() {
    json j = QuorlNode::Serialize();
    j["name"] = name;
    j["comment"] = comment;
    return j;
}

void Editor::CommentNode::DrawContent(ImDrawList*, ImVec2 size_, float) {
    ImGui::SetNextItemWidth(size_.x);
    if (ImGui::InputText("##name", &name)) dirty = true;
    if (ImGui::InputTextMultiline("##comment", &comment, ImVec2(size_.x, std::max(20.0f, ImGui::GetContentRegionAvail().y))))
        dirty = true;
}

// ---- math ------------------------------------------------------------------------------------

const std::vector<std::string>& Editor::MathNode::OperatorNames() {
    static const std::vector<std::string> names = {
#define QUORL_MATH_NAME(NAME, N) #NAME,
        QUORL_MATH_NODES(QUORL_MATH_NAME)
#undef QUORL_MATH_NAME
    };
    return names;
}

int Editor::MathNode::OperandCount(const std::string& name) {
#define QUORL_MATH_COUNT(NAME, N) \
    if (name == #NAME) return N;
    QUORL_MATH_NODES(QUORL_MATH_COUNT)
#undef QUORL_MATH_COUNT
    return 0;
}

static const std::vector<std::pair<std::string, std::string>> mathLabels = {{"a", ""}, {"b", ""}, {"c", ""}};

Editor::MathNode::MathNode(const std::string& name, int operands) : QuorlNode("MathNode_" + name, name, {}) {
    SetPins(size_t(operands), NUMBER);
    pinLabels.assign(mathLabels.begin(), mathLabels.begin() + operands);
}

Editor::MathNode::MathNode(const json& j, int operands) : QuorlNode(j) {
    SetPins(size_t(operands), NUMBER);
    outputType = NUMBER;
    pinLabels.assign(mathLabels.begin(), mathLabels.begin() + operands);
}

}  // namespace game::QuorlCodeEditor
