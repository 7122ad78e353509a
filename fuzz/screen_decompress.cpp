// Arbitrary bytes as a compressed frame for a small screen: the checked inflate stays inside the
// destination and what it accepts Decompress restores identically (only accepted inputs reach
// Decompress, whose assertions fire on the rest). Odd modes round-trip arbitrary pixels exactly.
// Input: byte 0 width - 1 (mod 32), byte 1 height - 1 (mod 32), byte 2 mode, then the payload.
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "game/QuorlScreen.h"

using game::QuorlScreen;

namespace {

constexpr size_t kGuard = 64;
constexpr unsigned char kGuardByte = 0xA5;

void CheckStream(uint32_t w, uint32_t h, const uint8_t* data, size_t size) {
    const size_t frameBytes = size_t(w) * h * 4;
    std::vector<unsigned char> out(frameBytes + 2 * kGuard, kGuardByte);
    const auto result = QuorlScreen::Inflate(data, size, out.data() + kGuard, frameBytes);
    for (size_t i = 0; i < kGuard; ++i)
        if (out[i] != kGuardByte || out[kGuard + frameBytes + i] != kGuardByte) std::abort();
    if (result.avail_in > size || result.avail_out > frameBytes) std::abort();

    const bool accepted = result.ret != Z_STREAM_ERROR && result.avail_in == 0 && result.avail_out == 0;
    if (!accepted || size == 0) return;
    QuorlScreen screen(w, h, 0);
    screen._compressedBuffer.assign(data, data + size);
    screen.Decompress();
    if (std::memcmp(screen.pixels.data(), out.data() + kGuard, frameBytes) != 0) std::abort();
}

void CheckRoundTrip(uint32_t w, uint32_t h, const uint8_t* data, size_t size) {
    QuorlScreen screen(w, h, 0);
    std::memcpy(screen.pixels.data(), data, std::min(size, screen.pixels.size() * 4));
    screen.Compress();
    QuorlScreen receiver(w, h, 0xFFFFFFFF);
    receiver._compressedBuffer = screen._compressedBuffer;
    receiver.Decompress();
    if (receiver.pixels != screen.pixels) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 3) return 0;
    const uint32_t w = data[0] % 32 + 1, h = data[1] % 32 + 1;
    const uint8_t mode = data[2];
    if (mode & 1)
        CheckRoundTrip(w, h, data + 3, size - 3);
    else
        CheckStream(w, h, data + 3, size - 3);
    return 0;
}
