#include "game/input/Controller.h"

#include "game/Game.h"
#include "game/input/Joystick.h"

namespace game::input {

Controller::State Controller::state;
Controller::State Controller::previousState;

void Controller::InputUpdate(double) {
    previousState = state;
    for (auto& [slot, joystick] : Game::_joysticks)
        if (joystick && joystick->connected) joystick->InputUpdate();
}

}  // namespace game::input
