#pragma once
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace quorl::filesystem {

// Watches one file from a thread of its own and calls `changed` there when another program has
// finished writing a new version of it: after the writer closed the file or renamed it into
// place (inotify on the file's folder), so a half-written file is never announced. A change that
// no such event announces (one made before the watch began, or any change where inotify is
// unavailable and the file's identity is polled every 50 ms instead) is announced once the file
// has stayed the same for a quarter of a second.
//
// The owner keeps, under its own mutex, the identity of the version it last read or wrote
// (`seen`): the watcher compares against it under that mutex, so a save in progress is either not
// begun or complete, and sets it to the version it announces. A version the owner wrote itself is
// therefore never announced. A deleted file is not announced.
class FileWatcher {
public:
    // What tells two versions of a file apart.
    struct Identity {
        bool exists = false;
        uint64_t device = 0, inode = 0, size = 0;
        int64_t mtimeNs = 0;
        bool operator==(const Identity&) const = default;

        static Identity Of(const std::string& path);
    };

    FileWatcher() = default;
    ~FileWatcher() { Stop(); }
    FileWatcher(const FileWatcher&) = delete;
    FileWatcher& operator=(const FileWatcher&) = delete;

    // Starts watching the file at `path`. The watch exists when this returns, so no change made
    // after the call is missed. False, with errno set, when no thread could be set up.
    bool Start(const std::string& path, std::mutex& mutex, Identity& seen, std::function<void()> changed);
    // Returns once the thread has ended; a `changed` call in progress finishes first.
    void Stop();
    bool IsRunning() const { return _thread.joinable(); }
    // True while the folder could not be watched and the file is polled.
    bool IsPolling() const { return _inotifyFd < 0; }

private:
    void Loop(std::string path, std::string name, std::mutex& mutex, Identity& seen,
              const std::function<void()>& changed);

    std::thread _thread;
    int _stopPipe[2] = {-1, -1};
    int _inotifyFd = -1;
};

}  // namespace quorl::filesystem
