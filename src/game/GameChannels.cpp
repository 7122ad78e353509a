// Game's inter-module channels and monitors.
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <shared_mutex>

#include "game/Game.h"
#include "quorl/String.h"

namespace game {

uint32_t Game::currentMonitorID = 0;
std::unordered_map<std::string, std::array<char, Game::ImcValueLimit + 1>> Game::_imcData;
quorl::SharedMutex Game::_imcMutex;
std::unordered_map<uint32_t, std::string> Game::_monitors{{0u, std::string()}};
std::mutex Game::_monitorsMutex;

namespace {

// Values of existing channels are written under the shared lock, so two threads may write or
// read one array at once. A small set of mutexes, picked by the array's address, keeps each
// copy whole; the board lock itself stays shared for updates of known channels.
std::mutex imcValueMutexes[16];

std::mutex& ValueMutex(const void* value) {
    return imcValueMutexes[std::hash<const void*>()(value) / alignof(std::max_align_t) % 16];
}

void CopyValue(std::array<char, Game::ImcValueLimit + 1>& slot, const std::string& value) {
    std::lock_guard guard(ValueMutex(slot.data()));
    std::strncpy(slot.data(), value.c_str(), Game::ImcValueLimit);
}

std::string ReadValue(const std::array<char, Game::ImcValueLimit + 1>& slot) {
    std::lock_guard guard(ValueMutex(slot.data()));
    return std::string(slot.data(), strnlen(slot.data(), Game::ImcValueLimit));
}

}  // namespace

std::string Game::GetIMC(const std::string& key, const std::string& defaultValue) {
    std::shared_lock lock(_imcMutex);
    auto it = _imcData.find(key);
    if (it == _imcData.end()) return defaultValue;
    return ReadValue(it->second);
}

double Game::GetNumericIMC(const std::string& key, double defaultValue) {
    std::shared_lock lock(_imcMutex);
    auto it = _imcData.find(key);
    if (it == _imcData.end()) return defaultValue;
    return std::atof(ReadValue(it->second).c_str());
}

void Game::SetIMC(const std::string& key, const std::string& value) {
    {
        std::shared_lock lock(_imcMutex);
        auto it = _imcData.find(key);
        if (it != _imcData.end()) {
            CopyValue(it->second, value);
            return;
        }
    }
    std::unique_lock lock(_imcMutex);
    // Another thread may have created the channel between the two locks; try_emplace keeps it.
    auto it = _imcData.try_emplace(key).first;  // a new value starts all zero
    CopyValue(it->second, value);
}

void Game::SetIMC(const std::string& key, double value) {
    SetIMC(key, quorl::String::FromDouble(value, -1));
}

void Game::AssignMonitor(unsigned int id, const std::string& name) {
    std::lock_guard lock(_monitorsMutex);
    _monitors[id] = name;
}

std::string Game::GetMonitor() {
    std::lock_guard lock(_monitorsMutex);
    auto it = _monitors.find(currentMonitorID);
    return it == _monitors.end() ? std::string() : it->second;
}

}  // namespace game
