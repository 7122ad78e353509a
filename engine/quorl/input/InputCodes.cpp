#include "quorl/input/InputCodes.h"

#include <algorithm>
#include <iterator>

namespace quorl::input {

namespace {

struct Named {
    int code;
    const char* name;
};

// Sorted by code.
constexpr Named kKeys[] = {
    {32, "KEY_SPACE"},
    {39, "KEY_APOSTROPHE"},
    {44, "KEY_COMMA"},
    {45, "KEY_MINUS"},
    {46, "KEY_PERIOD"},
    {47, "KEY_SLASH"},
    {48, "KEY_0"},
    {49, "KEY_1"},
    {50, "KEY_2"},
    {51, "KEY_3"},
    {52, "KEY_4"},
    {53, "KEY_5"},
    {54, "KEY_6"},
    {55, "KEY_7"},
    {56, "KEY_8"},
    {57, "KEY_9"},
    {59, "KEY_SEMICOLON"},
    {61, "KEY_EQUAL"},
    {65, "KEY_A"},
    {66, "KEY_B"},
    {67, "KEY_C"},
    {68, "KEY_D"},
    {69, "KEY_E"},
    {70, "KEY_F"},
    {71, "KEY_G"},
    {72, "KEY_H"},
    {73, "KEY_I"},
    {74, "KEY_J"},
    {75, "KEY_K"},
    {76, "KEY_L"},
    {77, "KEY_M"},
    {78, "KEY_N"},
    {79, "KEY_O"},
    {80, "KEY_P"},
    {81, "KEY_Q"},
    {82, "KEY_R"},
    {83, "KEY_S"},
    {84, "KEY_T"},
    {85, "KEY_U"},
    {86, "KEY_V"},
    {87, "KEY_W"},
    {88, "KEY_X"},
    {89, "KEY_Y"},
    {90, "KEY_Z"},
    {91, "KEY_LEFT_BRACKET"},
    {92, "KEY_BACKSLASH"},
    {93, "KEY_RIGHT_BRACKET"},
    {96, "KEY_GRAVE_ACCENT"},
    {161, "KEY_WORLD_1"},
    {162, "KEY_WORLD_2"},
    {256, "KEY_ESCAPE"},
    {257, "KEY_ENTER"},
    {258, "KEY_TAB"},
    {259, "KEY_BACKSPACE"},
    {260, "KEY_INSERT"},
    {261, "KEY_DELETE"},
    {262, "KEY_RIGHT"},
    {263, "KEY_LEFT"},
    {264, "KEY_DOWN"},
    {265, "KEY_UP"},
    {266, "KEY_PAGE_UP"},
    {267, "KEY_PAGE_DOWN"},
    {268, "KEY_HOME"},
    {269, "KEY_END"},
    {280, "KEY_CAPS_LOCK"},
    {281, "KEY_SCROLL_LOCK"},
    {282, "KEY_NUM_LOCK"},
    {283, "KEY_PRINT_SCREEN"},
    {284, "KEY_PAUSE"},
    {290, "KEY_F1"},
    {291, "KEY_F2"},
    {292, "KEY_F3"},
    {293, "KEY_F4"},
    {294, "KEY_F5"},
    {295, "KEY_F6"},
    {296, "KEY_F7"},
    {297, "KEY_F8"},
    {298, "KEY_F9"},
    {299, "KEY_F10"},
    {300, "KEY_F11"},
    {301, "KEY_F12"},
    {302, "KEY_F13"},
    {303, "KEY_F14"},
    {304, "KEY_F15"},
    {305, "KEY_F16"},
    {306, "KEY_F17"},
    {307, "KEY_F18"},
    {308, "KEY_F19"},
    {309, "KEY_F20"},
    {310, "KEY_F21"},
    {311, "KEY_F22"},
    {312, "KEY_F23"},
    {313, "KEY_F24"},
    {314, "KEY_F25"},
    {320, "KEY_KP_0"},
    {321, "KEY_KP_1"},
    {322, "KEY_KP_2"},
    {323, "KEY_KP_3"},
    {324, "KEY_KP_4"},
    {325, "KEY_KP_5"},
    {326, "KEY_KP_6"},
    {327, "KEY_KP_7"},
    {328, "KEY_KP_8"},
    {329, "KEY_KP_9"},
    {330, "KEY_KP_DECIMAL"},
    {331, "KEY_KP_DIVIDE"},
    {332, "KEY_KP_MULTIPLY"},
    {333, "KEY_KP_SUBTRACT"},
    {334, "KEY_KP_ADD"},
    {335, "KEY_KP_ENTER"},
    {336, "KEY_KP_EQUAL"},
    {340, "KEY_LEFT_SHIFT"},
    {341, "KEY_LEFT_CONTROL"},
    {342, "KEY_LEFT_ALT"},
    {343, "KEY_LEFT_SUPER"},
    {344, "KEY_RIGHT_SHIFT"},
    {345, "KEY_RIGHT_CONTROL"},
    {346, "KEY_RIGHT_ALT"},
    {347, "KEY_RIGHT_SUPER"},
    {348, "KEY_MENU"},
};

constexpr const char* kMouseButtons[] = {"MOUSE_BUTTON_LEFT", "MOUSE_BUTTON_RIGHT", "MOUSE_BUTTON_MIDDLE", "MOUSE_BUTTON_4",
                                         "MOUSE_BUTTON_5",    "MOUSE_BUTTON_6",     "MOUSE_BUTTON_7",      "MOUSE_BUTTON_8"};
constexpr const char* kGamepadAxes[] = {"GAMEPAD_AXIS_LEFT_X",  "GAMEPAD_AXIS_LEFT_Y",       "GAMEPAD_AXIS_RIGHT_X",
                                        "GAMEPAD_AXIS_RIGHT_Y", "GAMEPAD_AXIS_LEFT_TRIGGER", "GAMEPAD_AXIS_RIGHT_TRIGGER"};
constexpr const char* kGamepadButtons[] = {
    "GAMEPAD_BUTTON_A",          "GAMEPAD_BUTTON_B",           "GAMEPAD_BUTTON_X",         "GAMEPAD_BUTTON_Y",
    "GAMEPAD_BUTTON_LEFT_BUMPER", "GAMEPAD_BUTTON_RIGHT_BUMPER", "GAMEPAD_BUTTON_BACK",      "GAMEPAD_BUTTON_START",
    "GAMEPAD_BUTTON_GUIDE",      "GAMEPAD_BUTTON_LEFT_THUMB",  "GAMEPAD_BUTTON_RIGHT_THUMB", "GAMEPAD_BUTTON_DPAD_UP",
    "GAMEPAD_BUTTON_DPAD_RIGHT", "GAMEPAD_BUTTON_DPAD_DOWN",   "GAMEPAD_BUTTON_DPAD_LEFT"};
constexpr const char* kJoystickButtons[] = {
    "JOYSTICK_BUTTON_1",  "JOYSTICK_BUTTON_2",  "JOYSTICK_BUTTON_3",  "JOYSTICK_BUTTON_4",
    "JOYSTICK_BUTTON_5",  "JOYSTICK_BUTTON_6",  "JOYSTICK_BUTTON_7",  "JOYSTICK_BUTTON_8",
    "JOYSTICK_BUTTON_9",  "JOYSTICK_BUTTON_10", "JOYSTICK_BUTTON_11", "JOYSTICK_BUTTON_12",
    "JOYSTICK_BUTTON_13", "JOYSTICK_BUTTON_14", "JOYSTICK_BUTTON_15", "JOYSTICK_BUTTON_16"};
constexpr const char* kJoystickAxes[] = {"JOYSTICK_AXIS_1", "JOYSTICK_AXIS_2", "JOYSTICK_AXIS_3",
                                         "JOYSTICK_AXIS_4", "JOYSTICK_AXIS_5", "JOYSTICK_AXIS_6",
                                         "JOYSTICK_AXIS_7", "JOYSTICK_AXIS_8", "JOYSTICK_AXIS_9"};

constexpr bool SortedByCode() {
    for (size_t i = 1; i < std::size(kKeys); ++i)
        if (kKeys[i - 1].code >= kKeys[i].code) return false;
    return true;
}
static_assert(SortedByCode());
static_assert(std::size(kKeys) == 120);

template <size_t N>
const char* At(const char* const (&names)[N], int code) {
    return code >= 0 && size_t(code) < N ? names[code] : "NONE";
}

const char* Key(int code) {
    const Named* it = std::lower_bound(std::begin(kKeys), std::end(kKeys), code,
                                       [](const Named& n, int c) { return n.code < c; });
    return it != std::end(kKeys) && it->code == code ? it->name : "NONE";
}

}  // namespace

// Prefixes are told apart by length first, then by their letters.
const char* code_to_string(const std::string& prefix, int code) {
    auto is = [&prefix](const char* name) { return prefix.compare(name) == 0; };
    switch (prefix.size()) {
        case 3:
            if (is("KEY")) return Key(code);
            break;
        case 12:
            if (is("MOUSE_BUTTON")) return At(kMouseButtons, code);
            if (is("GAMEPAD_AXIS")) return At(kGamepadAxes, code);
            break;
        case 13:
            if (is("JOYSTICK_AXIS")) return At(kJoystickAxes, code);
            break;
        case 14:
            if (is("GAMEPAD_BUTTON")) return At(kGamepadButtons, code);
            break;
        case 15:
            if (is("JOYSTICK_BUTTON")) return At(kJoystickButtons, code);
            break;
        default: break;
    }
    return "NONE";
}

}  // namespace quorl::input
