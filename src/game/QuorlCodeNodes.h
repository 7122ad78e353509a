#pragma once
// The node kinds of the QuorlCode editor, all nested in QuorlCodeEditor::Editor.
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "game/QuorlCodeEditor.h"

namespace game::QuorlCodeEditor {

using graphics::ui::Node;

// A node with typed pins: a wire joins an output and a pin of the same type only. A free pin of
// type number or text holds the text typed into it.
class Editor::QuorlNode : public Node {
public:
    std::string type;
    std::vector<std::string> inputValues;
    std::unordered_map<int, IO_TYPE> inputTypes;
    IO_TYPE outputType = NUMBER;
    // Labels beside fixed pins: the second one stands when the pin is free and its value empty
    // (it names the default the generator uses); empty for "same as the first".
    std::vector<std::pair<std::string, std::string>> pinLabels;

    QuorlNode(std::string type, const std::string& title, const std::vector<UniqueId>& inputs);
    explicit QuorlNode(const nlohmann::json& j);

    nlohmann::json Serialize() override;
    void DrawInput(ImDrawList* drawList, ImVec2 pos, float radius, float scale, int pin) override;
    ImU32 GetInputColor(bool hovered, int pin) const override;
    ImU32 GetOutputColor(bool hovered) const override;
    bool CanConnectInputToOutput(int pin, const Node* producer) const override;
    bool CanConnectInput(int pin) const override;
    bool CanConnectOutput() const override;

    // Type of a pin, NONE for a pin without an entry.
    IO_TYPE InputType(int pin) const;
    // The text of a pin's label as it stands now.
    std::string PinLabel(int pin) const;
    // The value typed into a pin, empty when there is none.
    const std::string& InputValue(size_t pin) const;

protected:
    // Forces the number of pins (extending or cutting) and gives every pin the type.
    void SetPins(size_t count, IO_TYPE pinType);
    // Gives every pin without a type the type.
    void FillPinTypes(IO_TYPE pinType);
    // Marks a node without output.
    void NoOutput();
    // Inline value field of a free pin.
    void DrawValueField(int pin, float scale);
    int editingPin = -1;
    bool focusField = false;
};

// A node whose pins the user adds, retypes and removes.
class Editor::QuorlNodeWithVariableInputCount : public QuorlNode {
public:
    const char* labels[8];

    QuorlNodeWithVariableInputCount(std::string type, const std::string& title,
                                    const std::vector<UniqueId>& inputs, IO_TYPE outputType, IO_TYPE pinType);
    explicit QuorlNodeWithVariableInputCount(const nlohmann::json& j);

    float GetMinimumWidth() const override { return hasOutput ? 185.0f : 135.0f; }
    void DrawContent(ImDrawList* drawList, ImVec2 size, float scale) override;
    void DrawInput(ImDrawList* drawList, ImVec2 pos, float radius, float scale, int pin) override;
    void ContextMenuInput(int pin) override;

    // The menu and the combo offer to remove a pin only on the last pin, never a switch's selector.
    bool CanRemoveInput(int pin) const;

    virtual std::string InputLabel() const { return "Input"; }
    virtual std::string GetInputName(int pin) const;
    virtual bool CanChangeInputType(int) const { return true; }
    virtual bool CanChangeOutputType() const { return true; }
    virtual void OnChangeInputType(int pin, int type);
    virtual void OnChangeOutputType(int type);
    virtual IO_TYPE GetDefaultInputType() const { return outputType == NONE ? NUMBER : outputType; }
    virtual void OnAddInput();
    virtual void DrawInnerContent(ImDrawList*, ImVec2, float) {}
};

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

// Shared by constants and variables: a name that the user edits in the "Edit Name" popup.
class NamedNodeEditing {
public:
    std::string name;
    std::string nameEdit;
    bool nameInvalid = false;
    bool openNamePopup = false;
    // Draws the popup; true when a new name was accepted.
    bool DrawNamePopup();
    static bool IsValidName(const std::string& name);
};

class Editor::ConstNumberNode : public QuorlNode, public NamedNodeEditing {
public:
    double value = 0;
    std::string valueStr;

    ConstNumberNode(const std::string& title, std::string name, double value);
    explicit ConstNumberNode(const nlohmann::json& j);
    nlohmann::json Serialize() override;
    bool CanClone() const override { return false; }
    void DrawContent(ImDrawList* drawList, ImVec2 size, float scale) override;
    void ContextMenu() override;
    void OnDoubleClick() override { openNamePopup = true; }
};

class Editor::ConstTextNode : public QuorlNode, public NamedNodeEditing {
public:
    std::string value;

    ConstTextNode(const std::string& title, std::string name, std::string value);
    explicit ConstTextNode(const nlohmann::json& j);
    nlohmann::json Serialize() override;
    bool CanClone() const override { return false; }
    void DrawContent(ImDrawList* drawList, ImVec2 size, float scale) override;
    void ContextMenu() override;
    void OnDoubleClick() override { openNamePopup = true; }
};

class Editor::VarNumberNode : public QuorlNode, public NamedNodeEditing {
public:
    VarNumberNode(const std::string& title, std::string name);
    explicit VarNumberNode(const nlohmann::json& j);
    nlohmann::json Serialize() override;
    bool CanClone() const override { return false; }
    void DrawContent(ImDrawList* drawList, ImVec2 size, float scale) override;
    void ContextMenu() override;
    void OnDoubleClick() override { openNamePopup = true; }
};

class Editor::VarTextNode : public QuorlNode, public NamedNodeEditing {
public:
    VarTextNode(const std::string& title, std::string name);
    explicit VarTextNode(const nlohmann::json& j);
    nlohmann::json Serialize() override;
    bool CanClone() const override { return false; }
    void DrawContent(ImDrawList* drawList, ImVec2 size, float scale) override;
    void ContextMenu() override;
    void OnDoubleClick() override { openNamePopup = true; }
};

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
