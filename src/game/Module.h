#pragma once
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "quorl/SharedMutex.h"
#include "quorl/modular/ModuleID.h"

namespace game {

// Type of an export that the library binds but never calls: its real signature is agreed
// between the modules and the host, which casts the pointer before calling it.
using HostExport = void (*)();

// Hash and equality that let a map keyed by std::string be searched with a string_view,
// so that a walk by sort key builds no string.
struct ModuleKeyHash {
    using is_transparent = void;
    size_t operator()(std::string_view s) const noexcept { return std::hash<std::string_view>()(s); }
};

// Loader shared by the four kinds of run-time module. M is the kind (GAME_Init, GAME_Mod,
// SERVER_Mod, ZENDOLA_Mod); it derives from Module<M>, names its class word in M::ClassWord and
// lists its exports, in table order, in M::ForEachExport. Every kind has its own set of statics.
//
// One object per loaded library file "modules/<name>/<name>.<ClassWord>.so". The library stays
// mapped while any Ptr to the object lives: the destructor calls ModuleUnload, then closes it.
//
// Locking: walks hold the shared lock during their callback, so a hook may read the module list
// (GetModule, Count, nested walks) but must not load, unload or sort modules of its own kind on
// the same thread. Loads, unloads and sorts take the exclusive lock and wait for walks to end.
template <class M>
class Module {
public:
    using Ptr = std::shared_ptr<M>;

    // Fields in this order are part of the binary contract with modules and hosts.
    quorl::modular::ModuleID moduleId;
    std::string name;
    std::string path;            // file path, suffix included
    double lastWriteTime = 0.0;  // ms since the Unix epoch; 0 when the file does not exist
    void* handle = nullptr;      // null when loading failed
    uint32_t lastError = 0;      // loader error of a failed load, else 0

    void (*ModuleLoad)() = nullptr;
    void (*ModuleUnload)() = nullptr;
    HostExport ModuleSort = nullptr;
    HostExport ModuleSetCustomPtr = nullptr;
    HostExport ModuleGetCustomPtr = nullptr;

    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;
    ~Module();

    // Calls f(exportName, pointerField) for the five exports common to all kinds, in order.
    template <class F>
    void ForEachCommonExport(F&& f) {
        f("ModuleLoad", ModuleLoad);
        f("ModuleUnload", ModuleUnload);
        f("ModuleSort", ModuleSort);
        f("ModuleSetCustomPtr", ModuleSetCustomPtr);
        f("ModuleGetCustomPtr", ModuleGetCustomPtr);
    }

    // Loads "modules/" + name + "/" + name + "." + ClassWord (plus the suffix), relative to the
    // current directory. A name that is empty or holds '/', '\\' or ".." is refused: nothing is
    // opened. With reportFailure the error is written on the error stream and passed to the
    // load-error callback; without it a failed load is silent.
    static Ptr LoadModule(const std::string& name, bool reportFailure);

    // Loads the library at `path` (without suffix) under `name`. Loading a name twice returns
    // the module already loaded. On failure returns null, silently without reportFailure; with
    // it the loader's text goes to the error stream and the load-error callback receives
    // "Module '<path>' failed to load with error: <number>". ModuleLoad and the load and
    // load-error callbacks run inside the exclusive lock.
    template <class T = M>
    static Ptr LoadModuleLib(const std::string& name, const std::string& classWord, bool reportFailure,
                             const std::string& path);

    static Ptr GetModule(const std::string& name);

    // Calls the unload callback, removes the module from the list and from every sorted list.
    // The library is released when the last Ptr goes, outside the lock.
    static void UnloadModule(const std::string& name);
    // Forgets all modules and sorted lists, without the unload callback.
    static void UnloadModules();

    // Rebuilds the sorted list of `key` from all loaded modules, ordered by `less`.
    static void SortModules(const char* key, const std::function<bool(Ptr, Ptr)>& less);

    // Calls f for each loaded module, with a copy of its Ptr; if f resets the copy the walk
    // stops there.
    static void ForEachModule(const std::function<void(Ptr&)>&& f);
    // The same over the list that SortModules made for `key`; a key never sorted walks nothing.
    static void ForEachSortedModule(const char* key, const std::function<void(Ptr&)>&& f);

    static size_t Count();
    // Exclusive access to the module list for the caller.
    static std::unique_lock<quorl::SharedMutex> GetLock();

    // Replace the callbacks; called during start, before any load (not synchronised).
    static void ModulesSetLoadCallback(const std::function<void(Ptr)>&& f);
    static void ModulesSetUnloadCallback(const std::function<void(Ptr)>&& f);
    static void ModulesSetLoadErrorCallback(const std::function<void(const char*)>&& f);

    // Key of a module in _loadedModules: name + "." + ClassWord.
    static std::string Key(const std::string& name);
    // False for names that could reach outside the module folder.
    static bool IsValidName(const std::string& name);

    static std::unordered_map<std::string, Ptr> _loadedModules;
    static std::unordered_map<std::string, std::vector<Ptr>, ModuleKeyHash, std::equal_to<>>
        _loadedSortedModules;
    static quorl::SharedMutex _mutexForLoadedModules;
    static std::function<void(Ptr)> _modulesLoadCallback;
    static std::function<void(Ptr)> _modulesUnloadCallback;
    static std::function<void(const char*)> _modulesLoadErrorCallback;

protected:
    Module() = default;

private:
    // Walks under the shared lock may meet a sort key for the first time; its empty list is
    // created under this mutex so that concurrent walks never insert into the map at once.
    static std::mutex _sortedKeysMutex;
};

}  // namespace game
