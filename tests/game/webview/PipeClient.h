#pragma once
// The page process's side of a PipeServer, for tests: connects to "<base>.s2c" and "<base>.c2s".
// Sockets go in a testfiles::TempFolder (short: the socket path limit).
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include "TestFiles.h"

struct PipeClient {
    int commands = -1;  // reads what the library writes
    int frames = -1;    // writes what the library reads

    explicit PipeClient(const std::string& base) {
        commands = Connect(base + ".s2c");
        frames = Connect(base + ".c2s");
    }
    ~PipeClient() { Close(); }

    static int Connect(const std::string& path, int tries = 200) {
        for (int i = 0; i < tries; ++i) {
            const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
            sockaddr_un address{};
            address.sun_family = AF_UNIX;
            std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
            if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0) return fd;
            ::close(fd);
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return -1;
    }
    static bool CanConnect(const std::string& path) {
        const int fd = Connect(path, 1);
        if (fd >= 0) ::close(fd);
        return fd >= 0;
    }

    // What arrives within `waitMs`, without the pings.
    std::string ReceiveCommands(int waitMs) {
        std::string out = ReceiveRaw(waitMs);
        for (size_t at; (at = out.find("ping ")) != std::string::npos;) out.erase(at, 5);
        return out;
    }
    // Everything that arrives within `waitMs`.
    std::string ReceiveRaw(int waitMs) {
        std::string out;
        pollfd p{commands, POLLIN, 0};
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(waitMs);
        while (std::chrono::steady_clock::now() < end && ::poll(&p, 1, 10) >= 0) {
            if (!(p.revents & POLLIN)) continue;
            char buffer[4096];
            const ssize_t n = ::recv(commands, buffer, sizeof(buffer), MSG_DONTWAIT);
            if (n <= 0) break;
            out.append(buffer, size_t(n));
        }
        return out;
    }
    void Send(const std::string& bytes) { ::send(frames, bytes.data(), bytes.size(), MSG_NOSIGNAL); }
    void Close() {
        for (int* fd : {&commands, &frames}) {
            if (*fd >= 0) ::close(*fd);
            *fd = -1;
        }
    }
};
