#pragma once
#include <string>
#include <vector>

#include "game/QuorlCodeEditor.h"

namespace game {

// One program file of the QuorlCode language in a window of its own: the node editor beside the
// program text it generates, with Save and Reload. The file's first line holds the graph, so the
// file is all the editor needs. Saving replaces the file atomically (AtomicFile): it holds the
// old program or the new one, never a part. A file that can't be read or holds no program is
// reported in the window and never written over: Save is refused until a Reload succeeds.
// Interface thread only.
class QuorlProgramWindow {
public:
    // Loads `file` at once; see error() for how that went.
    explicit QuorlProgramWindow(std::string file);

    // Reads the file into the editor. False, with the reason in error() and the graph emptied,
    // when the file can't be read or holds no program; nodes that can't be read are skipped and
    // listed in error() while the rest loads.
    bool Reload();
    // Writes the program of the graph over the file. False, with the reason in error() and the
    // file untouched, after a failed load, for a graph that makes no program, or when the file
    // can't be written.
    bool Save();
    // Draws the window while `open`; its close button clears `open`.
    void Draw();

    const std::string& file() const { return _file; }
    const std::string& error() const { return _error; }
    const std::string& title() const { return _title; }
    // The graph differs from the file.
    bool unsaved() const { return _unsaved; }

    QuorlCodeEditor::Editor editor;
    bool open = true;

private:
    std::string _file;
    std::string _title;
    std::string _error;
    bool _loaded = false;
    bool _unsaved = false;
};

}  // namespace game
