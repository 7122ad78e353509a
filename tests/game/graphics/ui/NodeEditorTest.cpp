#include <gtest/gtest.h>

#include <imgui_internal.h>

#include "game/NodeTestHarness.h"
#include "game/graphics/ui/NodeEditor.h"

using game::UniqueId;
using game::graphics::ui::Node;
using game::graphics::ui::NodeEditor;
using Editor = game::QuorlCodeEditor::Editor;
using nodetest::ImGuiHarness;
using nodetest::ProbeEditor;

namespace {

Node* Wire(Node* consumer, size_t pin, const Node* producer) {
    consumer->inputs.at(pin) = producer->id;
    return consumer;
}

}  // namespace

TEST(NodeGraphModel, CycleRuleRefusesLoopsAtAnyDepth) {
    NodeEditor editor;
    Node* a = editor.AddNode("a", {}, {UniqueId()});
    Node* b = editor.AddNode("b", {}, {UniqueId()});
    Node* c = editor.AddNode("c", {}, {UniqueId(), UniqueId()});
    Wire(b, 0, a);
    Wire(c, 0, b);
    EXPECT_FALSE(editor.CanConnectInputToOutput(a, 0, a));  // own output
    EXPECT_FALSE(editor.CanConnectInputToOutput(a, 0, b));  // a <- b <- a
    EXPECT_FALSE(editor.CanConnectInputToOutput(a, 0, c));  // a <- c <- b <- a
    EXPECT_TRUE(editor.CanConnectInputToOutput(c, 1, a));   // a diamond is no loop
    EXPECT_FALSE(editor.CanConnectInputToOutput(nullptr, 0, a));
    EXPECT_TRUE(editor.NodeDependsOn(c, a));
}

TEST(NodeGraphModel, DestroyClearsConsumersAndReadOnlyRefuses) {
    NodeEditor editor;
    Node* a = editor.AddNode("a", {}, {});
    Node* b = editor.AddNode("b", {}, {UniqueId(), UniqueId()});
    Wire(b, 0, a);
    Wire(b, 1, a);
    editor.readOnly = true;
    editor.DestroyNode(a);
    EXPECT_EQ(b->inputs[0], a->id);
    editor.readOnly = false;
    editor.modified = false;
    editor.DestroyNode(a);
    editor.nodes.erase(editor.nodes.begin());
    EXPECT_TRUE(b->inputs[0].IsNull());
    EXPECT_TRUE(b->inputs[1].IsNull());
    EXPECT_TRUE(b->dirty);
    EXPECT_TRUE(editor.modified);
}

TEST(NodeGraphModel, CopyPasteKeepsInnerWiresAndDropsOuterOnes) {
    ImGuiHarness ui;
    Editor editor("p");
    Node* a = editor.AddNode("time", ImVec2(0, 0), {});
    Node* b = editor.AddNode("ADD", ImVec2(100, 0), {});
    Node* c = editor.AddNode("NEGATIVE", ImVec2(200, 100), {});
    Wire(b, 0, a);
    Wire(c, 0, b);
    ImGui::SetClipboardText("keep me");
    editor.Copy();  // nothing selected: the system clipboard stays
    EXPECT_TRUE(NodeEditor::clipboard.empty());
    EXPECT_STREQ(ImGui::GetClipboardText(), "keep me");

    b->selected = c->selected = true;
    editor.Copy();
    EXPECT_STREQ(ImGui::GetClipboardText(), "");
    EXPECT_EQ(NodeEditor::clipboard.size(), 2u);

    ui.io().MousePos = ImVec2(500, 400);
    editor.Paste();
    ASSERT_EQ(editor.nodes.size(), 5u);
    Node* b2 = editor.nodes[3];
    Node* c2 = editor.nodes[4];
    EXPECT_FALSE(b2->id == b->id);
    EXPECT_TRUE(b2->inputs[0].IsNull());  // a stayed outside
    EXPECT_EQ(c2->inputs[0], b2->id);     // inner wire follows the copy
    EXPECT_EQ(c->inputs[0], b->id);
    EXPECT_TRUE(b2->selected && c2->selected);
    // The group's centre lands on the mouse.
    EXPECT_FLOAT_EQ((b2->pos.x + c2->pos.x) / 2, 500.0f);
    EXPECT_FLOAT_EQ((b2->pos.y + c2->pos.y) / 2, 400.0f);

    // Something else copied since: a silent no-op.
    ImGui::SetClipboardText("other program");
    editor.Paste();
    EXPECT_EQ(editor.nodes.size(), 5u);
}

