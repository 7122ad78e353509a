#pragma once
#include <cstddef>
#include <cstdint>

#include "quorl/Timer.h"
#include "quorl/filesystem/ConfigFile.h"

namespace game::input {

// The 61 actions with accessors, in the order that numbers their hold assertions. B: boolean,
// F: 64-bit float, J: a float with boolean results (jump), L: a look float, scaled by
// look_sensitivity in every accessor.
#define ZENDOLA_INPUT_ACTIONS(B, F, J, L)                                                                      \
    B(Escape) B(InputChat) B(Sit) B(ThirdPerson) B(Zoom) J(AvatarJump) B(AvatarLookToggle) B(GetInfo)        \
    B(AvatarInteract) B(AvatarLight) B(AvatarSprint) B(AvatarCrouch) B(AvatarJetpack) B(AvatarInventory)      \
    B(AvatarInventorySelectPrev) B(AvatarInventorySelectNext) B(AvatarInventorySelect1)                        \
    B(AvatarInventorySelect2) B(AvatarInventorySelect3) B(AvatarInventorySelect4) B(AvatarInventorySelect5)    \
    B(AvatarInventorySelect6) B(AvatarInventorySelect7) B(AvatarInventorySelect8) B(AvatarInventorySelect9)    \
    B(AvatarInventoryDeselect) F(AvatarToolPrimary) F(AvatarToolSecondary) B(AvatarToolConfigure)              \
    B(AvatarToolSpecialMode) F(AvatarTranslateForward) F(AvatarTranslateBackward) F(AvatarTranslateLeft)       \
    F(AvatarTranslateRight) F(AvatarRollLeft) F(AvatarRollRight) L(AvatarPitch) L(AvatarYaw) B(VehicleAux0)    \
    B(VehicleAux1) B(VehicleAux2) B(VehicleAux3) B(VehicleAux4) B(VehicleAux5) B(VehicleAux6) B(VehicleAux7)   \
    B(VehicleAux8) B(VehicleAux9) F(VehicleTranslateUp) F(VehicleTranslateDown) F(VehicleRollLeft)             \
    F(VehicleRollRight) F(VehicleTranslateForward) F(VehicleTranslateBackward) F(VehicleTranslateLeft)         \
    F(VehicleTranslateRight) F(VehiclePitchUp) F(VehiclePitchDown) F(VehicleYawLeft) F(VehicleYawRight)        \
    F(VehicleMainThrust)

// Where physical input becomes game actions: static members only. Each input frame
// Game::InputUpdate calls InputUpdate, which reads keyboard, mouse, the first gamepad and the
// joysticks through the bindings of Game::settings into a new record `state`, keeping the
// previous frame's in `previousState`. Everyone else reads the actions through the accessor
// families below. Client main thread only; the records have no lock.
//
// The update also keeps Game::_joysticks in step with the window: a device that appears in a
// slot gets a new Joystick, one that goes is marked disconnected and contributes nothing.
class Controller {
public:
    using InputBinding = quorl::filesystem::ConfigFile::InputBinding;

    Controller() = delete;

    // The per-frame record: 256 bytes, members in this order (offsets pinned in Controller.cpp).
    struct State {
        bool Escape, InputChat, Sit, ThirdPerson, Zoom, AvatarLight, AvatarSprint, AvatarCrouch, AvatarJetpack,
            AvatarInteract, AvatarInventory, AvatarInventorySelectNext, AvatarInventorySelectPrev,
            AvatarInventorySelect1, AvatarInventorySelect2, AvatarInventorySelect3, AvatarInventorySelect4,
            AvatarInventorySelect5, AvatarInventorySelect6, AvatarInventorySelect7, AvatarInventorySelect8,
            AvatarInventorySelect9, AvatarInventoryDeselect, AvatarToolConfigure, AvatarToolSpecialMode, GetInfo,
            AvatarLookToggle;
        double AvatarPitch, AvatarYaw, AvatarJump, AvatarTranslateForward, AvatarTranslateBackward,
            AvatarTranslateRight, AvatarTranslateLeft, AvatarRollLeft, AvatarRollRight, AvatarToolPrimary,
            AvatarToolSecondary;
        bool VehicleAux0, VehicleAux1, VehicleAux2, VehicleAux3, VehicleAux4, VehicleAux5, VehicleAux6, VehicleAux7,
            VehicleAux8, VehicleAux9;
        double VehicleTranslateForward, VehicleTranslateBackward, VehicleTranslateRight, VehicleTranslateLeft,
            VehicleTranslateUp, VehicleTranslateDown, VehicleMainThrust, VehicleRollRight, VehicleRollLeft,
            VehiclePitchUp, VehiclePitchDown, VehicleYawRight, VehicleYawLeft;
        bool VehicleGamepadLookToggle;
        uint8_t reserved[15];  // fills the record to 256 bytes
    };

