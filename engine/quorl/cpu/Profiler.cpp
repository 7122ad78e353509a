#include "quorl/cpu/Profiler.h"

#include <chrono>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>

namespace quorl::cpu {

struct Profiler::Node {
    const char* name;
    Node* parent;
    std::vector<Node*> children;  // guarded by the thread's mutex for growth
    std::atomic<uint64_t> count{0};
    std::atomic<int64_t> totalNs{0};
    std::atomic<int64_t> lastNs{0};
};

namespace {

struct ThreadTree {
    std::mutex mutex;  // taken to add a node or to read the tree from another thread
    std::string name;
    std::deque<Profiler::Node> nodes;  // stable addresses
    Profiler::Node root{"", nullptr, {}, {}, {}, {}};
    Profiler::Node* current = &root;
};

struct Registry {
    std::mutex mutex;
    std::vector<std::shared_ptr<ThreadTree>> trees;  // trees of ended threads stay readable
};

Registry& GetRegistry() {
    static Registry* r = new Registry();  // never destroyed: threads may outlive static teardown
    return *r;
}

ThreadTree& CurrentTree() {
    thread_local std::shared_ptr<ThreadTree> tree = [] {
        auto t = std::make_shared<ThreadTree>();
        auto& reg = GetRegistry();
        std::lock_guard lk(reg.mutex);
        t->name = "thread " + std::to_string(reg.trees.size());
        reg.trees.push_back(t);
        return t;
    }();
    return *tree;
}

int64_t NowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

Profiler::Node* FindOrAddChild(ThreadTree& tree, Profiler::Node* parent, const char* name) {
    for (Profiler::Node* c : parent->children) {
        if (c->name == name || std::strcmp(c->name, name) == 0) return c;
    }
    std::lock_guard lk(tree.mutex);
    Profiler::Node& n = tree.nodes.emplace_back();
    n.name = name;
    n.parent = parent;
    parent->children.push_back(&n);
    return &n;
}

void Collect(const Profiler::Node* n, const std::string& thread, const std::string& prefix, int depth,
             std::vector<Profiler::Entry>& out) {
    for (const Profiler::Node* c : n->children) {
        Profiler::Entry e;
        e.thread = thread;
        e.path = prefix.empty() ? std::string(c->name) : prefix + "/" + c->name;
        e.depth = depth;
        e.count = c->count.load(std::memory_order_relaxed);
        e.totalMs = double(c->totalNs.load(std::memory_order_relaxed)) / 1e6;
        e.lastMs = double(c->lastNs.load(std::memory_order_relaxed)) / 1e6;
        out.push_back(e);
        Collect(c, thread, e.path, depth + 1, out);
    }
}

void ResetNode(Profiler::Node* n) {
    for (Profiler::Node* c : n->children) {
        c->count.store(0, std::memory_order_relaxed);
        c->totalNs.store(0, std::memory_order_relaxed);
        c->lastNs.store(0, std::memory_order_relaxed);
        ResetNode(c);
    }
}

}  // namespace

Profiler::Profiler(const char* name, bool enabled) {
    if (!enabled) return;
    ThreadTree& tree = CurrentTree();
    _parent = tree.current;
    _node = FindOrAddChild(tree, _parent, name);
    tree.current = _node;
    _start = NowNs();
}

Profiler::~Profiler() {
    if (!_node) return;
    int64_t elapsed = NowNs() - _start;
    _node->count.fetch_add(1, std::memory_order_relaxed);
    _node->totalNs.fetch_add(elapsed, std::memory_order_relaxed);
    _node->lastNs.store(elapsed, std::memory_order_relaxed);
    CurrentTree().current = _parent;
}

std::vector<Profiler::Entry> Profiler::Snapshot() {
    std::vector<std::shared_ptr<ThreadTree>> trees;
    {
        auto& reg = GetRegistry();
        std::lock_guard lk(reg.mutex);
        trees = reg.trees;
    }
    std::vector<Entry> out;
    for (auto& t : trees) {
        std::lock_guard lk(t->mutex);
        Collect(&t->root, t->name, "", 0, out);
    }
    return out;
}

void Profiler::ResetAll() {
    auto& reg = GetRegistry();
    std::lock_guard lk(reg.mutex);
    for (auto& t : reg.trees) {
        std::lock_guard tl(t->mutex);
        ResetNode(&t->root);
    }
}

void Profiler::SetThreadName(const std::string& name) {
    ThreadTree& tree = CurrentTree();
    std::lock_guard lk(tree.mutex);
    tree.name = name;
}

}  // namespace quorl::cpu
