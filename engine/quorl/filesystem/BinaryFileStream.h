#pragma once
#include <memory>
#include <string>

#include "quorl/filesystem/AtomicFile.h"
#include "quorl/filesystem/Stream.h"

namespace quorl::filesystem {

// A file, buffered in 1024-byte pieces.
//
// Read mode opens the file as it is. Write mode never writes the named file in place: it writes
// through an AtomicFile (a temporary file beside it); Flush() writes the buffer out and forces the
// data to the disk, and Commit() flushes and renames the temporary file over the named one. So the
// named file is at every moment either the old file or the new one, whole. A writer destroyed
// without Commit() removes its temporary file and leaves the named file alone.
class BinaryFileStream : public Stream {
public:
    using Stream::Read;
    using Stream::Write;

    enum class Mode { Read, Write };
    static constexpr size_t BufferSize = 1024;

    // Throws StreamError when the file can't be opened (the message has the path and the reason).
    BinaryFileStream(const std::string& path, Mode mode);
    ~BinaryFileStream() override;
    BinaryFileStream(const BinaryFileStream&) = delete;
    BinaryFileStream& operator=(const BinaryFileStream&) = delete;

    void Write(const unsigned char* data, size_t size) override;
    void Read(unsigned char* data, size_t size) override;
    uint64_t Remaining() const override;

    void Flush();
    void Commit();

    const std::string& Path() const { return _path; }
    // The temporary file of a writer; empty for a reader.
    const std::string& TemporaryPath() const;

private:
    void WriteOut(const unsigned char* data, size_t size);
    [[noreturn]] void Fail(const std::string& what) const;

    std::string _path;
    Mode _mode;
    int _fd = -1;  // read mode
    std::unique_ptr<AtomicFile> _out;  // write mode
    bool _committed = false;
    uint64_t _fileSize = 0;   // read mode
    uint64_t _filePos = 0;    // read mode: position of the buffer's start in the file
    unsigned char _buffer[BufferSize];
    size_t _bufferUsed = 0;   // write mode: bytes waiting; read mode: bytes held
    size_t _bufferPos = 0;    // read mode: next byte in the buffer
};

}  // namespace quorl::filesystem
