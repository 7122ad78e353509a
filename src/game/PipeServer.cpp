#include "game/PipeServer.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <mutex>
#include <stdexcept>

namespace game {

namespace {

// Guards the descriptors' lifetimes between the owner threads and Shutdown. Never held across
// a blocking call; descriptors of connected sides are closed only by the destructor, so a
// number is never reused under a thread that still uses it.
std::mutex fdMutex;

int Listen(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path))
        throw std::runtime_error("PipeServer: socket path longer than " +
                                 std::to_string(sizeof(address.sun_path) - 1) + " bytes: " + path);
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);

    struct stat st{};
    if (lstat(path.c_str(), &st) == 0) {
        if (!S_ISSOCK(st.st_mode))
            throw std::runtime_error("PipeServer: " + path + " exists and is not a socket");
        ::unlink(path.c_str());  // left by an earlier run
    }
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) throw std::runtime_error("PipeServer: socket for " + path + ": " + std::strerror(errno));
    if (::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 || ::listen(fd, 1) != 0) {
        const int error = errno;
        ::close(fd);
        throw std::runtime_error("PipeServer: cannot listen on " + path + ": " + std::strerror(error));
    }
    return fd;
}

}  // namespace

std::string PipeServer::RunFolder() {
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime && *runtime)
        return std::string(runtime) + "/zendola";
    return "/tmp/zendola-" + std::to_string(::getuid());
}

PipeServer::PipeServer(const std::string& name, const std::string& folder)
    : _basePath(folder + "/" + name), _writePath(_basePath + ".s2c"), _readPath(_basePath + ".c2s") {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) throw std::runtime_error("PipeServer: cannot create " + folder + ": " + error.message());
    _writeListen = Listen(_writePath);
    try {
        _readListen = Listen(_readPath);
    } catch (...) {
        ::close(_writeListen);
        ::unlink(_writePath.c_str());
        throw;
    }
    _ownsPaths = true;
}

PipeServer::PipeServer(int writeFd, int readFd)
    : writeHandle(writeFd), writeConnected(true), readHandle(readFd), readConnected(true) {}

PipeServer::~PipeServer() {
    Shutdown();
    for (int fd : {writeHandle, readHandle == writeHandle ? -1 : readHandle, _writeListen.load(), _readListen.load()})
        if (fd >= 0) ::close(fd);
    if (_ownsPaths) {
        ::unlink(_writePath.c_str());
        ::unlink(_readPath.c_str());
    }
}

int PipeServer::Connect(std::atomic<int>& listenFd) {
    const int listener = listenFd.load();
    int fd = _shutdown ? -1 : ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    while (fd < 0 && errno == EINTR && !_shutdown) fd = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    const int error = errno;
    std::lock_guard lock(fdMutex);
    if (fd < 0) {
        if (!_shutdown) std::cerr << "ConnectNamedPipe Error: " << error << std::endl;
        return -1;
    }
    // One client per name: nobody else may connect.
    ::close(listenFd.exchange(-1));
    if (_shutdown) ::shutdown(fd, SHUT_RDWR);
    return fd;
}

bool PipeServer::Write(const char* data, uint64_t size) {
    if (!writeConnected) {
        const int fd = Connect(_writeListen);
        if (fd < 0) return false;
        {
            std::lock_guard lock(fdMutex);
            writeHandle = fd;
        }
        writeConnected = true;
    }
    while (size > 0) {
        const ssize_t sent = ::send(writeHandle, data, size, MSG_NOSIGNAL);
        if (sent < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        data += sent;
        size -= uint64_t(sent);
    }
    return true;
}

uint64_t PipeServer::Read(char* data, uint64_t size) {
    if (!readConnected) {
        const int fd = Connect(_readListen);
        if (fd < 0) {
            _readEnded = true;
            return 0;
        }
        ucred peer{};
        socklen_t length = sizeof(peer);
        if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &length) == 0) _readPeer = peer.pid;
        {
            std::lock_guard lock(fdMutex);
            readHandle = fd;
        }
        readConnected = true;
    }
    if (size == 0) return 0;
    ssize_t got;
    do got = ::recv(readHandle, data, size, 0);
    while (got < 0 && errno == EINTR);
    if (got <= 0) {
        _readEnded = true;
        return 0;
    }
    return uint64_t(got);
}

void PipeServer::CloseWrite() {
    std::lock_guard lock(fdMutex);
    if (writeHandle >= 0) ::shutdown(writeHandle, SHUT_WR);
}

void PipeServer::CloseRead() {
    std::lock_guard lock(fdMutex);
    if (readHandle >= 0) ::shutdown(readHandle, SHUT_RD);
}

void PipeServer::Shutdown() {
    std::lock_guard lock(fdMutex);
    _shutdown = true;
    // A listener shut down wakes its accept; connected sockets wake their send and recv.
    for (int fd : {_writeListen.load(), _readListen.load(), writeHandle, readHandle})
        if (fd >= 0) ::shutdown(fd, SHUT_RDWR);
}

}  // namespace game
