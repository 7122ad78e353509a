// Replacing files: the one way both savers (binary streams and INI files) write, and the clean-up
// of what a killed writer leaves.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "TestFiles.h"
#include "quorl/filesystem/AtomicFile.h"
#include "quorl/filesystem/BinaryFileStream.h"
#include "quorl/filesystem/ConfigFile.h"

using namespace quorl::filesystem;
namespace fs = std::filesystem;

namespace {

class FilesystemAtomicFile : public ::testing::Test {
protected:
    testfiles::TempFolder folder{"quorl_atomic"};
    fs::path dir = folder.path;
};

}  // namespace

TEST_F(FilesystemAtomicFile, BothSaversKeepTheFilesPermissions) {
    const std::string bin = (dir / "state.bin").string(), ini = (dir / "settings.ini").string();
    const fs::perms kept = fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read;
    for (const std::string& path : {bin, ini}) {
        std::ofstream(path) << "[s]\nv = 1\n";
        fs::permissions(path, kept);
    }
    const mode_t mask = ::umask(077);  // the process's umask does not narrow the old file's rights
    {
        BinaryFileStream out(bin, BinaryFileStream::Mode::Write);
        out.Write(uint8_t(1));
        out.Commit();
    }
    ConfigFile config(ini, 0);
    std::string value = "2";
    EXPECT_TRUE(config.WriteToINI("s", {{&config, "v", &value, ConfigFile::CONF_STRING}}));
    ::umask(mask);
    for (const std::string& path : {bin, ini}) EXPECT_EQ(fs::status(path).permissions(), kept) << path;
    EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator()), 2);
}

TEST_F(FilesystemAtomicFile, AbandonedTemporaryFilesAreRemovedOthersStay) {
    // A writer that dies mid-write leaves its temporary file.
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        AtomicFile file((dir / "a.bin").string());
        file.Write("x", 1);
        ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    AtomicFile running((dir / "b.bin").string());  // this process's own: still being written
    for (const char* other : {"notes.tmp", "a.bin", ".a.bin.x.1.tmp", ".123.4.tmp"}) std::ofstream(dir / other) << "keep";
    ASSERT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator()), 6);

    EXPECT_EQ(AtomicFile::RemoveAbandoned(dir.string()), 1u);
    EXPECT_TRUE(fs::exists(running.TemporaryPath()));
    EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator()), 5);
    EXPECT_TRUE(AtomicFile::IsTemporaryName(fs::path(running.TemporaryPath()).filename().string()));
    EXPECT_EQ(AtomicFile::RemoveAbandoned((dir / "missing").string()), 0u);
}
