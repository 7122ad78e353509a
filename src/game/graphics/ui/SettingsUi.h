#pragma once
#include <atomic>
#include <map>
#include <string>
#include <vector>

#include "game/GameSettings.h"
#include "game/graphics/ui/SettingsSaver.h"

namespace quorl::graphics {
class Window;
}

namespace game::graphics::ui {

// The "Settings" window: frame rate, game mode, and the Help, Graphics, Audio and Input trees,
// all editing the GameSettings fields in place.
//
// Saving: the Graphics tree writes the file at its own end in any frame in which one of its
// controls changed; every other change (help checkbox, audio, input, binding capture) sets
// settingsUpdated, and the file is written at the end of the window in the frame that sees it.
//
// Binding capture: an empty cell of the bindings table starts a modal popup. Keyboard and mouse
// are captured through the window's key and mouse-button callbacks (which may run on another
// thread than the interface, hence the atomic flags); gamepad and joystick sources are polled
// each frame, and the first one that fires is stored with the device's GUID and index: a button
// pressed, or an axis moved by more than 0.5 (a quarter of its travel) from where it rested when
// the popup opened.
// Escape (Controller::GetEscape) closes any capture popup.
class SettingsUi {
public:
    SettingsUi() = default;
    ~SettingsUi();
    SettingsUi(const SettingsUi&) = delete;
    SettingsUi& operator=(const SettingsUi&) = delete;

    // Draws the window in the current ImGui frame. window receives the capture callbacks (none
    // when null: keyboard and mouse capture then never start).
    void Draw(GameSettings& settings, quorl::graphics::Window* window);

    // Rows of the bindings table: the binding keys, the twelve first ones in the table's own order.
    struct BindingRow {
        std::string label;  // the key without "input_binding_"
        GameSettings::InputBinding GameSettings::*field;
    };
    static const std::vector<BindingRow>& BindingRows();

    // The labels of "Resolution (DLSS mode)" for upscaling_quality_setting 1 to 6.
    static const char* const kResolutionLabels[6];

    SettingsSaver& Saver() { return _saver; }
    bool Capturing() const;

private:
    enum class Capture { None, Keyboard, Mouse, Gamepad, Joystick };

    void DrawGraphics(GameSettings& s);
    void DrawAudio(GameSettings& s);
    void DrawInput(GameSettings& s, quorl::graphics::Window* window);
    void DrawBindingCells(const BindingRow& row, GameSettings::InputBinding& binding, quorl::graphics::Window* window);
    void StartCapture(Capture kind, const std::string& label, GameSettings::InputBinding& binding,
                      quorl::graphics::Window* window);
    void DrawCapturePopup();
    void PollGamepad();
    void PollJoysticks();
    void EndCapture();

    SettingsSaver _saver;
    std::atomic<bool> _settingsUpdated{false};
    bool _helpOpenFollows = true;  // the help tree opens and closes with show_help_tooltips
    bool _lastShowHelp = false;

    // The binding being captured and its row label; the edit flag of its kind stays set until
    // the source is taken or the capture is left.
    GameSettings::InputBinding* _editBinding = nullptr;
    std::string _editLabel;
    Capture _capture = Capture::None;
    bool _popupOpened = false;
    std::atomic<bool> _editKeyboardBinding{false}, _editMouseButtonBinding{false};
    bool _editGamepadBinding = false, _editJoystickBinding = false;
    quorl::graphics::Window* _callbackWindow = nullptr;
    // Axis values when the popup opened, by (device id, axis).
    std::map<std::pair<int, int>, float> _restingAxes;
};

}  // namespace game::graphics::ui
