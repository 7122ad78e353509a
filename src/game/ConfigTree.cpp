#include "game/ConfigTree.h"

#include <algorithm>
#include <cstring>
#include <istream>
#include <streambuf>
#include <string>
#include <utility>

#include <yaml-cpp/eventhandler.h>
#include <yaml-cpp/exceptions.h>
#include <yaml-cpp/mark.h>
#include <yaml-cpp/parser.h>

namespace game {

namespace {

// Lets the parser read the caller's text where it lies, without the copy a string stream makes.
class TextBuffer : public std::streambuf {
public:
    explicit TextBuffer(std::string_view text) {
        char* begin = const_cast<char*>(text.data());
        setg(begin, begin, begin + text.size());
    }
};

struct Span {
    uint32_t offset = 0, length = 0;
};

}  // namespace

// Turns the parser's events into a ConfigTree. Containers being filled are kept on a stack; in a
// map the events alternate between a key (kept on the stack until its value comes) and a value.
class ConfigTreeBuilder : public YAML::EventHandler {
public:
    ConfigTreeBuilder(ConfigTree& tree, std::string_view source) : _tree(tree), _nodes(tree._nodes), _source(source) {
        // The parser's positions don't count a UTF-8 byte order mark.
        if (source.size() >= 3 && std::memcmp(source.data(), "\xEF\xBB\xBF", 3) == 0) _bom = 3;
        _limit = std::max(ConfigTree::kMinNodeLimit, ConfigTree::kMaxNodesPerByte * source.size());
        if (_limit >= ConfigTree::kNone) _limit = ConfigTree::kNone - 1;
        tree._text.reserve(source.size());
        _nodes.reserve(source.size() / 16 + 16);
    }

    void OnDocumentStart(const YAML::Mark&) override {
        _anchors.clear();
        _open.clear();
        _merges.clear();
        _pending.active = false;
    }
    void OnDocumentEnd() override {}

    void OnNull(const YAML::Mark& mark, YAML::anchor_t anchor) override {
        ResolvePending(mark);
        RefuseInMerge(mark);
        // The parser reports "~" and "null" as nulls without their text; the text is kept raw,
        // as every other scalar.
        Span text = Store(NullText(mark.pos));
        if (KeyExpected()) {
            SetKey(text);
            RecordAnchor(anchor, ConfigTree::kNone, text);
            if (text.length) _pending = {true, true, static_cast<uint32_t>(_open.size() - 1), mark.pos};
            return;
        }
        uint32_t id = Place(mark, ConfigTree::VAL);
        SetVal(id, text);
        RecordAnchor(anchor, id, text);
        if (text.length) _pending = {true, false, id, mark.pos};
    }

    void OnScalar(const YAML::Mark& mark, const std::string& tag, YAML::anchor_t anchor,
                  const std::string& value) override {
        ResolvePending(mark);
        RefuseInMerge(mark);
        Span text = Store(value);
        if (KeyExpected()) {
            SetKey(text);
            _open.back().mergeKey = tag == "?" && value == "<<";
            RecordAnchor(anchor, ConfigTree::kNone, text);
            return;
        }
        uint32_t id = Place(mark, ConfigTree::VAL);
        SetVal(id, text);
        RecordAnchor(anchor, id, text);
    }

    void OnAlias(const YAML::Mark& mark, YAML::anchor_t anchor) override {
        ResolvePending(mark);
        if (anchor >= _anchors.size() || !_anchors[anchor].used)
            throw YAML::ParserException(mark, "the alias names no anchor");
        const Anchor a = _anchors[anchor];
        if (KeyExpected()) {
            if (a.node == ConfigTree::kNone) {
                SetKey(a.text);
            } else if ((_nodes[a.node].type & (ConfigTree::MAP | ConfigTree::SEQ)) == 0) {
                SetKey({_nodes[a.node].valOffset, _nodes[a.node].valLength});
            } else {
                throw YAML::ParserException(mark, "a map key must be a scalar");
            }
            return;
        }
        for (const Open& o : _open)
            if (o.node == a.node && a.node != ConfigTree::kNone)
                throw YAML::ParserException(mark, "an alias can't stand inside the node it names");
        const bool isMap = a.node != ConfigTree::kNone && (_nodes[a.node].type & ConfigTree::MAP);
        if (!_open.empty() && _open.back().merging) {
            if (!isMap) throw YAML::ParserException(mark, "a merge key takes aliases of maps");
            _merges.push_back({_open[_open.size() - 2].node, _open.back().mergeAfter, a.node, mark});
            return;
        }
        if (isMap && !_open.empty() && _open.back().isMap && _open.back().mergeKey) {
            Open& map = _open.back();
            _merges.push_back({map.node, map.lastChild(_nodes), a.node, mark});
            map.haveKey = map.mergeKey = false;
            return;
        }
        if (a.node == ConfigTree::kNone) {
            SetVal(Place(mark, ConfigTree::VAL), a.text);
            return;
        }
        uint32_t copy = CopyDetached(mark, a.node);
        _nodes[copy].type &= ~ConfigTree::KEY;
        _nodes[copy].keyLength = 0;
        Link(mark, copy);
    }

