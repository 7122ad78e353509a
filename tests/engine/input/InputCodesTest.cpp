#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

#include "quorl/input/InputCodes.h"

using quorl::input::code_to_string;

TEST(InputCodes, NamesByPrefix) {
    EXPECT_STREQ(code_to_string("KEY", 32), "KEY_SPACE");
    EXPECT_STREQ(code_to_string("KEY", 57), "KEY_9");
    EXPECT_STREQ(code_to_string("KEY", 90), "KEY_Z");
    EXPECT_STREQ(code_to_string("KEY", 314), "KEY_F25");
    EXPECT_STREQ(code_to_string("KEY", 329), "KEY_KP_9");
    EXPECT_STREQ(code_to_string("KEY", 348), "KEY_MENU");
    EXPECT_STREQ(code_to_string("MOUSE_BUTTON", 2), "MOUSE_BUTTON_MIDDLE");
    EXPECT_STREQ(code_to_string("MOUSE_BUTTON", 7), "MOUSE_BUTTON_8");
    EXPECT_STREQ(code_to_string("GAMEPAD_AXIS", 5), "GAMEPAD_AXIS_RIGHT_TRIGGER");
    EXPECT_STREQ(code_to_string("GAMEPAD_BUTTON", 14), "GAMEPAD_BUTTON_DPAD_LEFT");
    EXPECT_STREQ(code_to_string("JOYSTICK_BUTTON", 15), "JOYSTICK_BUTTON_16");
    EXPECT_STREQ(code_to_string("JOYSTICK_AXIS", 0), "JOYSTICK_AXIS_1");
}

TEST(InputCodes, OutsideTheTableIsNone) {
    for (int code : {-1, 0, 31, 33, 97, 160, 163, 255, 270, 285, 315, 337, 339, 349, 100000})
        EXPECT_STREQ(code_to_string("KEY", code), "NONE") << code;
    EXPECT_STREQ(code_to_string("MOUSE_BUTTON", 8), "NONE");
    EXPECT_STREQ(code_to_string("GAMEPAD_AXIS", 6), "NONE");
    EXPECT_STREQ(code_to_string("GAMEPAD_BUTTON", 15), "NONE");
    EXPECT_STREQ(code_to_string("JOYSTICK_BUTTON", 16), "NONE");
    EXPECT_STREQ(code_to_string("JOYSTICK_AXIS", 9), "NONE");
    EXPECT_STREQ(code_to_string("JOYSTICK_AXIS", -1), "NONE");
    for (const char* prefix : {"", "KE", "key", "KEYS", "MOUSE_BUTTONS", "GAMEPAD_AXES", "JOYSTICK"})
        EXPECT_STREQ(code_to_string(prefix, 0), "NONE") << prefix;
}

// Every named key code has a distinct name that starts with the prefix; 120 codes are named.
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
