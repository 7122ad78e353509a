#pragma once
#include <cstddef>
#include <string>

#include "quorl/filesystem/Stream.h"

namespace quorl::filesystem {

// The one way the engine replaces a file: the new bytes go to a temporary file beside it,
// ".<name>.<pid>.<n>.tmp", created with the old file's permissions (0644 for a new file);
// Commit() forces the data to the disk, then renames the temporary file over the named one. So
// the named file is at every moment the old one or the new one, whole. The folder itself is not
// synced: after a power cut the last rename may be undone, leaving the previous whole file. An
// AtomicFile destroyed without Commit() removes its temporary file.
//
// Errors throw StreamError with the path and the reason; the named file is then untouched.
class AtomicFile {
public:
    explicit AtomicFile(const std::string& path);
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    void Write(const void* data, size_t size);
    // Forces what was written so far to the disk (the named file still unchanged).
    void Sync();
    // Sync, then rename over the named file. Nothing may be written after it.
    void Commit();

    const std::string& Path() const { return _path; }
    const std::string& TemporaryPath() const { return _tempPath; }

    // True when fileName (no folder) is a temporary file that an AtomicFile made for some file.
    static bool IsTemporaryName(const std::string& fileName);
    // Removes from folder the temporary files left by writers that no longer run (a save killed
    // mid-write), and returns how many. Files of this process and of running ones stay.
    static size_t RemoveAbandoned(const std::string& folder);

private:
    [[noreturn]] void Fail(const char* what, const std::string& path) const;

    std::string _path;
    std::string _tempPath;
    int _fd = -1;
    bool _committed = false;
};

}  // namespace quorl::filesystem
