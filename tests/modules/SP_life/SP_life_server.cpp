// Server hooks of the life-cycle test module: they open and close each tick.
#include "SP_life.h"

extern "C" {
void Server_BeforeUpdate(double) {
    sp_life::Count("Server_BeforeUpdate");
    sp_life::Phase(1);
}
void Server_GameUpdate(double) {
    sp_life::Count("Server_GameUpdate");
    sp_life::Phase(0);
}
}
