#pragma once

namespace game::input {

// Where physical input becomes game actions: static members only. Each input frame
// Game::InputUpdate calls InputUpdate, which keeps the previous record and polls the devices.
class Controller {
public:
    Controller() = delete;

    // The per-frame input record. Action fields join it together with the bindings.
    struct State {
    };

    static State state;
    static State previousState;

    // Keeps the previous frame's record and polls every connected joystick.
    static void InputUpdate(double deltaTime);
};

}  // namespace game::input
