#include "game/audio/EnvironmentAudio.h"

#include <cmath>

#include "game/Game.h"
#include "game/GameSettings.h"

namespace game::audio {

EnvironmentAudio::EnvironmentAudio(quorl::audio::Studio* studio) : Event(studio, EventPath) {
    if (studio) {
        studio->LoadBank("game/audio/banks/Master.bank");
        studio->LoadBank("game/audio/banks/Master.strings.bank");
        studio->LoadBank("game/audio/banks/environment.bank");
    }
    Start();
}

void EnvironmentAudio::UpdateData(EnvironmentAudioData* data) {
    static float missFactor = 0;
    static float terrainFactor = 0;
    static float objectFactor = 0;
    static float hydrosphereFactor = 0;
    static float hydrosphereDistance = 10000.0f;
    if (!data) return;

    // Summed in 64 bits: four full counters don't wrap.
    const uint64_t n = uint64_t(data->miss) + data->terrain + data->object + data->hydrosphere;
    if (n > 0) {
        const float total = float(n);
        missFactor = 0.8f * missFactor + 0.2f * float(data->miss) / total;
        terrainFactor = 0.8f * terrainFactor + 0.2f * float(data->terrain) / total;
        objectFactor = 0.8f * objectFactor + 0.2f * float(data->object) / total;
        hydrosphereFactor = 0.8f * hydrosphereFactor + 0.2f * float(data->hydrosphere) / total;
        hydrosphereDistance = 0.8f * hydrosphereDistance + 0.2f * float(data->hydrosphereDistance) / 100.0f;

        // The indoor mix comes in only when nearly all rays hit objects.
        SetParameter("inside", std::pow(objectFactor, 4.0f));
        SetParameter("dist to water", hydrosphereDistance);
        if (quorl::audio::Studio* studio = GetStudio()) studio->SetParameter("underwater", underwater ? 1.0f : 0.0f);
    }
    data->miss = data->terrain = data->object = data->hydrosphere = 0;
    data->hydrosphereDistance = 10000;
}

void EnvironmentAudio::SetWindSpeed(float speed, float density) {
    SetParameter("wind speed", speed);
    SetParameter("density", density);
    SetVolume(0.5f * (Game::settings ? Game::settings->environment_volume : 1.0f));
}

}  // namespace game::audio
