#pragma once
// Widgets that several node families draw with (QuorlCodeNodes*.cpp).
#include <initializer_list>

#include "game/QuorlCodeEditor.h"

namespace game::QuorlCodeEditor {

// Combo over the labels of the given types; true when the user picked another one.
bool TypeCombo(const char* id, Editor::IO_TYPE current, const char* const* labels,
               std::initializer_list<Editor::IO_TYPE> offered, Editor::IO_TYPE& picked, float width);

}  // namespace game::QuorlCodeEditor