    void OnSequenceStart(const YAML::Mark& mark, const std::string&, YAML::anchor_t anchor,
                         YAML::EmitterStyle::value) override {
        OpenContainer(mark, anchor, ConfigTree::SEQ);
    }
    void OnSequenceEnd() override { _open.pop_back(); }

    void OnMapStart(const YAML::Mark& mark, const std::string&, YAML::anchor_t anchor,
                    YAML::EmitterStyle::value) override {
        OpenContainer(mark, anchor, ConfigTree::MAP);
    }
    void OnMapEnd() override {
        Merge(_open.back().node);
        _open.pop_back();
    }

    void OnAnchor(const YAML::Mark& mark, const std::string&) override { ResolvePending(mark); }

private:
    struct Open {
        uint32_t node;
        bool isMap;
        bool haveKey = false;
        Span key;
        bool mergeKey = false;  // the pending key is a plain "<<"
        bool merging = false;   // the sequence of maps a merge key takes: no node of its own
        uint32_t mergeAfter = ConfigTree::kNone;
        uint32_t lastChild(const std::vector<ConfigTree::NodeData>& nodes) const { return nodes[node].lastChild; }
    };
    // The members of `source` go into `map` behind `after` (at the front for kNone) when the map
    // ends, except those whose key the map already has.
    struct PendingMerge {
        uint32_t map, after, source;
        YAML::Mark mark;
    };
    // What an anchor names: a node, or the text of a key (keys are not nodes of their own).
    struct Anchor {
        bool used = false;
        uint32_t node = ConfigTree::kNone;
        Span text;
    };
    // A null whose raw text was taken from the source at its position. An empty node has no text
    // of its own and is reported at the position of the next token: when that token is a null
    // word too, the next event comes at the same position, and the empty node loses the text.
    struct Pending {
        bool active = false;
        bool isKey = false;
        uint32_t index = 0;  // the node, or the depth of the open map whose key it is
        int pos = 0;
    };

    bool KeyExpected() const { return !_open.empty() && _open.back().isMap && !_open.back().haveKey; }

    void SetKey(Span text) {
        _open.back().key = text;
        _open.back().haveKey = true;
    }

    void SetVal(uint32_t id, Span text) {
        _nodes[id].valOffset = text.offset;
        _nodes[id].valLength = text.length;
    }

    void ResolvePending(const YAML::Mark& mark) {
        if (!_pending.active) return;
        _pending.active = false;
        if (mark.pos != _pending.pos) return;
        if (!_pending.isKey)
            _nodes[_pending.index].valLength = 0;
        else if (_pending.index < _open.size())
            _open[_pending.index].key.length = 0;
    }

    // "~", "null", "Null" or "NULL" at the position, behind any anchor or tag; else empty.
    std::string_view NullText(int pos) const {
        size_t p = static_cast<size_t>(pos) + _bom, n = _source.size();
        if (pos < 0 || p >= n) return {};
        auto isBlank = [](char c) { return c == ' ' || c == '\t'; };
        auto ends = [&](size_t at) {
            return at >= n || std::strchr(" \t\r\n,]}:", _source[at]) != nullptr || _source[at] == '\0';
        };
        while (p < n && (_source[p] == '&' || _source[p] == '!')) {
            while (p < n && !isBlank(_source[p]) && !std::strchr("\r\n,[]{}", _source[p]) && _source[p] != '\0') ++p;
            while (p < n && isBlank(_source[p])) ++p;
        }
        for (std::string_view word : {"~", "null", "Null", "NULL"})
            if (_source.substr(p, word.size()) == word && ends(p + word.size())) return word;
        return {};
    }

