#include "game/graphics/ui/SettingsUi.h"

#include <imgui.h>

#include <cmath>
#include <algorithm>
#include <cstring>
#include <string_view>

#include "game/Game.h"
#include "game/GraphicsPresets.h"
#include "game/graphics/ui/HelpUi.h"
#include "game/graphics/ui/ItemProbe.h"
#include "game/input/Controller.h"
#include "game/input/Joystick.h"
#include "quorl/graphics/Window.h"
#include "quorl/input/InputCodes.h"

namespace game::graphics::ui {

using input::Controller;
using InputBinding = GameSettings::InputBinding;
using quorl::input::code_to_string;

namespace {

constexpr int kEscapeKey = 256;
constexpr const char* kKeyboardPopup = "Edit Keyboard Binding";
constexpr const char* kMousePopup = "Edit MouseButton Binding";
constexpr const char* kGamepadPopup = "Edit Gamepad Binding";
constexpr const char* kJoystickPopup = "Edit Joystick Binding";
constexpr const char* kKeyCallback = "capture_keyboard_binding";
constexpr const char* kMouseCallback = "capture_mousebutton_binding";
constexpr int kGamepadButtons = 15, kGamepadAxes = 6;
// How far from rest an axis must move to be taken (its travel is -1 to 1).
constexpr float kAxisCaptureTravel = 0.5f;

const ImVec4 kNoteColour(1.0f, 0.8f, 0.2f, 1.0f);
const ImVec4 kErrorColour(1.0f, 0.35f, 0.3f, 1.0f);

// Each control reports its rectangle under its label, for scripted input.
bool Noted(bool result, const char* name) {
    ItemProbe::Note(name);
    return result;
}

// Index among the connected devices with the same GUID, as Game::GetJoystick(guid, index) counts.
int SameGuidIndex(const input::Joystick& device) {
    int index = 0;
    for (auto& [slot, other] : Game::_joysticks) {
        if (other.get() == &device) return index;
        if (other && other->connected && other->IsSameGUID(device.GUID)) ++index;
    }
    return index;
}

}  // namespace

const char* const SettingsUi::kResolutionLabels[6] = {
    "Ultra Performance  (fast with some visual artifacts in the distance)",
    "Performance  (for better quality and ok performance)",
    "Balanced  (almost indistinguishable from Full Quality)",
    "Quality  (overkill, you'll just bring your FPS down for nothing)",
    "Ultra Quality  (no... don't do it... don't even think about it)",
    "Full Quality  (you just want to see your GPU burn, don't you?)",
};

const std::vector<SettingsUi::BindingRow>& SettingsUi::BindingRows() {
    static const std::vector<BindingRow> rows = [] {
        static constexpr const char* kFirst[] = {
            "input_chat",   "sit",           "third_person", "zoom",         "avatar_jump",  "avatar_look_toggle",
            "get_info",     "avatar_interact", "avatar_sprint", "avatar_crouch", "avatar_light", "avatar_jetpack"};
        constexpr std::string_view prefix = "input_binding_";
        std::vector<BindingRow> first, rest;
        for (const auto& key : GameSettings::BindingKeys()) {
            std::string label = std::string_view(key.key).substr(prefix.size()).data();
            const auto* at = std::find_if(std::begin(kFirst), std::end(kFirst),
                                          [&](const char* name) { return label == name; });
            if (at != std::end(kFirst)) {
                first.resize(std::size(kFirst));
                first[size_t(at - std::begin(kFirst))] = {label, key.field};
            } else {
                rest.push_back({label, key.field});
            }
        }
        first.insert(first.end(), rest.begin(), rest.end());
        return first;
    }();
    return rows;
}

SettingsUi::~SettingsUi() { EndCapture(); }

bool SettingsUi::Capturing() const { return _capture != Capture::None; }

void SettingsUi::Draw(GameSettings& s, quorl::graphics::Window* window) {
    ImGui::SetNextWindowPos(ImVec2(5, 5), ImGuiCond_FirstUseEver);
    ImGui::Begin("Settings", nullptr, ImGuiWindowFlags_AlwaysAutoResize | ImGuiWindowFlags_NoFocusOnAppearing);
    ImGui::Text("Rendering at %.1f FPS", ImGui::GetIO().Framerate);

    ImGui::TextUnformatted(Game::GetModeName());
    if (Game::_mode == 1 && ImGui::TreeNodeEx("Goals##Adventure", ImGuiTreeNodeFlags_DefaultOpen)) {
        ImGui::TextUnformatted("Pick up rocks and process them in your inventory");
        ImGui::TextUnformatted("Craft a RockRakeTool to pick more rocks faster");
        ImGui::TextUnformatted("Craft a ConstructorTool and build a platform");
        ImGui::TextUnformatted("Build a Mining Rig (MiningDrill, GroundAnchor, Container, Battery, ToggleButton)");
        ImGui::TextUnformatted("Build vehicles");
        ImGui::TextUnformatted("Go to the Moon (figure it out yourself)");
        ImGui::TreePop();
    }

    // The help tree opens and closes with the setting; in between the user may fold it.
    if (_helpOpenFollows || s.show_help_tooltips != _lastShowHelp) ImGui::SetNextItemOpen(s.show_help_tooltips);
    _helpOpenFollows = false;
    _lastShowHelp = s.show_help_tooltips;
    const bool helpOpen = Noted(ImGui::TreeNode("Help##Settings"), "Help##Settings");
    if (helpOpen) {
        if (HelpUi::Draw(s)) _settingsUpdated = true;
        ImGui::TreePop();
    }
    DrawGraphics(s);
    DrawAudio(s);
    DrawInput(s, window);
    DrawCapturePopup();

    if (_settingsUpdated.exchange(false)) _saver.Save(s);
    if (!_saver.Error().empty()) ImGui::TextColored(kErrorColour, "Not saved: %s", _saver.Error().c_str());
    ImGui::End();
}

void SettingsUi::DrawGraphics(GameSettings& s) {
    if (!Noted(ImGui::TreeNode("Graphics##Settings"), "Graphics##Settings")) return;
    bool changed = false;
    changed |= Noted(ImGui::Checkbox("V-Sync", &s.vsync), "V-Sync");
    changed |= Noted(ImGui::SliderFloat("Field Of View", &s.fov, 25.0f, 125.0f, "%.3f"), "Field Of View");
    changed |= Noted(ImGui::SliderFloat("Gamma", &s.gamma, 1.0f, 4.0f), "Gamma");
    changed |= Noted(ImGui::DragFloat("UI Scaling", &s.ui_scaling, 0.01f, 0.5f, 2.0f, "%.2f"), "UI Scaling");

    const auto& presets = GraphicsPresets();
    const bool named = s.graphics_preset >= 0 && size_t(s.graphics_preset) < presets.size();
    ImGui::TextUnformatted("Performance / Quality");
    ImGui::SetNextItemWidth(ImGui::GetContentRegionAvail().x);  // the labels are long; the name stands above
    const bool presetOpen = ImGui::BeginCombo("##Performance/Quality", named ? presets[size_t(s.graphics_preset)].label : "");
    ItemProbe::Note("##Performance/Quality");
    if (presetOpen) {
        for (size_t i = 0; i < presets.size(); ++i) {
            const bool selected = int(i) == s.graphics_preset;
            if (Noted(ImGui::Selectable(presets[i].label, selected), presets[i].label)) {
                s.graphics_preset = int(i);
                ApplyGraphicsPreset(s);
                changed = true;
            }
            if (selected) ImGui::SetItemDefaultFocus();
        }
        ImGui::EndCombo();
    }

    if (s.graphics_preset != 0) {
        ImGui::TextColored(kNoteColour, "Use Custom Graphics Settings for more control over quality/performance");
    } else {
        if (s.upscaling_quality_setting != 0) {
            const int q = s.upscaling_quality_setting;
            const char* preview = q >= 1 && q <= 6 ? kResolutionLabels[q - 1] : "";
            const bool open = ImGui::BeginCombo("Resolution (DLSS mode)", preview);
            ItemProbe::Note("Resolution (DLSS mode)");
            if (open) {
                for (int v = 1; v <= 6; ++v) {
                    if (Noted(ImGui::Selectable(kResolutionLabels[v - 1], v == q), kResolutionLabels[v - 1])) {
                        s.upscaling_quality_setting = v;
                        changed = true;
                    }
                }
                ImGui::EndCombo();
            }
        }
        if (s.final_upscale == 0.0f)
            ImGui::TextColored(kNoteColour, "Best performance: Uncheck and increase value to your taste");
        bool automatic = s.final_upscale == 0.0f;
        if (Noted(ImGui::Checkbox("Automatic Final Render Upscale (clamp to 1440p)", &automatic),
                  "Automatic Final Render Upscale (clamp to 1440p)")) {
            s.final_upscale = automatic ? 0.0f : 1.5f;
            changed = true;
        }
        if (!automatic)
            changed |= Noted(ImGui::SliderFloat("Higher value +FPS but +Fuzzy", &s.final_upscale, 1.0f, 3.0f),
                             "Higher value +FPS but +Fuzzy");
        ImGui::TextUnformatted("If you're still not happy, try \"Advanced Graphics\" below");
    }
    if (changed) _saver.Save(s);
    ImGui::TreePop();
}

void SettingsUi::DrawAudio(GameSettings& s) {
    if (!Noted(ImGui::TreeNode("Audio##Settings"), "Audio##Settings")) return;
    const std::pair<const char*, float*> sliders[] = {{"Master Volume", &s.master_volume},
                                                      {"Entities Volume", &s.entities_volume},
                                                      {"Interface Volume", &s.interface_volume},
                                                      {"Environment Volume", &s.environment_volume}};
    for (const auto& [label, field] : sliders)
        if (Noted(ImGui::SliderFloat(label, field, 0.0f, 1.0f, "%.3f"), label)) _settingsUpdated = true;
    ImGui::TreePop();
}

void SettingsUi::DrawInput(GameSettings& s, quorl::graphics::Window* window) {
    if (!Noted(ImGui::TreeNode("Input##Settings"), "Input##Settings")) return;
    if (ImGui::BeginTable("##input_bindings", 5, ImGuiTableFlags_Borders | ImGuiTableFlags_RowBg)) {
        for (const char* column : {"Binding", "Keyboard", "Mouse", "Gamepad", "Joystick"})
            ImGui::TableSetupColumn(column);
        ImGui::TableHeadersRow();
        for (const BindingRow& row : BindingRows()) {
            ImGui::PushID(row.label.c_str());
            ImGui::TableNextRow();
            ImGui::TableNextColumn();
            ImGui::AlignTextToFramePadding();  // level with the buttons of the row
            ImGui::TextUnformatted(row.label.c_str());
            DrawBindingCells(row, s.*row.field, window);
            ImGui::PopID();
        }
        ImGui::EndTable();
    }
    bool changed = false;
    changed |= Noted(ImGui::SliderFloat("MouseLook Sensitivity", &s.look_sensitivity, 0.5f, 10.0f),
                     "MouseLook Sensitivity");
    changed |= Noted(ImGui::Checkbox("MouseLook Invert Y", &s.avatar_mouselook_invert_y), "MouseLook Invert Y");
    changed |= Noted(ImGui::SliderFloat("Gamepad Axis Deadzone", &s.input_gamepad_axis_deadzone, 0.0f, 0.25f),
                     "Gamepad Axis Deadzone");
    changed |= Noted(ImGui::SliderFloat("Joystick Axis Deadzone", &s.input_joystick_axis_deadzone, 0.0f, 0.25f),
                     "Joystick Axis Deadzone");
    if (changed) _settingsUpdated = true;
    ImGui::TreePop();
}

void SettingsUi::DrawBindingCells(const BindingRow& row, InputBinding& b, quorl::graphics::Window* window) {
    // A bound cell clears its source when pressed; an empty one starts the capture.
    auto cell = [&](const char* column, bool bound, const std::string& text, const char* empty, auto clear,
                    Capture kind) {
        const std::string name = row.label + "/" + column;
        if (bound) {
            if (Noted(ImGui::Button((text + "##" + column).c_str()), name.c_str())) {
                clear();
                _settingsUpdated = true;
            }
        } else if (Noted(ImGui::Button((std::string(empty) + "##" + column).c_str()), name.c_str())) {
            StartCapture(kind, row.label, b, window);
        }
    };
    auto inversed = [&](const char* label, int16_t& direction) {
        bool flipped = direction < 0;
        if (Noted(ImGui::Checkbox(label, &flipped), (row.label + "/" + label).c_str())) {
            direction = flipped ? -1 : 1;
            _settingsUpdated = true;
        }
    };

    ImGui::TableNextColumn();
    cell("Keyboard", b.key >= 0, code_to_string("KEY", b.key), "[key]", [&] { b.key = -1; }, Capture::Keyboard);
    ImGui::TableNextColumn();
    cell("Mouse", b.mouseButton >= 0, code_to_string("MOUSE_BUTTON", b.mouseButton), "[mouse button]",
         [&] { b.mouseButton = -1; }, Capture::Mouse);

    ImGui::TableNextColumn();
    if (b.gamepadAxis >= 0) {
        cell("Gamepad", true, code_to_string("GAMEPAD_AXIS", b.gamepadAxis), "", [&] { b.gamepadAxis = -1; },
             Capture::Gamepad);
        ImGui::SameLine();
        inversed("Inversed##gamepad", b.gamepadAxisDirection);
    } else {
        cell("Gamepad", b.gamepadButton >= 0, code_to_string("GAMEPAD_BUTTON", b.gamepadButton), "[gamepad]",
             [&] { b.gamepadButton = -1; }, Capture::Gamepad);
    }

    ImGui::TableNextColumn();
    const bool joystickBound = b.joystickAxis >= 0 || b.joystickButton >= 0;
    std::string joystickText;
    if (joystickBound) {
        auto device = Game::GetJoystick(b.joystickGuid, b.joystickIndex);
        joystickText = (device ? device->name : b.joystickGuid) + " (" + std::to_string(b.joystickIndex) +
                       (b.joystickAxis >= 0 ? ") axis " + std::to_string(b.joystickAxis)
                                            : ") button " + std::to_string(b.joystickButton));
    }
    cell("Joystick", joystickBound, joystickText, "[joystick]",
         [&] {
             if (b.joystickAxis >= 0)
                 b.joystickAxis = -1;
             else
                 b.joystickButton = -1;
         },
         Capture::Joystick);
    if (b.joystickAxis >= 0) {
        ImGui::SameLine();
        inversed("Inversed##joystick", b.joystickAxisDirection);
    }
}

void SettingsUi::StartCapture(Capture kind, const std::string& label, InputBinding& binding,
                              quorl::graphics::Window* window) {
    EndCapture();
    if ((kind == Capture::Keyboard || kind == Capture::Mouse) && !window) return;
    _capture = kind;
    _editBinding = &binding;
    _editLabel = label;
    _popupOpened = false;
    _restingAxes.clear();
    InputBinding* target = &binding;
    switch (kind) {
        case Capture::Keyboard:
            _editKeyboardBinding = true;
            _callbackWindow = window;
            window->AddCallback_Key(kKeyCallback, [this, target](int key, int, int action, int mods) {
                if (action != quorl::graphics::RELEASE || mods != 0 || !_editKeyboardBinding) return;
                if (key != kEscapeKey) {
                    target->key = key;
                    _settingsUpdated = true;
                }
                _editKeyboardBinding = false;
            });
            break;
        case Capture::Mouse:
            _editMouseButtonBinding = true;
            _callbackWindow = window;
            window->AddCallback_MouseButton(kMouseCallback, [this, target](int button, int action, int mods) {
                if (action != quorl::graphics::RELEASE || mods != 0 || !_editMouseButtonBinding) return;
                target->mouseButton = button;
                _settingsUpdated = true;
                _editMouseButtonBinding = false;
            });
            break;
        case Capture::Gamepad: _editGamepadBinding = true; break;
        case Capture::Joystick: _editJoystickBinding = true; break;
        case Capture::None: break;
    }
}

void SettingsUi::EndCapture() {
    if (_callbackWindow) {
        _callbackWindow->RemoveCallback_Key(kKeyCallback);
        _callbackWindow->RemoveCallback_MouseButton(kMouseCallback);
        _callbackWindow = nullptr;
    }
    _editKeyboardBinding = _editMouseButtonBinding = false;
    _editGamepadBinding = _editJoystickBinding = false;
    _capture = Capture::None;
    _editBinding = nullptr;
}

void SettingsUi::DrawCapturePopup() {
    if (_capture == Capture::None) return;
    const char* popup = _capture == Capture::Keyboard ? kKeyboardPopup
                        : _capture == Capture::Mouse  ? kMousePopup
                        : _capture == Capture::Gamepad ? kGamepadPopup
                                                       : kJoystickPopup;
    if (!_popupOpened) {
        ImGui::OpenPopup(popup);
        _popupOpened = true;
    }
    if (!ImGui::BeginPopupModal(popup, nullptr, ImGuiWindowFlags_AlwaysAutoResize)) {
        EndCapture();  // closed from outside
        return;
    }
    ImGui::Text("Binding: %s", _editLabel.c_str());
    switch (_capture) {
        case Capture::Keyboard: ImGui::TextUnformatted("Press a key on your keyboard..."); break;
        case Capture::Mouse: ImGui::TextUnformatted("Click a button on your mouse..."); break;
        case Capture::Gamepad:
            ImGui::TextUnformatted("Press a button or move an axis on your gamepad...");
            PollGamepad();
            break;
        case Capture::Joystick:
            ImGui::TextUnformatted("Press a button or move an axis on a joystick...");
            PollJoysticks();
            break;
        case Capture::None: break;
    }
    const bool done = !_editKeyboardBinding && !_editMouseButtonBinding && !_editGamepadBinding && !_editJoystickBinding;
    if (done || Controller::GetEscape()) {
        EndCapture();
        ImGui::CloseCurrentPopup();
    }
    ImGui::EndPopup();
}

void SettingsUi::PollGamepad() {
    auto pad = Game::GetFirstGamepad();
    if (!pad || !_editBinding) return;
    InputBinding& b = *_editBinding;
    auto take = [&] {
        b.gamepadId = pad->GUID;
        b.gamepadIndex = SameGuidIndex(*pad);
        _editGamepadBinding = false;
        _settingsUpdated = true;
    };
    // Every button is read each frame: the first reading only primes its edge detection.
    int pressed = -1;
    for (int button = 0; button < kGamepadButtons; ++button)
        if (pad->GetGamepadButtonBinding(button) && pressed < 0) pressed = button;
    if (pressed >= 0) {
        b.gamepadButton = pressed;
        b.gamepadAxis = -1;
        return take();
    }
    for (int axis = 0; axis < kGamepadAxes; ++axis) {
        const float v = pad->GetGamepadAxis(axis, 0.0f, false, false);
        const float rest = _restingAxes.try_emplace({pad->id, axis}, v).first->second;
        if (std::fabs(v - rest) > kAxisCaptureTravel) {
            b.gamepadAxis = int16_t(axis);
            b.gamepadAxisDirection = v > rest ? 1 : -1;
            b.gamepadButton = -1;
            return take();
        }
    }
}

void SettingsUi::PollJoysticks() {
    if (!_editBinding) return;
    InputBinding& b = *_editBinding;
    for (auto& [slot, device] : Game::_joysticks) {
        if (!device || !device->connected) continue;
        auto take = [&] {
            b.joystickGuid = device->GUID;
            b.joystickIndex = SameGuidIndex(*device);
            _editJoystickBinding = false;
            _settingsUpdated = true;
        };
        int pressed = -1;
        for (int button = 0; button < device->buttonCount; ++button)
            if (device->GetButtonBinding(button) && pressed < 0) pressed = button;
        if (pressed >= 0) {
            b.joystickButton = pressed;
            b.joystickAxis = -1;
            return take();
        }
        for (int axis = 0; axis < device->axisCount; ++axis) {
            const float v = device->GetAxis(axis, 0.0f, false, false);
            const float rest = _restingAxes.try_emplace({device->id, axis}, v).first->second;
            if (std::fabs(v - rest) > kAxisCaptureTravel) {
                b.joystickAxis = int16_t(axis);
                b.joystickAxisDirection = v > rest ? 1 : -1;
                b.joystickButton = -1;
                return take();
            }
        }
    }
}

}  // namespace game::graphics::ui
