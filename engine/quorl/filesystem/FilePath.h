#pragma once
#include <string>

namespace quorl::filesystem {

// A path on the local file system, kept as the text it was given. Base of every object that
// stands for one file (configuration files, settings).
class FilePath {
public:
    FilePath() = default;
    FilePath(std::string path) : _path(std::move(path)) {}
    FilePath(const char* path) : _path(path ? path : "") {}
    virtual ~FilePath() = default;

    FilePath(const FilePath&) = default;
    FilePath& operator=(const FilePath&) = default;

    // Removes the file; true when it existed and is gone.
    virtual bool Delete();

    const std::string& String() const { return _path; }
    operator const std::string&() const { return _path; }

    bool Exists() const;
    // Folder of the file ("." for a bare file name), file name without folder, and that name
    // without its last extension.
    std::string Directory() const;
    std::string Filename() const;
    std::string Stem() const;

    bool operator==(const FilePath& other) const { return _path == other._path; }

private:
    std::string _path;
};

}  // namespace quorl::filesystem
