#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <typeinfo>
#include <utility>
#include <vector>

#include "NodeTestHarness.h"

using game::UniqueId;
using game::graphics::ui::Node;
using Editor = game::QuorlCodeEditor::Editor;
using nlohmann::json;
using nodetest::Add;

namespace {

using Wires = std::vector<std::pair<size_t, const Node*>>;

void Wire(Node* consumer, size_t pin, const Node* producer) { consumer->inputs.at(pin) = producer->id; }

// Adds the node of `key` as a T, gives it `pins` more inputs, then its typed values (unless none
// are given) and its wires, each a pin and its producer.
template <class T = Editor::QuorlNode>
T* Put(Editor& e, const std::string& key, const std::vector<std::string>& values = {}, const Wires& wires = {},
       int pins = 0) {
    T* n = Add<T>(e, key);
    for (int i = 0; i < pins; ++i) dynamic_cast<Editor::QuorlNodeWithVariableInputCount&>(*n).OnAddInput();
    if (!values.empty()) n->inputValues = values;
    for (const auto& [pin, producer] : wires) Wire(n, pin, producer);
    return n;
}

// The program text without its first line (the graph).
std::string Body(Editor& e) {
    EXPECT_TRUE(e.Serialize(false));
    const std::string text = e.textEditor.GetText();
    EXPECT_EQ(text.compare(0, 7, "#NODES "), 0);
    return text.substr(text.find('\n') + 1);
}

// A print node reading each of the given nodes, one pin each.
Editor::PrintNode* PrintOf(Editor& e, const std::vector<Node*>& sources) {
    auto* print = Add<Editor::PrintNode>(e, "print");
    for (size_t i = 0; i < sources.size(); ++i) {
        print->OnAddInput();
        Wire(print, i, sources[i]);
    }
    return print;
}

}  // namespace

TEST(QuorlCodeGeneration, WorkedExample) {
    Editor e("door.main.qc");
    auto* k = Add(e, "const $k = 5");
    auto* b = Add<Editor::InputNode>(e, "input.2");
    b->channel = 1;
    auto* c = Put(e, "GREATER", {"", ".5"}, {{0, b}});
    Put(e, "output.0", {}, {{0, Put(e, "delay", {"2", "", ""}, {{1, c}})}}, 1);
    ASSERT_TRUE(e.Serialize(false));
    const std::string text = e.textEditor.GetText();
    const std::string first = text.substr(0, text.find('\n'));
    EXPECT_EQ(text.substr(first.size() + 1),
              "\n"
              "const $k = 5.000000\n"
              "\n"
              "var $_door_delay1 = 0\n"
              "\n"
              "update\n"
              "\tvar $_input_number_2_1 = input_number(2, 1)\n"
              "\tvar $_door_delay1_ = $_door_delay1 > 0 and $_door_delay1 < time\n"
              "\tif ($_input_number_2_1 > 0.5)\n"
              "\t\t$_door_delay1 = time + 2\n"
              "\toutput_number(0, 0, $_door_delay1_)\n");
    // The first line holds the graph, one object per node in order, as one line of JSON.
    json graph = Editor::GraphOfProgram(text);
    ASSERT_EQ(graph["nodes"].size(), 5u);
    EXPECT_EQ(first, "#NODES " + graph.dump());
    EXPECT_EQ(graph["nodes"][0]["id"], k->id.ToString());
    EXPECT_EQ(graph["nodes"][3]["inputs"][1], c->id.ToString());
}

TEST(QuorlCodeGeneration, EmptyAndUnreachedGraphs) {
    Editor e("p");
    ASSERT_TRUE(e.Serialize(false));
    EXPECT_EQ(e.textEditor.GetText(), "#NODES {\"nodes\":[]}\n");

    // A group that no sink reaches stays in the graph but writes no code.
    auto* neg = Add(e, "NEGATIVE");
    Wire(neg, 0, Add(e, "delay"));
    Add<Editor::CommentNode>(e, "comment")->comment = "no code";
    EXPECT_EQ(Body(e), "");
    EXPECT_EQ(e.root["nodes"].size(), 3u);
}

