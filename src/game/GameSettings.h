#pragma once
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "quorl/filesystem/ConfigFile.h"
#include "quorl/filesystem/FilePath.h"

namespace game {

// The user's settings file as an object. Fields are public and read directly by the rest of the
// library; each field's name is the key it is stored under. Read at construction and again by
// the auto-reload thread whenever the file changes on disk; WriteConfig saves everything except
// debug_window and dev_tools, which are honoured when added to the file by hand but never saved.
class GameSettings : public quorl::filesystem::ConfigFile {
public:
    using InputBinding = quorl::filesystem::ConfigFile::InputBinding;

    // Sets the defaults, reads the file (keys missing from it keep their defaults) and starts the
    // auto-reload thread. option goes to ConfigFile (0 or negative: no auto-reload).
    GameSettings(const std::string& path, std::optional<int> option);
    ~GameSettings() override;

    // One live object per path: a second call with the same path returns the first object
    // (option ignored) while any shared_ptr to it lives; after that, a new object is read.
    static std::shared_ptr<GameSettings> Instance(quorl::filesystem::FilePath path, std::optional<int> option);

    void ReadConfig() override;
    void WriteConfig() override;

    // [game]
    bool show_help_tooltips = true;
    bool admin_privileges = false;
    bool debug_window = false;
    bool dev_tools = false;
    // [graphics]
    int32_t graphics_preset = -1;
    int32_t framerate_limit_main_rendering = 0;
    bool vsync = false;
    float fov = 70.0f;
    bool taa = true;
    float render_scale = 1.0f;
    float ui_scaling = 1.0f;
    std::string upscaling_algo = "AUTO";
    int32_t upscaling_quality_setting = 1;
    float upscaling_sharpness = 0.675f;
    float final_upscale = 0.0f;
    bool tone_mapping = true;
    bool dithering = true;
    float brightness = 1.0f;
    float contrast = 1.0f;
    float gamma = 2.4f;
    bool terrain_clutter = true;
    float terrain_detail = 1.0f;
    // [performance]
    int32_t main_thread_cpu_affinity = -1;
    // [audio]
    float master_volume = 0.5f;
    float entities_volume = 0.5f;
    float interface_volume = 1.0f;
    float environment_volume = 0.5f;
    // [ide]
    float ide_zoom = 1.0f;
    float ide_opacity = 0.7f;
    // [input]
    float look_sensitivity = 2.0f;
    bool avatar_mouselook_invert_y = false;
    InputBinding input_binding_input_chat;
    InputBinding input_binding_sit;
    InputBinding input_binding_third_person;
    InputBinding input_binding_zoom;
    InputBinding input_binding_avatar_jump;
    InputBinding input_binding_avatar_look_toggle;
    InputBinding input_binding_get_info;
    InputBinding input_binding_avatar_interact;
    InputBinding input_binding_avatar_light;
    InputBinding input_binding_avatar_sprint;
    InputBinding input_binding_avatar_crouch;
    InputBinding input_binding_avatar_jetpack;
    InputBinding input_binding_avatar_inventory_toggle;
    InputBinding input_binding_avatar_inventory_select_prev;
    InputBinding input_binding_avatar_inventory_select_next;
    InputBinding input_binding_avatar_inventory_select_1;
    InputBinding input_binding_avatar_inventory_select_2;
    InputBinding input_binding_avatar_inventory_select_3;
    InputBinding input_binding_avatar_inventory_select_4;
    InputBinding input_binding_avatar_inventory_select_5;
    InputBinding input_binding_avatar_inventory_select_6;
    InputBinding input_binding_avatar_inventory_select_7;
    InputBinding input_binding_avatar_inventory_select_8;
    InputBinding input_binding_avatar_inventory_select_9;
    InputBinding input_binding_avatar_inventory_deselect;
    InputBinding input_binding_avatar_tool_primary;
    InputBinding input_binding_avatar_tool_secondary;
    InputBinding input_binding_avatar_tool_configure;
    InputBinding input_binding_avatar_tool_special_mode;
    InputBinding input_binding_avatar_translate_forward;
    InputBinding input_binding_avatar_translate_backward;
    InputBinding input_binding_avatar_translate_left;
    InputBinding input_binding_avatar_translate_right;
    InputBinding input_binding_avatar_roll_left;
    InputBinding input_binding_avatar_roll_right;
    InputBinding input_binding_avatar_pitch_up;
    InputBinding input_binding_avatar_pitch_down;
    InputBinding input_binding_avatar_yaw_left;
    InputBinding input_binding_avatar_yaw_right;
    InputBinding input_binding_vehicle_gamepad_look_toggle;
    InputBinding input_binding_vehicle_aux_0;
    InputBinding input_binding_vehicle_aux_1;
    InputBinding input_binding_vehicle_aux_2;
    InputBinding input_binding_vehicle_aux_3;
    InputBinding input_binding_vehicle_aux_4;
    InputBinding input_binding_vehicle_aux_5;
    InputBinding input_binding_vehicle_aux_6;
    InputBinding input_binding_vehicle_aux_7;
    InputBinding input_binding_vehicle_aux_8;
    InputBinding input_binding_vehicle_aux_9;
    InputBinding input_binding_vehicle_translate_up;
    InputBinding input_binding_vehicle_translate_down;
    InputBinding input_binding_vehicle_roll_left;
    InputBinding input_binding_vehicle_roll_right;
    InputBinding input_binding_vehicle_translate_forward;
    InputBinding input_binding_vehicle_translate_backward;
    InputBinding input_binding_vehicle_translate_left;
    InputBinding input_binding_vehicle_translate_right;
    InputBinding input_binding_vehicle_pitch_up;
    InputBinding input_binding_vehicle_pitch_down;
    InputBinding input_binding_vehicle_yaw_left;
    InputBinding input_binding_vehicle_yaw_right;
    InputBinding input_binding_vehicle_main_thrust;
    float input_gamepad_axis_deadzone = 0.1f;
    float input_joystick_axis_deadzone = 0.1f;

    // The binding keys in file order, each with its field.
    struct BindingKey {
        const char* key;
        InputBinding GameSettings::*field;
    };
    static const std::vector<BindingKey>& BindingKeys();

private:
    std::vector<Conf> GameRows();
    std::vector<Conf> GraphicsRows();
    std::vector<Conf> PerformanceRows();
    std::vector<Conf> IdeRows();
    std::vector<Conf> AudioRows();
    std::vector<Conf> InputRows();
};

}  // namespace game
