// Every SERVER_Mod hook writes its name to "TS_server.last".
#include "game/Game.h"

#define TS_HOOK(name) \
    extern "C" void name() { game::Game::SetIMC("TS_server.last", #name); }
#define TS_HOOK_DT(name)                                  \
    extern "C" void name(double deltaTime) {              \
        game::Game::SetIMC("TS_server.last", #name);      \
        game::Game::SetIMC("TS_server.dt", deltaTime);    \
    }

TS_HOOK(ModuleLoad)
TS_HOOK(ModuleUnload)
TS_HOOK(ModuleSort)
TS_HOOK(ModuleSetCustomPtr)
TS_HOOK(ModuleGetCustomPtr)
TS_HOOK(Server_Load)
TS_HOOK(Server_Serialize)
TS_HOOK(Server_PlayerConnected)
TS_HOOK(Server_PlayerDisconnected)
TS_HOOK(Server_Send)
TS_HOOK(Server_Receive)
TS_HOOK_DT(Server_BeforeUpdate)
TS_HOOK_DT(Server_GameUpdate)