// Typed values are normalised; a wire to a node that is gone counts as a free pin.
TEST(QuorlCodeGeneration, NumbersAreNormalisedAndDanglingWiresFree) {
    Editor e("p");
    auto* out = Put(e, "output.1", {"-.25", "+.25", " 7 ", ".", "x+1", "", "\t.5\n", "3"}, {}, 8);
    out->inputs[7] = UniqueId::Generate("NODE");
    EXPECT_EQ(Body(e),
              "\nupdate\n"
              "\toutput_number(1, 0, -0.25)\n"
              "\toutput_number(1, 1, +0.25)\n"
              "\toutput_number(1, 2, 7)\n"
              "\toutput_number(1, 3, 0.)\n"
              "\toutput_number(1, 4, x+1)\n"
              "\toutput_number(1, 6, 0.5)\n"
              "\toutput_number(1, 7, 3)\n");
}

TEST(QuorlCodeGeneration, ProgramNamesMakePrefixesOrAreRefused) {
    Editor e("my-door");
    Put(e, "output.0", {}, {{0, Add(e, "counter")}}, 1);
    Put(e, "output.1", {}, {{0, Add(e, "PID Controller")}}, 1);
    const std::string body = Body(e);
    EXPECT_NE(body.find("var $_my_door_counter1 : number\n"), std::string::npos);
    EXPECT_NE(body.find("function @_my_door_pid1("), std::string::npos);
    EXPECT_NE(body.find("\tvar $_pid1 = @_my_door_pid1("), std::string::npos);

    const std::string before = e.textEditor.GetText();
    e.programName = "a b";
    testing::internal::CaptureStderr();
    EXPECT_FALSE(e.Serialize(true));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Invalid program name: a b\n");
    EXPECT_EQ(e.textEditor.GetText(), before);
    EXPECT_TRUE(e.history.empty());

    e.programName = ".main.qc";  // nothing left of the name
    testing::internal::CaptureStderr();
    EXPECT_FALSE(e.Serialize(false));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Invalid program name: .main.qc\n");
}

TEST(QuorlCodeGeneration, ConstantsVariablesAndIncludes) {
    Editor e("t");
    Add(e, "include");
    static_cast<Editor::IncludeNode*>(Add(e, "include"))->filename = "lib.qc";
    auto* v = Add(e, "var $v : number");
    auto* w = Put(e, "var $w : text", {"hi", "", ""});
    Wire(w, 1, Add(e, "time"));
    Add(e, "const $t = \"x y\"");
    Add(e, "const $n = -2");
    auto* out = Put<Editor::OutputNode>(e, "output", {}, {{0, v}}, 2);
    out->alias = "door";
    out->OnChangeInputType(1, Editor::TEXT);
    Wire(out, 1, w);
    EXPECT_EQ(Body(e),
              "\ninclude \"lib.qc\"\n"
              "\nconst $n = -2.000000\n"
              "\nconst $t = \"x y\"\n"
              "\nvar $v : number\n"
              "var $w : text\n"
              "\nupdate\n"
              "\tif 0\n"
              "\t\t$v = 0\n"
              "\tif 0\n"
              "\t\t$v = 0\n"
              "\tif time\n"
              "\t\t$w = \"hi\"\n"
              "\toutput_number(\"door\", 0, $v)\n"
              "\toutput_text(\"door\", 1, $w)\n");
}

TEST(QuorlCodeGeneration, OutputsPrintAndDeadPins) {
    Editor e("t");
    auto* time = Add(e, "time");
    auto* out = Put<Editor::OutputNode>(e, "output.3", {}, {{0, time}}, 5);
    out->OnChangeInputType(1, Editor::TEXT);
    out->inputValues = {"", "on", "", ".5", "9"};
    out->OnChangeInputType(4, Editor::NONE);  // a dead pin writes nothing
    out->inputValues[4] = "9";
    auto* print = Put<Editor::PrintNode>(e, "print", {}, {{0, time}}, 4);
    print->OnChangeInputType(1, Editor::TEXT);
    print->inputValues = {"", "", "", "4"};
    Put(e, "print", {}, {}, 1);
    EXPECT_EQ(Body(e),
              "\nupdate\n"
              "\toutput_number(3, 0, time)\n"
              "\toutput_text(3, 1, \"on\")\n"
              "\toutput_number(3, 3, 0.5)\n"
              "\tprint(time, \"\", 4)\n");
}

