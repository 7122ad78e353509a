#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <typeinfo>

#include "NodeTestHarness.h"
#include "game/QuorlCodeNodeKinds.h"

using game::UniqueId;
using game::graphics::ui::Node;
using Editor = game::QuorlCodeEditor::Editor;
using nlohmann::json;
using nodetest::Add;
using nodetest::ImGuiHarness;

// Keys whose values the generated programs show are checked there; here, what they can't show.
TEST(QuorlCodeCatalogue, DeclarationKeysAreParsed) {
    Editor e("p");
    EXPECT_EQ(Add<Editor::ConstTextNode>(e, "const $x : text")->value, "");
    const size_t count = e.nodes.size();
    EXPECT_EQ(e.AddNode("const $x", ImVec2(0, 0), {}), nullptr);
    EXPECT_EQ(e.AddNode("var $x", ImVec2(0, 0), {}), nullptr);
    EXPECT_EQ(e.nodes.size(), count);
    EXPECT_EQ(Add<Editor::VarTextNode>(e, "var $msg : text")->inputs.size(), 3u);
    EXPECT_EQ(Add<Editor::MathNode_SUBTRACT>(e, "SUBSTRACT")->title, "SUBTRACT");
    EXPECT_EQ(Add<Editor::CommentNode>(e, "anything else")->title, "anything else");

    e.readOnly = true;
    EXPECT_EQ(e.CreateNode("time", ImVec2(0, 0), {}), nullptr);
}

// The generator trusts a node's `type` to name its class: every row of the table must make and
// load nodes of the type it names, and every operator needs its row.
TEST(QuorlCodeCatalogue, EveryKindMakesAndLoadsNodesOfItsType) {
    using game::QuorlCodeEditor::NodeKindOfKey;
    Editor e("p");
    for (const auto& kind : game::QuorlCodeEditor::NodeKinds()) {
        SCOPED_TRACE(kind.type);
        ASSERT_EQ(kind.key == nullptr, kind.create == nullptr);
        if (!kind.key) continue;
        Node* made = e.AddNode(kind.key, ImVec2(0, 0), {});
        ASSERT_NE(made, nullptr);
        EXPECT_EQ(static_cast<Editor::QuorlNode*>(made)->type, kind.type);
        std::unique_ptr<Node> loaded(e.DeserializeNode(made->Serialize()));
        EXPECT_EQ(typeid(*loaded), typeid(*made));
        std::unique_ptr<Node> direct(kind.load(made->Serialize()));
        EXPECT_EQ(typeid(*direct), typeid(*made));
    }
    for (const std::string& op : Editor::MathNode::OperatorNames()) EXPECT_NE(NodeKindOfKey(op), nullptr) << op;
    EXPECT_EQ(NodeKindOfKey("SUBSTRACT"), NodeKindOfKey("SUBTRACT"));
}

TEST(QuorlCodeCatalogue, NodeKindRules) {
    Editor e("p");
    EXPECT_FALSE(Add<Editor::ConstNumberNode>(e, "const $a = 1")->CanClone());
    EXPECT_FALSE(Add<Editor::IncludeNode>(e, "include")->CanClone());
    EXPECT_TRUE(Add<Editor::TimeNode>(e, "time")->CanClone());

    auto* delay = Add<Editor::DelayNode>(e, "delay");
    EXPECT_EQ(delay->PinLabel(0), "delay (1s)");
    delay->inputValues = {"3", "", ""};
    EXPECT_EQ(delay->PinLabel(0), "delay");

    // Wires join equal types only; exec goes to exec.
    auto* number = Add<Editor::TimeNode>(e, "time");
    auto* text = Add<Editor::TextNode>(e, "text");
    text->OnAddInput();
    EXPECT_EQ(text->InputType(0), Editor::TEXT);
    EXPECT_FALSE(e.CanConnectInputToOutput(text, 0, number));
    auto* cond = Add<Editor::ConditionalNode>(e, "Conditional");
    auto* exec = Add<Editor::ExecuteNode>(e, "execute");
    exec->OnAddInput();
    EXPECT_EQ(exec->InputType(0), Editor::EXEC);
    EXPECT_TRUE(e.CanConnectInputToOutput(exec, 0, cond));
    EXPECT_TRUE(e.CanConnectInputToOutput(cond, 0, number));
    EXPECT_FALSE(e.CanConnectInputToOutput(cond, 1, number));
    Node plain("plain", {});
    EXPECT_FALSE(cond->CanConnectInputToOutput(0, &plain));
}

