#include "game/SERVER_Mod.h"

#include "game/ModuleImpl.h"

ZENDOLA_INSTANTIATE_MODULE_KIND(SERVER_Mod);
