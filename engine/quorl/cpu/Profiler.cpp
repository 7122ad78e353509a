#include "quorl/cpu/Profiler.h"

#include <chrono>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#include <cpuid.h>
#include <x86intrin.h>
#define QUORL_PROFILER_TSC 1
#endif

namespace quorl::cpu {

// Counters are written by the owning thread only, with relaxed load + store (plain moves, no
// locked instruction); other threads read them as atomics. ResetAll never writes them: it
// records the current values as a base that Snapshot subtracts, so a reset cannot be lost
// to a concurrent update. Times are in ticks of the clock below.
struct Profiler::Node {
    const char* name = nullptr;
    Node* parent = nullptr;
    std::vector<Node*> children;  // written by the owner under the tree's mutex
    std::atomic<uint64_t> count{0};
    std::atomic<int64_t> totalTicks{0};
    std::atomic<int64_t> lastTicks{0};
    uint64_t countBase = 0;  // guarded by the tree's mutex
    int64_t totalBase = 0;   // guarded by the tree's mutex
};

struct Profiler::ThreadTree {
    std::mutex mutex;  // taken to add a node or to read the tree from another thread
    std::string name;
    std::deque<Profiler::Node> nodes;  // stable addresses
    Profiler::Node root;
    Profiler::Node* current = &root;  // owner only
};

namespace {

using ThreadTree = Profiler::ThreadTree;
using Node = Profiler::Node;

struct Registry {
    std::mutex mutex;
    std::vector<std::unique_ptr<ThreadTree>> trees;  // trees of ended threads stay readable
};

Registry& GetRegistry() {
    static Registry* r = new Registry();  // never destroyed: threads may outlive static teardown
    return *r;
}

int64_t SteadyNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// Tick source. On x86-64 with an invariant TSC (constant rate, not stopped in sleep states)
// the time-stamp counter costs about half of a vDSO clock_gettime; elsewhere ticks are
// steady_clock nanoseconds. Chosen once, on the first scope of the process.
bool g_useTsc = false;  // written inside the InitClock() static initialiser only

#ifdef QUORL_PROFILER_TSC
bool HasInvariantTsc() {
    unsigned a = 0, b = 0, c = 0, d = 0;
    if (!__get_cpuid(0x80000000u, &a, &b, &c, &d) || a < 0x80000007u) return false;
    __get_cpuid(0x80000007u, &a, &b, &c, &d);
    return (d & (1u << 8)) != 0;
}
#endif

// A (ticks, steady ns) pair read as close together as possible: the ticks are the middle of
// two counter reads around the clock read, keeping the tightest of a few tries.
struct ClockPair {
    int64_t ticks = 0;
    int64_t ns = 0;
};

ClockPair ReadPair() {
#ifdef QUORL_PROFILER_TSC
    ClockPair best;
    int64_t bestSpread = INT64_MAX;
    for (int i = 0; i < 5; ++i) {
        int64_t t0 = int64_t(__rdtsc());
        int64_t ns = SteadyNs();
        int64_t t1 = int64_t(__rdtsc());
        if (t1 - t0 < bestSpread) {
            bestSpread = t1 - t0;
            best = {t0 + (t1 - t0) / 2, ns};
        }
    }
    return best;
#else
    int64_t ns = SteadyNs();
    return {ns, ns};
#endif
}

// The pair taken when the clock was chosen; Snapshot measures the tick rate from it.
ClockPair g_origin;

bool InitClock() {
    static const bool once = [] {
#ifdef QUORL_PROFILER_TSC
        g_useTsc = HasInvariantTsc();
#endif
        if (g_useTsc) g_origin = ReadPair();
        return true;
    }();
    return once;
}

inline int64_t NowTicks() {
#ifdef QUORL_PROFILER_TSC
    if (g_useTsc) return int64_t(__rdtsc());
#endif
    return SteadyNs();
}

// Nanoseconds per tick, measured against steady_clock over the whole time since the clock was
// chosen (at least 10 ms, waiting if the process is younger): the longer the interval, the
// smaller the error of the two pairs.
double NsPerTick() {
    InitClock();
    if (!g_useTsc) return 1.0;
    constexpr int64_t kMinNs = 10'000'000;
    ClockPair now = ReadPair();
    if (now.ns - g_origin.ns < kMinNs) {
        std::this_thread::sleep_for(std::chrono::nanoseconds(kMinNs - (now.ns - g_origin.ns)));
        now = ReadPair();
    }
    int64_t ticks = now.ticks - g_origin.ticks;
    return ticks > 0 ? double(now.ns - g_origin.ns) / double(ticks) : 1.0;
}

// The calling thread's tree: a plain pointer with no dynamic initialisation, so a scope costs
// one thread-local read; the first scope of a thread creates and registers the tree. The default
// model, as for all thread-local data of the shared libraries: they may be opened late with dlopen.
thread_local ThreadTree* t_tree = nullptr;

[[gnu::noinline]] ThreadTree* CreateTree() {
    InitClock();
    auto tree = std::make_unique<ThreadTree>();
    ThreadTree* raw = tree.get();
    auto& reg = GetRegistry();
    {
        std::lock_guard lk(reg.mutex);
        raw->name = "thread " + std::to_string(reg.trees.size());
        reg.trees.push_back(std::move(tree));
    }
    t_tree = raw;
    return raw;
}

inline ThreadTree* CurrentTree() {
    ThreadTree* t = t_tree;
    return t ? t : CreateTree();
}

[[gnu::noinline]] Node* FindByNameOrAdd(ThreadTree& tree, Node* parent, const char* name) {
    for (Node* c : parent->children) {
        if (std::strcmp(c->name, name) == 0) return c;
    }
    std::lock_guard lk(tree.mutex);
    Node& n = tree.nodes.emplace_back();
    n.name = name;
    n.parent = parent;
    parent->children.push_back(&n);
    return &n;
}

// Names are nearly always the same literal, so the pointers are compared first over all
// children; strcmp only runs when no pointer matches (same text from another library).
inline Node* FindOrAddChild(ThreadTree& tree, Node* parent, const char* name) {
    for (Node* c : parent->children) {
        if (c->name == name) return c;
    }
    return FindByNameOrAdd(tree, parent, name);
}

void Collect(const Node* n, const std::string& thread, const std::string& prefix, int depth,
             double nsPerTick, std::vector<Profiler::Entry>& out) {
    for (const Node* c : n->children) {
        Profiler::Entry e;
        e.thread = thread;
        e.path = prefix.empty() ? std::string(c->name) : prefix + "/" + c->name;
        e.depth = depth;
        uint64_t count = c->count.load(std::memory_order_relaxed);
        int64_t total = c->totalTicks.load(std::memory_order_relaxed);
        e.count = count - c->countBase;
        e.totalMs = double(total - c->totalBase) * nsPerTick / 1e6;
        e.lastMs = e.count ? double(c->lastTicks.load(std::memory_order_relaxed)) * nsPerTick / 1e6 : 0.0;
        out.push_back(e);
        Collect(c, thread, e.path, depth + 1, nsPerTick, out);
    }
}

void ResetNode(Node* n) {
    for (Node* c : n->children) {
        c->countBase = c->count.load(std::memory_order_relaxed);
        c->totalBase = c->totalTicks.load(std::memory_order_relaxed);
        ResetNode(c);
    }
}

}  // namespace

Profiler::Profiler(const char* name, bool enabled) {
    if (!enabled) return;
    ThreadTree* tree = CurrentTree();
    _tree = tree;
    _node = FindOrAddChild(*tree, tree->current, name);
    tree->current = _node;
    _start = NowTicks();
}

Profiler::~Profiler() {
    if (!_node) return;
    int64_t elapsed = NowTicks() - _start;
    if (elapsed < 0) elapsed = 0;  // counters of two cores may differ by a few ticks
    Node* n = _node;
    n->count.store(n->count.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    n->totalTicks.store(n->totalTicks.load(std::memory_order_relaxed) + elapsed, std::memory_order_relaxed);
    n->lastTicks.store(elapsed, std::memory_order_relaxed);
    _tree->current = n->parent;
}

std::vector<Profiler::Entry> Profiler::Snapshot() {
    std::vector<ThreadTree*> trees;
    {
        auto& reg = GetRegistry();
        std::lock_guard lk(reg.mutex);
        for (auto& t : reg.trees) trees.push_back(t.get());  // trees are never freed
    }
    double nsPerTick = NsPerTick();
    std::vector<Entry> out;
    for (ThreadTree* t : trees) {
        std::lock_guard lk(t->mutex);
        Collect(&t->root, t->name, "", 0, nsPerTick, out);
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
    ThreadTree* tree = CurrentTree();
    std::lock_guard lk(tree->mutex);
    tree->name = name;
}

}  // namespace quorl::cpu
