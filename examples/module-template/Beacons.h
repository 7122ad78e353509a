#pragma once
// Names shared by the two halves of the module: MY_beacons.ZENDOLA_Mod registers the entity kind,
// MY_beacons.SERVER_Mod places the first beacon of a new world.

namespace beacons {

// The module's name is also its ModuleID text (VENDOR_name): entities of this module are saved
// under it, and the library finds their kind again by it when the world is loaded.
inline constexpr const char* kModule = "MY_beacons";
// The entity kind, and its model file relative to the run folder.
inline constexpr const char* kType = "beacon";
inline constexpr const char* kModel = "data/models/beacon.ini";
// The channel where every beacon publishes its tick count (Game::SetIMC).
inline constexpr const char* kTicksChannel = "MY_beacons.ticks";

}  // namespace beacons
