#include "game/QuorlCodeEditor.h"

#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <unordered_map>

#include "game/QuorlCodeNodes.h"

namespace game::QuorlCodeEditor {

using graphics::ui::Node;
using nlohmann::json;

const char* const Editor::TYPES[4] = {"number", "text", nullptr, nullptr};
const char* const Editor::DEFAULT_TYPES_VAL[4] = {"0", "\"\"", nullptr, nullptr};
const char* const Editor::IO_LABELS[8] = {"number ", "text ", "[REMOVE]", "exec",
                                          "number ", "text ", "[NONE]",   "exec"};

const std::array<ImU32, 21>& GetQuorlPalette() {
    static const std::array<ImU32, 21> palette = {
        0xe6e1dcff, 0x5094d4ff, 0xcec083ff, 0xca7f53ff, 0xf3e77bff, 0xdd7e7aff, 0x808040ff,
        0x72c56bff, 0x8bd1ffff, 0xa040c0ff, 0x7c7e81ff, 0x7c7e81ff, 0x00000040, 0xe0e0e0ff,
        0x2060a080, 0xff3000f0, 0x50505050, 0x0080f040, 0x7c7e81ff, 0x00000040, 0x80808040};
    return palette;
}

ImU32 Editor::GetIOColor(IO_TYPE type, bool hovered) {
    ImVec4 c;
    switch (type) {
        case NUMBER: c = hovered ? ImVec4(0.5f, 1.0f, 0.6f, 1.0f) : ImVec4(0.2f, 0.8f, 0.4f, 1.0f); break;
        case TEXT: c = hovered ? ImVec4(1.0f, 0.8f, 0.4f, 1.0f) : ImVec4(0.9f, 0.6f, 0.2f, 1.0f); break;
        case EXEC: c = hovered ? ImVec4(0.4f, 0.8f, 1.0f, 1.0f) : ImVec4(0.2f, 0.6f, 0.9f, 1.0f); break;
        default: c = hovered ? ImVec4(0.6f, 0.6f, 0.6f, 1.0f) : ImVec4(0.4f, 0.4f, 0.4f, 1.0f); break;
    }
    return ImGui::ColorConvertFloat4ToU32(c);
}

namespace {

// "input" gives -1, "input.N" gives N (read with atoi); anything else is no match.
bool MatchNumbered(const std::string& title, const std::string& word, int& number) {
    if (title == word) {
        number = -1;
        return true;
    }
    if (title.size() > word.size() && title.compare(0, word.size(), word) == 0 && title[word.size()] == '.') {
        number = std::atoi(title.c_str() + word.size() + 1);
        return true;
    }
    return false;
}

std::string StripOneBlank(std::string s) {
    if (!s.empty() && s.back() == ' ') s.pop_back();
    return s;
}

std::string RestAfter(const std::string& s, size_t at, size_t skip) {
    return at + skip <= s.size() ? s.substr(at + skip) : std::string();
}

Editor::QuorlNode* ParseConst(const std::string& title) {
    const size_t eq = title.find('=', 7), colon = title.find(':', 7);
    const size_t end = std::min(eq, colon);
    if (end == std::string::npos) return nullptr;
    std::string name = StripOneBlank(title.substr(7, end - 7));
    if (eq != std::string::npos) {
        std::string value = RestAfter(title, eq, 2);
        if (!value.empty() && value[0] == '"')
            return new Editor::ConstTextNode(title, name, value.size() >= 2 ? value.substr(1, value.size() - 2) : "");
        return new Editor::ConstNumberNode(title, name, std::atof(value.c_str()));
    }
    if (RestAfter(title, colon, 2) == "text") return new Editor::ConstTextNode(title, name, "");
    return new Editor::ConstNumberNode(title, name, 0.0);
}

Editor::QuorlNode* ParseVar(const std::string& title) {
    const size_t colon = title.find(':', 5);
    if (colon == std::string::npos) return nullptr;
    std::string name = StripOneBlank(title.substr(5, colon - 5));
    if (RestAfter(title, colon, 2) == "text") return new Editor::VarTextNode(title, name);
    return new Editor::VarNumberNode(title, name);
}

using Factory = std::function<Editor::QuorlNode*(const std::string&, const std::vector<UniqueId>&)>;

const std::unordered_map<std::string, Factory>& CreateKeys() {
    using E = Editor;
    using Ins = std::vector<UniqueId>;
    static const std::unordered_map<std::string, Factory> keys = {
        {"expression", [](const std::string& t, const Ins& in) { return new E::ExpressionNode(t, in); }},
        {"statement", [](const std::string& t, const Ins& in) { return new E::StatementNode(t, in); }},
        {"Conditional", [](const std::string& t, const Ins&) { return new E::ConditionalNode(t); }},
        {"execute", [](const std::string& t, const Ins& in) { return new E::ExecuteNode(t, in); }},
        {"switch", [](const std::string& t, const Ins& in) { return new E::SwitchNode(t, in); }},
        {"delay", [](const std::string& t, const Ins&) { return new E::DelayNode(t); }},
        {"blinker", [](const std::string& t, const Ins&) { return new E::BlinkerNode(t); }},
        {"counter", [](const std::string& t, const Ins&) { return new E::CounterNode(t); }},
        {"smooth", [](const std::string& t, const Ins&) { return new E::SmoothNode(t); }},
        {"pulse", [](const std::string& t, const Ins&) { return new E::PulseNode(t); }},
        {"pulse toggle", [](const std::string& t, const Ins&) { return new E::PulseToggleNode(t); }},
        {"time", [](const std::string& t, const Ins&) { return new E::TimeNode(t); }},
        {"print", [](const std::string& t, const Ins& in) { return new E::PrintNode(t, in); }},
        {"text", [](const std::string& t, const Ins& in) { return new E::TextNode(t, in); }},
        {"PID Controller", [](const std::string& t, const Ins&) { return new E::PIDControllerNode(t); }},
        {"include", [](const std::string& t, const Ins&) { return new E::IncludeNode(t); }},
#define QUORL_MATH_KEY(NAME, N) {#NAME, [](const std::string&, const Ins&) { return new E::MathNode_##NAME(); }},
        QUORL_MATH_NODES(QUORL_MATH_KEY)
#undef QUORL_MATH_KEY
        // Older graphs spelt it so.
        {"SUBSTRACT", [](const std::string&, const Ins&) { return new E::MathNode_SUBTRACT(); }},
    };
    return keys;
}

using JsonFactory = std::function<Editor::QuorlNode*(const json&)>;

const std::unordered_map<std::string, JsonFactory>& JsonTypes() {
    using E = Editor;
    static const std::unordered_map<std::string, JsonFactory> types = {
#define QUORL_JSON_TYPE(CLASS) {#CLASS, [](const json& j) { return new E::CLASS(j); }},
        QUORL_JSON_TYPE(InputNode) QUORL_JSON_TYPE(OutputNode) QUORL_JSON_TYPE(ConstNumberNode)
        QUORL_JSON_TYPE(ConstTextNode) QUORL_JSON_TYPE(VarNumberNode) QUORL_JSON_TYPE(VarTextNode)
        QUORL_JSON_TYPE(ExpressionNode) QUORL_JSON_TYPE(StatementNode) QUORL_JSON_TYPE(ConditionalNode)
        QUORL_JSON_TYPE(ExecuteNode) QUORL_JSON_TYPE(SwitchNode) QUORL_JSON_TYPE(DelayNode)
        QUORL_JSON_TYPE(BlinkerNode) QUORL_JSON_TYPE(CounterNode) QUORL_JSON_TYPE(SmoothNode)
        QUORL_JSON_TYPE(PulseNode) QUORL_JSON_TYPE(PulseToggleNode) QUORL_JSON_TYPE(BasicNumberNode)
        QUORL_JSON_TYPE(TimeNode) QUORL_JSON_TYPE(PrintNode) QUORL_JSON_TYPE(TextNode)
        QUORL_JSON_TYPE(PIDControllerNode) QUORL_JSON_TYPE(IncludeNode) QUORL_JSON_TYPE(CommentNode)
#undef QUORL_JSON_TYPE
#define QUORL_MATH_TYPE(NAME, N) {"MathNode_" #NAME, [](const json& j) { return new E::MathNode_##NAME(j); }},
        QUORL_MATH_NODES(QUORL_MATH_TYPE)
#undef QUORL_MATH_TYPE
    };
    return types;
}

}  // namespace

Node* Editor::CreateNode(const std::string& title, ImVec2 pos, const std::vector<UniqueId>& inputs) {
    if (readOnly) return nullptr;
    modified = true;
    QuorlNode* node = nullptr;
    int number = -1;
    if (MatchNumbered(title, "input", number)) {
        node = new InputNode(title, number);
    } else if (MatchNumbered(title, "output", number)) {
        node = new OutputNode(title, number, inputs);
    } else if (title.compare(0, 7, "const $") == 0) {
        node = ParseConst(title);
    } else if (title.compare(0, 5, "var $") == 0) {
        node = ParseVar(title);
    } else {
        const auto& keys = CreateKeys();
        auto it = keys.find(title);
        node = it != keys.end() ? it->second(title, inputs) : new CommentNode(title);
    }
    if (!node) return nullptr;
    node->pos = pos;
    FillChannelNames(node);
    return node;
}

Node* Editor::DeserializeNode(const json& j) {
    std::string type = j.at("type").get<std::string>();
    QuorlNode* node;
    if (type == "MathNode_SUBSTRACT") {
        json renamed = j;
        renamed["title"] = "SUBTRACT";
        node = new MathNode_SUBTRACT(renamed);
        node->type = "MathNode_SUBTRACT";
    } else {
        const auto& types = JsonTypes();
        auto it = types.find(type);
        node = it != types.end() ? it->second(j) : new CommentNode(j);
    }
    FillChannelNames(node);
    return node;
}

void Editor::FillChannelNames(Node* node) const {
    if (auto* in = dynamic_cast<InputNode*>(node)) {
        auto it = inputChannelNames.find(in->ioNumber);
        if (it != inputChannelNames.end()) in->channelNames = it->second;
    } else if (auto* out = dynamic_cast<OutputNode*>(node)) {
        auto it = outputChannelNames.find(out->ioNumber);
        if (it != outputChannelNames.end()) out->channelNames = it->second;
    }
}

std::vector<int> Editor::GetNextOutputNumbers(int count) const {
    std::vector<int> numbers;
    for (int n = 0; int(numbers.size()) < count; ++n) {
        const std::string title = n == -1 ? std::string("output") : "output." + std::to_string(n);
        bool used = false;
        for (const Node* node : nodes) used = used || node->title == title;
        if (!used) numbers.push_back(n);
    }
    return numbers;
}

std::string Editor::NextName(const char* stem) const {
    for (int n = 1;; ++n) {
        const std::string candidate = stem + std::to_string(n);
        bool taken = false;
        for (const Node* node : nodes) {
            if (dynamic_cast<const ConstNumberNode*>(node) || dynamic_cast<const ConstTextNode*>(node) ||
                dynamic_cast<const VarNumberNode*>(node) || dynamic_cast<const VarTextNode*>(node)) {
                taken = taken || dynamic_cast<const NamedNodeEditing*>(node)->name == candidate;
            }
        }
        if (!taken) return candidate;
    }
}

std::string Editor::GetNextTextConstantName() const { return NextName("mytext") + " : text"; }
std::string Editor::GetNextTextVariableName() const { return NextName("mytext") + " : text"; }
std::string Editor::GetNextNumberConstantName() const { return NextName("mynumber") + " : number"; }
std::string Editor::GetNextNumberVariableName() const { return NextName("mynumber") + " : number"; }

void Editor::ContextMenu(ImVec2 pos) {
    if (readOnly) return;
    auto place = [&](const std::string& key) {
        if (Node* n = AddNode(key, pos, {})) {
            n->pos.x -= n->size.x * 0.5f;
            n->pos.y -= n->size.y * 0.5f;
        }
    };
    auto leaf = [&](const char* label, const std::string& key) {
        if (ImGui::MenuItem(label)) place(key);
    };
    auto words = [&](std::initializer_list<const char*> list) {
        for (const char* w : list) {
            if (*w == 0)
                ImGui::Separator();
            else
                leaf(w, w);
        }
    };
    leaf("Constant Number", "const $" + GetNextNumberConstantName());
    leaf("Constant Text", "const $" + GetNextTextConstantName());
    leaf("Variable Number", "var $" + GetNextNumberVariableName());
    leaf("Variable Text", "var $" + GetNextTextVariableName());
    leaf("Comment", "comment");
    if (ImGui::BeginMenu("Input")) {
        leaf("By Alias (via Router)", "input");
        for (int n = 0; n < 12; ++n) {
            auto it = inputBlockNames.find(n);
            std::string label = std::to_string(n) + " " + (it != inputBlockNames.end() ? it->second : "");
            leaf(label.c_str(), "input." + std::to_string(n));
        }
        ImGui::EndMenu();
    }
    if (ImGui::BeginMenu("Output")) {
        leaf("Print (console log)", "print");
        ImGui::Separator();
        leaf("By Alias (via Router)", "output");
        for (int n : GetNextOutputNumbers(12)) {
            auto it = outputBlockNames.find(n);
            std::string label = std::to_string(n) + " " + (it != outputBlockNames.end() ? it->second : "");
            leaf(label.c_str(), "output." + std::to_string(n));
        }
        ImGui::EndMenu();
    }
    if (ImGui::BeginMenu("Math")) {
        words({"ADD", "SUBTRACT", "MULTIPLY", "DIVIDE", "", "ABSOLUTE", "NEGATIVE", "MODULO", "", "FLOOR", "CEIL",
               "ROUND", "FRACT", "SIGN", "", "POW", "LOG", "SQRT", "", "CLAMP", "STEP", "SMOOTHSTEP", "LERP", "",
               "SIN", "COS", "TAN", "ASIN", "ACOS", "ATAN"});
        ImGui::EndMenu();
    }
    if (ImGui::BeginMenu("Compare")) {
        words({"EQUAL", "GREATER", "LESSER"});
        ImGui::EndMenu();
    }
    if (ImGui::BeginMenu("Boolean")) {
        words({"AND", "OR", "XOR", "NOT"});
        ImGui::EndMenu();
    }
    if (ImGui::BeginMenu("Functions")) {
        leaf("Expression", "expression");
        leaf("Switch", "switch");
        leaf("Counter", "counter");
        leaf("Pulse", "pulse");
        leaf("PulseToggle", "pulse toggle");
        leaf("Text", "text");
        leaf("PIDController", "PID Controller");
        ImGui::EndMenu();
    }
    if (ImGui::BeginMenu("Execution")) {
        leaf("Statement", "statement");
        leaf("Conditional", "Conditional");
        leaf("Execute", "execute");
        leaf("Include", "include");
        ImGui::EndMenu();
    }
    if (ImGui::BeginMenu("Timing")) {
        leaf("Time", "time");
        leaf("Delay", "delay");
        leaf("Blinker", "blinker");
        leaf("Smooth", "smooth");
        ImGui::EndMenu();
    }
}

json Editor::GraphOfProgram(const std::string& text) {
    static const std::string mark = "#NODES ";
    std::string first = text.substr(0, text.find('\n'));
    if (!first.empty() && first.back() == '\r') first.pop_back();
    if (first.compare(0, mark.size(), mark) != 0)
        throw std::runtime_error("the program's first line does not begin with \"#NODES \"");
    try {
        return json::parse(first.substr(mark.size()));
    } catch (const json::exception& e) {
        throw std::runtime_error(std::string("the graph on the program's first line cannot be read: ") + e.what());
    }
}

void Editor::LoadProgram(const std::string& text, std::vector<std::string>* errors) {
    LoadNodes(GraphOfProgram(text), errors);
}

bool Editor::Undo() {
    if (historyPosition + 1 >= int(history.size())) return false;
    ++historyPosition;
    LoadNodes(history[size_t(historyPosition)]);
    Serialize(false);
    return true;
}

bool Editor::Redo() {
    if (historyPosition <= 0 || history.empty()) return false;
    --historyPosition;
    LoadNodes(history[size_t(historyPosition)]);
    Serialize(false);
    return true;
}

}  // namespace game::QuorlCodeEditor
