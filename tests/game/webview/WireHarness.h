#pragma once
// A PipeServer on socket pairs, with the test as the page process: what the library writes is
// read back byte for byte, and frame messages are written in the library's direction.
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <memory>
#include <string>

#include "game/PipeServer.h"

struct WireHarness {
    int commands[2]{-1, -1};  // [0] library writes, [1] test reads
    int frames[2]{-1, -1};    // [0] library reads, [1] test writes
    std::unique_ptr<game::PipeServer> pipe;

    WireHarness() {
        ::socketpair(AF_UNIX, SOCK_STREAM, 0, commands);
        ::socketpair(AF_UNIX, SOCK_STREAM, 0, frames);
        pipe = std::make_unique<game::PipeServer>(commands[0], frames[0]);
    }
    ~WireHarness() {
        pipe.reset();
        for (int fd : {commands[1], frames[1]})
            if (fd >= 0) ::close(fd);
    }

    // Everything written so far that arrives within `waitMs`.
    std::string Received(int waitMs = 200) {
        std::string out;
        pollfd p{commands[1], POLLIN, 0};
        while (::poll(&p, 1, out.empty() ? waitMs : 0) > 0) {
            char buffer[4096];
            const ssize_t n = ::recv(commands[1], buffer, sizeof(buffer), MSG_DONTWAIT);
            if (n <= 0) break;
            out.append(buffer, size_t(n));
        }
        return out;
    }

    // A frame message of the process: N, D, name, data.
    static std::string Frame(const std::string& name, const std::string& data, uint32_t n = UINT32_MAX,
                             uint32_t d = UINT32_MAX) {
        if (n == UINT32_MAX) n = uint32_t(name.size());
        if (d == UINT32_MAX) d = uint32_t(data.size());
        std::string message(8, '\0');
        for (int i = 0; i < 4; ++i) {
            message[i] = char(n >> (8 * i));
            message[4 + i] = char(d >> (8 * i));
        }
        return message + name + data;
    }

    void Send(const std::string& bytes) {
        size_t at = 0;
        while (at < bytes.size()) {
            const ssize_t n = ::send(frames[1], bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL);
            if (n <= 0) return;
            at += size_t(n);
        }
    }
    void EndFrames() { ::shutdown(frames[1], SHUT_WR); }
};
