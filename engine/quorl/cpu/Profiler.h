#pragma once
#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace quorl::cpu {

// Scope profiler. A Profiler object made with a name and `true` measures the time until its
// destruction and adds it to a node of its thread's call tree; scopes nest per thread. The
// name must outlive the program (a string literal): nodes keep the pointer. Near free: one
// thread-local read, two reads of a cheap tick counter, a short search among the parent's
// children and plain stores (only the owning thread writes its nodes); no allocation once a
// scope has been seen. Snapshot() gives the trees to the debug panel from any thread and
// converts ticks to milliseconds.
class Profiler {
public:
    Profiler(const char* name, bool enabled = true);
    ~Profiler();
    Profiler(const Profiler&) = delete;
    Profiler& operator=(const Profiler&) = delete;

    struct Entry {
        std::string thread;  // thread's name, or "thread N"
        std::string path;    // "ServerUpdate/PhysicsUpdate"
        int depth = 0;       // 0 for a root scope
        uint64_t count = 0;  // closed scopes since the last reset
        double totalMs = 0;
        double lastMs = 0;
        double averageMs() const { return count ? totalMs / double(count) : 0.0; }
    };

    // Every node of every thread, depth first, children in order of first use.
    static std::vector<Entry> Snapshot();
    // Zeroes every count and time (the nodes stay).
    static void ResetAll();
    // Names the calling thread in snapshots.
    static void SetThreadName(const std::string& name);

    struct Node;
    struct ThreadTree;

private:
    ThreadTree* _tree = nullptr;  // the calling thread's tree, looked up once per scope
    Node* _node = nullptr;        // null when disabled
    int64_t _start = 0;           // in ticks
};

}  // namespace quorl::cpu