TEST(QuorlCodeGeneration, InputsShareOneReadPerBlockChannelAndType) {
    Editor e("t");
    auto* a = Add<Editor::InputNode>(e, "input.1");
    auto* b = Add<Editor::InputNode>(e, "input.1");
    auto* c = Add<Editor::InputNode>(e, "input.1");
    c->outputType = Editor::TEXT;
    auto lever = [&] {
        auto* n = Add<Editor::InputNode>(e, "input");
        n->alias = "lever";
        n->channel = 2;
        return n;
    };
    auto *byAlias = lever(), *byAlias2 = lever();
    auto* noAlias = Add<Editor::InputNode>(e, "input");
    noAlias->outputType = Editor::TEXT;
    auto* print = PrintOf(e, {a, b, c, byAlias, byAlias2, noAlias});
    print->OnChangeInputType(2, Editor::TEXT);
    print->OnChangeInputType(5, Editor::TEXT);
    Wire(print, 2, c);
    Wire(print, 5, noAlias);
    EXPECT_EQ(Body(e),
              "\nupdate\n"
              "\tvar $_input_number_1_0 = input_number(1, 0)\n"
              "\tvar $_input_text_1_0 = input_text(1, 0)\n"
              "\tvar $_input_alias_1 = input_number(\"lever\", 2)\n"
              "\tprint($_input_number_1_0, $_input_number_1_0, $_input_text_1_0, $_input_alias_1, "
              "$_input_alias_1, \"\")\n");
}

TEST(QuorlCodeGeneration, ExpressionsStatementsAndConditionals) {
    Editor e("t");
    auto* time = Add(e, "time");
    auto* x = Put<Editor::ExpressionNode>(e, "expression", {"", "2"}, {{0, time}}, 2);
    x->code = "  abs(a) + b1 + \"a b\" + ab\n";
    auto* s1 = Put<Editor::StatementNode>(e, "statement", {}, {{0, x}}, 1);
    s1->code = "print(a)";
    auto* s2 = Add<Editor::StatementNode>(e, "statement");
    s2->code = "x = 1\n\n  y = 2";
    auto* cond = Put(e, "Conditional", {"1", "", ""}, {{1, s1}, {2, s2}});
    Put(e, "execute", {"", "print(\"done\")", ""}, {{0, cond}}, 3);
    EXPECT_EQ(Body(e),
              "\nupdate\n"
              "\tvar $_expr1 = abs(time) + 21 + \"a b\" + a2\n"
              "\tif 1\n"
              "\t\tprint($_expr1)\n"
              "\telse\n"
              "\t\tx = 1\n"
              "\t\t  y = 2\n"
              "\tprint(\"done\")\n");
}

TEST(QuorlCodeGeneration, SwitchTextAndTime) {
    Editor e("t");
    auto* in = Add<Editor::InputNode>(e, "input.1");
    auto* time = Add(e, "time");
    auto* s1 = Put(e, "switch", {"", "10", ""}, {{0, in}, {2, time}}, 1);
    auto* s2 = Add<Editor::SwitchNode>(e, "switch");
    s2->OnChangeOutputType(Editor::TEXT);
    Wire(s2, 0, time);
    s2->inputValues = {"", "a"};
    auto* text = Put<Editor::TextNode>(e, "text", {}, {}, 3);
    text->format = "v={} {} {}";
    text->OnChangeInputType(1, Editor::NUMBER);
    Wire(text, 0, s2);
    Wire(text, 1, s1);
    text->inputValues = {"", "", "q"};
    auto* print = PrintOf(e, {text});
    print->OnChangeInputType(0, Editor::TEXT);
    Wire(print, 0, text);
    EXPECT_EQ(Body(e),
              "\nupdate\n"
              "\tvar $_switch1 = \"\"\n"
              "\tvar $_switch1_ = time\n"
              "\tif $_switch1_ == 0\n"
              "\t\t$_switch1 = \"a\"\n"
              "\tvar $_input_number_1_0 = input_number(1, 0)\n"
              "\tvar $_switch2 = 0\n"
              "\tif $_input_number_1_0 == 0\n"
              "\t\t$_switch2 = 10\n"
              "\telseif $_input_number_1_0 == 1\n"
              "\t\t$_switch2 = time\n"
              "\tvar $_text1 = text(\"v={} {} {}\", $_switch1, $_switch2, \"q\")\n"
              "\tprint($_text1)\n");
}

