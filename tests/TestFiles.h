#pragma once
// File helpers shared by the tests that write and re-read files on disk.
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace testfiles {

inline std::string ReadAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

inline void WriteAll(const std::string& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
}

// Writes a new version the way editors and installers do: a temporary file renamed into place.
inline void ReplaceFile(const std::string& path, const std::string& text) {
    WriteAll(path + ".new", text);
    std::filesystem::rename(path + ".new", path);
}

}  // namespace testfiles
