// Node kinds that read and write the blocks: InputNode, OutputNode.
#include "game/QuorlCodeIoNodes.h"

#include <imgui_stdlib.h>

#include <cctype>
#include <cmath>
#include <cstdio>
#include <stdexcept>

#include "game/QuorlCodeNodeWidgets.h"

namespace game::QuorlCodeEditor {

using nlohmann::json;
using graphics::ui::JsonInt;
using IO = Editor::IO_TYPE;

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

}  // namespace game::QuorlCodeEditor
