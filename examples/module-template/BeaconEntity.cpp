#include "BeaconEntity.h"

#include <stdexcept>
#include <string>

#include "Beacons.h"
#include "game/Game.h"
#include "quorl/filesystem/ReadOnlyStream.h"
#include "quorl/filesystem/WriteOnlyStream.h"

namespace beacons {

void BeaconEntity::Serialize(quorl::filesystem::WriteOnlyStream& out) {
    out.Write(kFormat);
    out.Write(ticks);
}

void BeaconEntity::Deserialize(quorl::filesystem::ReadOnlyStream& in) {
    uint32_t format = 0;
    in.Read(format);
    if (format != kFormat) throw std::runtime_error("MY_beacons: unknown beacon data format " + std::to_string(format));
    in.Read(ticks);
}

// Runs once the entity and this object are linked, for a new entity and for a loaded one.
void BeaconEntity::Init() {
    std::shared_ptr<game::entity::ServerSideEntity> e = entity.lock();
    if (!e) return;
    // Flags that are not part of the state file are set again on every load.
    e->saveOnUnload = 1;
    e->isDetachable = false;
}

// The server thread, once per tick, between BeforeUpdate and the physics step.
void BeaconEntity::Update(double) {
    ++ticks;
    game::Game::SetIMC(kTicksChannel, double(ticks));
}

}  // namespace beacons
