// Arbitrary bytes as a configuration file, read through rows of every type and the section handler;
// saved values must read back unchanged, and the save adds at most one section.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "quorl/filesystem/ConfigFile.h"

using quorl::filesystem::ConfigFile;

namespace {

struct Values : ConfigFile {
    std::string text = "x";
    bool flag = false;
    int32_t number = 0;
    float ratio = 0;
    InputBinding binding;
    explicit Values(const std::string& path) : ConfigFile(path, 0) {}
    std::vector<Conf> Rows() {
        return {Conf(this, "text", &text, CONF_STRING), Conf(this, "flag", &flag, CONF_BOOL),
                Conf(this, "number", &number, CONF_INT), Conf(this, "ratio", &ratio, CONF_FLOAT),
                Conf(this, "binding", &binding, CONF_INPUT_BINDING)};
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string path = "/tmp/fuzz_config_ini_" + std::to_string(::getpid()) + ".ini";
    {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    }
    Values a(path);
    a.ReadFromINI("main", a.Rows());
    size_t sections = 0;
    a.ReadFromINI([&](std::stringstream& header, std::vector<ConfigFile::ConfLineStream>& lines) {
        ++sections;
        std::string word;
        header >> word;
        for (auto& line : lines) {
            double d;
            line.value >> d;
        }
    });
    if (a.WriteToINI("main", a.Rows())) {
        Values b(path);
        if (!b.ReadFromINI("main", b.Rows())) std::abort();
        const bool longText = ConfigFile::FormatString(a.text).size() > 4000;
        const bool longBinding = ConfigFile::FormatBinding(a.binding).size() > 4000;
        if ((!longText && b.text != a.text) || (!longBinding && !(b.binding == a.binding))) std::abort();
        if (b.flag != a.flag || b.number != a.number) std::abort();
        if (std::memcmp(&a.ratio, &b.ratio, sizeof(float)) != 0) std::abort();
        size_t after = 0;
        b.ReadFromINI([&](std::stringstream&, std::vector<ConfigFile::ConfLineStream>&) { ++after; });
        if (after != sections && after != sections + 1) std::abort();
    }
    ::unlink(path.c_str());
    return 0;
}
