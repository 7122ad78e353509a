#include "quorl/vk/ShaderFile.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace quorl::vk {

std::string ShaderFile::Find(const std::string& name, const std::string& stage) {
    const std::string relative = "data/" + name + "." + stage + ".spv";
    std::error_code ec;
    std::filesystem::path dir = std::filesystem::current_path(ec);
    if (!ec) {
        for (int depth = 0; depth < 8; ++depth) {
            auto candidate = dir / relative;
            if (std::filesystem::is_regular_file(candidate, ec)) return candidate.string();
            if (!dir.has_parent_path() || dir.parent_path() == dir) break;
            dir = dir.parent_path();
        }
    }
#ifdef QUORL_BUILD_DIR
    auto built = std::filesystem::path(QUORL_BUILD_DIR) / relative;
    if (std::filesystem::is_regular_file(built, ec)) return built.string();
#endif
    return {};
}

std::vector<uint32_t> ShaderFile::Load(const std::string& name, const std::string& stage) {
    const std::string path = Find(name, stage);
    if (path.empty())
        throw std::runtime_error("Shader '" + name + "' (" + stage + ") is missing: data/" + name + "." + stage +
                                 ".spv was not found. Build the project (glslc compiles data/" + name + "." + stage +
                                 "; Debian: apt-get install glslc)");
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    const std::streamsize size = in ? std::streamsize(in.tellg()) : -1;
    std::vector<uint32_t> words(size > 0 ? size_t(size) / 4 : 0);
    if (in) {
        in.seekg(0);
        in.read(reinterpret_cast<char*>(words.data()), std::streamsize(words.size() * 4));
    }
    if (!in || size % 4 != 0 || words.empty() || words[0] != 0x07230203u)
        throw std::runtime_error("Shader file " + path + " is not SPIR-V: rebuild the project");
    return words;
}

}  // namespace quorl::vk
