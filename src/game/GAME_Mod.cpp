#include "game/GAME_Mod.h"

#include "game/ModuleImpl.h"

ZENDOLA_INSTANTIATE_MODULE_KIND(GAME_Mod);
