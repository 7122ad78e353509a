#pragma once
// Node kinds that read and write the blocks.
#include <string>
#include <vector>

#include "game/QuorlCodeNodeBase.h"

namespace game::QuorlCodeEditor {

class Editor::InputNode : public QuorlNode {
public:
    int ioNumber = -1;
    int channel = 0;
    std::string alias;
    std::vector<std::string> channelNames;

    InputNode(const std::string& title, int ioNumber);
    explicit InputNode(const nlohmann::json& j);
    nlohmann::json Serialize() override;
    void DrawContent(ImDrawList* drawList, ImVec2 size, float scale) override;
    std::string GetChannelName(int i) const;
};

class Editor::OutputNode : public QuorlNodeWithVariableInputCount {
public:
    int ioNumber = -1;
    std::string alias;
    std::vector<std::string> channelNames;

    OutputNode(const std::string& title, int ioNumber, const std::vector<UniqueId>& inputs);
    explicit OutputNode(const nlohmann::json& j);
    nlohmann::json Serialize() override;
    std::string InputLabel() const override { return "Channel"; }
    std::string GetInputName(int pin) const override;
    bool CanChangeOutputType() const override { return false; }
    void DrawInnerContent(ImDrawList* drawList, ImVec2 size, float scale) override;
};

}  // namespace game::QuorlCodeEditor
