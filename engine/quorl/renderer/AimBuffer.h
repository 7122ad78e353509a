#pragma once
#include <cstdint>

namespace quorl::renderer {

// What the GPU reports about the centre of the screen each frame: 96 bytes. Word 3 is the aim
// id of what the centre pixel shows (0 for nothing), word 4 that pixel's depth as float bits;
// the rest is left to the shaders of later materials and is zero here.
struct AimBuffer {
    uint32_t words[24] = {};

    uint32_t AimId() const { return words[3]; }
};
static_assert(sizeof(AimBuffer) == 96, "the record the GPU writes");

}  // namespace quorl::renderer
