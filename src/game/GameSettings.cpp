#include "game/GameSettings.h"

#include <map>
#include <mutex>

namespace game {

namespace {

using Conf = quorl::filesystem::ConfigFile::Conf;
using quorl::filesystem::ConfigFile;

// Device codes (GLFW numbering) of the default bindings.
constexpr int kNone = -1;
constexpr int KEY_SPACE = 32, KEY_MINUS = 45, KEY_EQUAL = 61, KEY_GRAVE_ACCENT = 96;
constexpr int KEY_0 = 48, KEY_1 = 49, KEY_2 = 50, KEY_3 = 51, KEY_4 = 52, KEY_5 = 53, KEY_6 = 54, KEY_7 = 55,
              KEY_8 = 56, KEY_9 = 57;
constexpr int KEY_A = 65, KEY_C = 67, KEY_D = 68, KEY_E = 69, KEY_F = 70, KEY_J = 74, KEY_K = 75, KEY_L = 76,
              KEY_Q = 81, KEY_R = 82, KEY_S = 83, KEY_T = 84, KEY_V = 86, KEY_W = 87, KEY_X = 88, KEY_Z = 90;
constexpr int KEY_ENTER = 257, KEY_TAB = 258, KEY_RIGHT = 262, KEY_LEFT = 263, KEY_DOWN = 264, KEY_UP = 265;
constexpr int KEY_LEFT_SHIFT = 340, KEY_LEFT_CONTROL = 341, KEY_LEFT_ALT = 342;
constexpr int MOUSE_BUTTON_LEFT = 0, MOUSE_BUTTON_RIGHT = 1;
constexpr int GAMEPAD_BUTTON_A = 0, GAMEPAD_BUTTON_B = 1, GAMEPAD_BUTTON_X = 2, GAMEPAD_BUTTON_Y = 3,
              GAMEPAD_BUTTON_LEFT_BUMPER = 4, GAMEPAD_BUTTON_RIGHT_BUMPER = 5, GAMEPAD_BUTTON_LEFT_THUMB = 9,
              GAMEPAD_BUTTON_RIGHT_THUMB = 10, GAMEPAD_BUTTON_DPAD_UP = 11, GAMEPAD_BUTTON_DPAD_RIGHT = 12,
              GAMEPAD_BUTTON_DPAD_DOWN = 13, GAMEPAD_BUTTON_DPAD_LEFT = 14;
constexpr int GAMEPAD_AXIS_LEFT_X = 0, GAMEPAD_AXIS_LEFT_Y = 1, GAMEPAD_AXIS_RIGHT_X = 2, GAMEPAD_AXIS_RIGHT_Y = 3,
              GAMEPAD_AXIS_RIGHT_TRIGGER = 5;

struct BindingDefault {
    const char* key;
    GameSettings::InputBinding GameSettings::*field;
    int keyboard, mouse, gamepadButton, gamepadAxis, gamepadDirection, joystickAxis, joystickDirection;
};

// In the order of the file.
const BindingDefault kBindingDefaults[] = {
    {"input_binding_input_chat", &GameSettings::input_binding_input_chat, KEY_ENTER, kNone, kNone, kNone, 1, kNone, 1},
    {"input_binding_sit", &GameSettings::input_binding_sit, KEY_R, kNone, GAMEPAD_BUTTON_B, kNone, 1, kNone, 1},
    {"input_binding_third_person", &GameSettings::input_binding_third_person, KEY_K, kNone, kNone, kNone, 1, kNone, 1},
    {"input_binding_zoom", &GameSettings::input_binding_zoom, KEY_Z, kNone, kNone, kNone, 1, kNone, 1},
    {"input_binding_avatar_jump", &GameSettings::input_binding_avatar_jump, KEY_SPACE, kNone, GAMEPAD_BUTTON_A, kNone, 1, kNone, 1},
    {"input_binding_avatar_look_toggle", &GameSettings::input_binding_avatar_look_toggle, KEY_LEFT_ALT, kNone, kNone, kNone, 1, kNone, 1},
    {"input_binding_get_info", &GameSettings::input_binding_get_info, KEY_V, kNone, GAMEPAD_BUTTON_X, kNone, 1, kNone, 1},
    {"input_binding_avatar_interact", &GameSettings::input_binding_avatar_interact, KEY_F, kNone, GAMEPAD_BUTTON_Y, kNone, 1, kNone, 1},
    {"input_binding_avatar_light", &GameSettings::input_binding_avatar_light, KEY_L, kNone, GAMEPAD_BUTTON_RIGHT_BUMPER, kNone, 1, kNone, 1},
    {"input_binding_avatar_sprint", &GameSettings::input_binding_avatar_sprint, KEY_LEFT_SHIFT, kNone, GAMEPAD_BUTTON_LEFT_THUMB, kNone, 1, kNone, 1},
    {"input_binding_avatar_crouch", &GameSettings::input_binding_avatar_crouch, KEY_LEFT_CONTROL, kNone, GAMEPAD_BUTTON_RIGHT_THUMB, kNone, 1, kNone, 1},
    {"input_binding_avatar_jetpack", &GameSettings::input_binding_avatar_jetpack, KEY_J, kNone, GAMEPAD_BUTTON_LEFT_BUMPER, kNone, 1, kNone, 1},
    {"input_binding_avatar_inventory_toggle", &GameSettings::input_binding_avatar_inventory_toggle, KEY_TAB, kNone, GAMEPAD_BUTTON_DPAD_UP, kNone, 1, kNone, 1},
    {"input_binding_avatar_inventory_select_prev", &GameSettings::input_binding_avatar_inventory_select_prev, KEY_MINUS, kNone, GAMEPAD_BUTTON_DPAD_LEFT, kNone, 1, kNone, 1},
    {"input_binding_avatar_inventory_select_next", &GameSettings::input_binding_avatar_inventory_select_next, KEY_EQUAL, kNone, GAMEPAD_BUTTON_DPAD_RIGHT, kNone, 1, kNone, 1},
    {"input_binding_avatar_inventory_select_1", &GameSettings::input_binding_avatar_inventory_select_1, KEY_1, kNone, kNone, kNone, 1, kNone, 1},
    {"input_binding_avatar_inventory_select_2", &GameSettings::input_binding_avatar_inventory_select_2, KEY_2, kNone, kNone, kNone, 1, kNone, 1},
    {"input_binding_avatar_inventory_select_3", &GameSettings::input_binding_avatar_inventory_select_3, KEY_3, kNone, kNone, kNone, 1, kNone, 1},
    {"input_binding_avatar_inventory_select_4", &GameSettings::input_binding_avatar_inventory_select_4, KEY_4, kNone, kNone, kNone, 1, kNone, 1},
    {"input_binding_avatar_inventory_select_5", &GameSettings::input_binding_avatar_inventory_select_5, KEY_5, kNone, kNone, kNone, 1, kNone, 1},
    {"input_binding_avatar_inventory_select_6", &GameSettings::input_binding_avatar_inventory_select_6, KEY_6, kNone, kNone, kNone, 1, kNone, 1},
    {"input_binding_avatar_inventory_select_7", &GameSettings::input_binding_avatar_inventory_select_7, KEY_7, kNone, kNone, kNone, 1, kNone, 1},
    {"input_binding_avatar_inventory_select_8", &GameSettings::input_binding_avatar_inventory_select_8, KEY_8, kNone, kNone, kNone, 1, kNone, 1},
    {"input_binding_avatar_inventory_select_9", &GameSettings::input_binding_avatar_inventory_select_9, KEY_9, kNone, kNone, kNone, 1, kNone, 1},
    {"input_binding_avatar_inventory_deselect", &GameSettings::input_binding_avatar_inventory_deselect, KEY_GRAVE_ACCENT, kNone, GAMEPAD_BUTTON_DPAD_DOWN, kNone, 1, kNone, 1},
    {"input_binding_avatar_tool_primary", &GameSettings::input_binding_avatar_tool_primary, kNone, MOUSE_BUTTON_LEFT, kNone, kNone, 1, kNone, 1},
    {"input_binding_avatar_tool_secondary", &GameSettings::input_binding_avatar_tool_secondary, kNone, MOUSE_BUTTON_RIGHT, kNone, kNone, 1, kNone, 1},
    {"input_binding_avatar_tool_configure", &GameSettings::input_binding_avatar_tool_configure, KEY_C, kNone, kNone, kNone, 1, kNone, 1},
    {"input_binding_avatar_tool_special_mode", &GameSettings::input_binding_avatar_tool_special_mode, KEY_X, kNone, kNone, kNone, 1, kNone, 1},
    {"input_binding_avatar_translate_forward", &GameSettings::input_binding_avatar_translate_forward, KEY_W, kNone, kNone, GAMEPAD_AXIS_LEFT_Y, -1, kNone, 1},
    {"input_binding_avatar_translate_backward", &GameSettings::input_binding_avatar_translate_backward, KEY_S, kNone, kNone, GAMEPAD_AXIS_LEFT_Y, 1, kNone, 1},
    {"input_binding_avatar_translate_left", &GameSettings::input_binding_avatar_translate_left, KEY_A, kNone, kNone, GAMEPAD_AXIS_LEFT_X, -1, kNone, 1},
    {"input_binding_avatar_translate_right", &GameSettings::input_binding_avatar_translate_right, KEY_D, kNone, kNone, GAMEPAD_AXIS_LEFT_X, 1, kNone, 1},
    {"input_binding_avatar_roll_left", &GameSettings::input_binding_avatar_roll_left, KEY_Q, kNone, kNone, kNone, 1, kNone, 1},
    {"input_binding_avatar_roll_right", &GameSettings::input_binding_avatar_roll_right, KEY_E, kNone, kNone, kNone, 1, kNone, 1},
    {"input_binding_avatar_pitch_up", &GameSettings::input_binding_avatar_pitch_up, kNone, kNone, kNone, GAMEPAD_AXIS_RIGHT_Y, 1, kNone, 1},
    {"input_binding_avatar_pitch_down", &GameSettings::input_binding_avatar_pitch_down, kNone, kNone, kNone, GAMEPAD_AXIS_RIGHT_Y, -1, kNone, 1},
    {"input_binding_avatar_yaw_left", &GameSettings::input_binding_avatar_yaw_left, kNone, kNone, kNone, GAMEPAD_AXIS_RIGHT_X, -1, kNone, 1},
    {"input_binding_avatar_yaw_right", &GameSettings::input_binding_avatar_yaw_right, kNone, kNone, kNone, GAMEPAD_AXIS_RIGHT_X, 1, kNone, 1},
    {"input_binding_vehicle_gamepad_look_toggle", &GameSettings::input_binding_vehicle_gamepad_look_toggle, kNone, kNone, GAMEPAD_BUTTON_RIGHT_THUMB, kNone, 1, kNone, 1},
    {"input_binding_vehicle_aux_0", &GameSettings::input_binding_vehicle_aux_0, KEY_0, kNone, GAMEPAD_BUTTON_A, kNone, 1, kNone, 1},
    {"input_binding_vehicle_aux_1", &GameSettings::input_binding_vehicle_aux_1, KEY_1, kNone, GAMEPAD_BUTTON_X, kNone, 1, kNone, 1},
    {"input_binding_vehicle_aux_2", &GameSettings::input_binding_vehicle_aux_2, KEY_2, kNone, GAMEPAD_BUTTON_Y, kNone, 1, kNone, 1},
    {"input_binding_vehicle_aux_3", &GameSettings::input_binding_vehicle_aux_3, KEY_3, kNone, GAMEPAD_BUTTON_RIGHT_BUMPER, kNone, 1, kNone, 1},
    {"input_binding_vehicle_aux_4", &GameSettings::input_binding_vehicle_aux_4, KEY_4, kNone, GAMEPAD_BUTTON_LEFT_BUMPER, kNone, 1, kNone, 1},
    {"input_binding_vehicle_aux_5", &GameSettings::input_binding_vehicle_aux_5, KEY_5, kNone, GAMEPAD_BUTTON_LEFT_THUMB, kNone, 1, kNone, 1},
    {"input_binding_vehicle_aux_6", &GameSettings::input_binding_vehicle_aux_6, KEY_6, kNone, kNone, kNone, 1, kNone, 1},
    {"input_binding_vehicle_aux_7", &GameSettings::input_binding_vehicle_aux_7, KEY_7, kNone, kNone, kNone, 1, kNone, 1},
    {"input_binding_vehicle_aux_8", &GameSettings::input_binding_vehicle_aux_8, KEY_8, kNone, kNone, kNone, 1, kNone, 1},
    {"input_binding_vehicle_aux_9", &GameSettings::input_binding_vehicle_aux_9, KEY_9, kNone, kNone, kNone, 1, kNone, 1},
    {"input_binding_vehicle_translate_up", &GameSettings::input_binding_vehicle_translate_up, KEY_SPACE, kNone, GAMEPAD_BUTTON_DPAD_UP, kNone, 1, kNone, 1},
    {"input_binding_vehicle_translate_down", &GameSettings::input_binding_vehicle_translate_down, KEY_LEFT_CONTROL, kNone, GAMEPAD_BUTTON_DPAD_DOWN, kNone, 1, kNone, 1},
    {"input_binding_vehicle_roll_left", &GameSettings::input_binding_vehicle_roll_left, KEY_Q, kNone, GAMEPAD_BUTTON_DPAD_LEFT, kNone, 1, 0, -1},
    {"input_binding_vehicle_roll_right", &GameSettings::input_binding_vehicle_roll_right, KEY_E, kNone, GAMEPAD_BUTTON_DPAD_RIGHT, kNone, 1, 0, 1},
    {"input_binding_vehicle_translate_forward", &GameSettings::input_binding_vehicle_translate_forward, KEY_W, kNone, kNone, GAMEPAD_AXIS_LEFT_Y, -1, kNone, 1},
    {"input_binding_vehicle_translate_backward", &GameSettings::input_binding_vehicle_translate_backward, KEY_S, kNone, kNone, GAMEPAD_AXIS_LEFT_Y, 1, kNone, 1},
    {"input_binding_vehicle_translate_left", &GameSettings::input_binding_vehicle_translate_left, KEY_A, kNone, kNone, GAMEPAD_AXIS_LEFT_X, -1, kNone, 1},
    {"input_binding_vehicle_translate_right", &GameSettings::input_binding_vehicle_translate_right, KEY_D, kNone, kNone, GAMEPAD_AXIS_LEFT_X, 1, kNone, 1},
    {"input_binding_vehicle_pitch_up", &GameSettings::input_binding_vehicle_pitch_up, KEY_DOWN, kNone, kNone, GAMEPAD_AXIS_RIGHT_Y, 1, 1, 1},
    {"input_binding_vehicle_pitch_down", &GameSettings::input_binding_vehicle_pitch_down, KEY_UP, kNone, kNone, GAMEPAD_AXIS_RIGHT_Y, -1, 1, -1},
    {"input_binding_vehicle_yaw_left", &GameSettings::input_binding_vehicle_yaw_left, KEY_LEFT, kNone, kNone, GAMEPAD_AXIS_RIGHT_X, -1, 3, -1},
    {"input_binding_vehicle_yaw_right", &GameSettings::input_binding_vehicle_yaw_right, KEY_RIGHT, kNone, kNone, GAMEPAD_AXIS_RIGHT_X, 1, 3, 1},
    {"input_binding_vehicle_main_thrust", &GameSettings::input_binding_vehicle_main_thrust, KEY_T, kNone, kNone, GAMEPAD_AXIS_RIGHT_TRIGGER, 1, 2, 1},
};

}  // namespace

const std::vector<GameSettings::BindingKey>& GameSettings::BindingKeys() {
    static const std::vector<BindingKey> keys = [] {
        std::vector<BindingKey> v;
        for (const auto& d : kBindingDefaults) v.push_back({d.key, d.field});
        return v;
    }();
    return keys;
}

GameSettings::GameSettings(const std::string& path, std::optional<int> option) : ConfigFile(path, option) {
    for (const auto& d : kBindingDefaults) {
        InputBinding& b = this->*(d.field);
        b = InputBinding{};
        b.key = d.keyboard;
        b.mouseButton = d.mouse;
        b.gamepadButton = d.gamepadButton;
        b.gamepadAxis = static_cast<int16_t>(d.gamepadAxis);
        b.gamepadAxisDirection = static_cast<int16_t>(d.gamepadDirection);
        b.joystickAxis = static_cast<int16_t>(d.joystickAxis);
        b.joystickAxisDirection = static_cast<int16_t>(d.joystickDirection);
    }
    ReadConfig();
    StartAutoReloadThread();
}

GameSettings::~GameSettings() { StopAutoReloadThread(); }

std::shared_ptr<GameSettings> GameSettings::Instance(quorl::filesystem::FilePath path, std::optional<int> option) {
    static std::mutex mutex;
    static std::map<std::string, std::weak_ptr<GameSettings>> instances;
    std::lock_guard lock(mutex);
    std::weak_ptr<GameSettings>& entry = instances[path.String()];
    if (auto live = entry.lock()) return live;
    auto created = std::make_shared<GameSettings>(path.String(), option);
    entry = created;
    return created;
}

#define SETTINGS_ROW(field, type) Conf(this, #field, &field, ConfigFile::type)

std::vector<Conf> GameSettings::GameRows() {
    return {SETTINGS_ROW(show_help_tooltips, CONF_BOOL), SETTINGS_ROW(admin_privileges, CONF_BOOL)};
}

std::vector<Conf> GameSettings::GraphicsRows() {
    return {
        SETTINGS_ROW(graphics_preset, CONF_INT),
        SETTINGS_ROW(framerate_limit_main_rendering, CONF_INT),
        SETTINGS_ROW(vsync, CONF_BOOL),
        SETTINGS_ROW(fov, CONF_FLOAT),
        SETTINGS_ROW(taa, CONF_BOOL),
        SETTINGS_ROW(render_scale, CONF_FLOAT),
        SETTINGS_ROW(ui_scaling, CONF_FLOAT),
        SETTINGS_ROW(upscaling_algo, CONF_STRING),
        SETTINGS_ROW(upscaling_quality_setting, CONF_INT),
        SETTINGS_ROW(upscaling_sharpness, CONF_FLOAT),
        SETTINGS_ROW(final_upscale, CONF_FLOAT),
        SETTINGS_ROW(tone_mapping, CONF_BOOL),
        SETTINGS_ROW(dithering, CONF_BOOL),
        SETTINGS_ROW(brightness, CONF_FLOAT),
        SETTINGS_ROW(contrast, CONF_FLOAT),
        SETTINGS_ROW(gamma, CONF_FLOAT),
        SETTINGS_ROW(terrain_clutter, CONF_BOOL),
        SETTINGS_ROW(terrain_detail, CONF_FLOAT),
    };
}

std::vector<Conf> GameSettings::PerformanceRows() { return {SETTINGS_ROW(main_thread_cpu_affinity, CONF_INT)}; }

std::vector<Conf> GameSettings::IdeRows() {
    return {SETTINGS_ROW(ide_zoom, CONF_FLOAT), SETTINGS_ROW(ide_opacity, CONF_FLOAT)};
}

std::vector<Conf> GameSettings::AudioRows() {
    return {
        SETTINGS_ROW(master_volume, CONF_FLOAT),
        SETTINGS_ROW(entities_volume, CONF_FLOAT),
        SETTINGS_ROW(interface_volume, CONF_FLOAT),
        SETTINGS_ROW(environment_volume, CONF_FLOAT),
    };
}

std::vector<Conf> GameSettings::InputRows() {
    std::vector<Conf> rows{SETTINGS_ROW(look_sensitivity, CONF_FLOAT), SETTINGS_ROW(avatar_mouselook_invert_y, CONF_BOOL)};
    for (const auto& d : kBindingDefaults) rows.emplace_back(this, d.key, &(this->*(d.field)), CONF_INPUT_BINDING);
    rows.push_back(SETTINGS_ROW(input_gamepad_axis_deadzone, CONF_FLOAT));
    rows.push_back(SETTINGS_ROW(input_joystick_axis_deadzone, CONF_FLOAT));
    return rows;
}

void GameSettings::ReadConfig() {
    ReadFromINI("game", {SETTINGS_ROW(debug_window, CONF_BOOL), SETTINGS_ROW(dev_tools, CONF_BOOL)}, false);
    ReadFromINI("game", GameRows(), true);
    ReadFromINI("graphics", GraphicsRows(), true);
    ReadFromINI("performance", PerformanceRows(), true);
    ReadFromINI("ide", IdeRows(), true);
    ReadFromINI("audio", AudioRows(), true);
    ReadFromINI("input", InputRows(), true);
}

// Same order as ReadConfig, without the first call: debug_window and dev_tools are never saved.
void GameSettings::WriteConfig() {
    WriteBatch batch(*this);  // one replacement of the file for the six sections
    WriteToINI("game", GameRows());
    WriteToINI("graphics", GraphicsRows());
    WriteToINI("performance", PerformanceRows());
    WriteToINI("ide", IdeRows());
    WriteToINI("audio", AudioRows());
    WriteToINI("input", InputRows());
}

#undef SETTINGS_ROW

}  // namespace game
