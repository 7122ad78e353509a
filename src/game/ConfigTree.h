#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace game {

// The document behind a game::Config: one flat array of nodes linked by index (parent, first and
// last child, both siblings) and one text arena holding every key and value scalar. Building a
// document of n nodes allocates O(log n) times, never once per node.
class ConfigTree {
public:
    static constexpr uint32_t kNone = UINT32_MAX;

    // Node kinds, as bits: a map member has KEY besides its own kind.
    enum Type : uint32_t { VAL = 1, KEY = 2, MAP = 4, SEQ = 8 };

    struct NodeData {
        uint32_t type = 0;
        uint32_t parent = kNone;
        uint32_t firstChild = kNone;
        uint32_t lastChild = kNone;
        uint32_t nextSibling = kNone;
        uint32_t prevSibling = kNone;
        // Offsets into the text arena.
        uint32_t keyOffset = 0, keyLength = 0;
        uint32_t valOffset = 0, valLength = 0;
    };

    // Builds the tree of a YAML text with the event parser. Throws the parser's YAML::Exception
    // (line and column in its text) on a syntax error, and a YAML::ParserException of its own
    // for what this tree can't hold (a map or sequence as a key, an alias inside the node it
    // names, aliases that would expand past kMaxNodes). Null when the text holds no document.
    static std::unique_ptr<ConfigTree> Parse(std::string_view text);

    // Alias expansion may not grow a document beyond this many nodes per byte of its text (with
    // a floor for short texts): a few bytes of nested aliases must not make gigabytes.
    static constexpr size_t kMaxNodesPerByte = 16;
    static constexpr size_t kMinNodeLimit = size_t(1) << 16;

    size_t size() const { return _nodes.size(); }
    bool empty() const { return _nodes.empty(); }
    const NodeData& node(size_t id) const { return _nodes[id]; }
    std::string_view Key(size_t id) const {
        const NodeData& n = _nodes[id];
        return std::string_view(_text.data() + n.keyOffset, n.keyLength);
    }
    std::string_view Val(size_t id) const {
        const NodeData& n = _nodes[id];
        return std::string_view(_text.data() + n.valOffset, n.valLength);
    }
    // The first child with this key (a duplicate key finds the first), or kNone.
    uint32_t FindChild(size_t id, std::string_view key) const;

private:
    friend class ConfigTreeBuilder;

    std::vector<NodeData> _nodes;
    std::string _text;
};

}  // namespace game
