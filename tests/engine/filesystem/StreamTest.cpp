#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "TestFiles.h"
#include "quorl/filesystem/BinaryFileStream.h"
#include "quorl/filesystem/ReadOnlyStream.h"
#include "quorl/filesystem/WriteOnlyStream.h"

using namespace quorl::filesystem;
namespace fs = std::filesystem;

namespace {

class FilesystemStreamFile : public ::testing::Test {
protected:
    testfiles::TempFolder folder{"quorl_stream"};
    const fs::path dir = folder.path;
};

}  // namespace

TEST(FilesystemStream, FramesAreLengthThenBytes) {
    WriteOnlyStream inner(0);
    inner.Write(uint32_t(0xA1B2C3D4));
    WriteOnlyStream out(0);
    out.Write(std::string("ab"));
    out.Write(inner);
    out.Write(std::string());
    std::vector<unsigned char> expected = {2, 0, 0, 0, 0, 0, 0, 0, 'a', 'b',
                                           4, 0, 0, 0, 0, 0, 0, 0, 0xD4, 0xC3, 0xB2, 0xA1,
                                           0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(out.Bytes(), expected);

    ReadOnlyStream in(out.Bytes());
    std::string s = "old";
    in.Read(s);
    EXPECT_EQ(s, "ab");
    ReadOnlyStream block = in.ReadStream();
    uint32_t v = 0;
    block.Read(v);
    EXPECT_EQ(v, 0xA1B2C3D4u);
    EXPECT_EQ(block.Remaining(), 0u);
    in.Read(s);
    EXPECT_EQ(s, "");
    EXPECT_EQ(in.Remaining(), 0u);
}

TEST(FilesystemStream, ShortAndOversizedReadsThrowAndKeepTheTarget) {
    WriteOnlyStream out(0);
    out.Write(uint64_t(1) << 40);  // a length far beyond the data
    out.Write(uint16_t(7));
    {
        ReadOnlyStream in(out.Bytes());
        std::string s = "kept";
        EXPECT_THROW(in.Read(s), StreamError);
        EXPECT_EQ(s, "kept");
    }
    {
        ReadOnlyStream in(out.Bytes());
        EXPECT_THROW(in.ReadStream(), StreamError);
    }
    {
        ReadOnlyStream in(out.Bytes().data(), 9);
        uint64_t a = 0;
        in.Read(a);
        uint16_t b = 0;
        EXPECT_THROW(in.Read(b), StreamError);  // one byte left
    }
    ReadOnlyStream empty;
    uint8_t x = 0;
    EXPECT_THROW(empty.Read(x), StreamError);
    EXPECT_THROW(empty.Write(x), StreamError);  // each stream goes one way only
    EXPECT_THROW(out.Read(x), StreamError);
}

TEST_F(FilesystemStreamFile, RoundTripAcrossBufferBoundaries) {
    std::string path = (dir / "data.bin").string();
    std::string big(5000, 'x');
    for (size_t i = 0; i < big.size(); ++i) big[i] = char('a' + i % 26);
    {
        BinaryFileStream out(path, BinaryFileStream::Mode::Write);
        for (int i = 0; i < 300; ++i) out.Write(double(i) * 0.5);  // 2400 bytes, crosses the buffer twice
        out.Write(big);
        WriteOnlyStream block(0);
        block.Write(int32_t(-3));
        out.Write(block);
        out.Commit();
    }
    EXPECT_EQ(fs::file_size(path), 2400u + 8 + 5000 + 8 + 4);
    BinaryFileStream in(path, BinaryFileStream::Mode::Read);
    for (int i = 0; i < 300; ++i) {
        double d = 0;
        in.Read(d);
        ASSERT_EQ(d, double(i) * 0.5);
    }
    std::string s;
    in.Read(s);
    EXPECT_EQ(s, big);
    ReadOnlyStream block = in.ReadStream();
    int32_t v = 0;
    block.Read(v);
    EXPECT_EQ(v, -3);
    EXPECT_EQ(in.Remaining(), 0u);
    uint8_t extra;
    EXPECT_THROW(in.Read(extra), StreamError);
}

TEST_F(FilesystemStreamFile, WriterReplacesOnlyOnCommit) {
    std::string path = (dir / "state.bin").string();
    testfiles::WriteAll(path, "OLD CONTENT");
    std::string temp;
    {
        BinaryFileStream out(path, BinaryFileStream::Mode::Write);
        temp = out.TemporaryPath();
        EXPECT_EQ(fs::path(temp).parent_path(), dir);
        out.Write(std::string(3000, 'n'));
        out.Flush();
        EXPECT_EQ(testfiles::ReadAll(path), "OLD CONTENT");  // flushed but not committed: old file whole
    }
    // Abandoned writer: temp file gone, old file untouched.
    EXPECT_FALSE(fs::exists(temp));
    EXPECT_EQ(testfiles::ReadAll(path), "OLD CONTENT");
    {
        BinaryFileStream out(path, BinaryFileStream::Mode::Write);
        out.Write(uint8_t(42));
        out.Commit();
        EXPECT_THROW(out.Write(uint8_t(1)), StreamError);
    }
    EXPECT_EQ(testfiles::ReadAll(path), "\x2a");
    EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator()), 1);
}

TEST_F(FilesystemStreamFile, OpenErrorsNameThePath) {
    std::string missing = (dir / "missing.bin").string();
    try {
        BinaryFileStream in(missing, BinaryFileStream::Mode::Read);
        FAIL() << "opened a missing file";
    } catch (const StreamError& e) {
        EXPECT_NE(std::string(e.what()).find(missing), std::string::npos);
    }
    EXPECT_THROW(BinaryFileStream((dir / "no" / "such.bin").string(), BinaryFileStream::Mode::Write), StreamError);
    EXPECT_THROW(BinaryFileStream(dir.string(), BinaryFileStream::Mode::Read), StreamError);
}
