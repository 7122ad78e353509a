#pragma once
#include <cstdint>
#include <string>
#include <vector>

namespace quorl::vk {

// SPIR-V files that glslc builds from the GLSL under data/: the shader "game/graphics/crosshair"
// of stage "frag" is data/game/graphics/crosshair.frag.spv in the build folder.
class ShaderFile {
public:
    // data/<name>.<stage>.spv in the working directory or the nearest parent that has it, else in
    // the build folder the engine was compiled in; empty when none exists.
    static std::string Find(const std::string& name, const std::string& stage);
    // The words of the file. Throws std::runtime_error naming the shader and how to build it when
    // the file is missing or is not SPIR-V.
    static std::vector<uint32_t> Load(const std::string& name, const std::string& stage);
};

}  // namespace quorl::vk
