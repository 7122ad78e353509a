#include "game/QuorlCodeNodes.h"

#include "game/QuorlCodeNodeWidgets.h"

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

}  // namespace

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

}  // namespace game::QuorlCodeEditor
