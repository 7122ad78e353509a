#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <tuple>

#include "quorl/input/InputCodes.h"

using quorl::input::code_to_string;

TEST(InputCodes, NamesByPrefixAndNoneOutsideTheTable) {
    // Last name of each table, the first code past it, and prefixes that are not exact.
    const std::tuple<const char*, int, const char*> cases[] = {
        {"KEY", 90, "KEY_Z"}, {"KEY", 314, "KEY_F25"}, {"KEY", 100000, "NONE"},
        {"MOUSE_BUTTON", 7, "MOUSE_BUTTON_8"}, {"MOUSE_BUTTON", 8, "NONE"},
        {"GAMEPAD_AXIS", 5, "GAMEPAD_AXIS_RIGHT_TRIGGER"}, {"GAMEPAD_AXIS", 6, "NONE"},
        {"GAMEPAD_BUTTON", 14, "GAMEPAD_BUTTON_DPAD_LEFT"}, {"GAMEPAD_BUTTON", 15, "NONE"},
        {"JOYSTICK_BUTTON", 15, "JOYSTICK_BUTTON_16"}, {"JOYSTICK_BUTTON", 16, "NONE"},
        {"JOYSTICK_AXIS", 0, "JOYSTICK_AXIS_1"}, {"JOYSTICK_AXIS", -1, "NONE"},
        {"KEYS", 90, "NONE"}, {"key", 90, "NONE"}, {"JOYSTICK", 0, "NONE"},
    };
    for (const auto& [prefix, code, name] : cases) EXPECT_STREQ(code_to_string(prefix, code), name) << code;
}

// Every named key code has a distinct name that starts with the prefix; 120 codes are named, so
// the gaps of the table (31, 97, 160, 255, 315, ...) are NONE.
TEST(InputCodes, KeyNamesAreDistinct) {
    std::set<std::string> names;
    for (int code = -1; code <= 400; ++code) {
        const char* name = code_to_string("KEY", code);
        if (std::strcmp(name, "NONE") == 0) continue;
        EXPECT_EQ(std::string(name).rfind("KEY_", 0), 0u) << code;
        names.insert(name);
    }
    EXPECT_EQ(names.size(), 120u);
}
