#pragma once
#include "game/Module.h"

namespace game {

// Server hooks. Game::ServerUpdate calls Server_BeforeUpdate first and Server_GameUpdate last in
// every module; the other exports are bound for the host.
class SERVER_Mod : public Module<SERVER_Mod> {
public:
    static constexpr const char* ClassWord = "SERVER_Mod";

    // Pointer order is part of the binary contract: keep it.
    HostExport Server_Load = nullptr;
    HostExport Server_Serialize = nullptr;
    HostExport Server_PlayerConnected = nullptr;
    HostExport Server_PlayerDisconnected = nullptr;
    HostExport Server_Send = nullptr;
    HostExport Server_Receive = nullptr;
    void (*Server_BeforeUpdate)(double deltaTime) = nullptr;
    void (*Server_GameUpdate)(double deltaTime) = nullptr;

    // Calls f(exportName, pointerField) for every export of the kind, in table order.
    template <class F>
    void ForEachExport(F&& f) {
        f("Server_Load", Server_Load);
        f("Server_Serialize", Server_Serialize);
        f("Server_PlayerConnected", Server_PlayerConnected);
        f("Server_PlayerDisconnected", Server_PlayerDisconnected);
        f("Server_Send", Server_Send);
        f("Server_Receive", Server_Receive);
        f("Server_BeforeUpdate", Server_BeforeUpdate);
        f("Server_GameUpdate", Server_GameUpdate);
    }

private:
    friend class Module<SERVER_Mod>;
    SERVER_Mod() = default;
};

}  // namespace game

extern template class game::Module<game::SERVER_Mod>;
