#pragma once
// The base classes of the QuorlCode editor's node kinds; the kinds themselves are declared by
// family (QuorlCodeNodes.h includes them all).
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

}  // namespace game::QuorlCodeEditor
