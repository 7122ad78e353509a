#pragma once
#include <any>
#include <mutex>
#include <string>
#include <type_traits>
#include <unordered_map>

namespace game {

// Run-time options: a process-wide table from name to any value, written by the debug panels
// and by modules, read by the library. Game::Quit empties it.
class Options {
public:
    Options() = delete;

    // The value stored under `key` if it has type T, else `defaultValue`. For double, a stored
    // float is widened; any other type gives the default.
    template <class T>
    static T Get(const std::string& key, const T& defaultValue) {
        std::lock_guard lock(_mu);
        auto it = _options.find(key);
        if (it == _options.end()) return defaultValue;
        if (const T* value = std::any_cast<T>(&it->second)) return *value;
        if constexpr (std::is_same_v<T, double>) {
            if (const float* value = std::any_cast<float>(&it->second)) return double(*value);
        }
        return defaultValue;
    }

    template <class T>
    static void Set(const std::string& key, T value) {
        std::lock_guard lock(_mu);
        _options[key] = std::move(value);
    }

    static std::unordered_map<std::string, std::any> _options;
    static std::mutex _mu;
};

}  // namespace game
