// Keeps Dear ImGui's core in libzendola: hosts, modules and tests use the library's copy, so that
// they share one ImGui context with the library's panels.
#include <imgui.h>

namespace game {
const char* ImGuiVersion() { return ImGui::GetVersion(); }
}  // namespace game
