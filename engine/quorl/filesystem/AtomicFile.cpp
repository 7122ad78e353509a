#include "quorl/filesystem/AtomicFile.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>

namespace quorl::filesystem {

namespace {

std::atomic<uint64_t> temporaryCounter{0};

constexpr std::string_view kSuffix = ".tmp";

bool AllDigits(std::string_view s) {
    if (s.empty() || s.size() > 18) return false;
    for (char c : s)
        if (c < '0' || c > '9') return false;
    return true;
}

// ".<name>.<pid>.<n>.tmp": true with the writer's pid.
bool ParseTemporaryName(std::string_view name, long long& pid) {
    if (name.size() <= kSuffix.size() || name.substr(name.size() - kSuffix.size()) != kSuffix) return false;
    name.remove_suffix(kSuffix.size());
    size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || !AllDigits(name.substr(dot + 1))) return false;
    name = name.substr(0, dot);
    dot = name.rfind('.');
    if (dot == std::string_view::npos || !AllDigits(name.substr(dot + 1))) return false;
    pid = std::stoll(std::string(name.substr(dot + 1)));
    name = name.substr(0, dot);
    return name.size() >= 2 && name[0] == '.';
}

}  // namespace

AtomicFile::AtomicFile(const std::string& path) : _path(path) {
    const size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    _tempPath = folder + "." + name + "." + std::to_string(::getpid()) + "." +
                std::to_string(temporaryCounter.fetch_add(1)) + kSuffix.data();
    struct stat old {};
    const mode_t mode = ::stat(path.c_str(), &old) == 0 ? (old.st_mode & 07777) : 0644;
    _fd = ::open(_tempPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (_fd < 0) Fail("cannot create", _tempPath);
    // Set after creation: the process's umask does not narrow the old file's permissions.
    if (::fchmod(_fd, mode) != 0) {
        const int e = errno;
        ::close(_fd);
        ::unlink(_tempPath.c_str());
        _fd = -1;
        errno = e;
        Fail("cannot set the permissions of", _tempPath);
    }
}

AtomicFile::~AtomicFile() {
    if (_fd >= 0) ::close(_fd);
    if (!_committed) ::unlink(_tempPath.c_str());
}

void AtomicFile::Fail(const char* what, const std::string& path) const {
    const int e = errno;
    throw StreamError(std::string(what) + " " + path + ": " + std::strerror(e));
}

void AtomicFile::Write(const void* data, size_t size) {
    if (_fd < 0) throw StreamError("file already committed: " + _path);
    const char* bytes = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t n = ::write(_fd, bytes, size);
        if (n < 0) {
            if (errno == EINTR) continue;
            Fail("cannot write", _tempPath);
        }
        bytes += n;
        size -= size_t(n);
    }
}

void AtomicFile::Sync() {
    if (_fd >= 0 && ::fdatasync(_fd) != 0) Fail("cannot flush", _tempPath);
}

void AtomicFile::Commit() {
    if (_committed) return;
    Sync();
    const int fd = _fd;
    _fd = -1;
    if (::close(fd) != 0) Fail("cannot close", _tempPath);
    if (::rename(_tempPath.c_str(), _path.c_str()) != 0) Fail("cannot rename the temporary file over", _path);
    _committed = true;
}

bool AtomicFile::IsTemporaryName(const std::string& fileName) {
    long long pid = 0;
    return ParseTemporaryName(fileName, pid);
}

size_t AtomicFile::RemoveAbandoned(const std::string& folder) {
    size_t removed = 0;
    std::error_code ec;
    for (std::filesystem::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
        long long pid = 0;
        std::error_code entryError;
        if (!ParseTemporaryName(it->path().filename().string(), pid)) continue;
        if (!it->is_regular_file(entryError)) continue;
        // A writer that still runs (this process included) may be about to commit its file.
        if (pid == ::getpid() || pid <= 0 || pid > INT32_MAX) continue;
        if (::kill(pid_t(pid), 0) == 0 || errno != ESRCH) continue;
        if (std::filesystem::remove(it->path(), entryError)) ++removed;
    }
    return removed;
}

}  // namespace quorl::filesystem
