#pragma once
// Channels of the life-cycle test modules: "SP_life.order" lists start and stop hooks in order,
// "SP_life.<hook>" counts calls, "SP_life.faults" counts out-of-order calls. One writer per counter.
#include <string>

#include "game/Game.h"

namespace sp_life {

inline void Append(const char* event) {
    std::string order = game::Game::GetIMC("SP_life.order", "");
    game::Game::SetIMC("SP_life.order", order + event + " ");
}

inline void Count(const std::string& name) {
    game::Game::SetIMC("SP_life." + name, game::Game::GetNumericIMC("SP_life." + name, 0) + 1);
}

// Server tick phases: 0 between ticks, 1 after Server_BeforeUpdate, 2 entity BeforeUpdate,
// 3 entity Update, 4 entity AfterUpdate. A step to a phase must come from the one before it or
// from itself (several entities per pass).
inline void Phase(int to) {
    int from = int(game::Game::GetNumericIMC("SP_life.phase", 0));
    bool ok = to == 0 ? from == 4 || from == 1 : (from == to || from == to - 1);
    if (!ok) Count("faults");
    game::Game::SetIMC("SP_life.phase", double(to));
}

}  // namespace sp_life