TEST(NodeGraphModel, ConstantsPasteOnlyIntoAnotherEditor) {
    ImGuiHarness ui;
    Editor one("one"), two("two");
    Node* k = one.AddNode("const $k = 5", ImVec2(0, 0), {});
    one.AddNode("time", ImVec2(0, 0), {})->selected = true;
    k->selected = true;
    one.Copy();
    one.Paste();
    ASSERT_EQ(one.nodes.size(), 3u);  // the time node only
    EXPECT_EQ(one.nodes[2]->title, "time");
    two.Paste();
    ASSERT_EQ(two.nodes.size(), 2u);
    EXPECT_EQ(two.nodes[0]->title, "const $k = 5");
}

TEST(NodeEditorInput, DragTitleMovesNodeAndSelectionAndShiftSnaps) {
    ImGuiHarness ui;
    Editor editor("p");
    Node* a = editor.AddNode("time", ImVec2(100, 100), {});
    Node* b = editor.AddNode("time", ImVec2(300, 300), {});
    b->selected = true;
    ui.Frame(editor);
    editor.modified = false;
    ui.DragLeft(editor, ImVec2(110, 103), ImVec2(163, 134));
    EXPECT_FLOAT_EQ(a->pos.x, 153.0f);
    EXPECT_FLOAT_EQ(a->pos.y, 131.0f);
    EXPECT_FLOAT_EQ(b->pos.x, 353.0f);  // the selection follows
    EXPECT_FLOAT_EQ(b->pos.y, 331.0f);
    EXPECT_TRUE(editor.modified);
    EXPECT_EQ(editor.draggedNode, nullptr);

    ui.io().KeyShift = true;
    ui.DragLeft(editor, ImVec2(160, 134), ImVec2(198, 150));
    ui.io().KeyShift = false;
    EXPECT_FLOAT_EQ(a->pos.x, 190.0f);
    EXPECT_FLOAT_EQ(a->pos.y, 150.0f);
}

TEST(NodeEditorInput, ConnectPinsWithTheMouse) {
    ImGuiHarness ui;
    ProbeEditor editor("p");
    Node* time = editor.AddNode("time", ImVec2(50, 50), {});
    Node* add = editor.AddNode("ADD", ImVec2(300, 50), {});
    Node* text = editor.AddNode("text", ImVec2(300, 250), {});
    auto* textNode = static_cast<Editor::TextNode*>(text);
    textNode->OnAddInput();  // a text pin
    ui.Frame(editor);

    // Output to input.
    ui.DragLeft(editor, editor.OutputPin(time), editor.InputPin(add, 1));
    EXPECT_EQ(add->inputs[1], time->id);
    EXPECT_TRUE(add->inputs[0].IsNull());
    EXPECT_TRUE(add->dirty);

    // Input to output.
    ui.DragLeft(editor, editor.InputPin(add, 0), editor.OutputPin(time));
    EXPECT_EQ(add->inputs[0], time->id);

    // A number cannot feed a text pin; a node cannot feed itself.
    ui.DragLeft(editor, editor.OutputPin(time), editor.InputPin(text, 0));
    EXPECT_TRUE(text->inputs[0].IsNull());
    ui.DragLeft(editor, editor.OutputPin(add), editor.InputPin(add, 0));
    EXPECT_EQ(add->inputs[0], time->id);

    ui.Click(editor, editor.InputPin(add, 0), 2);  // a double click frees the pin
    EXPECT_TRUE(add->inputs[0].IsNull());
    EXPECT_EQ(add->inputs[1], time->id);
}

