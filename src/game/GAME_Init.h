#pragma once
#include "game/Module.h"

namespace game {

// Modules loaded by the host before the engine starts. The library never calls their exports;
// it binds them for the host.
class GAME_Init : public Module<GAME_Init> {
public:
    static constexpr const char* ClassWord = "GAME_Init";

    // Pointer order is part of the binary contract: keep it.
    HostExport Vulkan_Init = nullptr;
    HostExport Vulkan_ScoreGPU = nullptr;
    HostExport SplashBegin = nullptr;
    HostExport SplashEnd = nullptr;

    // Calls f(exportName, pointerField) for every export of the kind, in table order.
    template <class F>
    void ForEachExport(F&& f) {
        f("Vulkan_Init", Vulkan_Init);
        f("Vulkan_ScoreGPU", Vulkan_ScoreGPU);
        f("SplashBegin", SplashBegin);
        f("SplashEnd", SplashEnd);
    }

private:
    friend class Module<GAME_Init>;
    GAME_Init() = default;
};

}  // namespace game

extern template class game::Module<game::GAME_Init>;
