#pragma once
// Functions with state, time, print, text, include, comments and the math operators.
#include <string>
#include <vector>

#include "game/QuorlCodeNodeBase.h"

namespace game::QuorlCodeEditor {

class Editor::DelayNode : public QuorlNode {
public:
    explicit DelayNode(const std::string& title);
    explicit DelayNode(const nlohmann::json& j);
    float GetMinimumWidth() const override { return 120.0f; }
};

class Editor::BlinkerNode : public QuorlNode {
public:
    explicit BlinkerNode(const std::string& title);
    explicit BlinkerNode(const nlohmann::json& j);
    float GetMinimumWidth() const override { return 140.0f; }
};

class Editor::CounterNode : public QuorlNode {
public:
    explicit CounterNode(const std::string& title);
    explicit CounterNode(const nlohmann::json& j);
    float GetMinimumWidth() const override { return 140.0f; }
};

class Editor::SmoothNode : public QuorlNode {
public:
    explicit SmoothNode(const std::string& title);
    explicit SmoothNode(const nlohmann::json& j);
    float GetMinimumWidth() const override { return 150.0f; }
};

class Editor::PulseNode : public QuorlNode {
public:
    explicit PulseNode(const std::string& title);
    explicit PulseNode(const nlohmann::json& j);

protected:
    PulseNode(const std::string& type, const std::string& title);
};

// A pulse whose state lives across ticks.
class Editor::PulseToggleNode : public PulseNode {
public:
    explicit PulseToggleNode(const std::string& title);
    explicit PulseToggleNode(const nlohmann::json& j);
};

class Editor::BasicNumberNode : public QuorlNode {
public:
    BasicNumberNode(const std::string& type, const std::string& title);
    explicit BasicNumberNode(const nlohmann::json& j);
};

class Editor::TimeNode : public BasicNumberNode {
public:
    explicit TimeNode(const std::string& title);
    explicit TimeNode(const nlohmann::json& j);
};

class Editor::PrintNode : public QuorlNodeWithVariableInputCount {
public:
    PrintNode(const std::string& title, const std::vector<UniqueId>& inputs);
    explicit PrintNode(const nlohmann::json& j);
    bool CanChangeOutputType() const override { return false; }
};

class Editor::TextNode : public QuorlNodeWithVariableInputCount {
public:
    std::string format;
    TextNode(const std::string& title, const std::vector<UniqueId>& inputs);
    explicit TextNode(const nlohmann::json& j);
    nlohmann::json Serialize() override;
    bool CanChangeOutputType() const override { return false; }
    void DrawInnerContent(ImDrawList* drawList, ImVec2 size, float scale) override;
};

class Editor::PIDControllerNode : public QuorlNode {
public:
    explicit PIDControllerNode(const std::string& title);
    explicit PIDControllerNode(const nlohmann::json& j);
    float GetMinimumWidth() const override { return 150.0f; }
};

class Editor::IncludeNode : public QuorlNode {
public:
    std::string filename;
    explicit IncludeNode(const std::string& title);
    explicit IncludeNode(const nlohmann::json& j);
    nlohmann::json Serialize() override;
    bool CanClone() const override { return false; }
    float GetMinimumWidth() const override { return 100.0f; }
    void DrawContent(ImDrawList* drawList, ImVec2 size, float scale) override;
};

class Editor::CommentNode : public QuorlNode {
public:
    std::string name;
    std::string comment;
    explicit CommentNode(const std::string& title);
    explicit CommentNode(const nlohmann::json& j);
    nlohmann::json Serialize() override;
    float GetMinimumWidth() const override { return 120.0f; }
    void DrawContent(ImDrawList* drawList, ImVec2 size, float scale) override;
};

// A pure numeric operator; the title is the operator's name.
class Editor::MathNode : public QuorlNode {
public:
    // Number of operands of an operator name, 0 for a name that is no operator.
    static int OperandCount(const std::string& name);
    // Every operator name, in the order of the classes.
    static const std::vector<std::string>& OperatorNames();

    MathNode(const std::string& name, int operands);
    MathNode(const nlohmann::json& j, int operands);
};

// One class per operator, each only its constructors.
#define QUORL_DECLARE_MATH_NODE(NAME, N)                                              \
    class Editor::MathNode_##NAME : public Editor::MathNode {                        \
    public:                                                                          \
        MathNode_##NAME() : MathNode(std::string(#NAME), N) {}                                   \
        explicit MathNode_##NAME(const nlohmann::json& j) : MathNode(j, N) {}         \
    };
QUORL_MATH_NODES(QUORL_DECLARE_MATH_NODE)
#undef QUORL_DECLARE_MATH_NODE

}  // namespace game::QuorlCodeEditor