TEST(NodeEditorInput, RubberBandSelectsAndDeleteRemoves) {
    ImGuiHarness ui;
    Editor editor("p");
    Node* a = editor.AddNode("time", ImVec2(100, 100), {});
    Node* b = editor.AddNode("NEGATIVE", ImVec2(200, 120), {});
    Node* far = editor.AddNode("time", ImVec2(500, 400), {});
    Wire(b, 0, a);
    Node* c = editor.AddNode("NEGATIVE", ImVec2(600, 400), {});
    Wire(c, 0, b);
    ui.Frame(editor);
    ui.DragLeft(editor, ImVec2(80, 80), ImVec2(300, 300));
    EXPECT_TRUE(a->selected);
    EXPECT_TRUE(b->selected);
    EXPECT_FALSE(far->selected);
    EXPECT_FALSE(editor.boxActive);

    ui.Key(editor, nodetest::kKeyDelete);
    ASSERT_EQ(editor.nodes.size(), 2u);
    EXPECT_EQ(editor.nodes[0], far);
    EXPECT_TRUE(c->inputs[0].IsNull());
    EXPECT_TRUE(c->dirty);

    far->selected = true;
    ui.Click(editor, ImVec2(50, 500));  // on the empty canvas: clears the selection
    EXPECT_FALSE(far->selected);
}

TEST(NodeEditorInput, WheelZoomsAroundTheCursorAndRightDragPans) {
    ImGuiHarness ui;
    Editor editor("p");
    editor.AddNode("time", ImVec2(100, 100), {});
    ui.io().MousePos = ImVec2(400, 300);
    ui.Frame(editor);
    const float graphX = 400 / editor.zoom - editor.pan.x;
    ui.io().MouseWheel = 3.0f;  // only the sign counts
    ui.Frame(editor);
    EXPECT_FLOAT_EQ(editor.zoom, 1.125f);
    EXPECT_NEAR(400 / editor.zoom - editor.pan.x, graphX, 1e-3);

    const ImVec2 pan = editor.pan;
    ui.io().MouseDown[1] = true;
    ui.Frame(editor);
    ui.MoveTo(editor, ImVec2(445, 300), 3);
    ui.io().MouseDown[1] = false;
    ui.Frame(editor);
    ui.Frame(editor);
    EXPECT_NEAR(editor.pan.x - pan.x, 45 / 1.125f, 1e-3);
    EXPECT_FALSE(ImGui::IsPopupOpen("", ImGuiPopupFlags_AnyPopupId));  // panning keeps the menu shut
}

// A read-only canvas takes no wires, moves, nor typing inside a node's field.
TEST(NodeEditorInput, ReadOnlyCanvasRefusesChanges) {
    ImGuiHarness ui;
    ProbeEditor editor("p");
    Node* time = editor.AddNode("time", ImVec2(50, 50), {});
    Node* add = editor.AddNode("ADD", ImVec2(300, 50), {});
    auto* text = dynamic_cast<Editor::ConstTextNode*>(editor.AddNode("const $t = \"hi\"", ImVec2(100, 300), {}));
    ASSERT_NE(text, nullptr);
    text->size = ImVec2(200, 60);  // the field spans the node between its pin columns
    const auto typeIntoTheField = [&] {
        ui.Frame(editor);
        ui.Click(editor, ImVec2(150, 316));  // in the value's field, below the title
        ui.Key(editor, nodetest::kKeyEnd);
        ui.io().AddInputCharactersUTF8("!");
        ui.Frames(editor, 2);
        ui.Click(editor, ImVec2(700, 500));  // away: the field lets go
    };
    editor.readOnly = true;
    ui.Frame(editor);
    ui.DragLeft(editor, editor.OutputPin(time), editor.InputPin(add, 0));
    EXPECT_TRUE(add->inputs[0].IsNull());
    ui.DragLeft(editor, ImVec2(310, 53), ImVec2(400, 100));
    EXPECT_EQ(add->pos.x, 300.0f);
    typeIntoTheField();
    EXPECT_EQ(text->value, "hi");
    editor.readOnly = false;
    typeIntoTheField();
    EXPECT_EQ(text->value, "hi!");
}

