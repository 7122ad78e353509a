#include "quorl/modular/DynamicLibrary.h"

#include <dlfcn.h>
#include <link.h>
#include <sys/stat.h>

#include <cerrno>

namespace quorl::modular {

void* DynamicLibrary::Open(const std::string& file, uint32_t& error, std::string* message) {
    // dlopen searches the library path for a bare name; "./" pins it to the current directory.
    const std::string path = file.find('/') == std::string::npos ? "./" + file : file;
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle) {
        error = 0;
        return handle;
    }
    const char* text = dlerror();
    struct stat st;
    error = (stat(path.c_str(), &st) != 0 && errno == ENOENT) ? ErrorFileNotFound : ErrorLoadFailed;
    if (message) *message = text ? text : path;
    return nullptr;
}

void* DynamicLibrary::Symbol(void* handle, const char* name) {
    if (!handle) return nullptr;
    void* symbol = dlsym(handle, name);
    if (!symbol) return nullptr;
    // dlsym also searches the library's dependencies; keep only the library's own definitions.
    link_map* own = nullptr;
    if (dlinfo(handle, RTLD_DI_LINKMAP, &own) != 0) return nullptr;
    Dl_info info;
    void* extra = nullptr;
    if (dladdr1(symbol, &info, &extra, RTLD_DL_LINKMAP) == 0) return nullptr;
    return static_cast<link_map*>(extra) == own ? symbol : nullptr;
}

void DynamicLibrary::Close(void* handle) {
    if (handle) dlclose(handle);
}

}  // namespace quorl::modular
