// Arbitrary bytes as a YAML document for game::Config. A refused text leaves the Config empty; an
// accepted one is walked node by node through every accessor: each node is reached exactly once,
// finds itself again by key or index, knows its position, and classifies consistently.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <yaml-cpp/exceptions.h>

#include "game/Config.h"

using game::Config;

namespace {

void Check(bool ok) {
    if (!ok) std::abort();
}

void Accessors(const Config::Node& n) {
    Check(static_cast<bool>(n));
    const std::string text = n.AsString();
    Check(n == text && !(n != text));
    // A "\0" escape puts a NUL into a scalar: the C-string comparison stops there.
    Check((n == text.c_str()) == (text.find('\0') == std::string::npos));
    Check(std::string(n) == text);
    Check(n.IsNumeric() == (n.IsInt() || n.IsFloat()));
    Check(n.IsString() == (n.IsValue() && !n.IsNumeric()));
    Check(n.HasKey() || n.Key().empty());
    Check(n.IsValue() || text.empty());
    volatile double sink = n.AsDouble() + n.AsFloat() + double(n.AsInt()) + double(n.AsInt64()) + double(n.AsUInt64());
    (void)sink;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    Config config;
    try {
        config.Parse(text.data());
    } catch (const YAML::Exception&) {
        Check(!config["x"] && !config[0]);
        return 0;
    }
    // The root is reached through a miss: a key the document lacks, or an index past any end.
    Config::Node root = config[SIZE_MAX];
    for (const char* probe : {"\x01 probe", "\x02 probe", "\x03 probe"}) {
        if (root) break;
        if (Config::Node n = config[probe]; n && !n.HasKey()) root = n;
    }
    if (!root) return 0;  // no document, a lone scalar, or a map with every probe key
    Check(root.Id() == 0 && root.Index() == Config::Node::npos);

    const size_t total = root.Size();
    size_t reached = 0;
    std::vector<Config::Node> work{root};
    while (!work.empty()) {
        Config::Node node = work.back();
        work.pop_back();
        Check(++reached <= total);
        Check(node.Size() == total);
        Accessors(node);
        Check(node.IsMap() + node.IsArray() + (node.IsValue() && !node.IsMap() && !node.IsArray()) == 1);
        size_t index = 0;
        Config::Iterator previous = node.end();
        for (auto it = node.begin(); it != node.end(); ++it, ++index) {
            Config::Node child = *it;
            Check(child.Index() == index);
            Check(child.HasKey() == node.IsMap());
            if (node.IsMap()) {
                if (child.Key().find('\0') == std::string::npos) {
                    Config::Node found = node[child.Key().c_str()];
                    Check(found.Key() == child.Key() && found.Index() <= index);
                }
                Check(!node[index]);
            } else {
                Check(node[index].Id() == child.Id());
                Check(!node[child.Key().c_str()]);
            }
            auto back = it;
            --back;
            Check(back == previous);
            previous = it;
            work.push_back(child);
        }
        Check(node[index].Id() == (node.IsArray() ? node.Id() : Config::Node::npos));
    }
    Check(reached == total);
    config.Clear();
    Check(!config["x"]);
    return 0;
}
