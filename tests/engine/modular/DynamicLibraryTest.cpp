#include <dlfcn.h>
#include <elf.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "quorl/modular/DynamicLibrary.h"

using quorl::modular::DynamicLibrary;

namespace {

std::string ModuleFile(const std::string& name) {
    return std::string(ZENDOLA_BINARY_DIR) + "/modules/" + name + "/" + name + ".GAME_Mod" + DynamicLibrary::Suffix;
}

}  // namespace

// (The loader's tests see the error numbers of missing and broken modules in its messages.)
TEST(ModularDynamicLibrary, BareNamesAreNoSearchAndSymbolFindsOnlyTheLibrarysOwnDefinitions) {
    // A bare name is a file in the current directory, not a search of the library path.
    uint32_t error = 99;
    EXPECT_EQ(DynamicLibrary::Open("libc.so.6", error), nullptr);
    EXPECT_EQ(error, DynamicLibrary::ErrorFileNotFound);

    void* handle = DynamicLibrary::Open(ModuleFile("TS_full"), error);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(error, 0u);
    EXPECT_NE(DynamicLibrary::Symbol(handle, "Game_ClientUpdate"), nullptr);
    EXPECT_EQ(DynamicLibrary::Symbol(handle, "TS_BenchCalls"), nullptr);
    // malloc is reachable through the library's dependencies but is not its export.
    ASSERT_NE(dlsym(handle, "malloc"), nullptr);
    EXPECT_EQ(DynamicLibrary::Symbol(handle, "malloc"), nullptr);
    EXPECT_EQ(DynamicLibrary::Symbol(nullptr, "Game_ClientUpdate"), nullptr);
    DynamicLibrary::Close(handle);
    DynamicLibrary::Close(nullptr);
}

// The project's shared libraries can be opened late (a launcher, a tool, a module that pulls them
// in): their thread-local data must be small and must not ask for the static TLS block.
TEST(ModularDynamicLibrary, SharedLibrariesCanBeOpenedLate) {
    for (const char* name : {"libquorl.so", "libzendola.so"}) {
        SCOPED_TRACE(name);
        std::ifstream in(std::string(ZENDOLA_BINARY_DIR) + "/" + name, std::ios::binary);
        std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        ASSERT_GT(bytes.size(), sizeof(Elf64_Ehdr));
        Elf64_Ehdr header;
        std::memcpy(&header, bytes.data(), sizeof header);
        ASSERT_EQ(std::memcmp(header.e_ident, ELFMAG, SELFMAG), 0);
        uint64_t tlsSize = 0, flags = 0;
        for (unsigned i = 0; i < header.e_phnum; ++i) {
            Elf64_Phdr ph;
            const size_t at = header.e_phoff + i * size_t(header.e_phentsize);
            ASSERT_LE(at + sizeof ph, bytes.size());
            std::memcpy(&ph, bytes.data() + at, sizeof ph);
            if (ph.p_type == PT_TLS) tlsSize = ph.p_memsz;
            if (ph.p_type != PT_DYNAMIC) continue;
            for (size_t d = ph.p_offset; d + sizeof(Elf64_Dyn) <= ph.p_offset + ph.p_filesz; d += sizeof(Elf64_Dyn)) {
                Elf64_Dyn dyn;
                std::memcpy(&dyn, bytes.data() + d, sizeof dyn);
                if (dyn.d_tag == DT_FLAGS) flags = dyn.d_un.d_val;
            }
        }
        EXPECT_LE(tlsSize, 1024u);
        EXPECT_EQ(flags & DF_STATIC_TLS, 0u);
    }
}