TEST(QuorlCodeCatalogue, RemovedPinStaysAsDeadPinAndOnlyTheLastIsRemovable) {
    Editor e("p");
    auto* x = Add<Editor::ExpressionNode>(e, "expression");
    auto* t = Add<Editor::TimeNode>(e, "time");
    for (int i = 0; i < 3; ++i) x->OnAddInput();
    EXPECT_FALSE(x->CanRemoveInput(1));
    EXPECT_TRUE(x->CanRemoveInput(2));
    x->inputs[2] = t->id;
    x->OnChangeInputType(2, Editor::NONE);
    ASSERT_EQ(x->inputs.size(), 3u);
    EXPECT_TRUE(x->inputs[2].IsNull());
    EXPECT_FALSE(x->CanConnectInput(2));
    EXPECT_FALSE(e.CanConnectInputToOutput(x, 2, t));
    EXPECT_TRUE(x->CanConnectInput(1));
    x->OnAddInput();
    EXPECT_EQ(x->GetInputName(3), "d");

    auto* s = Add<Editor::SwitchNode>(e, "switch");
    ASSERT_EQ(s->inputs.size(), 2u);
    s->inputs.resize(1);
    EXPECT_FALSE(s->CanRemoveInput(0));  // the selector stays
}

TEST(QuorlCodeCatalogue, SwitchTypes) {
    ImGuiHarness ui;
    Editor e("p");
    auto* s = Add<Editor::SwitchNode>(e, "switch");
    s->OnAddInput();
    auto* t = Add<Editor::TimeNode>(e, "time");
    auto* consumer = Add<Editor::MathNode>(e, "NEGATIVE");
    s->inputs[1] = s->inputs[2] = t->id;
    consumer->inputs[0] = s->id;

    // The selector reads text; the cases keep their type and wires.
    s->OnChangeInputType(0, Editor::TEXT);
    EXPECT_EQ(s->InputType(1), Editor::NUMBER);
    EXPECT_EQ(s->inputs[1], t->id);
    EXPECT_EQ(consumer->inputs[0], s->id);

    // A case type change moves every case and the output, and cuts their wires.
    s->OnChangeInputType(2, Editor::TEXT);
    EXPECT_EQ(s->InputType(1), Editor::TEXT);
    EXPECT_EQ(s->outputType, Editor::TEXT);
    EXPECT_TRUE(s->inputs[1].IsNull() && s->inputs[2].IsNull());
    ui.Frame(e);
    EXPECT_TRUE(consumer->inputs[0].IsNull());
    EXPECT_TRUE(consumer->dirty);
}

TEST(QuorlCodeCatalogue, OutputNumbersAndNamesSkipWhatIsPlaced) {
    Editor e("p");
    Node* zero = e.AddNode("output.0", ImVec2(0, 0), {});
    e.AddNode("output.1", ImVec2(0, 0), {});
    e.AddNode("output", ImVec2(0, 0), {});
    EXPECT_EQ(e.GetNextOutputNumbers(3), (std::vector<int>{2, 3, 4}));
    e.DestroyNode(zero);
    e.nodes.erase(e.nodes.begin());
    EXPECT_EQ(e.GetNextOutputNumbers(3), (std::vector<int>{0, 2, 3}));

    // Constants and variables share one name space; comments take no name.
    e.AddNode("var $mynumber1 : text", ImVec2(0, 0), {});
    e.AddNode("const $" + e.GetNextNumberConstantName(), ImVec2(0, 0), {});
    EXPECT_EQ(e.GetNextNumberVariableName(), "mynumber3 : number");
    e.AddNode("const $" + e.GetNextTextConstantName(), ImVec2(0, 0), {});
    EXPECT_EQ(e.GetNextTextVariableName(), "mytext2 : text");
    Add<Editor::CommentNode>(e, "comment")->name = "mytext2";
    EXPECT_EQ(e.GetNextTextConstantName(), "mytext2 : text");

    using game::QuorlCodeEditor::NamedNodeEditing;
    EXPECT_TRUE(NamedNodeEditing::IsValidName("a_1"));
    for (const char* bad : {"1a", "a-b", ""}) EXPECT_FALSE(NamedNodeEditing::IsValidName(bad)) << bad;
}

