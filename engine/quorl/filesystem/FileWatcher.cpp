#include "quorl/filesystem/FileWatcher.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>

namespace quorl::filesystem {

FileWatcher::Identity FileWatcher::Identity::Of(const std::string& path) {
    Identity id;
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0) return id;
    id.exists = true;
    id.device = st.st_dev;
    id.inode = st.st_ino;
    id.size = static_cast<uint64_t>(st.st_size);
    id.mtimeNs = static_cast<int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
    return id;
}

bool FileWatcher::Start(const std::string& path, std::mutex& mutex, Identity& seen, std::function<void()> changed) {
    if (_thread.joinable()) return true;
    std::string folder = std::filesystem::path(path).parent_path().string();
    if (folder.empty()) folder = ".";
    std::string name = std::filesystem::path(path).filename().string();
    if (::pipe2(_stopPipe, O_CLOEXEC | O_NONBLOCK) != 0) return false;
    _inotifyFd = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (_inotifyFd >= 0 && ::inotify_add_watch(_inotifyFd, folder.c_str(), IN_CLOSE_WRITE | IN_MOVED_TO) < 0) {
        ::close(_inotifyFd);
        _inotifyFd = -1;
    }
    _thread = std::thread([this, path, name = std::move(name), &mutex, &seen, changed = std::move(changed)] {
        Loop(path, name, mutex, seen, changed);
    });
    return true;
}

void FileWatcher::Stop() {
    if (!_thread.joinable()) return;
    char c = 1;
    while (::write(_stopPipe[1], &c, 1) < 0 && errno == EINTR) {
    }
    _thread.join();
    ::close(_stopPipe[0]);
    ::close(_stopPipe[1]);
    _stopPipe[0] = _stopPipe[1] = -1;
    if (_inotifyFd >= 0) ::close(_inotifyFd);
    _inotifyFd = -1;
}

void FileWatcher::Loop(std::string path, std::string name, std::mutex& mutex, Identity& seen,
                       const std::function<void()>& changed) {
    using Clock = std::chrono::steady_clock;
    constexpr auto kSettle = std::chrono::milliseconds(250);
    const int inotifyFd = _inotifyFd;
    const bool polling = inotifyFd < 0;
    // A change that no close or rename event announces is taken once it has settled.
    Identity pending;
    bool havePending = false;
    Clock::time_point pendingSince;
    {
        std::lock_guard lock(mutex);
        const Identity current = Identity::Of(path);
        if (!(current == seen)) {
            pending = current;
            havePending = true;
            pendingSince = Clock::now();
        }
    }
    for (;;) {
        pollfd fds[2] = {{_stopPipe[0], POLLIN, 0}, {inotifyFd, POLLIN, 0}};
        const int timeout = polling || havePending ? 50 : -1;
        int r = ::poll(fds, polling ? 1 : 2, timeout);
        if (r < 0 && errno == EINTR) continue;
        if (r < 0 || (fds[0].revents & (POLLIN | POLLHUP | POLLERR))) break;

        bool check = false;
        if (!polling && (fds[1].revents & POLLIN)) {
            alignas(inotify_event) char buf[16384];
            for (;;) {
                ssize_t n = ::read(inotifyFd, buf, sizeof buf);
                if (n <= 0) break;
                for (ssize_t off = 0; off < n;) {
                    auto* ev = reinterpret_cast<const inotify_event*>(buf + off);
                    if ((ev->mask & IN_Q_OVERFLOW) || (ev->len > 0 && name == ev->name)) check = true;
                    off += static_cast<ssize_t>(sizeof(inotify_event) + ev->len);
                }
            }
        }
        std::unique_lock lock(mutex);
        const Identity current = Identity::Of(path);
        if (current == seen) {
            havePending = false;
            continue;
        }
        if (!check && (polling || havePending)) {
            if (!havePending || !(current == pending)) {
                pending = current;
                havePending = true;
                pendingSince = Clock::now();
            } else if (Clock::now() - pendingSince >= kSettle) {
                check = true;
            }
        }
        if (!check) continue;
        seen = current;
        havePending = false;
        if (!current.exists) continue;
        lock.unlock();
        changed();
    }
}

}  // namespace quorl::filesystem
