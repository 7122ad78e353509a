#pragma once
#include <cstdint>

#include "quorl/audio/Studio.h"

namespace game::audio {

// What the renderer's rays found around the camera during one frame: each ray votes in one
// counter; the distance to the nearest water is in hundredths of a metre.
struct EnvironmentAudioData {
    uint32_t miss = 0;
    uint32_t terrain = 0;
    uint32_t object = 0;
    uint32_t hydrosphere = 0;
    int32_t hydrosphereDistance = 10000;
};

// The client's looping ambience event. Made by Game::Start on Game::audio, deleted by Game::Stop.
class EnvironmentAudio : public quorl::audio::Studio::Event {
public:
    static constexpr const char* EventPath = "event:/game/environment/planet surface";

    bool underwater = false;

    // Loads the banks and starts the ambience event (nothing is loaded without a studio).
    explicit EnvironmentAudio(quorl::audio::Studio* studio);

    // Smooths the frame's votes into the event's "inside" and "dist to water", sets the global
    // "underwater" from the field, and resets the record for the next frame. A record without
    // votes changes nothing but is reset too. The smoothed values are shared by all instances.
    void UpdateData(EnvironmentAudioData* data);
    // "wind speed" and "density" of the event; its volume from the environment volume setting.
    void SetWindSpeed(float speed, float density);
};

}  // namespace game::audio
