#pragma once
// File helpers shared by the tests that write and re-read files on disk.
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <thread>

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

inline size_t CountLines(const std::string& text) { return size_t(std::count(text.begin(), text.end(), '\n')); }

// Polls `done` until it holds (true) or `limit` has passed (false).
inline bool WaitFor(const std::function<bool()>& done, std::chrono::milliseconds limit = std::chrono::seconds(2)) {
    const auto until = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() > until) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// A fresh folder under /tmp, removed with everything in it at the end.
struct TempFolder {
    std::string path;
    explicit TempFolder(const char* prefix = "zendola") {
        std::string pattern = std::string("/tmp/") + prefix + "-XXXXXX";
        path = ::mkdtemp(pattern.data()) ? pattern : std::string();
    }
    ~TempFolder() {
        std::error_code ec;
        if (!path.empty()) std::filesystem::remove_all(path, ec);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
};

}  // namespace testfiles