TEST(QuorlCodeGeneration, TimingNodes) {
    Editor e("t");
    auto* time = Add(e, "time");
    auto* delay = Put(e, "delay", {"", "", "x"}, {{1, time}});
    auto* idle = Add(e, "delay");  // free "set": the output stays false
    auto* blink = Add(e, "blinker");
    auto* smooth = Put(e, "smooth", {"", "", "1"}, {{0, time}});
    PrintOf(e, {delay, idle, blink, smooth});
    EXPECT_EQ(Body(e),
              "\nvar $_t_delay1 = 0\n"
              "var $_t_delay2 = 0\n"
              "var $_t_smooth1 : number\n"
              "var $_t_smooth1_a : number\n"
              "var $_t_smooth1_b : number\n"
              "var $_t_smooth1_t0 : number\n"
              "var $_t_smooth1_t1 : number\n"
              "\nupdate\n"
              "\tvar $_t_delay1_ = $_t_delay1 > 0 and $_t_delay1 < time\n"
              "\tif time\n"
              "\t\t$_t_delay1 = time + 1\n"
              "\tif x\n"
              "\t\t$_t_delay1 = 0\n"
              "\tvar $_t_delay2_ = $_t_delay2 > 0 and $_t_delay2 < time\n"
              "\tvar $_blinker1 = round(time / 1) % 2 == 0\n"
              "\tif 1\n"
              "\t\t$_t_smooth1_a = $_t_smooth1\n"
              "\t\t$_t_smooth1_b = time\n"
              "\t\t$_t_smooth1_t0 = time\n"
              "\t\t$_t_smooth1_t1 = time + 1\n"
              "\t$_t_smooth1 = lerp($_t_smooth1_a, $_t_smooth1_b, smoothstep($_t_smooth1_t0, $_t_smooth1_t1, time))\n"
              "\tprint($_t_delay1_, $_t_delay2_, $_blinker1, $_t_smooth1)\n");
}

