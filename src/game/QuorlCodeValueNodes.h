#pragma once
// Named values: the constants and variables.
#include <string>
#include <vector>

#include "game/QuorlCodeNodeBase.h"

namespace game::QuorlCodeEditor {

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

}  // namespace game::QuorlCodeEditor