    static State state;
    static State previousState;
    // Vehicle look: true, the gamepad's right stick looks around; false, it steers the vehicle.
    // Flipped by a press of the look toggle binding in station mode.
    static bool vehicleGamepadLookMode;

    // The frame's poll (see Controller.cpp), dt in seconds.
    static void InputUpdate(double dt);

    // The help panel's short text of a binding: its first set source, or "[NONE]". A literal.
    static const char* BindingStr(const InputBinding& binding);

    // Clears both records, the look mode (back to true), the sprint latch and every hold timer.
    static void Reset();
    // The clock of the hold timers, seconds on a monotonic scale; null restores the steady clock.
    static void SetClock(quorl::Timer::Clock clock);

    // The accessor families. GetX gives the action, _Pressed and _Released its edges, _Delta the
    // change from the previous frame, _Hold(min, max) and _HoldOrToggle(ms) the timed forms,
    // which count frames and must be called once per frame.
#define ZENDOLA_BOOL_FAMILY(X)                                                                    \
    static bool Get##X() { return Truth(state.X); }                                               \
    static bool Get##X##_Pressed() { return Truth(state.X) && !Truth(previousState.X); }          \
    static bool Get##X##_Released() { return !Truth(state.X) && Truth(previousState.X); }         \
    static int Get##X##_Delta() { return int(Truth(state.X)) - int(Truth(previousState.X)); }     \
    static bool Get##X##_Hold(double millisecondsMin, double millisecondsMax) {                   \
        return Hold(Action::X, Truth(state.X), Truth(previousState.X), millisecondsMin, millisecondsMax); \
    }                                                                                             \
    static bool Get##X##_HoldOrToggle(double milliseconds) {                                     \
        return HoldOrToggle(Action::X, Truth(state.X), Truth(previousState.X), milliseconds);      \
    }
#define ZENDOLA_FLOAT_FAMILY_SCALED(X, scale)                                                     \
    static double Get##X() { return state.X * (scale); }                                          \
    static bool Get##X##_Pressed() { return state.X * (scale) != 0 && previousState.X * (scale) == 0; } \
    static bool Get##X##_Released() { return state.X * (scale) == 0 && previousState.X * (scale) != 0; } \
    static double Get##X##_Delta() { return state.X * (scale) - previousState.X * (scale); }      \
    static bool Get##X##_Hold(double millisecondsMin, double millisecondsMax) {                   \
        return Hold(Action::X, state.X * (scale) != 0, previousState.X * (scale) != 0, millisecondsMin, \
                    millisecondsMax);                                                             \
    }                                                                                             \
    static bool Get##X##_HoldOrToggle(double milliseconds) {                                     \
        return HoldOrToggle(Action::X, state.X * (scale) != 0, previousState.X * (scale) != 0, milliseconds); \
    }
#define ZENDOLA_FLOAT_FAMILY(X) ZENDOLA_FLOAT_FAMILY_SCALED(X, 1.0)
#define ZENDOLA_LOOK_FAMILY(X) ZENDOLA_FLOAT_FAMILY_SCALED(X, LookSensitivity())

    ZENDOLA_INPUT_ACTIONS(ZENDOLA_BOOL_FAMILY, ZENDOLA_FLOAT_FAMILY, ZENDOLA_BOOL_FAMILY, ZENDOLA_LOOK_FAMILY)

#undef ZENDOLA_BOOL_FAMILY
#undef ZENDOLA_FLOAT_FAMILY_SCALED
#undef ZENDOLA_FLOAT_FAMILY
#undef ZENDOLA_LOOK_FAMILY

    // The actions in the order above; an action's hold assertion reports line 443 plus its number.
    enum class Action : int {
#define ZENDOLA_ACTION_NAME(X) X,
        ZENDOLA_INPUT_ACTIONS(ZENDOLA_ACTION_NAME, ZENDOLA_ACTION_NAME, ZENDOLA_ACTION_NAME, ZENDOLA_ACTION_NAME)
#undef ZENDOLA_ACTION_NAME
            Count
    };

private:
    static bool Truth(bool v) { return v; }
    static bool Truth(double v) { return v != 0; }  // not-a-number counts as set
    static double LookSensitivity();
    static bool Hold(Action action, bool x, bool previous, double millisecondsMin, double millisecondsMax);
    static bool HoldOrToggle(Action action, bool x, bool previous, double milliseconds);

    static bool _isSprinting;
};

}  // namespace game::input
