#include "game/ZENDOLA_Mod.h"

#include "game/ModuleImpl.h"

ZENDOLA_INSTANTIATE_MODULE_KIND(ZENDOLA_Mod);
