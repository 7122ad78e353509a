// Every ZENDOLA_Mod name; each hook writes its name to "TS_content.last".
#include "game/Game.h"

#define TS_HOOK(name) \
    extern "C" void name() { game::Game::SetIMC("TS_content.last", #name); }

TS_HOOK(ModuleLoad)
TS_HOOK(ModuleUnload)
TS_HOOK(ModuleSort)
TS_HOOK(ModuleSetCustomPtr)
TS_HOOK(ModuleGetCustomPtr)
TS_HOOK(_ZENDOLA_Mod_VERSION)
TS_HOOK(Load)
TS_HOOK(Unload)
