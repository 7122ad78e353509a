#pragma once
#include <cstdint>
#include <string>

namespace quorl::modular {

// The operating system's dynamic loader, reduced to what the module loader needs:
// dlopen(RTLD_NOW | RTLD_LOCAL), dlsym, dlclose.
struct DynamicLibrary {
    // File name suffix of a loadable library on this system.
    static constexpr const char* Suffix = ".so";

    // Error numbers reported for a failed Open.
    static constexpr uint32_t ErrorFileNotFound = 2;
    static constexpr uint32_t ErrorLoadFailed = 1;

    // Opens the library at `file` (the full file name, suffix included). A name without a
    // slash is taken relative to the current directory, never searched on the library path.
    // On failure returns null, sets `error` to ErrorFileNotFound or ErrorLoadFailed and, when
    // `message` is given, the loader's text there. Nothing is printed: the caller decides.
    static void* Open(const std::string& file, uint32_t& error, std::string* message = nullptr);

    // Address of the symbol `name` defined by the library itself; null when the library does
    // not define it (a symbol found only in one of its dependencies does not count).
    static void* Symbol(void* handle, const char* name);

    // Releases one reference taken by Open. Null is ignored.
    static void Close(void* handle);
};

}  // namespace quorl::modular
