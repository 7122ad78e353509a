#pragma once
#include <array>
#include <cstdint>
#include <mutex>
#include <string>
#include <unordered_map>

#include "quorl/SharedMutex.h"

namespace game {

// The library's process-wide state and entry points; static members only.
class Game {
public:
    Game() = delete;

    // Inter-module channels: a process-wide board of named text values. A value holds at most
    // ImcValueLimit characters; longer texts are cut. Readers on any thread always see a whole
    // value, never a mix of two writes.
    static constexpr size_t ImcValueLimit = 4095;
    static std::string GetIMC(const std::string& key, const std::string& defaultValue);
    // The channel's text read with atof (0 for a text without a number), or the default if absent.
    static double GetNumericIMC(const std::string& key, double defaultValue);
    static void SetIMC(const std::string& key, const std::string& value);
    // Stores the shortest text that reads back to the same number.
    static void SetIMC(const std::string& key, double value);

    // Monitors: the name of what each in-game monitor id shows.
    static void AssignMonitor(unsigned int id, const std::string& name);
    // The name assigned to currentMonitorID, or "" when there is none.
    static std::string GetMonitor();

    static uint32_t currentMonitorID;  // the monitor the aim ray hits now

    static std::unordered_map<std::string, std::array<char, ImcValueLimit + 1>> _imcData;
    static quorl::SharedMutex _imcMutex;
    static std::unordered_map<uint32_t, std::string> _monitors;
    static std::mutex _monitorsMutex;
};

}  // namespace game
