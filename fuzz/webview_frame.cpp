// Arbitrary bytes as the page process's frame stream: ElectronWebview::ReadFromPipe reads
// message after message until the stream ends. Known pages' callbacks check that they are given
// data inside the read buffer and of the size the header announced; an unknown name is the
// out-of-range error the host catches; absurd sizes are refused without reading past the buffer.
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include "game/ElectronWebview.h"
#include "game/PipeServer.h"

using game::ElectronWebview;

namespace {

void CheckFrame(const char* data, size_t size) {
    if (data != ElectronWebview::readBuffer || size > ElectronWebview::kReadBufferSize) std::abort();
    volatile unsigned sum = 0;
    for (size_t i = 0; i < size; ++i) sum = sum + static_cast<unsigned char>(data[i]);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    int stream[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, stream) != 0) return 0;
    std::thread process([&] {
        for (size_t at = 0; at < size;) {
            const ssize_t n = ::send(stream[1], data + at, size - at, MSG_NOSIGNAL);
            if (n <= 0) break;
            at += size_t(n);
        }
        ::close(stream[1]);
    });

    static ElectronWebview webview;
    webview.ClearCallbacks();
    webview.callbacks["page"] = CheckFrame;
    webview.callbacks[""] = CheckFrame;
    {
        const int discard = ::dup(stream[0]);  // write side of the pipe, never used
        game::PipeServer pipe(discard, stream[0]);
        while (!pipe.ReadEnded()) {
            try {
                webview.ReadFromPipe(pipe);
            } catch (const std::out_of_range&) {
            }
        }
    }
    process.join();
    return 0;
}
