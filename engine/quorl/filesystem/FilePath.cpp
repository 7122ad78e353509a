#include "quorl/filesystem/FilePath.h"

#include <filesystem>
#include <system_error>

namespace quorl::filesystem {

bool FilePath::Delete() {
    std::error_code ec;
    return std::filesystem::remove(_path, ec);
}

bool FilePath::Exists() const {
    std::error_code ec;
    return !_path.empty() && std::filesystem::exists(_path, ec);
}

std::string FilePath::Directory() const {
    std::string dir = std::filesystem::path(_path).parent_path().string();
    return dir.empty() ? "." : dir;
}

std::string FilePath::Filename() const {
    return std::filesystem::path(_path).filename().string();
}

std::string FilePath::Stem() const {
    return std::filesystem::path(_path).stem().string();
}

}  // namespace quorl::filesystem
