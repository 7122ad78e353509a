#pragma once
// A headless Dear ImGui context for driving the node editor with scripted input, one frame at a
// time, through ImGui 1.86's io.MouseDown / io.KeysDown arrays.
#include <gtest/gtest.h>
#include <imgui.h>

#include <cfloat>
#include <functional>
#include <string>
#include <vector>

#include "game/QuorlCodeEditor.h"
#include "game/QuorlCodeNodeKinds.h"
#include "game/QuorlCodeNodes.h"

namespace nodetest {

// Key numbers as the window layer writes them into io.KeysDown.
constexpr int kKeyDelete = 261;
constexpr int kKeyBackspace = 259;
constexpr int kKeyEnd = 269;

// A title of every node kind, each once: the pattern-made kinds, a comment, and every key of the
// kind table.
inline const std::vector<std::string>& AllKeys() {
    static const std::vector<std::string> keys = [] {
        std::vector<std::string> k = {"input", "input.3", "output", "output.1", "const $n = 2.5", "const $t = \"hi\"",
                                      "var $v : number", "var $w : text", "a note"};
        for (const auto& kind : game::QuorlCodeEditor::NodeKinds())
            if (kind.key) k.push_back(kind.key);
        return k;
    }();
    return keys;
}

// Adds the node of `key` at the origin, as a T (a failed cast fails the test).
template <class T = game::QuorlCodeEditor::Editor::QuorlNode>
T* Add(game::QuorlCodeEditor::Editor& e, const std::string& key) {
    T* t = dynamic_cast<T*>(e.AddNode(key, ImVec2(0, 0), {}));
    EXPECT_NE(t, nullptr) << key;
    return t;
}

class ImGuiHarness {
public:
    ImGuiHarness() {
        context = ImGui::CreateContext();
        ImGuiIO& io = ImGui::GetIO();
        io.DisplaySize = ImVec2(1280, 800);
        io.DeltaTime = 1.0f / 60.0f;
        io.IniFilename = nullptr;
        io.FontGlobalScale = 0.5f;  // interface scale 1: one graph unit is one pixel at zoom 1
        unsigned char* pixels;
        int w, h;
        io.Fonts->GetTexDataAsRGBA32(&pixels, &w, &h);
        io.KeyMap[ImGuiKey_C] = 'C';
        io.KeyMap[ImGuiKey_V] = 'V';
        io.KeyMap[ImGuiKey_X] = 'X';
        io.KeyMap[ImGuiKey_A] = 'A';
        io.KeyMap[ImGuiKey_Delete] = kKeyDelete;
        io.KeyMap[ImGuiKey_Backspace] = kKeyBackspace;
        io.KeyMap[ImGuiKey_End] = kKeyEnd;
        io.MousePos = ImVec2(-FLT_MAX, -FLT_MAX);
    }
    ~ImGuiHarness() { ImGui::DestroyContext(context); }
    ImGuiHarness(const ImGuiHarness&) = delete;
    ImGuiHarness& operator=(const ImGuiHarness&) = delete;

    ImGuiIO& io() { return ImGui::GetIO(); }

    // One frame with the canvas window filling 800 x 600 pixels at the screen's origin.
    void Frame(game::graphics::ui::NodeEditor& editor, const std::function<void()>& extra = {}) {
        ImGui::NewFrame();
        ImGui::SetNextWindowPos(ImVec2(0, 0));
        ImGui::SetNextWindowSize(ImVec2(800, 600));
        ImGui::Begin("Canvas", nullptr,
                     ImGuiWindowFlags_NoMove | ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoTitleBar |
                         ImGuiWindowFlags_NoScrollbar | ImGuiWindowFlags_NoScrollWithMouse |
                         ImGuiWindowFlags_NoSavedSettings);
        editor.Render();
        if (extra) extra();
        ImGui::End();
        ImGui::Render();
        io().MouseWheel = 0;
    }

    void Frames(game::graphics::ui::NodeEditor& editor, int count) {
        for (int i = 0; i < count; ++i) Frame(editor);
    }

    // Presses and releases mouse button `button` where the mouse is, `times` times.
    void Press(game::graphics::ui::NodeEditor& editor, int button = 0, int times = 1) {
        for (int i = 0; i < times; ++i) {
            io().MouseDown[button] = true;
            Frame(editor);
            io().MouseDown[button] = false;
            Frame(editor);
        }
    }

    // Moves the mouse from where it is to `to` in `steps` frames, the left button as it is.
    void MoveTo(game::graphics::ui::NodeEditor& editor, ImVec2 to, int steps = 4) {
        ImVec2 from = io().MousePos;
        if (from.x < -1e30f) from = to;
        for (int i = 1; i <= steps; ++i) {
            float t = float(i) / float(steps);
            io().MousePos = ImVec2(from.x + (to.x - from.x) * t, from.y + (to.y - from.y) * t);
            Frame(editor);
        }
    }

    // A press and release of the left button where the mouse is.
    void Click(game::graphics::ui::NodeEditor& editor, ImVec2 at, int times = 1) {
        io().MousePos = at;
        Frame(editor);
        Press(editor, 0, times);
    }

    void Key(game::graphics::ui::NodeEditor& editor, int key) {
        io().KeysDown[key] = true;
        Frame(editor);
        io().KeysDown[key] = false;
        Frame(editor);
    }

    // Press at `from`, drag to `to`, release there.
    void DragLeft(game::graphics::ui::NodeEditor& editor, ImVec2 from, ImVec2 to) {
        io().MousePos = from;
        Frame(editor);
        io().MouseDown[0] = true;
        Frame(editor);
        MoveTo(editor, to, 5);
        io().MouseDown[0] = false;
        Frame(editor);
        Frame(editor);
    }

private:
    ImGuiContext* context;
};

// Gives tests the pin centres the editor measured in its last frame.
class ProbeEditor : public game::QuorlCodeEditor::Editor {
public:
    using Editor::Editor;
    ImVec2 OutputPin(const game::graphics::ui::Node* n) const { return outputPinPositions.at(n->id); }
    ImVec2 InputPin(const game::graphics::ui::Node* n, size_t pin) const { return inputPinPositions.at(n->id).at(pin); }
};

}  // namespace nodetest
