// Editor::Serialize: the program text of a node graph, with the graph on its first line.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <iostream>
#include <map>
#include <stdexcept>
#include <tuple>
#include <unordered_map>
#include <unordered_set>

#include "game/QuorlCodeEditor.h"
#include "game/QuorlCodeNodeKinds.h"
#include "game/QuorlCodeNodes.h"

namespace game::QuorlCodeEditor {

using nlohmann::json;
using IO = Editor::IO_TYPE;

namespace {

struct GenerationError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

std::string NormalizeNumber(const std::string& value) {
    if (value.empty()) return "0";
    static const char* blanks = " \f\n\r\t\v";
    const size_t first = value.find_first_not_of(blanks);
    if (first == std::string::npos) return std::string();
    std::string s = value.substr(first, value.find_last_not_of(blanks) - first + 1);
    if (s[0] == '.') return "0" + s;
    if (s.size() >= 2 && (s[0] == '-' || s[0] == '+') && s[1] == '.') return s.substr(0, 1) + "0" + s.substr(1);
    return s;
}

// Code of an expression or statement with its one-letter parameters replaced. Only a letter that
// no other letter follows is a parameter, and nothing inside double quotes is.
std::string Substitute(const std::string& code, const std::vector<std::string>& p) {
    size_t b = 0, e = code.size();
    while (b < e && std::isspace(static_cast<unsigned char>(code[b]))) ++b;
    while (e > b && std::isspace(static_cast<unsigned char>(code[e - 1]))) --e;
    std::string out;
    bool inQuotes = false;
    for (size_t i = b; i < e; ++i) {
        const char c = code[i];
        if (c == '"') inQuotes = !inQuotes;
        const bool letter = std::isalpha(static_cast<unsigned char>(c));
        const bool nextIsLetter = i + 1 < e && std::isalpha(static_cast<unsigned char>(code[i + 1]));
        if (!inQuotes && letter && !nextIsLetter) {
            const size_t k = size_t(std::tolower(static_cast<unsigned char>(c)) - 'a');
            if (k < p.size()) {
                out += p[k];
                continue;
            }
        }
        out += c;
    }
    return out;
}

bool StartsAsValue(const std::string& s) {
    return !s.empty() && (s[0] == '"' || s[0] == '$' || std::isdigit(static_cast<unsigned char>(s[0])));
}

std::vector<std::string> SplitLines(const std::string& text) {
    std::vector<std::string> lines;
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        if (end > start) lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

std::string MathText(const std::string& op, const std::vector<std::string>& p) {
    auto at = [&](size_t i) -> const std::string& {
        static const std::string none;
        return i < p.size() ? p[i] : none;
    };
    const std::string &a = at(0), &b = at(1), &c = at(2);
    static const std::map<std::string, std::string> infix = {
        {"ADD", " + "},      {"SUBTRACT", " - "}, {"MULTIPLY", " * "}, {"DIVIDE", " / "}, {"MODULO", " % "},
        {"EQUAL", " == "},   {"GREATER", " > "},  {"LESSER", " < "},   {"AND", " and "},  {"OR", " or "},
        {"XOR", " xor "}};
    static const std::map<std::string, std::string> unary = {
        {"SIN", "sin"},     {"COS", "cos"},     {"TAN", "tan"},     {"ASIN", "asin"},   {"ACOS", "acos"},
        {"ATAN", "atan"},   {"FLOOR", "floor"}, {"CEIL", "ceil"},   {"ROUND", "round"}, {"FRACT", "fract"},
        {"SQRT", "sqrt"},   {"SIGN", "sign"},   {"ABSOLUTE", "abs"}};
    static const std::map<std::string, std::string> binary = {{"POW", "pow"}, {"LOG", "log"}};
    static const std::map<std::string, std::string> ternary = {
        {"CLAMP", "clamp"}, {"STEP", "step"}, {"SMOOTHSTEP", "smoothstep"}, {"LERP", "lerp"}};
    if (auto it = infix.find(op); it != infix.end()) return "(" + a + it->second + b + ")";
    if (auto it = unary.find(op); it != unary.end()) return it->second + "(" + a + ")";
    if (auto it = binary.find(op); it != binary.end()) return it->second + "(" + a + ", " + b + ")";
    if (auto it = ternary.find(op); it != ternary.end()) return it->second + "(" + a + ", " + b + ", " + c + ")";
    if (op == "NOT") return "(!" + a + ")";
    if (op == "NEGATIVE") return "(-" + a + ")";
    return std::string();
}

// One run of the generator: the six lists, the naming counters and the memo of every node
// already turned into text.
class Generator {
public:
    using QuorlNode = Editor::QuorlNode;

    std::vector<std::string> includes, numberConstants, textConstants, globals, functions, update;

    Generator(const std::vector<graphics::ui::Node*>& nodes, std::string program)
        : P(std::move(program)), programPrefix("$_" + P + "_"), functionPrefix("@_" + P + "_") {
        for (graphics::ui::Node* n : nodes) byId.emplace(n->id, n);
    }

    void MainPass(const std::vector<graphics::ui::Node*>& nodes, json& list) {
        for (graphics::ui::Node* n : nodes) {
            auto* q = dynamic_cast<QuorlNode*>(n);
            if (!q) continue;
            list.push_back(q->Serialize());
            const NodeKind* kind = NodeKindOfType(q->type);
            switch (kind ? kind->declaration : NodeDeclaration::None) {
                case NodeDeclaration::NumberConstant: {
                    auto* c = static_cast<Editor::ConstNumberNode*>(q);
                    char buffer[32];
                    int len = std::snprintf(buffer, sizeof buffer, "%f", c->value);
                    std::string value(size_t(len), '\0');
                    std::snprintf(value.data(), value.size() + 1, "%f", c->value);
                    Add(numberConstants, "const $" + c->name + " = " + value);
                    break;
                }
                case NodeDeclaration::TextConstant: {
                    auto* c = static_cast<Editor::ConstTextNode*>(q);
                    Add(textConstants, "const $" + c->name + " = \"" + c->value + "\"");
                    break;
                }
                case NodeDeclaration::NumberVariable: {
                    auto* v = static_cast<Editor::VarNumberNode*>(q);
                    if (v->inputs.size() == 3) Variable(v, v->name, false);
                    break;
                }
                case NodeDeclaration::TextVariable: {
                    auto* v = static_cast<Editor::VarTextNode*>(q);
                    if (v->inputs.size() == 3) Variable(v, v->name, true);
                    break;
                }
                case NodeDeclaration::Output:
                    if (!q->inputs.empty()) Output(static_cast<Editor::OutputNode*>(q));
                    break;
                case NodeDeclaration::Print:
                    if (!q->inputs.empty()) Print(static_cast<Editor::PrintNode*>(q));
                    break;
                case NodeDeclaration::Execute:
                    if (!q->inputs.empty()) Execute(static_cast<Editor::ExecuteNode*>(q));
                    break;
                case NodeDeclaration::Include: {
                    auto* i = static_cast<Editor::IncludeNode*>(q);
                    if (!i->filename.empty()) Add(includes, "include \"" + i->filename + "\"");
                    break;
                }
                case NodeDeclaration::None: break;
            }
        }
    }

private:
    std::string P, programPrefix, functionPrefix;
    std::unordered_map<UniqueId, graphics::ui::Node*> byId;
    std::map<std::tuple<std::string, int, int>, std::string> inputNumbers;
    std::map<std::tuple<std::string, std::string, int>, std::string> inputAliases;
    // Text of every node already seen. Beside the nodes with state, whose names must be made
    // once, it holds the inlined ones too: their text is the same at each visit, and keeping it
    // makes shared subexpressions cost one visit.
    std::unordered_map<const QuorlNode*, std::string> memo;
    std::unordered_set<const QuorlNode*> onPath;
    int aliasCounter = 1, expressionCounter = 1, switchCounter = 1, pulseCounter = 1, textCounter = 1,
        pidCounter = 1, delayCounter = 1, blinkerCounter = 1, counterCounter = 1, smoothCounter = 1;
    int depth = 0;
    size_t produced = 0;

    void Charge(size_t bytes) {
        produced += bytes;
        if (produced > Editor::maxGeneratedBytes)
            throw GenerationError("Program text too large: more than " + std::to_string(Editor::maxGeneratedBytes) +
                                  " bytes");
    }

    void Add(std::vector<std::string>& list, std::string line) {
        Charge(line.size() + 2);
        list.push_back(std::move(line));
    }

    QuorlNode* Producer(const UniqueId& id) const {
        if (id.IsNull()) return nullptr;
        auto it = byId.find(id);
        return it == byId.end() ? nullptr : dynamic_cast<QuorlNode*>(it->second);
    }

    // Parameter of a pin as the recursion builds it.
    std::string Param(QuorlNode* node, size_t pin) {
        if (QuorlNode* src = Producer(node->inputs[pin])) return Expression(src);
        const std::string& value = node->InputValue(pin);
        switch (node->InputType(int(pin))) {
            case IO::TEXT: return "\"" + value + "\"";
            case IO::NUMBER: return NormalizeNumber(value);
            default: return value;
        }
    }

    bool Connected(QuorlNode* node, size_t pin) const {
        return pin < node->inputs.size() && Producer(node->inputs[pin]) != nullptr;
    }

    bool FreeAndEmpty(QuorlNode* node, size_t pin) const {
        return !Connected(node, pin) && node->InputValue(pin).empty();
    }

    static std::string TypeWord(IO t) { return Editor::TYPES[t] ? Editor::TYPES[t] : ""; }

    void Variable(QuorlNode* v, const std::string& name, bool text) {
        Add(globals, "var $" + name + (text ? " : text" : " : number"));
        std::string p[3];
        for (size_t i = 0; i < 3; ++i) {
            if (Connected(v, i))
                p[i] = Expression(Producer(v->inputs[i]));
            else if (!text)
                p[i] = NormalizeNumber(v->InputValue(i));
            else
                p[i] = i == 0 ? "\"" + v->InputValue(i) + "\"" : v->InputValue(i);
        }
        if (!p[1].empty()) {
            Add(update, "if " + p[1]);
            Add(update, "\t$" + name + " = " + p[0]);
        }
        if (!p[2].empty()) {
            Add(update, "if " + p[2]);
            Add(update, "\t$" + name + (text ? " = \"\"" : " = 0"));
        }
    }

    void Output(Editor::OutputNode* o) {
        const std::string target = o->ioNumber != -1 ? std::to_string(o->ioNumber) : "\"" + o->alias + "\"";
        for (size_t i = 0; i < o->inputs.size(); ++i) {
            const IO type = o->InputType(int(i));
            // A dead pin (type none) or an exec pin has no output function: it writes nothing.
            if (type != IO::NUMBER && type != IO::TEXT) continue;
            const std::string t = TypeWord(type);
            const std::string head = "output_" + t + "(" + target + ", " + std::to_string(i) + ", ";
            if (Connected(o, i)) {
                Add(update, head + Expression(Producer(o->inputs[i])) + ")");
            } else {
                const std::string& value = o->InputValue(i);
                if (value.empty()) continue;
                Add(update, head + (type == IO::TEXT ? "\"" + value + "\"" : NormalizeNumber(value)) + ")");
            }
        }
    }

    void Print(Editor::PrintNode* p) {
        std::string args;
        auto append = [&](const std::string& a) {
            if (!args.empty()) args += ", ";
            args += a;
        };
        for (size_t i = 0; i < p->inputs.size(); ++i) {
            const IO type = p->InputType(int(i));
            if (Connected(p, i))
                append(Expression(Producer(p->inputs[i])));
            else if (type == IO::TEXT)
                append("\"" + p->InputValue(i) + "\"");
            else if (type == IO::NUMBER && !p->InputValue(i).empty())
                append(NormalizeNumber(p->InputValue(i)));
        }
        if (!args.empty()) Add(update, "print(" + args + ")");
    }

    void Execute(Editor::ExecuteNode* x) {
        for (size_t i = 0; i < x->inputs.size(); ++i) {
            if (Connected(x, i)) {
                for (std::string& line : SplitLines(Expression(Producer(x->inputs[i])))) Add(update, std::move(line));
            } else if (!x->InputValue(i).empty()) {
                Add(update, x->InputValue(i));
            }
        }
    }

    std::string Expression(QuorlNode* node) {
        if (auto it = memo.find(node); it != memo.end()) return it->second;
        if (!onPath.insert(node).second)
            throw GenerationError("Graph has a loop through the node \"" + node->title + "\"");
        if (++depth > Editor::maxDepth)
            throw GenerationError("Graph too deep: more than " + std::to_string(Editor::maxDepth) +
                                  " nodes in one chain");
        std::vector<std::string> p(node->inputs.size());
        for (size_t i = 0; i < p.size(); ++i) p[i] = Param(node, i);
        std::string text = Dispatch(node, p);
        if (text.size() > Editor::maxExpressionBytes)
            throw GenerationError("Program text too large: the expression of the node \"" + node->title +
                                  "\" passes " + std::to_string(Editor::maxExpressionBytes) + " bytes");
        Charge(text.size());
        --depth;
        onPath.erase(node);
        return memo.emplace(node, std::move(text)).first->second;
    }

    std::string Dispatch(QuorlNode* node, std::vector<std::string>& p) {
        using E = Editor;
        // The node kinds with fixed pins always have them; the padding only guards the indexing.
        if (p.size() < 8 && !dynamic_cast<E::QuorlNodeWithVariableInputCount*>(node)) p.resize(8, "0");
        const NodeKind* kind = NodeKindOfType(node->type);
        switch (kind ? kind->text : NodeText::None) {
            case NodeText::Input: return Input(static_cast<E::InputNode*>(node));
            case NodeText::Name: return "$" + dynamic_cast<NamedNodeEditing&>(*node).name;
            case NodeText::Expression: {
                const std::string n = "$_expr" + std::to_string(expressionCounter++);
                Add(update, "var " + n + " = " + Substitute(static_cast<E::ExpressionNode*>(node)->code, p));
                return n;
            }
            case NodeText::Statement: return Substitute(static_cast<E::StatementNode*>(node)->code, p);
            case NodeText::Conditional: return Conditional(p);
            case NodeText::Switch: return Switch(static_cast<E::SwitchNode*>(node), p);
            case NodeText::Delay: return Delay(p);
            case NodeText::Blinker: return Blinker(p);
            case NodeText::Counter: return Counter(node, p);
            case NodeText::Smooth: return Smooth(p);
            case NodeText::Pulse: return Pulse(node, p, false);
            case NodeText::PulseToggle: return Pulse(node, p, true);
            case NodeText::Time: return "time";
            case NodeText::Text: {
                const std::string n = "$_text" + std::to_string(textCounter++);
                std::string line = "var " + n + " = text(\"" + static_cast<E::TextNode*>(node)->format + "\"";
                for (const std::string& a : p) line += ", " + a;
                Add(update, line + ")");
                return n;
            }
            case NodeText::Math: return MathText(node->title, p);
            case NodeText::PID: return PID(node, p);
            case NodeText::None: break;
        }
        return std::string();
    }

    std::string Input(Editor::InputNode* in) {
        const std::string t = TypeWord(in->outputType);
        const std::string channel = std::to_string(in->channel);
        if (in->ioNumber != -1) {
            auto key = std::make_tuple(t, in->ioNumber, in->channel);
            if (auto it = inputNumbers.find(key); it != inputNumbers.end()) return it->second;
            const std::string io = std::to_string(in->ioNumber);
            const std::string n = "$_input_" + t + "_" + io + "_" + channel;
            Add(update, "var " + n + " = input_" + t + "(" + io + ", " + channel + ")");
            return inputNumbers[key] = n;
        }
        if (in->alias.empty()) return in->outputType == IO::TEXT ? "\"\"" : "0";
        auto key = std::make_tuple(t, in->alias, in->channel);
        if (auto it = inputAliases.find(key); it != inputAliases.end()) return it->second;
        const std::string n = "$_input_alias_" + std::to_string(aliasCounter++);
        Add(update, "var " + n + " = input_" + t + "(\"" + in->alias + "\", " + channel + ")");
        return inputAliases[key] = n;
    }

    static std::string Conditional(const std::vector<std::string>& p) {
        std::string text = "if " + p[0];
        for (const std::string& line : SplitLines(p[1])) text += "\n\t" + line;
        if (!p[2].empty()) {
            text += "\nelse";
            for (const std::string& line : SplitLines(p[2])) text += "\n\t" + line;
        }
        return text;
    }

    std::string Switch(Editor::SwitchNode* s, const std::vector<std::string>& p) {
        const std::string n = "$_switch" + std::to_string(switchCounter++);
        const char* initial = Editor::DEFAULT_TYPES_VAL[s->outputType];
        Add(update, "var " + n + " = " + (initial ? initial : "0"));
        std::string selector = p.empty() ? std::string() : p[0];
        if (!StartsAsValue(selector)) {
            Add(update, "var " + n + "_ = " + selector);
            selector = n + "_";
        }
        for (size_t i = 1; i < p.size(); ++i) {
            Add(update, (i == 1 ? "if " : "elseif ") + selector + " == " + std::to_string(i - 1));
            Add(update, "\t" + n + " = " + p[i]);
        }
        return n;
    }

    std::string Delay(std::vector<std::string>& p) {
        const std::string n = programPrefix + "delay" + std::to_string(delayCounter++);
        Add(globals, "var " + n + " = 0");
        Add(update, "var " + n + "_ = " + n + " > 0 and " + n + " < time");
        if (p[1] != "0") {
            if (p[0] == "0") p[0] = "1";
            Add(update, "if " + p[1]);
            Add(update, "\t" + n + " = time + " + p[0]);
        }
        if (p[2] != "0") {
            Add(update, "if " + p[2]);
            Add(update, "\t" + n + " = 0");
        }
        return n + "_";
    }

    std::string Blinker(std::vector<std::string>& p) {
        const std::string n = "$_blinker" + std::to_string(blinkerCounter++);
        if (p[0] == "0") p[0] = "1";
        Add(update, "var " + n + " = round(time / " + p[0] + ") % 2 == 0");
        return n;
    }

    std::string Counter(QuorlNode* node, const std::vector<std::string>& p) {
        const std::string n = programPrefix + "counter" + std::to_string(counterCounter++);
        const std::string minimum = FreeAndEmpty(node, 2) ? std::string() : p[2];
        const std::string maximum = FreeAndEmpty(node, 3) ? std::string() : p[3];
        Add(globals, "var " + n + " : number");
        Add(globals, "var " + n + "_init = 0");
        Add(update, n + " += " + p[0]);
        if (p[1] != "0") {
            Add(update, "if !" + n + "_init");
            Add(update, "\t" + n + " = " + p[1]);
            Add(update, "\t" + n + "_init = 1");
        }
        if (!minimum.empty()) {
            Add(update, "if " + n + " < " + minimum);
            Add(update, "\t" + n + " = " + minimum);
        }
        if (!maximum.empty()) {
            Add(update, "if " + n + " > " + maximum);
            Add(update, "\t" + n + " = " + maximum);
        }
        Add(update, "if " + p[4]);
        Add(update, "\t" + n + " = " + p[1]);
        return n;
    }

    std::string Smooth(std::vector<std::string>& p) {
        const std::string n = programPrefix + "smooth" + std::to_string(smoothCounter++);
        for (const char* suffix : {"", "_a", "_b", "_t0", "_t1"}) Add(globals, "var " + n + suffix + " : number");
        if (p[2] != "0") {
            if (p[1] == "0") p[1] = "1";
            Add(update, "if " + p[2]);
            Add(update, "\t" + n + "_a = " + n);
            Add(update, "\t" + n + "_b = " + p[0]);
            Add(update, "\t" + n + "_t0 = time");
            Add(update, "\t" + n + "_t1 = time + " + p[1]);
            Add(update, n + " = lerp(" + n + "_a, " + n + "_b, smoothstep(" + n + "_t0, " + n + "_t1, time))");
        }
        return n;
    }

    std::string Pulse(QuorlNode* node, const std::vector<std::string>& p, bool toggle) {
        const std::string n = programPrefix + "pulse" + std::to_string(pulseCounter++);
        Add(toggle ? globals : update, "var " + n + " = 0");
        const bool up = Connected(node, 0), down = Connected(node, 1);
        if (!up && !down) return n;
        std::string u = p[0], d = p[1];
        if (up) {
            Add(globals, "var " + n + "_last_up = 0");
            if (!StartsAsValue(u)) {
                Add(update, "var " + n + "_up_ = " + u);
                u = n + "_up_";
            }
        }
        if (down) {
            Add(globals, "var " + n + "_last_down = 1");
            if (!StartsAsValue(d)) {
                Add(update, "var " + n + "_down_ = " + d);
                d = n + "_down_";
            }
        }
        if (up && down)
            Add(update, "if (" + u + " and !" + n + "_last_up) or (!" + d + " and " + n + "_last_down)");
        else if (up)
            Add(update, "if " + u + " and !" + n + "_last_up");
        else
            Add(update, "if !" + d + " and " + n + "_last_down");
        Add(update, "\t" + n + "!!");
        if (up) Add(update, n + "_last_up = " + u);
        if (down) Add(update, n + "_last_down = " + d);
        return n;
    }

    std::string PID(QuorlNode* node, const std::vector<std::string>& p) {
        const std::string counter = std::to_string(pidCounter++);
        const std::string f = functionPrefix + "pid" + counter;
        const std::string n = "$_pid" + counter;
        const bool hasMin = !FreeAndEmpty(node, 6), hasMax = !FreeAndEmpty(node, 7);
        std::string m, g;
        if (hasMin) {
            m += ", $_min:number";
            g += ", " + p[6];
        }
        if (hasMax) {
            m += ", $_max:number";
            g += ", " + p[7];
        }
        Add(functions, "function " + f +
                           "($_setpoint:number, $_processvalue:number, $_kp:number, $_ki:number, $_kd:number" + m +
                           ", $_integral:number, $_prev_error:number) : number");
        Add(functions, "\tvar $_error = $_setpoint - $_processvalue");
        Add(functions, "\tvar $_dt = delta_time");
        Add(functions, "\tvar $_derivative = ($_error - $_prev_error) / $_dt");
        Add(functions, "\tvar $_proportional = $_kp * $_error");
        Add(functions, "\t$_integral += $_error * $_dt");
        if (hasMin) {
            Add(functions, "\tif $_integral < $_min");
            Add(functions, "\t\t$_integral = $_min");
        }
        if (hasMax) {
            Add(functions, "\tif $_integral > $_max");
            Add(functions, "\t\t$_integral = $_max");
        }
        Add(functions, "\t$_prev_error = $_error");
        Add(functions, "\tvar $_output = $_proportional + $_ki * $_integral + $_kd * $_derivative");
        if (hasMin) {
            Add(functions, "\tif $_output < $_min");
            Add(functions, "\t\t$_output = $_min");
        }
        if (hasMax) {
            Add(functions, "\tif $_output > $_max");
            Add(functions, "\t\t$_output = $_max");
        }
        Add(functions, "\treturn $_output");
        const std::string call = f + "(" + p[0] + ", " + p[1] + ", " + p[2] + ", " + p[3] + ", " + p[4] + g;
        if (p[5] == "0") {
            Add(update, "var " + n + " = " + call + ")");
        } else {
            Add(update, "var " + n + " = 0");
            Add(update, "if " + p[5]);
            Add(update, "\t" + n + " = " + call + ", 0, 0)");
            Add(update, "else");
            Add(update, "\t" + n + " = " + call + ")");
        }
        return n;
    }
};

}  // namespace

bool Editor::Serialize(bool recordHistory) {
    json document = json::object();
    document["nodes"] = json::array();

    std::string name = programName;
    static const std::string ending = ".main.qc";
    if (name.size() >= 8 && name.compare(name.size() - ending.size(), ending.size(), ending) == 0)
        name.resize(name.size() - ending.size());
    for (char& c : name)
        if (c == '-') c = '_';
    const bool valid = !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
    });
    if (!valid) {
        std::cerr << "Invalid program name: " << programName << "\n";
        return false;
    }
    for (graphics::ui::Node* n : nodes)
        if (auto* q = dynamic_cast<QuorlNode*>(n)) q->inputValues.resize(q->inputs.size());

    Generator generator(nodes, name);
    try {
        generator.MainPass(nodes, document["nodes"]);
    } catch (const GenerationError& e) {
        std::cerr << e.what() << "\n";
        return false;
    }
    root = std::move(document);

    if (recordHistory) {
        history.erase(history.begin(), history.begin() + std::min<long>(historyPosition, long(history.size())));
        historyPosition = 0;
        history.push_front(root);
        if (history.size() > historyLimit) history.pop_back();
    }

    std::string text = "#NODES " + root.dump() + "\n";
    for (const auto* list : {&generator.includes, &generator.numberConstants, &generator.textConstants,
                             &generator.globals, &generator.functions}) {
        if (list->empty()) continue;
        text += "\n";
        for (const std::string& line : *list) text += line + "\n";
    }
    if (!generator.update.empty()) {
        text += "\nupdate\n";
        for (const std::string& line : generator.update) text += "\t" + line + "\n";
    }
    textEditor.SetText(text);
    return true;
}

}  // namespace game::QuorlCodeEditor
