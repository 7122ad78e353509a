// Runs a fuzz target over files instead of generated input: every file named on the command
// line, and every file inside a named folder, is passed once to LLVMFuzzerTestOneInput.
// Used where libFuzzer is not available, so that the kept corpus (and the crashes found
// earlier) run as regression tests under the sanitizers.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

static void RunFile(const std::filesystem::path& path, size_t& count) {
    std::ifstream in(path, std::ios::binary);
    std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    ++count;
}

int main(int argc, char** argv) {
    size_t count = 0;
    for (int i = 1; i < argc; ++i) {
        std::filesystem::path p(argv[i]);
        if (std::filesystem::is_directory(p)) {
            for (auto& e : std::filesystem::recursive_directory_iterator(p)) {
                if (e.is_regular_file()) RunFile(e.path(), count);
            }
        } else if (std::filesystem::exists(p)) {
            RunFile(p, count);
        } else {
            std::fprintf(stderr, "replay: no such file or folder: %s\n", argv[i]);
            return 2;
        }
    }
    LLVMFuzzerTestOneInput(nullptr, 0);
    std::printf("replayed %zu inputs\n", count + 1);
    return 0;
}
