#include "game/GAME_Init.h"

#include "game/ModuleImpl.h"

ZENDOLA_INSTANTIATE_MODULE_KIND(GAME_Init);