TEST(QuorlCodeGeneration, CounterAndPulses) {
    Editor e("t");
    auto* time = Add(e, "time");
    auto* counter = Put(e, "counter", {"1", "5", "", "10", ""}, {{4, time}});
    auto* pulse = Put(e, "pulse", {}, {{0, Put(e, "GREATER", {"", "2"}, {{0, time}})}, {1, time}});
    auto* in = Add<Editor::InputNode>(e, "input.0");
    auto* toggle = Put(e, "pulse toggle", {}, {{0, in}});
    auto* down = Put(e, "pulse", {}, {{1, in}});
    auto* none = Add(e, "pulse");
    PrintOf(e, {counter, pulse, toggle, down, none});
    EXPECT_EQ(Body(e),
              "\nvar $_t_counter1 : number\n"
              "var $_t_counter1_init = 0\n"
              "var $_t_pulse1_last_up = 0\n"
              "var $_t_pulse1_last_down = 1\n"
              "var $_t_pulse2 = 0\n"
              "var $_t_pulse2_last_up = 0\n"
              "var $_t_pulse3_last_down = 1\n"
              "\nupdate\n"
              "\t$_t_counter1 += 1\n"
              "\tif !$_t_counter1_init\n"
              "\t\t$_t_counter1 = 5\n"
              "\t\t$_t_counter1_init = 1\n"
              "\tif $_t_counter1 > 10\n"
              "\t\t$_t_counter1 = 10\n"
              "\tif time\n"
              "\t\t$_t_counter1 = 5\n"
              "\tvar $_t_pulse1 = 0\n"
              "\tvar $_t_pulse1_up_ = (time > 2)\n"
              "\tvar $_t_pulse1_down_ = time\n"
              "\tif ($_t_pulse1_up_ and !$_t_pulse1_last_up) or (!$_t_pulse1_down_ and $_t_pulse1_last_down)\n"
              "\t\t$_t_pulse1!!\n"
              "\t$_t_pulse1_last_up = $_t_pulse1_up_\n"
              "\t$_t_pulse1_last_down = $_t_pulse1_down_\n"
              "\tvar $_input_number_0_0 = input_number(0, 0)\n"
              "\tif $_input_number_0_0 and !$_t_pulse2_last_up\n"
              "\t\t$_t_pulse2!!\n"
              "\t$_t_pulse2_last_up = $_input_number_0_0\n"
              "\tvar $_t_pulse3 = 0\n"
              "\tif !$_input_number_0_0 and $_t_pulse3_last_down\n"
              "\t\t$_t_pulse3!!\n"
              "\t$_t_pulse3_last_down = $_input_number_0_0\n"
              "\tvar $_t_pulse4 = 0\n"
              "\tprint($_t_counter1, $_t_pulse1, $_t_pulse2, $_t_pulse3, $_t_pulse4)\n");
}

TEST(QuorlCodeGeneration, PidControllers) {
    Editor e("t");
    auto* time = Add(e, "time");
    auto* plain = Put(e, "PID Controller", {"1", "", "2", "", "", "", "", "100"}, {{1, time}});
    auto* limited = Put(e, "PID Controller", {"0", "0", "1", "1", "1", "r", "-1", ""});
    PrintOf(e, {plain, limited});
    // The two functions differ only in the bound: an upper one (max, >) or a lower one (min, <).
    auto function = [](const std::string& n, const std::string& bound, const std::string& beyond) {
        return "function @_t_pid" + n + "($_setpoint:number, $_processvalue:number, $_kp:number, $_ki:number, " +
               "$_kd:number, $_" + bound + ":number, $_integral:number, $_prev_error:number) : number\n" +
               "\tvar $_error = $_setpoint - $_processvalue\n\tvar $_dt = delta_time\n" +
               "\tvar $_derivative = ($_error - $_prev_error) / $_dt\n\tvar $_proportional = $_kp * $_error\n" +
               "\t$_integral += $_error * $_dt\n\tif $_integral " + beyond + " $_" + bound + "\n" +
               "\t\t$_integral = $_" + bound + "\n\t$_prev_error = $_error\n" +
               "\tvar $_output = $_proportional + $_ki * $_integral + $_kd * $_derivative\n" +
               "\tif $_output " + beyond + " $_" + bound + "\n\t\t$_output = $_" + bound + "\n\treturn $_output\n";
    };
    EXPECT_EQ(Body(e),
              "\n" + function("1", "max", ">") + function("2", "min", "<") +
              "\nupdate\n"
              "\tvar $_pid1 = @_t_pid1(1, time, 2, 0, 0, 100)\n"
              "\tvar $_pid2 = 0\n"
              "\tif r\n"
              "\t\t$_pid2 = @_t_pid2(0, 0, 1, 1, 1, -1, 0, 0)\n"
              "\telse\n"
              "\t\t$_pid2 = @_t_pid2(0, 0, 1, 1, 1, -1)\n"
              "\tprint($_pid1, $_pid2)\n");
}