    Span Store(std::string_view text) {
        std::string& arena = _tree._text;
        if (arena.size() + text.size() >= ConfigTree::kNone)
            throw YAML::ParserException(YAML::Mark::null_mark(), "the document's text is too large");
        Span s{static_cast<uint32_t>(arena.size()), static_cast<uint32_t>(text.size())};
        arena.append(text);
        return s;
    }

    void RecordAnchor(YAML::anchor_t anchor, uint32_t node, Span text) {
        if (anchor == YAML::NullAnchor) return;
        if (anchor >= _anchors.size()) _anchors.resize(anchor + 1);
        _anchors[anchor] = {true, node, text};
    }

    uint32_t NewNode(const YAML::Mark& mark) {
        if (_nodes.size() >= _limit)
            throw YAML::ParserException(mark, "aliases expand the document past " + std::to_string(_limit) + " nodes");
        _nodes.emplace_back();
        return static_cast<uint32_t>(_nodes.size() - 1);
    }

    void Attach(uint32_t parent, uint32_t child) {
        ConfigTree::NodeData& p = _nodes[parent];
        ConfigTree::NodeData& c = _nodes[child];
        c.parent = parent;
        c.prevSibling = p.lastChild;
        if (p.lastChild != ConfigTree::kNone)
            _nodes[p.lastChild].nextSibling = child;
        else
            p.firstChild = child;
        p.lastChild = child;
    }

    // A stream of several documents: the first document's root moves out of id 0, which becomes
    // the sequence of the documents.
    uint32_t StreamRoot(const YAML::Mark& mark) {
        if (!_stream) {
            uint32_t moved = NewNode(mark);
            _nodes[moved] = _nodes[0];
            for (uint32_t c = _nodes[moved].firstChild; c != ConfigTree::kNone; c = _nodes[c].nextSibling)
                _nodes[c].parent = moved;
            _nodes[0] = ConfigTree::NodeData{};
            _nodes[0].type = ConfigTree::SEQ;
            Attach(0, moved);
            _stream = true;
        }
        return 0;
    }

    // A new node where the next event belongs: a document's root, the next item of the open
    // sequence, or the value of the open map's key.
    uint32_t Place(const YAML::Mark& mark, uint32_t type) {
        uint32_t id = NewNode(mark);
        _nodes[id].type = type;
        Link(mark, id);
        return id;
    }

    void Link(const YAML::Mark& mark, uint32_t id) {
        if (_open.empty()) {
            if (id != 0) Attach(StreamRoot(mark), id);
            return;
        }
        Open& top = _open.back();
        if (top.isMap) {
            _nodes[id].type |= ConfigTree::KEY;
            _nodes[id].keyOffset = top.key.offset;
            _nodes[id].keyLength = top.key.length;
            top.haveKey = top.mergeKey = false;
        }
        Attach(top.node, id);
    }

    // Links a child into the parent's chain right behind `after`, or first for kNone.
    void InsertAfter(uint32_t parent, uint32_t after, uint32_t child) {
        ConfigTree::NodeData& p = _nodes[parent];
        uint32_t next = after == ConfigTree::kNone ? p.firstChild : _nodes[after].nextSibling;
        _nodes[child].parent = parent;
        _nodes[child].prevSibling = after;
        _nodes[child].nextSibling = next;
        if (after == ConfigTree::kNone)
            p.firstChild = child;
        else
            _nodes[after].nextSibling = child;
        if (next == ConfigTree::kNone)
            p.lastChild = child;
        else
            _nodes[next].prevSibling = child;
    }

    // The merge keys of a map that ends: members of the named maps whose keys the map doesn't
    // have yet, in their order, where the merge key stood. Keys written in the map win, and an
    // earlier merged map wins over a later one.
    void Merge(uint32_t map) {
        size_t first = _merges.size();
        while (first > 0 && _merges[first - 1].map == map) --first;
        uint32_t cursor = ConfigTree::kNone;
        for (size_t m = first; m < _merges.size(); ++m) {
            const PendingMerge merge = _merges[m];
            if (m == first || merge.after != _merges[m - 1].after) cursor = merge.after;
            for (uint32_t c = _nodes[merge.source].firstChild; c != ConfigTree::kNone; c = _nodes[c].nextSibling) {
                if (_tree.FindChild(map, _tree.Key(c)) != ConfigTree::kNone) continue;
                uint32_t copy = CopyDetached(merge.mark, c);
                InsertAfter(map, cursor, copy);
                cursor = copy;
            }
        }
        _merges.resize(first);
    }

