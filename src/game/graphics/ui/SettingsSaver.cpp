#include "game/graphics/ui/SettingsSaver.h"

#include <sys/stat.h>

#include <exception>
#include <iostream>

#include "game/GameSettings.h"

namespace game::graphics::ui {

namespace {

// The file's inode, or 0 when it does not exist. A save replaces the file by renaming a new
// one over it, so a successful save always changes the inode.
ino_t FileInode(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 ? st.st_ino : 0;
}

}  // namespace

bool SettingsSaver::Save(GameSettings& settings) {
    const std::string& path = settings.String();
    const ino_t before = FileInode(path);
    std::string error;
    try {
        settings.WriteConfig();
        const ino_t after = FileInode(path);
        if (after == 0 || after == before) error = "the settings could not be saved to " + path;
    } catch (const std::exception& e) {
        error = "the settings could not be saved to " + path + ": " + e.what();
    }
    if (!error.empty() && _error.empty()) std::cerr << "Settings: " << error << std::endl;
    _error = error;
    return error.empty();
}

}  // namespace game::graphics::ui