TEST(QuorlCodeGeneration, MathOperatorsInline) {
    // One operator of each shape: infix, prefix, functions of one, two and three arguments.
    const std::map<std::string, std::string> expected = {
        {"MODULO", "(x % y)"}, {"XOR", "(x xor y)"},     {"NOT", "(!x)"},          {"NEGATIVE", "(-x)"},
        {"LOG", "log(x, y)"},  {"ABSOLUTE", "abs(x)"}, {"STEP", "step(x, y, z)"}, {"LERP", "lerp(x, y, z)"}};
    for (const auto& [op, text] : expected) {
        Editor e("t");
        Put(e, "output.0", {}, {{0, Put(e, op, {"x", "y", "z"})}}, 1);
        EXPECT_EQ(Body(e), "\nupdate\n\toutput_number(0, 0, " + text + ")\n") << op;
    }
    // Inlined anew at each use.
    Editor e("t");
    auto* add = Add(e, "ADD");
    Put(e, "output.0", {}, {{0, add}, {1, add}}, 2);
    EXPECT_EQ(Body(e), "\nupdate\n\toutput_number(0, 0, (0 + 0))\n\toutput_number(0, 1, (0 + 0))\n");
}

TEST(QuorlCodeGeneration, SharedSubexpressionsAreBoundedOrRefused) {
    // Each ADD reads the previous one twice: the inlined text doubles per level.
    auto build = [](Editor& e, int levels) {
        Node* prev = Add(e, "time");
        for (int i = 0; i < levels; ++i) {
            prev = Put(e, "ADD", {}, {{0, prev}, {1, prev}});
        }
        Put(e, "output.0", {}, {{0, prev}}, 1);
    };
    Editor small("t");
    build(small, 10);
    const std::string body = Body(small);
    size_t uses = 0;
    for (size_t at = body.find("time"); at != std::string::npos; at = body.find("time", at + 1)) ++uses;
    EXPECT_EQ(uses, 1024u);

    Editor huge("t");
    build(huge, 64);
    huge.textEditor.SetText("previous");
    testing::internal::CaptureStderr();
    EXPECT_FALSE(huge.Serialize(true));
    EXPECT_NE(testing::internal::GetCapturedStderr().find("Program text too large"), std::string::npos);
    EXPECT_EQ(huge.textEditor.GetText(), "previous");
    EXPECT_TRUE(huge.history.empty());

    Editor deep("t");
    Node* prev = Add(deep, "time");
    for (int i = 0; i < Editor::maxDepth + 10; ++i) prev = Put(deep, "NEGATIVE", {}, {{0, prev}});
    Put(deep, "output.0", {}, {{0, prev}}, 1);
    testing::internal::CaptureStderr();
    EXPECT_FALSE(deep.Serialize(false));
    EXPECT_NE(testing::internal::GetCapturedStderr().find("Graph too deep"), std::string::npos);
}

