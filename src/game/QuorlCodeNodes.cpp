#include "game/QuorlCodeNodes.h"

#include <imgui_stdlib.h>

#include <cctype>
#include <cmath>
#include <cstdio>
#include <stdexcept>

namespace game::QuorlCodeEditor {

using nlohmann::json;
using graphics::ui::JsonInt;
using IO = Editor::IO_TYPE;

namespace {

IO ReadType(const json& j, const char* key) {
    int32_t v = JsonInt(j, key);
    if (v < 0 || v > 3) throw std::runtime_error(std::string("\"") + key + "\": no such pin type " + std::to_string(v));
    return IO(v);
}

// Combo over the labels of the given types; true when the user picked another one.
bool TypeCombo(const char* id, IO current, const char* const* labels, std::initializer_list<IO> offered, IO& picked,
               float width) {
    bool changed = false;
    ImGui::SetNextItemWidth(width);
    if (ImGui::BeginCombo(id, labels[current], ImGuiComboFlags_NoArrowButton)) {
        for (IO t : offered) {
            if (ImGui::Selectable(labels[t], t == current) && t != current) {
                picked = t;
                changed = true;
            }
        }
        ImGui::EndCombo();
    }
    return changed;
}

}  // namespace

// ---- QuorlNode -------------------------------------------------------------------------------

Editor::QuorlNode::QuorlNode(std::string type_, const std::string& title, const std::vector<UniqueId>& inputs)
    : Node(title, inputs), type(std::move(type_)) {}

Editor::QuorlNode::QuorlNode(const json& j) : Node(j) {
    type = j.at("type").get<std::string>();
    outputType = ReadType(j.at("outputType"), "outputType");
    if (j.contains("inputTypes") && j["inputTypes"].is_array()) {
        int pin = 0;
        for (const json& t : j["inputTypes"]) {
            IO v = ReadType(t, "inputTypes");
            if (size_t(pin) < inputs.size()) inputTypes[pin] = v;
            ++pin;
        }
    }
    if (j.contains("inputValues") && j["inputValues"].is_array())
        for (const json& v : j["inputValues"]) inputValues.push_back(v.get<std::string>());
}

json Editor::QuorlNode::Serialize() {
    json j = Node::Serialize();
    j["type"] = type;
    j["outputType"] = int(outputType);
    if (!inputs.empty()) {
        json types = json::array();
        for (size_t i = 0; i < inputs.size(); ++i) types.push_back(int(InputType(int(i))));
        j["inputTypes"] = std::move(types);
    }
    if (!inputValues.empty()) j["inputValues"] = inputValues;
    return j;
}

Editor::IO_TYPE Editor::QuorlNode::InputType(int pin) const {
    auto it = inputTypes.find(pin);
    return it == inputTypes.end() ? NONE : it->second;
}

const std::string& Editor::QuorlNode::InputValue(size_t pin) const {
    static const std::string empty;
    return pin < inputValues.size() ? inputValues[pin] : empty;
}

std::string Editor::QuorlNode::PinLabel(int pin) const {
    if (auto* v = dynamic_cast<const QuorlNodeWithVariableInputCount*>(this)) return v->GetInputName(pin);
    if (pin < 0 || size_t(pin) >= pinLabels.size()) return std::string();
    const auto& [label, whenEmpty] = pinLabels[size_t(pin)];
    bool freeAndEmpty = size_t(pin) < inputs.size() && inputs[size_t(pin)].IsNull() && InputValue(size_t(pin)).empty();
    return freeAndEmpty && !whenEmpty.empty() ? whenEmpty : label;
}

void Editor::QuorlNode::SetPins(size_t count, IO pinType) {
    inputs.resize(count);
    inputTypes.clear();
    for (size_t i = 0; i < count; ++i) inputTypes[int(i)] = pinType;
}

void Editor::QuorlNode::FillPinTypes(IO pinType) {
    for (size_t i = 0; i < inputs.size(); ++i) inputTypes.emplace(int(i), pinType);
}

void Editor::QuorlNode::NoOutput() {
    hasOutput = false;
    outputType = NONE;
}

ImU32 Editor::QuorlNode::GetInputColor(bool hovered_, int pin) const { return GetIOColor(InputType(pin), hovered_); }

ImU32 Editor::QuorlNode::GetOutputColor(bool hovered_) const { return GetIOColor(outputType, hovered_); }

bool Editor::QuorlNode::CanConnectInputToOutput(int pin, const Node* producer) const {
    auto* q = dynamic_cast<const QuorlNode*>(producer);
    if (!q) return false;
    auto it = inputTypes.find(pin);
    if (it == inputTypes.end()) return false;
    return it->second == q->outputType;
}

bool Editor::QuorlNode::CanConnectInput(int pin) const { return InputType(pin) != NONE; }

bool Editor::QuorlNode::CanConnectOutput() const { return outputType != NONE; }

void Editor::QuorlNode::DrawValueField(int pin, float scale) {
    std::string& value = inputValues[size_t(pin)];
    const float width = 40.0f * scale;
    if (value.empty() && editingPin != pin) {
        if (ImGui::Button("..##inputValuePlaceholder", ImVec2(width, 0))) {
            editingPin = pin;
            focusField = true;
        }
        return;
    }
    const bool requestFocus = editingPin == pin && focusField;
    if (requestFocus) ImGui::SetKeyboardFocusHere();
    ImGui::SetNextItemWidth(width);
    if (ImGui::InputText("##inputValue", &value)) dirty = true;
    if (!requestFocus && editingPin == pin && !ImGui::IsItemActive()) editingPin = -1;
    if (requestFocus) focusField = false;
}

void Editor::QuorlNode::DrawInput(ImDrawList* drawList, ImVec2 pos_, float radius, float scale, int pin) {
    drawList->AddCircleFilled(pos_, radius * 0.6f, GetInputColor(hoveredInput == pin, pin));
    if (inputValues.size() < inputs.size()) inputValues.resize(inputs.size());
    ImGui::SetCursorScreenPos(
        ImVec2(pos_.x + radius * 1.25f, pos_.y - ImGui::GetFontSize() * 0.5f - ImGui::GetStyle().FramePadding.y));
    const IO t = InputType(pin);
    if (inputs[size_t(pin)].IsNull() && (t == NUMBER || t == TEXT)) {
        DrawValueField(pin, scale);
        ImGui::SameLine();
    }
    std::string label = PinLabel(pin);
    ImGui::AlignTextToFramePadding();
    ImGui::TextUnformatted(label.c_str());
}

// ---- nodes with a variable pin count ---------------------------------------------------------

Editor::QuorlNodeWithVariableInputCount::QuorlNodeWithVariableInputCount(std::string type_, const std::string& title,
                                                                         const std::vector<UniqueId>& inputs_,
                                                                         IO outputType_, IO pinType)
    : QuorlNode(std::move(type_), title, inputs_) {
    std::copy(std::begin(IO_LABELS), std::end(IO_LABELS), labels);
    outputType = outputType_;
    if (outputType == NONE) NoOutput();
    for (size_t i = 0; i < inputs.size(); ++i) inputTypes[int(i)] = pinType;
}

Editor::QuorlNodeWithVariableInputCount::QuorlNodeWithVariableInputCount(const json& j) : QuorlNode(j) {
    std::copy(std::begin(IO_LABELS), std::end(IO_LABELS), labels);
}

std::string Editor::QuorlNodeWithVariableInputCount::GetInputName(int pin) const {
    static const char letters[] = "abcdefghijklmnopqrstuvwxyz";
    return pin >= 0 && pin < 26 ? std::string(1, letters[pin]) : std::string();
}

void Editor::QuorlNodeWithVariableInputCount::OnChangeInputType(int pin, int type_) {
    if (pin < 0 || size_t(pin) >= inputs.size() || type_ < 0 || type_ > 3) return;
    inputTypes[pin] = IO(type_);
    inputs[size_t(pin)] = UniqueId();
    dirty = true;
}

void Editor::QuorlNodeWithVariableInputCount::OnChangeOutputType(int type_) {
    if (type_ < 0 || type_ > 3) return;
    outputType = IO(type_);
    disconnectOutputs = true;
    dirty = true;
}

void Editor::QuorlNodeWithVariableInputCount::OnAddInput() {
    inputTypes[int(inputs.size())] = GetDefaultInputType();
    inputs.push_back(UniqueId());
    dirty = true;
}

bool Editor::QuorlNodeWithVariableInputCount::CanRemoveInput(int pin) const {
    const bool selector = pin == 0 && dynamic_cast<const SwitchNode*>(this);
    return pin == int(inputs.size()) - 1 && !selector;
}

void Editor::QuorlNodeWithVariableInputCount::ContextMenuInput(int pin) {
    std::string label = "Delete " + InputLabel() + " " + GetInputName(pin);
    if (ImGui::MenuItem(label.c_str(), nullptr, false, CanRemoveInput(pin))) OnChangeInputType(pin, NONE);
}

void Editor::QuorlNodeWithVariableInputCount::DrawInput(ImDrawList* drawList, ImVec2 pos_, float radius, float scale,
                                                       int pin) {
    QuorlNode::DrawInput(drawList, pos_, radius, scale, pin);
    if (!CanChangeInputType(pin)) return;
    ImGui::SameLine();
    IO picked = NUMBER;
    ImGui::BeginDisabled(locked);
    bool changed = CanRemoveInput(pin)
                       ? TypeCombo("##argType", InputType(pin), labels, {NUMBER, TEXT, NONE}, picked, 60.0f * scale)
                       : TypeCombo("##argType", InputType(pin), labels, {NUMBER, TEXT}, picked, 60.0f * scale);
    ImGui::EndDisabled();
    if (changed) OnChangeInputType(pin, picked);
}

void Editor::QuorlNodeWithVariableInputCount::DrawContent(ImDrawList* drawList, ImVec2 size_, float scale) {
    const ImVec2 start = ImGui::GetCursorPos();
    if (hasOutput && CanChangeOutputType()) {
        ImGui::SetCursorPos(ImVec2(start.x + size_.x - 60.0f * scale, start.y));
        IO picked = NUMBER;
        ImGui::BeginDisabled(locked);
        bool changed = TypeCombo("##outputType", outputType, labels + 4, {NUMBER, TEXT}, picked, 60.0f * scale);
        ImGui::EndDisabled();
        if (changed) OnChangeOutputType(picked);
    }
    ImGui::SetCursorPos(ImVec2(start.x, start.y + float(inputs.size()) * 20.0f * scale));
    DrawInnerContent(drawList, size_, scale);
    // A plus sign in a circle, then the button.
    const ImVec2 at = ImGui::GetCursorScreenPos();
    const float h = ImGui::GetFrameHeight();
    ImGui::SetCursorScreenPos(ImVec2(at.x + h, at.y));
    if (ImGui::Button(("Add " + InputLabel()).c_str())) OnAddInput();
    const ImVec2 c(at.x + h * 0.5f, at.y + h * 0.5f);
    const float rr = h * 0.3f;
    const ImU32 col = GetIOColor(GetDefaultInputType(), ImGui::IsItemHovered());
    drawList->AddCircle(c, rr, col);
    drawList->AddLine(ImVec2(c.x - rr * 0.6f, c.y), ImVec2(c.x + rr * 0.6f, c.y), col);
    drawList->AddLine(ImVec2(c.x, c.y - rr * 0.6f), ImVec2(c.x, c.y + rr * 0.6f), col);
}

// ---- inputs and outputs ----------------------------------------------------------------------

Editor::InputNode::InputNode(const std::string& title, int ioNumber_)
    : QuorlNode("InputNode", title, {}), ioNumber(ioNumber_) {}

Editor::InputNode::InputNode(const json& j) : QuorlNode(j) {
    channel = JsonInt(j.at("channel"), "channel");
    ioNumber = j.contains("ioNumber") ? JsonInt(j["ioNumber"], "ioNumber") : -1;
    if (ioNumber == -1) alias = j.at("alias").get<std::string>();
    if (outputType != NUMBER && outputType != TEXT) throw std::runtime_error("an input reads a number or a text");
    inputs.clear();
    inputTypes.clear();
}

json Editor::InputNode::Serialize() {
    json j = QuorlNode::Serialize();
    j["channel"] = channel;
    if (ioNumber == -1)
        j["alias"] = alias;
    else
        j["ioNumber"] = ioNumber;
    return j;
}

std::string Editor::InputNode::GetChannelName(int i) const {
    if (i >= 0 && size_t(i) < channelNames.size()) return channelNames[size_t(i)];
    if (channelNames.empty()) return "Channel " + std::to_string(i);
    return std::string();
}

void Editor::InputNode::DrawContent(ImDrawList*, ImVec2 size_, float) {
    const float width = size_.x;
    IO picked = NUMBER;
    ImGui::BeginDisabled(locked);
    if (TypeCombo("##outputType", outputType, TYPES, {NUMBER, TEXT}, picked, width)) {
        outputType = picked;
        disconnectOutputs = true;
        dirty = true;
    }
    ImGui::EndDisabled();
    ImGui::SetCursorPosX(ImGui::GetCursorPosX() + (ImGui::GetWindowWidth() - width) * 0.5f - ImGui::GetStyle().WindowPadding.x);
    ImGui::SetNextItemWidth(width);
    const int count = channelNames.empty() ? 16 : int(channelNames.size());
    if (ImGui::BeginCombo("##channel", GetChannelName(channel).c_str())) {
        for (int i = 0; i < count; ++i) {
            if (ImGui::Selectable(GetChannelName(i).c_str(), i == channel) && i != channel) {
                channel = i;
                dirty = true;
            }
        }
        ImGui::EndCombo();
    }
    if (ioNumber == -1) {
        char buffer[50] = {};
        alias.copy(buffer, sizeof buffer - 1);
        ImGui::SetNextItemWidth(width);
        if (ImGui::InputText("##alias", buffer, sizeof buffer)) {
            alias = buffer;
            dirty = true;
        }
    }
}

Editor::OutputNode::OutputNode(const std::string& title, int ioNumber_, const std::vector<UniqueId>& inputs_)
    : QuorlNodeWithVariableInputCount("OutputNode", title, inputs_, NONE, NUMBER), ioNumber(ioNumber_) {}

Editor::OutputNode::OutputNode(const json& j) : QuorlNodeWithVariableInputCount(j) {
    ioNumber = j.contains("ioNumber") ? JsonInt(j["ioNumber"], "ioNumber") : -1;
    if (ioNumber == -1)
        alias = j.at("alias").get<std::string>();
    else if (j.contains("alias"))
        alias = j["alias"].get<std::string>();
    NoOutput();
    FillPinTypes(NUMBER);
}

json Editor::OutputNode::Serialize() {
    json j = QuorlNodeWithVariableInputCount::Serialize();
    if (ioNumber != -1) j["ioNumber"] = ioNumber;
    j["alias"] = alias;
    return j;
}

std::string Editor::OutputNode::GetInputName(int pin) const {
    if (pin >= 0 && size_t(pin) < channelNames.size()) return channelNames[size_t(pin)];
    return "Channel " + std::to_string(pin);
}

void Editor::OutputNode::DrawInnerContent(ImDrawList*, ImVec2 size_, float) {
    if (ioNumber != -1) return;
    char buffer[50] = {};
    alias.copy(buffer, sizeof buffer - 1);
    ImGui::SetNextItemWidth(size_.x);
    if (ImGui::InputText("##alias", buffer, sizeof buffer)) {
        alias = buffer;
        dirty = true;
    }
}

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

void DrawCodeField(std::string& code, bool& dirty, ImVec2 size, float scale) {
    if (ImGui::InputTextMultiline("##code", &code, ImVec2(size.x, 60.0f * scale))) dirty = true;
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

// ---- code ------------------------------------------------------------------------------------

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
