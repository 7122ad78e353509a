// Generating the program of a 1,000-node graph. The baseline writes only the graph's JSON (the
// program's first line), so the ratio of the two is the cost of the code generation proper.
#include <benchmark/benchmark.h>

#include <random>
#include <string>

#include "game/QuorlCodeEditor.h"
#include "game/QuorlCodeNodes.h"

namespace {

using game::graphics::ui::Node;
using Editor = game::QuorlCodeEditor::Editor;

// A mixed graph: inputs, inlined math, named expressions, nodes with state and outputs, each
// reading the node before it and a random earlier one.
void BuildGraph(Editor& e, int count) {
    std::mt19937 random(7);
    std::vector<Node*> made;
    auto earlier = [&]() -> Node* { return made[random() % made.size()]; };
    auto add = [&](const std::string& key) {
        Node* n = e.AddNode(key, ImVec2(float(made.size()), 0), {});
        made.push_back(n);
        return static_cast<Editor::QuorlNode*>(n);
    };
    add("input.0");
    for (int i = 1; i < count; ++i) {
        Node* prev = made.back();
        Node* other = earlier();
        switch (i % 10) {
            case 0: add("input." + std::to_string(i % 12))->inputs.clear(); break;
            case 1: {
                auto* n = add("ADD");
                n->inputs = {prev->id, other->id};
                break;
            }
            case 2: {
                auto* n = add("MULTIPLY");
                n->inputs[0] = prev->id;
                n->inputValues = {"", "1.5"};
                break;
            }
            case 3: {
                auto* n = static_cast<Editor::ExpressionNode*>(add("expression"));
                n->OnAddInput();
                n->OnAddInput();
                n->inputs = {prev->id, other->id};
                n->code = "a * 0.5 + b";
                break;
            }
            case 4: add("delay")->inputs[1] = prev->id; break;
            case 5: add("counter")->inputs[0] = prev->id; break;
            case 6: {
                auto* n = static_cast<Editor::SwitchNode*>(add("switch"));
                n->OnAddInput();
                n->inputs[0] = prev->id;
                n->inputValues = {"", "1", "2"};
                break;
            }
            case 7: {
                auto* n = add("smooth");
                n->inputs[0] = prev->id;
                n->inputs[2] = other->id;
                break;
            }
            case 8: add("pulse")->inputs[0] = prev->id; break;
            case 9: {
                auto* n = static_cast<Editor::OutputNode*>(add("output"));
                n->alias = "out" + std::to_string(i);
                n->OnAddInput();
                n->inputs[0] = prev->id;
                break;
            }
        }
    }
}

void BM_GraphJsonOnly(benchmark::State& state) {
    Editor e("bench");
    BuildGraph(e, int(state.range(0)));
    for (auto _ : state) {
        std::string text = "#NODES " + e.SerializeNodes().dump() + "\n";
        benchmark::DoNotOptimize(text);
    }
}

void BM_GenerateProgram(benchmark::State& state) {
    Editor e("bench");
    BuildGraph(e, int(state.range(0)));
    for (auto _ : state) {
        e.Serialize(false);
        benchmark::DoNotOptimize(e.textEditor.GetText());
    }
    state.counters["bytes"] = double(e.textEditor.GetText().size());
}

void BM_ReadProgramBack(benchmark::State& state) {
    Editor e("bench");
    BuildGraph(e, int(state.range(0)));
    e.Serialize(false);
    const std::string program = e.textEditor.GetText();
    Editor back("bench");
    for (auto _ : state) {
        back.LoadProgram(program);
        benchmark::DoNotOptimize(back.nodes.data());
    }
}

}  // namespace

BENCHMARK(BM_GraphJsonOnly)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GenerateProgram)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadProgramBack)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
