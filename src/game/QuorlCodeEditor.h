#pragma once
#include <imgui.h>

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "game/graphics/ui/NodeEditor.h"
#include "game/graphics/ui/TextEditor.h"

// Every operator of the math nodes with its number of operands.
#define QUORL_MATH_NODES(X)                                                                            \
    X(ADD, 2) X(SUBTRACT, 2) X(MULTIPLY, 2) X(DIVIDE, 2) X(MODULO, 2) X(EQUAL, 2) X(GREATER, 2)        \
    X(LESSER, 2) X(AND, 2) X(OR, 2) X(XOR, 2) X(POW, 2) X(LOG, 2) X(ABSOLUTE, 1) X(NEGATIVE, 1)        \
    X(NOT, 1) X(SIN, 1) X(COS, 1) X(TAN, 1) X(ASIN, 1) X(ACOS, 1) X(ATAN, 1) X(FLOOR, 1) X(CEIL, 1)    \
    X(ROUND, 1) X(FRACT, 1) X(SQRT, 1) X(SIGN, 1) X(CLAMP, 3) X(STEP, 3) X(SMOOTHSTEP, 3) X(LERP, 3)

namespace game::QuorlCodeEditor {

// Colours of the program text view, in the order of the text editor's palette indices.
const std::array<ImU32, 21>& GetQuorlPalette();

// The node editor of the QuorlCode language: typed nodes (declared in QuorlCodeNodes.h) and the
// generator that turns the graph into program text, with the graph kept on the text's first line.
class Editor : public graphics::ui::NodeEditor {
public:
    enum IO_TYPE : int32_t { NUMBER = 0, TEXT = 1, NONE = 2, EXEC = 3 };

    // Indexed by IO_TYPE; null where a type has no word.
    static const char* const TYPES[4];
    static const char* const DEFAULT_TYPES_VAL[4];
    // Input-type labels, then output-type labels, with their trailing blanks.
    static const char* const IO_LABELS[8];

    static ImU32 GetIOColor(IO_TYPE type, bool hovered);

    class QuorlNode;
    class QuorlNodeWithVariableInputCount;
    class InputNode;
    class OutputNode;
    class ConstNumberNode;
    class ConstTextNode;
    class VarNumberNode;
    class VarTextNode;
    class ExpressionNode;
    class StatementNode;
    class ConditionalNode;
    class ExecuteNode;
    class SwitchNode;
    class DelayNode;
    class BlinkerNode;
    class CounterNode;
    class SmoothNode;
    class PulseNode;
    class PulseToggleNode;
    class BasicNumberNode;
    class TimeNode;
    class PrintNode;
    class TextNode;
    class PIDControllerNode;
    class IncludeNode;
    class CommentNode;
    class MathNode;
#define QUORL_FORWARD_MATH_NODE(NAME, N) class MathNode_##NAME;
    QUORL_MATH_NODES(QUORL_FORWARD_MATH_NODE)
#undef QUORL_FORWARD_MATH_NODE

    // Name of the program: "door.main.qc" gives the prefixes "$_door_" and "@_door_".
    std::string programName;
    graphics::ui::TextEditor textEditor;
    // Undo history: newest snapshot first; historyPosition is the snapshot on show.
    std::deque<nlohmann::json> history;
    int historyPosition = 0;
    size_t historyLimit = 100;
    // Names of the blocks and of their channels, supplied by the component running the programs.
    std::map<int, std::string> inputBlockNames;
    std::map<int, std::string> outputBlockNames;
    std::map<int, std::vector<std::string>> inputChannelNames;
    std::map<int, std::vector<std::string>> outputChannelNames;
    // The document of the last Serialize: {"nodes": [...]}.
    nlohmann::json root;

    Editor() { textEditor.SetPalette(GetQuorlPalette()); }
    explicit Editor(std::string name) : programName(std::move(name)) { textEditor.SetPalette(GetQuorlPalette()); }

    graphics::ui::Node* CreateNode(const std::string& title, ImVec2 pos,
                                   const std::vector<UniqueId>& inputs) override;
    graphics::ui::Node* DeserializeNode(const nlohmann::json& j) override;
    void ContextMenu(ImVec2 pos) override;

    std::vector<int> GetNextOutputNumbers(int count) const;
    std::string GetNextTextConstantName() const;
    std::string GetNextTextVariableName() const;
    std::string GetNextNumberConstantName() const;
    std::string GetNextNumberVariableName() const;

    // Generates the program text into textEditor (see QuorlCodeGeneration.cpp). On a refused
    // graph an error line goes to the error stream and the text view keeps what it held; the
    // result tells which happened.
    bool Serialize(bool recordHistory);

    // Rebuilds the graph from the "#NODES " first line of a program text. Throws
    // std::runtime_error when there is no such line or its JSON cannot be parsed; nodes that
    // cannot be read are skipped with their error added to errors.
    void LoadProgram(const std::string& text, std::vector<std::string>* errors = nullptr);
    // The JSON kept on a program's first line (same errors as LoadProgram).
    static nlohmann::json GraphOfProgram(const std::string& text);

    // Steps through the history; the graph and the text follow. False when there is no step.
    bool Undo();
    bool Redo();

    // Limits of the generator: a graph whose text would pass them is refused.
    static constexpr size_t maxExpressionBytes = 1u << 20;
    static constexpr size_t maxGeneratedBytes = 64u << 20;
    static constexpr int maxDepth = 2000;

private:
    std::string NextName(const char* stem) const;
    void FillChannelNames(graphics::ui::Node* node) const;
};

}  // namespace game::QuorlCodeEditor
