// zendola-nodes: the program text of a node graph, for module authors.
//
//   zendola-nodes build GRAPH.json [--name NAME]   print the program text of a graph
//   zendola-nodes graph PROGRAM                    print the graph kept on a program's first line
//   zendola-nodes check PROGRAM [--name NAME]      regenerate a program from its graph and compare
//   zendola-nodes --version                        print the version
//
// The program name gives the prefixes of the generated names. build takes it from the graph's file
// name without its extension ("door.json" is the program "door"), check from the program's file
// name ("door.main.qc" is "door" too); --name overrides both.
//
// Exit status: 0 success (check: the text matches), 1 check found a difference, 2 bad usage or
// input that cannot be read.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "game/QuorlCodeEditor.h"

namespace {

using game::QuorlCodeEditor::Editor;

constexpr int kDiffers = 1;
constexpr int kFailed = 2;

struct Failure {
    std::string message;
};

int Usage() {
    std::cerr << "usage: zendola-nodes build GRAPH.json [--name NAME]\n"
                 "       zendola-nodes graph PROGRAM\n"
                 "       zendola-nodes check PROGRAM [--name NAME]\n"
                 "       zendola-nodes --version\n";
    return kFailed;
}

std::string ReadFile(const std::string& path) {
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec)) throw Failure{"cannot read " + path + ": is a directory"};
    std::ifstream in(path, std::ios::binary);
    if (!in) throw Failure{"cannot read " + path + ": no such file or no permission"};
    std::ostringstream text;
    text << in.rdbuf();
    if (in.bad()) throw Failure{"cannot read " + path};
    return text.str();
}

// The program text of a graph document, or a Failure naming every node that could not be read.
std::string Generate(const nlohmann::json& graph, const std::string& name, const std::string& source) {
    Editor editor(name);
    std::vector<std::string> errors;
    try {
        editor.LoadNodes(graph, &errors);
    } catch (const std::exception& e) {
        throw Failure{source + ": " + e.what()};
    }
    if (!errors.empty()) {
        std::string message = source + ": the graph has broken nodes:";
        for (const std::string& e : errors) message += "\n  " + e;
        throw Failure{message};
    }
    if (!editor.Serialize(false)) throw Failure{source + ": no program generated"};
    return editor.textEditor.GetText();
}

std::string BaseName(const std::string& path) { return std::filesystem::path(path).filename().string(); }

int Build(const std::string& path, std::string name) {
    const std::string text = ReadFile(path);
    nlohmann::json graph;
    try {
        graph = nlohmann::json::parse(text);
    } catch (const nlohmann::json::exception& e) {
        throw Failure{path + ": not JSON: " + e.what()};
    }
    if (name.empty()) name = std::filesystem::path(path).stem().string();
    std::cout << Generate(graph, name, path);
    return 0;
}

int Graph(const std::string& path) {
    const std::string text = ReadFile(path);
    try {
        std::cout << Editor::GraphOfProgram(text).dump() << "\n";
    } catch (const std::exception& e) {
        throw Failure{path + ": " + e.what()};
    }
    return 0;
}

int Check(const std::string& path, std::string name) {
    const std::string text = ReadFile(path);
    nlohmann::json graph;
    try {
        graph = Editor::GraphOfProgram(text);
    } catch (const std::exception& e) {
        throw Failure{path + ": " + e.what()};
    }
    if (name.empty()) name = BaseName(path);
    const std::string generated = Generate(graph, name, path);
    if (generated == text) {
        std::cout << path << ": matches its graph\n";
        return 0;
    }
    size_t line = 1;
    for (size_t i = 0; i < std::min(text.size(), generated.size()) && text[i] == generated[i]; ++i)
        if (text[i] == '\n') ++line;
    std::cout << path << ": differs from the text of its graph, from line " << line << "\n";
    return kDiffers;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    if (args.size() == 1 && args[0] == "--version") {
        std::cout << "zendola-nodes " << ZENDOLA_VERSION << "\n";
        return 0;
    }
    std::string name;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--name") {
            if (i + 1 >= args.size()) return Usage();
            name = args[i + 1];
            args.erase(args.begin() + long(i), args.begin() + long(i) + 2);
            --i;
        }
    }
    if (args.size() != 2) return Usage();
    try {
        if (args[0] == "build") return Build(args[1], name);
        if (args[0] == "graph" && name.empty()) return Graph(args[1]);
        if (args[0] == "check") return Check(args[1], name);
    } catch (const Failure& f) {
        std::cerr << "zendola-nodes: " << f.message << "\n";
        return kFailed;
    }
    return Usage();
}
