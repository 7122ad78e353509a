#include "game/QuorlCodeEditor.h"

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <unordered_map>

#include "game/QuorlCodeNodeKinds.h"
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

template <class Kind>
Editor::QuorlNode* Titled(const std::string& title, const std::vector<UniqueId>&) {
    return new Kind(title);
}
template <class Kind>
Editor::QuorlNode* TitledWithInputs(const std::string& title, const std::vector<UniqueId>& inputs) {
    return new Kind(title, inputs);
}
template <class Kind>
Editor::QuorlNode* Math(const std::string&, const std::vector<UniqueId>&) {
    return new Kind();
}
template <class Kind>
Editor::QuorlNode* Loaded(const json& j) {
    return new Kind(j);
}

}  // namespace

const std::vector<NodeKind>& NodeKinds() {
    using E = Editor;
    using T = NodeText;
    using D = NodeDeclaration;
    // clang-format off
    static const std::vector<NodeKind> kinds = {
        // Made from a pattern of the title, or by the menu with a name of its own.
        {"InputNode",         nullptr, nullptr, false, nullptr, Loaded<E::InputNode>,         T::Input, D::None},
        {"OutputNode",        nullptr, nullptr, false, nullptr, Loaded<E::OutputNode>,        T::None,  D::Output},
        {"ConstNumberNode",   nullptr, nullptr, false, nullptr, Loaded<E::ConstNumberNode>,   T::Name,  D::NumberConstant},
        {"ConstTextNode",     nullptr, nullptr, false, nullptr, Loaded<E::ConstTextNode>,     T::Name,  D::TextConstant},
        {"VarNumberNode",     nullptr, nullptr, false, nullptr, Loaded<E::VarNumberNode>,     T::Name,  D::NumberVariable},
        {"VarTextNode",       nullptr, nullptr, false, nullptr, Loaded<E::VarTextNode>,       T::Name,  D::TextVariable},
        {"CommentNode",       nullptr, nullptr, false, nullptr, Loaded<E::CommentNode>,       T::None,  D::None},
        {"BasicNumberNode",   nullptr, nullptr, false, nullptr, Loaded<E::BasicNumberNode>,   T::None,  D::None},
        {"PrintNode", "print", nullptr, false, TitledWithInputs<E::PrintNode>, Loaded<E::PrintNode>, T::None, D::Print},
#define QUORL_MATH_ROW(NAME, GROUP, SEPARATED) \
        {"MathNode_" #NAME, #NAME, GROUP "/" #NAME, SEPARATED, Math<E::MathNode_##NAME>, Loaded<E::MathNode_##NAME>, T::Math, D::None},
        QUORL_MATH_ROW(ADD, "Math", false) QUORL_MATH_ROW(SUBTRACT, "Math", false)
        QUORL_MATH_ROW(MULTIPLY, "Math", false) QUORL_MATH_ROW(DIVIDE, "Math", false)
        QUORL_MATH_ROW(ABSOLUTE, "Math", true) QUORL_MATH_ROW(NEGATIVE, "Math", false)
        QUORL_MATH_ROW(MODULO, "Math", false)
        QUORL_MATH_ROW(FLOOR, "Math", true) QUORL_MATH_ROW(CEIL, "Math", false) QUORL_MATH_ROW(ROUND, "Math", false)
        QUORL_MATH_ROW(FRACT, "Math", false) QUORL_MATH_ROW(SIGN, "Math", false)
        QUORL_MATH_ROW(POW, "Math", true) QUORL_MATH_ROW(LOG, "Math", false) QUORL_MATH_ROW(SQRT, "Math", false)
        QUORL_MATH_ROW(CLAMP, "Math", true) QUORL_MATH_ROW(STEP, "Math", false)
        QUORL_MATH_ROW(SMOOTHSTEP, "Math", false) QUORL_MATH_ROW(LERP, "Math", false)
        QUORL_MATH_ROW(SIN, "Math", true) QUORL_MATH_ROW(COS, "Math", false) QUORL_MATH_ROW(TAN, "Math", false)
        QUORL_MATH_ROW(ASIN, "Math", false) QUORL_MATH_ROW(ACOS, "Math", false) QUORL_MATH_ROW(ATAN, "Math", false)
        QUORL_MATH_ROW(EQUAL, "Compare", false) QUORL_MATH_ROW(GREATER, "Compare", false)
        QUORL_MATH_ROW(LESSER, "Compare", false)
        QUORL_MATH_ROW(AND, "Boolean", false) QUORL_MATH_ROW(OR, "Boolean", false) QUORL_MATH_ROW(XOR, "Boolean", false)
        QUORL_MATH_ROW(NOT, "Boolean", false)
#undef QUORL_MATH_ROW
        {"ExpressionNode", "expression", "Functions/Expression", false, TitledWithInputs<E::ExpressionNode>, Loaded<E::ExpressionNode>, T::Expression, D::None},
        {"SwitchNode", "switch", "Functions/Switch", false, TitledWithInputs<E::SwitchNode>, Loaded<E::SwitchNode>, T::Switch, D::None},
        {"CounterNode", "counter", "Functions/Counter", false, Titled<E::CounterNode>, Loaded<E::CounterNode>, T::Counter, D::None},
        {"PulseNode", "pulse", "Functions/Pulse", false, Titled<E::PulseNode>, Loaded<E::PulseNode>, T::Pulse, D::None},
        {"PulseToggleNode", "pulse toggle", "Functions/PulseToggle", false, Titled<E::PulseToggleNode>, Loaded<E::PulseToggleNode>, T::PulseToggle, D::None},
        {"TextNode", "text", "Functions/Text", false, TitledWithInputs<E::TextNode>, Loaded<E::TextNode>, T::Text, D::None},
        {"PIDControllerNode", "PID Controller", "Functions/PIDController", false, Titled<E::PIDControllerNode>, Loaded<E::PIDControllerNode>, T::PID, D::None},
        {"StatementNode", "statement", "Execution/Statement", false, TitledWithInputs<E::StatementNode>, Loaded<E::StatementNode>, T::Statement, D::None},
        {"ConditionalNode", "Conditional", "Execution/Conditional", false, Titled<E::ConditionalNode>, Loaded<E::ConditionalNode>, T::Conditional, D::None},
        {"ExecuteNode", "execute", "Execution/Execute", false, TitledWithInputs<E::ExecuteNode>, Loaded<E::ExecuteNode>, T::None, D::Execute},
        {"IncludeNode", "include", "Execution/Include", false, Titled<E::IncludeNode>, Loaded<E::IncludeNode>, T::None, D::Include},
        {"TimeNode", "time", "Timing/Time", false, Titled<E::TimeNode>, Loaded<E::TimeNode>, T::Time, D::None},
        {"DelayNode", "delay", "Timing/Delay", false, Titled<E::DelayNode>, Loaded<E::DelayNode>, T::Delay, D::None},
        {"BlinkerNode", "blinker", "Timing/Blinker", false, Titled<E::BlinkerNode>, Loaded<E::BlinkerNode>, T::Blinker, D::None},
        {"SmoothNode", "smooth", "Timing/Smooth", false, Titled<E::SmoothNode>, Loaded<E::SmoothNode>, T::Smooth, D::None},
    };
    // clang-format on
    return kinds;
}

const NodeKind* NodeKindOfType(const std::string& type) {
    static const std::unordered_map<std::string, const NodeKind*> byType = [] {
        std::unordered_map<std::string, const NodeKind*> map;
        for (const NodeKind& kind : NodeKinds()) map.emplace(kind.type, &kind);
        return map;
    }();
    auto it = byType.find(type);
    return it == byType.end() ? nullptr : it->second;
}

const NodeKind* NodeKindOfKey(const std::string& key) {
    static const std::unordered_map<std::string, const NodeKind*> byKey = [] {
        std::unordered_map<std::string, const NodeKind*> map;
        for (const NodeKind& kind : NodeKinds())
            if (kind.key) map.emplace(kind.key, &kind);
        // Older graphs spelt it so.
        map.emplace("SUBSTRACT", map.at("SUBTRACT"));
        return map;
    }();
    auto it = byKey.find(key);
    return it == byKey.end() ? nullptr : it->second;
}

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
        const NodeKind* kind = NodeKindOfKey(title);
        node = kind ? kind->create(title, inputs) : new CommentNode(title);
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
        const NodeKind* kind = NodeKindOfType(type);
        node = kind ? kind->load(j) : new CommentNode(j);
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
    // The fixed entries, group by group in the table's order.
    std::vector<std::string> groups;
    for (const NodeKind& kind : NodeKinds()) {
        if (!kind.menu) continue;
        const std::string menu = kind.menu, group = menu.substr(0, menu.find('/'));
        if (std::find(groups.begin(), groups.end(), group) == groups.end()) groups.push_back(group);
    }
    for (const std::string& group : groups) {
        if (!ImGui::BeginMenu(group.c_str())) continue;
        for (const NodeKind& kind : NodeKinds()) {
            const std::string menu = kind.menu ? kind.menu : "";
            if (menu.compare(0, group.size() + 1, group + "/") != 0) continue;
            if (kind.separated) ImGui::Separator();
            leaf(menu.c_str() + group.size() + 1, kind.key);
        }
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
