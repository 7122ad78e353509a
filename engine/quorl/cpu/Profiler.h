#pragma once
#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace quorl::cpu {

// Scope profiler. A Profiler object made with a name and `true` measures the time until its
// destruction and adds it to a node of its thread's call tree; scopes nest per thread. The
// name must outlive the program (a string literal): nodes keep the pointer. Near free: two
// clock reads and a short search among the parent's children; no allocation once a scope has
// been seen. Snapshot() gives the trees to the debug panel from any thread.
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

private:
    Node* _node = nullptr;
    Node* _parent = nullptr;
    int64_t _start = 0;
};

}  // namespace quorl::cpu
