#include "game/audio/EnvironmentAudio.h"

namespace game::audio {

EnvironmentAudio::EnvironmentAudio(quorl::audio::Studio* studio) : Event(studio, EventPath) {
    if (studio) {
        studio->LoadBank("game/audio/banks/Master.bank");
        studio->LoadBank("game/audio/banks/Master.strings.bank");
        studio->LoadBank("game/audio/banks/environment.bank");
    }
    Start();
}

}  // namespace game::audio
