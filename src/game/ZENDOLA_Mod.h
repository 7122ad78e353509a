#pragma once
#include "game/Module.h"

namespace game {

// Content packs, loaded by Game::Start from Game::_mods: Load after all are loaded, Unload in
// Game::Stop before they are released. _ZENDOLA_Mod_VERSION is bound for the host.
class ZENDOLA_Mod : public Module<ZENDOLA_Mod> {
public:
    static constexpr const char* ClassWord = "ZENDOLA_Mod";

    // Pointer order is part of the binary contract: keep it.
    HostExport _ZENDOLA_Mod_VERSION = nullptr;
    void (*Load)() = nullptr;
    void (*Unload)() = nullptr;

    // Calls f(exportName, pointerField) for every export of the kind, in table order.
    template <class F>
    void ForEachExport(F&& f) {
        f("_ZENDOLA_Mod_VERSION", _ZENDOLA_Mod_VERSION);
        f("Load", Load);
        f("Unload", Unload);
    }

private:
    friend class Module<ZENDOLA_Mod>;
    ZENDOLA_Mod() = default;
};

}  // namespace game

extern template class game::Module<game::ZENDOLA_Mod>;