TEST(QuorlCodeGeneration, ProgramToGraphToProgramIsIdentical) {
    Editor e("round.main.qc");
    std::map<std::string, Editor::QuorlNode*> by;
    for (const std::string& key : nodetest::AllKeys()) by[key] = Add(e, key);
    for (auto& [key, n] : by)
        if (auto* v = dynamic_cast<Editor::QuorlNodeWithVariableInputCount*>(n)) v->OnAddInput();
    static_cast<Editor::InputNode*>(by["input"])->alias = "lever";
    static_cast<Editor::ExpressionNode*>(by["expression"])->code = "a * 2";
    static_cast<Editor::StatementNode*>(by["statement"])->code = "print(a)";
    static_cast<Editor::IncludeNode*>(by["include"])->filename = "lib.qc";
    static_cast<Editor::TextNode*>(by["text"])->format = "{}";
    static_cast<Editor::OutputNode*>(by["output"])->alias = "door";
    static_cast<Editor::CommentNode*>(by["a note"])->comment = "line 1\nline \"2\"";
    by["a note"]->pos = ImVec2(1.5f, -2.25f);
    // Consumer, pin, producer.
    const std::vector<std::tuple<const char*, size_t, const char*>> wires = {
        {"expression", 0, "input.3"}, {"statement", 0, "expression"}, {"Conditional", 0, "input"},
        {"Conditional", 1, "statement"}, {"execute", 0, "Conditional"}, {"switch", 0, "time"},
        {"switch", 1, "const $n = 2.5"}, {"text", 0, "const $t = \"hi\""}, {"var $w : text", 0, "text"},
        {"var $v : number", 1, "switch"}, {"delay", 1, "var $v : number"}, {"counter", 0, "delay"},
        {"smooth", 2, "counter"}, {"pulse", 0, "smooth"}, {"pulse toggle", 1, "blinker"},
        {"PID Controller", 1, "pulse"}};
    for (const auto& [consumer, pin, producer] : wires) Wire(by[consumer], pin, by[producer]);
    Node* prev = by["PID Controller"];
    for (const std::string& op : Editor::MathNode::OperatorNames()) {
        Wire(by[op], 0, prev);
        prev = by[op];
    }
    Wire(by["output.1"], 0, prev);
    Wire(by["print"], 0, by["pulse toggle"]);
    static_cast<Editor::OutputNode*>(by["output"])->OnChangeInputType(0, Editor::TEXT);
    Wire(by["output"], 0, by["var $w : text"]);

    ASSERT_TRUE(e.Serialize(false));
    const std::string program = e.textEditor.GetText();
    // The wired chain reaches the sinks, so the program holds code for every kind, not only a graph.
    for (const char* piece : {"\tif $_input_alias_1\n\t\tprint($_expr1)", "output_text(\"door\", 0, $w)",
                              "lerp(smoothstep(step(clamp(sign(sqrt(fract(", "print($_round_pulse2)"})
        EXPECT_NE(program.find(piece), std::string::npos) << piece;

    Editor back("round.main.qc");
    std::vector<std::string> errors;
    back.LoadProgram(program, &errors);
    EXPECT_TRUE(errors.empty());
    ASSERT_EQ(back.nodes.size(), e.nodes.size());
    for (size_t i = 0; i < e.nodes.size(); ++i) {
        const Node &loaded = *back.nodes[i], &made = *e.nodes[i];
        EXPECT_EQ(typeid(loaded), typeid(made)) << made.title;
    }
    ASSERT_TRUE(back.Serialize(false));
    EXPECT_EQ(back.textEditor.GetText(), program);
}

TEST(QuorlCodeGeneration, ReadingProgramsBackFailsClearly) {
    Editor e("t");
    e.AddNode("time", ImVec2(0, 0), {});
    EXPECT_THROW(e.LoadProgram("update\n"), std::runtime_error);
    EXPECT_THROW(e.LoadProgram("#NODES {\"nodes\":[\n"), std::runtime_error);
    EXPECT_THROW(e.LoadProgram("#NODES [1, 2]"), std::runtime_error);
    EXPECT_EQ(e.nodes.size(), 1u);
    e.LoadProgram("#NODES {\"nodes\":[]}\r\n\nupdate\n");
    EXPECT_TRUE(e.nodes.empty());
}

TEST(QuorlCodeGeneration, UndoHistory) {
    Editor e("t");
    e.historyLimit = 3;
    auto change = [&](const char* key) {
        Add(e, key);
        e.Serialize(true);
    };
    for (int i = 0; i < 3; ++i) change("time");
    ASSERT_EQ(e.history.size(), 3u);

    EXPECT_TRUE(e.Undo());
    EXPECT_EQ(e.nodes.size(), 2u);
    EXPECT_TRUE(e.Undo());
    EXPECT_EQ(e.nodes.size(), 1u);
    EXPECT_FALSE(e.Undo());
    EXPECT_TRUE(e.Redo());
    EXPECT_EQ(e.nodes.size(), 2u);
    EXPECT_EQ(e.history.size(), 3u);  // stepping records nothing

    // A new change drops the steps ahead of the current one.
    change("blinker");
    ASSERT_EQ(e.history.size(), 3u);
    EXPECT_EQ(e.history[0]["nodes"].size(), 3u);
    EXPECT_FALSE(e.Redo());
    for (int i = 0; i < 3; ++i) change("time");
    EXPECT_EQ(e.history.size(), 3u);  // the limit drops the oldest
    EXPECT_EQ(e.history.back()["nodes"].size(), 4u);
}
