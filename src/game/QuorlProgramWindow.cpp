#include "game/QuorlProgramWindow.h"

#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "game/graphics/ui/ItemProbe.h"
#include "quorl/filesystem/AtomicFile.h"

namespace game {

using graphics::ui::ItemProbe;

QuorlProgramWindow::QuorlProgramWindow(std::string file)
    : editor(std::filesystem::path(file).filename().string()), _file(std::move(file)) {
    _title = "Program " + editor.programName + "###program " + _file;
    Reload();
}

bool QuorlProgramWindow::Reload() {
    _loaded = _unsaved = false;
    _error.clear();
    editor.ClearAllNodes();
    editor.textEditor.SetText("");
    std::ifstream in(_file, std::ios::binary);
    if (!in) {
        _error = "cannot read " + _file + ": " + std::strerror(errno) + "; it is left as it is";
        return false;
    }
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::vector<std::string> skipped;
    try {
        editor.LoadProgram(text, &skipped);
    } catch (const std::exception& e) {
        editor.ClearAllNodes();
        _error = _file + " holds no program (" + e.what() + "); it is left as it is";
        return false;
    }
    if (!editor.Serialize(false)) {
        _error = "the graph of " + _file + " makes no program; it is left as it is";
        editor.ClearAllNodes();
        return false;
    }
    for (const std::string& why : skipped) _error += (_error.empty() ? "skipped a node: " : "; ") + why;
    editor.history.clear();
    editor.history.push_front(editor.root);
    editor.historyPosition = 0;
    editor.modified = false;
    _loaded = true;
    return true;
}

bool QuorlProgramWindow::Save() {
    if (!_loaded) {
        _error = "nothing was loaded from " + _file + ", so nothing is saved over it: Reload first";
        return false;
    }
    if (!editor.Serialize(false)) {
        _error = "the graph makes no program (see the error stream); " + _file + " is left as it is";
        return false;
    }
    const std::string text = editor.textEditor.GetText();
    try {
        quorl::filesystem::AtomicFile out(_file);
        out.Write(text.data(), text.size());
        out.Commit();
    } catch (const std::exception& e) {
        _error = std::string("not saved: ") + e.what();
        return false;
    }
    _error.clear();
    _unsaved = false;
    return true;
}

void QuorlProgramWindow::Draw() {
    if (!open) return;
    ImGui::SetNextWindowSize(ImVec2(900, 500), ImGuiCond_FirstUseEver);
    if (!ImGui::Begin(_title.c_str(), &open)) {
        ImGui::End();
        return;
    }
    if (ImGui::Button("Save")) Save();
    ItemProbe::Note("program.save");
    ImGui::SameLine();
    if (ImGui::Button("Reload")) Reload();
    ItemProbe::Note("program.reload");
    ImGui::SameLine();
    ImGui::TextUnformatted(_unsaved ? "changed since the last save" : "as saved");
    if (!_error.empty()) {
        ImGui::PushStyleColor(ImGuiCol_Text, ImVec4(1.0f, 0.45f, 0.4f, 1.0f));
        ImGui::TextWrapped("%s", _error.c_str());
        ImGui::PopStyleColor();
    }
    // The graph on the left, the program it makes on the right.
    const float width = ImGui::GetContentRegionAvail().x;
    ImGui::BeginChild("graph", ImVec2(width * 0.55f, 0), true);
    editor.Render();
    ImGui::EndChild();
    ItemProbe::Note("program.graph");
    ImGui::SameLine();
    editor.textEditor.Render("program text");
    if (editor.modified) {
        // The text follows the graph; a graph that makes no program keeps the last text.
        editor.modified = false;
        if (_loaded) _unsaved = true;
        editor.Serialize(true);
    }
    ImGui::End();
}

}  // namespace game