    void RefuseInMerge(const YAML::Mark& mark) const {
        if (!_open.empty() && _open.back().merging) throw YAML::ParserException(mark, "a merge key takes aliases of maps");
    }

    void OpenContainer(const YAML::Mark& mark, YAML::anchor_t anchor, uint32_t type) {
        ResolvePending(mark);
        RefuseInMerge(mark);
        if (KeyExpected()) throw YAML::ParserException(mark, "a map key must be a scalar");
        if (type == ConfigTree::SEQ && !_open.empty() && _open.back().mergeKey) {
            Open& map = _open.back();
            uint32_t after = map.lastChild(_nodes);
            map.haveKey = map.mergeKey = false;
            _open.push_back({ConfigTree::kNone, false, false, {}, false, true, after});
            return;
        }
        uint32_t id = Place(mark, type);
        RecordAnchor(anchor, id, {});
        _open.push_back({id, type == ConfigTree::MAP, false, {}, false, false, ConfigTree::kNone});
    }

    // A copy of a node and everything under it, not yet linked anywhere. Text is shared with the
    // original through the arena.
    uint32_t CopyDetached(const YAML::Mark& mark, uint32_t source) {
        uint32_t root = NewNode(mark);
        {
            const ConfigTree::NodeData data = _nodes[source];
            ConfigTree::NodeData& copy = _nodes[root];
            copy.type = data.type;
            copy.keyOffset = data.keyOffset;
            copy.keyLength = data.keyLength;
            copy.valOffset = data.valOffset;
            copy.valLength = data.valLength;
        }
        _work.clear();
        _work.emplace_back(source, root);
        while (!_work.empty()) {
            auto [from, to] = _work.back();
            _work.pop_back();
            for (uint32_t c = _nodes[from].firstChild; c != ConfigTree::kNone; c = _nodes[c].nextSibling) {
                uint32_t id = NewNode(mark);
                ConfigTree::NodeData data = _nodes[c];
                ConfigTree::NodeData& copy = _nodes[id];
                copy.type = data.type;
                copy.keyOffset = data.keyOffset;
                copy.keyLength = data.keyLength;
                copy.valOffset = data.valOffset;
                copy.valLength = data.valLength;
                Attach(to, id);
                if (data.firstChild != ConfigTree::kNone) _work.emplace_back(c, id);
            }
        }
        return root;
    }

    ConfigTree& _tree;
    std::vector<ConfigTree::NodeData>& _nodes;
    std::string_view _source;
    size_t _bom = 0;
    size_t _limit = 0;
    bool _stream = false;
    std::vector<Open> _open;
    std::vector<Anchor> _anchors;  // by the parser's anchor number, which starts anew per document
    std::vector<std::pair<uint32_t, uint32_t>> _work;
    std::vector<PendingMerge> _merges;
    Pending _pending;
};

std::unique_ptr<ConfigTree> ConfigTree::Parse(std::string_view text) {
    if (text.size() >= kNone) throw YAML::ParserException(YAML::Mark::null_mark(), "the document's text is too large");
    auto tree = std::make_unique<ConfigTree>();
    {
        TextBuffer buffer(text);
        std::istream in(&buffer);
        YAML::Parser parser(in);
        ConfigTreeBuilder builder(*tree, text);
        while (parser.HandleNextDocument(builder)) {
        }
    }
    if (tree->_nodes.empty()) return nullptr;
    return tree;
}

uint32_t ConfigTree::FindChild(size_t id, std::string_view key) const {
    for (uint32_t c = _nodes[id].firstChild; c != kNone; c = _nodes[c].nextSibling) {
        const NodeData& n = _nodes[c];
        if (n.keyLength == key.size() &&
            (key.empty() || std::memcmp(_text.data() + n.keyOffset, key.data(), key.size()) == 0))
            return c;
    }
    return kNone;
}

}  // namespace game
