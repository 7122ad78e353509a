#pragma once
#include "quorl/audio/Studio.h"

namespace game::audio {

// The client's looping ambience event. Made by Game::Start on Game::audio, deleted by Game::Stop.
class EnvironmentAudio : public quorl::audio::Studio::Event {
public:
    static constexpr const char* EventPath = "event:/game/environment/planet surface";

    bool underwater = false;

    // Loads the banks and starts the ambience event (nothing is loaded without a studio).
    explicit EnvironmentAudio(quorl::audio::Studio* studio);
};

}  // namespace game::audio
