#pragma once
// Node kinds that carry program text or steer execution.
#include <string>
#include <vector>

#include "game/QuorlCodeNodeBase.h"

namespace game::QuorlCodeEditor {

class Editor::ExpressionNode : public QuorlNodeWithVariableInputCount {
public:
    std::string code;
    ExpressionNode(const std::string& title, const std::vector<UniqueId>& inputs);
    explicit ExpressionNode(const nlohmann::json& j);
    nlohmann::json Serialize() override;
    void DrawInnerContent(ImDrawList* drawList, ImVec2 size, float scale) override;
};

// A piece of code run where an Execute node or a Conditional places it.
class Editor::StatementNode : public QuorlNodeWithVariableInputCount {
public:
    std::string code;
    StatementNode(const std::string& title, const std::vector<UniqueId>& inputs);
    explicit StatementNode(const nlohmann::json& j);
    nlohmann::json Serialize() override;
    bool CanChangeOutputType() const override { return false; }
    IO_TYPE GetDefaultInputType() const override { return NUMBER; }
    void DrawInnerContent(ImDrawList* drawList, ImVec2 size, float scale) override;
};

class Editor::ConditionalNode : public QuorlNode {
public:
    explicit ConditionalNode(const std::string& title);
    explicit ConditionalNode(const nlohmann::json& j);
    float GetMinimumWidth() const override { return 120.0f; }
};

class Editor::ExecuteNode : public QuorlNodeWithVariableInputCount {
public:
    ExecuteNode(const std::string& title, const std::vector<UniqueId>& inputs);
    explicit ExecuteNode(const nlohmann::json& j);
    std::string InputLabel() const override { return "Statement"; }
    bool CanChangeInputType(int) const override { return false; }
    bool CanChangeOutputType() const override { return false; }
    IO_TYPE GetDefaultInputType() const override { return EXEC; }
};

// Pin 0 selects, pins 1.. are the cases 0, 1, ...; the cases and the output share one type.
class Editor::SwitchNode : public QuorlNodeWithVariableInputCount {
public:
    SwitchNode(const std::string& title, const std::vector<UniqueId>& inputs);
    explicit SwitchNode(const nlohmann::json& j);
    std::string InputLabel() const override { return "Case"; }
    std::string GetInputName(int pin) const override;
    void OnChangeInputType(int pin, int type) override;
    void OnChangeOutputType(int type) override;
};

}  // namespace game::QuorlCodeEditor
