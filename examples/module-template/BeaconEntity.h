#pragma once
#include <cstdint>

#include "game/entity/ServerSideEntity.h"

namespace beacons {

// Behaviour of a beacon on the server: it counts the server ticks it has lived, across saves,
// and publishes the count on a channel.
//
// Interface block of the state file: u32 format (1), u64 ticks.
class BeaconEntity : public game::entity::ServerSideEntity::Interface {
public:
    static constexpr uint32_t kFormat = 1;

    void Serialize(quorl::filesystem::WriteOnlyStream& out) override;
    // Raises std::runtime_error for a block of another format: the library keeps the file, and
    // the load of the world stops there.
    void Deserialize(quorl::filesystem::ReadOnlyStream& in) override;
    void Init() override;
    void Update(double deltaTime) override;

    uint64_t ticks = 0;
};

}  // namespace beacons
