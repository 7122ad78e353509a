#pragma once
#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <string>

namespace game {

// The library's end of the link to the web view's page process: two one-way byte streams,
// "<folder>/<name>.s2c" from the library to the process and "<folder>/<name>.c2s" back.
//
// On Linux each name is a Unix-domain stream socket that listens for exactly one client (the
// listener closes once the client is in). Sockets rather than FIFOs because a peer that went
// away shows as a failed send (EPIPE, no SIGPIPE) or the end of the stream, and because a
// thread blocked waiting for the client can be woken by Shutdown.
//
// Write and Read connect on first use, which blocks until the process connects; so they run
// on threads of their own. One thread may block in Read while another blocks in Write. A link
// is never reconnected: once a side is connected it stays so, and calls after a broken pipe fail.
class PipeServer {
public:
    // Creates both listening sockets (removing a stale socket file of the same path first);
    // connects nothing. `folder` is created if missing. Throws std::runtime_error with the path
    // and the system's reason when a socket can't be made.
    explicit PipeServer(const std::string& name, const std::string& folder = RunFolder());
    // Adopts descriptors that are already connected: `writeFd` carries library-to-process
    // bytes, `readFd` the other way (they may be one socket). Used by tests and fuzzing.
    PipeServer(int writeFd, int readFd);
    // Disconnects and closes both sides and removes the socket files.
    ~PipeServer();
    PipeServer(const PipeServer&) = delete;
    PipeServer& operator=(const PipeServer&) = delete;

    // Sends all `size` bytes as one write. False when no client could be connected (with
    // "ConnectNamedPipe Error: " and the error number on the error stream) or the send failed.
    bool Write(const char* data, uint64_t size);
    // One receive of at most `size` bytes: the count received, which may be less than `size`;
    // 0 at the end of the stream, on an error, or when no client could be connected.
    uint64_t Read(char* data, uint64_t size);
    // Disconnect one side: blocked and later calls on it return at once.
    void CloseWrite();
    void CloseRead();
    // Wakes every thread blocked in connecting, reading or writing; every later call fails.
    // Safe from any thread.
    void Shutdown();

    // True once Read has seen the end of the stream or an error: nothing more will come.
    bool ReadEnded() const { return _readEnded.load(); }
    // Process id of the client on the read side (from the socket's credentials), or 0.
    pid_t ReadPeer() const { return _readPeer.load(); }

    const std::string& WritePath() const { return _writePath; }
    const std::string& ReadPath() const { return _readPath; }
    // The common part of both paths, "<folder>/<name>": what the page process is given.
    const std::string& BasePath() const { return _basePath; }

    // Where the sockets go by default: $XDG_RUNTIME_DIR/zendola if XDG_RUNTIME_DIR is set,
    // else /tmp/zendola-<uid>.
    static std::string RunFolder();

    // Fields, in this order.
    int writeHandle = -1;  // connected socket, library to process
    bool writeConnected = false;
    int readHandle = -1;  // connected socket, process to library
    bool readConnected = false;

private:
    // Accepts the one client on `listenFd` (which is then closed); -1 on failure.
    int Connect(std::atomic<int>& listenFd);

    std::string _basePath, _writePath, _readPath;
    std::atomic<int> _writeListen{-1};
    std::atomic<int> _readListen{-1};
    std::atomic<bool> _shutdown{false};
    std::atomic<bool> _readEnded{false};
    std::atomic<pid_t> _readPeer{0};
    bool _ownsPaths = false;
};

}  // namespace game
