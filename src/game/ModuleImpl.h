#pragma once
// Definitions of the Module<M> template. Included only by the .cpp of each kind, which
// instantiates it explicitly; everyone else uses the instances in libzendola.
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <shared_mutex>
#include <system_error>
#include <type_traits>
#include <utility>

#include "game/Module.h"
#include "quorl/modular/DynamicLibrary.h"

namespace game {

template <class M>
std::unordered_map<std::string, typename Module<M>::Ptr> Module<M>::_loadedModules;
template <class M>
std::unordered_map<std::string, std::vector<typename Module<M>::Ptr>, ModuleKeyHash, std::equal_to<>>
    Module<M>::_loadedSortedModules;
template <class M>
quorl::SharedMutex Module<M>::_mutexForLoadedModules;
template <class M>
std::function<void(typename Module<M>::Ptr)> Module<M>::_modulesLoadCallback = [](Ptr) {};
template <class M>
std::function<void(typename Module<M>::Ptr)> Module<M>::_modulesUnloadCallback = [](Ptr) {};
template <class M>
std::function<void(const char*)> Module<M>::_modulesLoadErrorCallback = [](const char*) {};
template <class M>
std::mutex Module<M>::_sortedKeysMutex;

template <class M>
Module<M>::~Module() {
    if (ModuleUnload) ModuleUnload();
    quorl::modular::DynamicLibrary::Close(handle);
}

template <class M>
std::string Module<M>::Key(const std::string& name) {
    return name + "." + M::ClassWord;
}

template <class M>
bool Module<M>::IsValidName(const std::string& name) {
    return !name.empty() && name.find_first_of(std::string_view("/\\\0", 3)) == std::string::npos &&
           name.find("..") == std::string::npos;
}

template <class M>
typename Module<M>::Ptr Module<M>::LoadModule(const std::string& name, bool reportFailure) {
    if (!IsValidName(name)) {
        const std::string message = "Module name '" + name + "' of kind " + M::ClassWord +
                                    " refused: a name must not be empty nor contain '/', '\\' or '..'";
        // With reportFailure false a failed load is silent.
        if (reportFailure) {
            std::cerr << message << std::endl;
            if (_modulesLoadErrorCallback) _modulesLoadErrorCallback(message.c_str());
        }
        return nullptr;
    }
    return LoadModuleLib<M>(name, M::ClassWord, reportFailure,
                            "modules/" + name + "/" + name + "." + M::ClassWord);
}

template <class M>
template <class T>
typename Module<M>::Ptr Module<M>::LoadModuleLib(const std::string& name, const std::string& classWord,
                                                 bool reportFailure, const std::string& path) {
    static_assert(std::is_same_v<T, M>, "LoadModuleLib loads modules of its own kind only");
    using quorl::modular::DynamicLibrary;

    std::unique_lock lock(_mutexForLoadedModules);
    const std::string key = name + "." + classWord;
    if (auto it = _loadedModules.find(key); it != _loadedModules.end()) return it->second;

    Ptr module(new M());
    module->moduleId = quorl::modular::ModuleID(name);
    module->name = name;
    module->path = path + DynamicLibrary::Suffix;
    std::error_code ec;
    if (std::filesystem::exists(module->path, ec)) {
        auto time = std::filesystem::last_write_time(module->path, ec);
        if (!ec) {
            // Nanoseconds since the Unix epoch / 1e6: milliseconds, comparable with wall time.
            auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(
                std::chrono::file_clock::to_sys(time).time_since_epoch());
            module->lastWriteTime = double(ns.count()) / 1e6;
        }
    }
    std::string loaderText;
    module->handle = DynamicLibrary::Open(module->path, module->lastError, &loaderText);
    if (module->handle) {
        auto bind = [&](const char* exportName, auto& slot) {
            slot = reinterpret_cast<std::remove_reference_t<decltype(slot)>>(
                DynamicLibrary::Symbol(module->handle, exportName));
        };
        module->ForEachExport(bind);
        module->ForEachCommonExport(bind);
        if (module->ModuleLoad) module->ModuleLoad();
    }

    if (!module->handle) {
        if (reportFailure) {
            std::cerr << loaderText << std::endl;
            const std::string message =
                "Module '" + path + "' failed to load with error: " + std::to_string(module->lastError);
            if (_modulesLoadErrorCallback) _modulesLoadErrorCallback(message.c_str());
        }
        return nullptr;
    }
    _loadedModules.emplace(key, module);
    if (_modulesLoadCallback) _modulesLoadCallback(module);
    return module;
}

template <class M>
typename Module<M>::Ptr Module<M>::GetModule(const std::string& name) {
    std::shared_lock lock(_mutexForLoadedModules);
    auto it = _loadedModules.find(Key(name));
    return it == _loadedModules.end() ? nullptr : it->second;
}

template <class M>
void Module<M>::UnloadModule(const std::string& name) {
    Ptr released;  // destroyed after the lock is given back
    std::unique_lock lock(_mutexForLoadedModules);
    auto it = _loadedModules.find(Key(name));
    if (it == _loadedModules.end()) return;
    if (_modulesUnloadCallback) _modulesUnloadCallback(it->second);
    released = std::move(it->second);
    _loadedModules.erase(it);
    for (auto& [key, list] : _loadedSortedModules) {
        list.erase(std::remove(list.begin(), list.end(), released), list.end());
    }
    lock.unlock();
}

template <class M>
void Module<M>::UnloadModules() {
    std::unordered_map<std::string, Ptr> released;  // destroyed after the lock is given back
    std::unique_lock lock(_mutexForLoadedModules);
    released.swap(_loadedModules);
    for (auto& [key, list] : _loadedSortedModules) list.clear();
    _loadedSortedModules.clear();
    lock.unlock();
}

template <class M>
void Module<M>::SortModules(const char* key, const std::function<bool(Ptr, Ptr)>& less) {
    std::unique_lock lock(_mutexForLoadedModules);
    auto it = _loadedSortedModules.find(std::string_view(key));
    if (it == _loadedSortedModules.end()) it = _loadedSortedModules.emplace(key, std::vector<Ptr>()).first;
    std::vector<Ptr>& list = it->second;
    std::vector<Ptr>().swap(list);
    list.reserve(_loadedModules.size());
    for (auto& [name, module] : _loadedModules) list.push_back(module);
    std::sort(list.begin(), list.end(), [&less](const Ptr& a, const Ptr& b) { return less(a, b); });
}

template <class M>
void Module<M>::ForEachModule(const std::function<void(Ptr&)>&& f) {
    std::shared_lock lock(_mutexForLoadedModules);
    for (const auto& entry : _loadedModules) {
        if (!entry.second) continue;
        Ptr module = entry.second;
        f(module);
        if (!module) break;
    }
}

template <class M>
void Module<M>::ForEachSortedModule(const char* key, const std::function<void(Ptr&)>&& f) {
    std::shared_lock lock(_mutexForLoadedModules);
    const std::vector<Ptr>* list;
    {
        // Lists are only changed under the exclusive lock, and map nodes stay where they are,
        // so the list can be walked without this mutex.
        std::lock_guard keys(_sortedKeysMutex);
        auto it = _loadedSortedModules.find(std::string_view(key));
        if (it == _loadedSortedModules.end()) it = _loadedSortedModules.emplace(key, std::vector<Ptr>()).first;
        list = &it->second;
    }
    for (const Ptr& entry : *list) {
        if (!entry) continue;
        Ptr module = entry;
        f(module);
        if (!module) break;
    }
}

template <class M>
size_t Module<M>::Count() {
    std::shared_lock lock(_mutexForLoadedModules);
    return _loadedModules.size();
}

template <class M>
std::unique_lock<quorl::SharedMutex> Module<M>::GetLock() {
    return std::unique_lock<quorl::SharedMutex>(_mutexForLoadedModules);
}

template <class M>
void Module<M>::ModulesSetLoadCallback(const std::function<void(Ptr)>&& f) {
    _modulesLoadCallback = f;
}

template <class M>
void Module<M>::ModulesSetUnloadCallback(const std::function<void(Ptr)>&& f) {
    _modulesUnloadCallback = f;
}

template <class M>
void Module<M>::ModulesSetLoadErrorCallback(const std::function<void(const char*)>&& f) {
    _modulesLoadErrorCallback = f;
}

}  // namespace game

// Explicit instantiation of the loader for one kind, in that kind's .cpp.
#define ZENDOLA_INSTANTIATE_MODULE_KIND(Kind)             \
    template class game::Module<game::Kind>;              \
    template game::Module<game::Kind>::Ptr                \
    game::Module<game::Kind>::LoadModuleLib<game::Kind>(  \
        const std::string&, const std::string&, bool, const std::string&)
