#pragma once
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace game {

class ConfigTree;

// A read-only view over one YAML document, for modules (Game::config is the process-wide one).
//
// No accessor throws or reports: a missing or mistyped value reads as 0, 0.0, "" or false. Two
// rules surprise a first reader and are kept on purpose, since modules rely on them:
//   - a child lookup that finds nothing returns the node it was asked on (at the top level, the
//     root), not an invalid node: test for a key with HasKey() or Key(), not with operator bool;
//   - Size() counts the nodes of the whole document, whatever node it is asked on.
//
// Parse copies the scalars into the document's own arena, so the text handed to it may go away
// after the call. Aliases are resolved by copying the anchored node, and a merge key ("<<: *base"
// or "<<: [*a, *b]") puts the members of the named maps in its place, except keys the map writes
// itself. A stream of several documents reads as one sequence whose items are the documents.
// Nulls keep their text ("~", "null"); an empty value reads as "".
class Config {
public:
    class Iterator;

    // One node of the document: the tree and an index into it. Valid until the Config is parsed
    // again or cleared.
    class Node {
    public:
        static constexpr size_t npos = static_cast<size_t>(-1);

        Node() = default;
        Node(const ConfigTree* tree, size_t id) : _tree(tree), _id(id) {}

        explicit operator bool() const { return _tree != nullptr && _id != npos; }

        bool IsValue() const;
        bool HasKey() const;
        bool IsMap() const;
        bool IsArray() const;

        bool IsInt() const;
        bool IsFloat() const;
        bool IsNumeric() const;
        bool IsString() const;

        int32_t AsInt() const;
        int64_t AsInt64() const;
        uint64_t AsUInt64() const;
        float AsFloat() const;
        double AsDouble() const;
        std::string AsString() const;
        operator std::string() const { return AsString(); }
        std::string Key() const;

        bool operator==(const char* text) const;
        bool operator==(const std::string& text) const { return Equals(text); }
        bool operator!=(const char* text) const { return !(*this == text); }
        bool operator!=(const std::string& text) const { return !Equals(text); }

        // Position among the parent's children; -1 (all bits) when it is not found.
        size_t Index() const;
        // Number of nodes of the whole document.
        size_t Size() const;

        Node operator[](const char* key) const;
        Node operator[](size_t index) const;
        // Any other integer (a literal 0 included) is an index, not a key.
        template <std::integral T>
        Node operator[](T index) const {
            return (*this)[static_cast<size_t>(index)];
        }

        Iterator begin() const;
        Iterator end() const;

        size_t Id() const { return _id; }

    private:
        friend class Config;
        // The value scalar, empty for an invalid node or one without a value.
        std::string_view Value() const;
        bool Equals(std::string_view text) const;

        const ConfigTree* _tree = nullptr;
        size_t _id = npos;
    };

    // Steps through the children of one node, in document order.
    class Iterator {
    public:
        Iterator() = default;
        Iterator(const ConfigTree* tree, size_t id) : _tree(tree), _id(id) {}

        Node operator*() const { return Node(_tree, _id); }
        Iterator& operator++();
        Iterator& operator--();
        bool operator==(const Iterator& other) const { return _tree == other._tree && _id == other._id; }
        bool operator!=(const Iterator& other) const { return !(*this == other); }

    private:
        const ConfigTree* _tree = nullptr;
        size_t _id = Node::npos;
    };

    Config();
    ~Config();
    Config(const Config&) = delete;
    Config& operator=(const Config&) = delete;

    // Replaces the document by the parse of the NUL-terminated text (null reads as empty). The old
    // document is released first, so after a syntax error (a YAML::Exception with the line and
    // column) the Config is empty. A text with no document at all also leaves it empty.
    void Parse(char* text);
    void Clear() noexcept;

    Node operator[](const char* key) const;
    Node operator[](size_t index) const;
    template <std::integral T>
    Node operator[](T index) const {
        return (*this)[static_cast<size_t>(index)];
    }

private:
    Node Root() const;

    std::unique_ptr<ConfigTree> _tree;
};

}  // namespace game
