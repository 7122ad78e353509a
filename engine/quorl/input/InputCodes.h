#pragma once
#include <string>

namespace quorl::input {

// The name of a device code, GLFW numbering, for one of the prefixes "KEY", "MOUSE_BUTTON",
// "GAMEPAD_AXIS", "GAMEPAD_BUTTON", "JOYSTICK_BUTTON" and "JOYSTICK_AXIS": code_to_string("KEY", 90)
// is "KEY_Z", code_to_string("JOYSTICK_BUTTON", 0) is "JOYSTICK_BUTTON_1". A code or prefix
// outside the table gives "NONE". The result is a literal: nothing is allocated.
const char* code_to_string(const std::string& prefix, int code);

}  // namespace quorl::input