TEST(QuorlCodeCatalogue, LegacyAndUnknownKindsLoad) {
    Editor e("p");
    Node* sub = e.AddNode("SUBTRACT", ImVec2(0, 0), {});
    json j = sub->Serialize();
    j["type"] = "MathNode_SUBSTRACT";
    j["title"] = "SUBSTRACT";
    std::unique_ptr<Node> legacy(e.DeserializeNode(j));
    EXPECT_NE(dynamic_cast<Editor::MathNode_SUBTRACT*>(legacy.get()), nullptr);
    EXPECT_EQ(legacy->title, "SUBTRACT");

    j["type"] = "HologramNode";
    j["name"] = "kept";
    std::unique_ptr<Node> unknown(e.DeserializeNode(j));
    auto* comment = dynamic_cast<Editor::CommentNode*>(unknown.get());
    ASSERT_NE(comment, nullptr);
    EXPECT_EQ(comment->name, "kept");
    EXPECT_EQ(comment->Serialize()["type"], "HologramNode");

    // Variables and pulses get their pins back.
    Node* var = e.AddNode("var $v : number", ImVec2(0, 0), {});
    json vj = var->Serialize();
    vj["inputs"] = json::array();
    vj.erase("inputTypes");
    std::unique_ptr<Node> fixed(e.DeserializeNode(vj));
    EXPECT_EQ(fixed->inputs.size(), 3u);
    EXPECT_TRUE(fixed->CanConnectInput(2));
}

TEST(QuorlCodeCatalogue, MalformedGraphsLoadWhatTheyCan) {
    Editor e("p");
    Node* good = e.AddNode("time", ImVec2(5, 5), {});
    const json goodJson = good->Serialize();
    auto variant = [&](auto change) {
        json j = goodJson;
        change(j);
        return j;
    };
    json nodes = json::array({
        goodJson,
        variant([](json& j) { j["id"] = 5; }),
        variant([](json& j) { j["title"] = json::array({json::array({json::array()})}); }),
        variant([](json& j) { j["outputType"] = 1e300; }),
        variant([](json& j) { j["inputs"] = json::array({"NODE"}); }),
        variant([](json& j) { j.erase("type"); }),
        variant([](json& j) { j["type"] = "InputNode"; j["ioNumber"] = 12345678901234LL; j["channel"] = 0; }),
        variant([](json& j) { j["type"] = "MathNode_ADD"; j["inputTypes"] = json::array({7, 0}); }),
        variant([](json& j) { j["pos"]["x"] = 1e300; j["id"] = UniqueId::Generate("NODE").ToString(); }),
        42,
    });
    std::vector<std::string> errors;
    e.LoadNodes(json{{"nodes", nodes}}, &errors);
    ASSERT_EQ(e.nodes.size(), 2u);
    EXPECT_LE(e.nodes[1]->pos.x, 1e9f);
    ASSERT_EQ(errors.size(), 8u);
    EXPECT_NE(errors[0].find("node 1: "), std::string::npos);
    EXPECT_NE(errors[0].find("type must be string, but is number"), std::string::npos);
    EXPECT_NE(errors[1].find("type must be string, but is array"), std::string::npos);
    EXPECT_NE(errors[3].find("UniqueId string length should be 28"), std::string::npos);

    EXPECT_THROW(e.LoadNodes(json::array()), std::runtime_error);
    EXPECT_THROW(e.LoadNodes(json{{"nodes", 3}}), std::runtime_error);
    EXPECT_EQ(e.nodes.size(), 2u);  // a refused root leaves the graph alone
}

TEST(QuorlCodeCatalogue, LoadingCutsLoopsAndKeepsDanglingWires) {
    Editor e("p");
    Node* a = e.AddNode("NEGATIVE", ImVec2(0, 0), {});
    Node* b = e.AddNode("NEGATIVE", ImVec2(0, 0), {});
    Node* c = e.AddNode("NEGATIVE", ImVec2(0, 0), {});
    a->inputs[0] = c->id;
    b->inputs[0] = a->id;
    c->inputs[0] = b->id;  // a loop that the editor itself would refuse
    Node* d = e.AddNode("ADD", ImVec2(0, 0), {});
    const UniqueId gone = UniqueId::Generate("NODE");
    d->inputs[0] = gone;
    std::vector<std::string> errors;
    e.LoadNodes(e.SerializeNodes(), &errors);
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_NE(errors[0].find("loop"), std::string::npos);
    int wires = 0;
    for (int i = 0; i < 3; ++i) wires += !e.nodes[size_t(i)]->inputs[0].IsNull();
    EXPECT_EQ(wires, 2);
    EXPECT_EQ(e.nodes[3]->inputs[0], gone);
    for (Node* n : e.nodes)
        for (Node* m : e.nodes) EXPECT_TRUE(n == m || !(e.NodeDependsOn(n, m) && e.NodeDependsOn(m, n)));
}