TEST(NodeEditorInput, CanvasMenuAddsNodeCentredOnTheClick) {
    ImGuiHarness ui;
    Editor editor("p");
    ui.io().MousePos = ImVec2(600, 500);
    ui.Frame(editor);
    ui.Press(editor, 1);
    ASSERT_TRUE(ImGui::IsPopupOpen("", ImGuiPopupFlags_AnyPopupId));
    ui.MoveTo(editor, ImVec2(620, 511), 2);
    ui.Press(editor);
    ASSERT_EQ(editor.nodes.size(), 1u);
    auto* k = dynamic_cast<Editor::ConstNumberNode*>(editor.nodes[0]);
    ASSERT_NE(k, nullptr);
    EXPECT_EQ(k->name, "mynumber1");
    EXPECT_FLOAT_EQ(k->pos.x + k->size.x / 2, 600.0f);
    EXPECT_FLOAT_EQ(k->pos.y + k->size.y / 2, 500.0f);
}

TEST(NodeEditorInput, EveryNodeKindDraws) {
    ImGuiHarness ui;
    Editor editor("p");
    float x = 0;
    for (const std::string& key : nodetest::AllKeys()) {
        Node* n = editor.AddNode(key, ImVec2(x, x / 3), {});
        if (auto* v = dynamic_cast<Editor::QuorlNodeWithVariableInputCount*>(n)) v->OnAddInput();
        x += 20;
    }
    ui.io().MousePos = ImVec2(100, 100);
    ui.Frames(editor, 3);
    editor.zoom = 0.5f;
    for (Node* n : editor.nodes) n->selected = true;
    ui.Frames(editor, 2);
    ASSERT_TRUE(editor.Serialize(false));
    ui.Frame(editor, [&] { editor.textEditor.Render("program", ImVec2(300, 200)); });
    EXPECT_FALSE(editor.textEditor.IsTextChanged());
    for (Node* n : editor.nodes) {
        EXPECT_GE(n->size.x, n->GetMinimumWidth());
        EXPECT_GE(n->size.y, n->GetMinimumHeight());
    }
}

// The name check itself is QuorlCodeNodesTest's; here the popup refuses a bad name and stays.
TEST(NodeEditorInput, EditNamePopupAcceptsOnlyValidNames) {
    ImGuiHarness ui;
    Editor editor("p");
    auto* k = dynamic_cast<Editor::ConstNumberNode*>(editor.AddNode("const $k = 5", ImVec2(100, 100), {}));
    ASSERT_NE(k, nullptr);
    ui.Frame(editor);
    ui.Click(editor, ImVec2(110, 103), 2);  // on the title
    ui.Frames(editor, 2);  // a new popup takes a frame to size and place itself
    ImGuiWindow* popup = ImGui::GetTopMostPopupModal();
    ASSERT_NE(popup, nullptr);
    const ImVec2 field(popup->ContentRegionRect.Min.x + 3, popup->ContentRegionRect.Min.y + 3);
    const auto typeAndOk = [&](const char* text, int backspaces) {
        ui.Click(editor, field);
        ui.Key(editor, nodetest::kKeyEnd);
        for (int i = 0; i < backspaces; ++i) ui.Key(editor, nodetest::kKeyBackspace);
        ui.io().AddInputCharactersUTF8(text);
        ui.Frame(editor);
        ImGuiWindow* w = ImGui::GetTopMostPopupModal();
        ui.Click(editor, ImVec2(w->ContentRegionRect.Min.x + 4,
                                w->DC.CursorPos.y - ImGui::GetStyle().ItemSpacing.y - w->DC.PrevLineSize.y / 2));
    };
    typeAndOk("-x", 0);
    EXPECT_TRUE(k->nameInvalid);
    EXPECT_EQ(k->title, "const $k = 5");
    ASSERT_NE(ImGui::GetTopMostPopupModal(), nullptr);

    typeAndOk("_2", 2);
    EXPECT_EQ(k->title, "const $k_2");
    EXPECT_TRUE(k->dirty);
    EXPECT_EQ(ImGui::GetTopMostPopupModal(), nullptr);
}
