#include "quorl/filesystem/BinaryFileStream.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quorl::filesystem {

BinaryFileStream::BinaryFileStream(const std::string& path, Mode mode) : _path(path), _mode(mode) {
    if (mode == Mode::Read) {
        _fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (_fd < 0) Fail("cannot open for reading");
        struct stat st {};
        if (::fstat(_fd, &st) != 0) Fail("cannot read the size of");
        if (!S_ISREG(st.st_mode)) {
            ::close(_fd);
            _fd = -1;
            throw StreamError("not a regular file: " + path);
        }
        _fileSize = uint64_t(st.st_size);
        return;
    }
    _out = std::make_unique<AtomicFile>(path);
}

BinaryFileStream::~BinaryFileStream() {
    if (_fd >= 0) ::close(_fd);
}

const std::string& BinaryFileStream::TemporaryPath() const {
    static const std::string none;
    return _out ? _out->TemporaryPath() : none;
}

void BinaryFileStream::Fail(const std::string& what) const {
    int e = errno;
    throw StreamError(what + " " + _path + ": " + std::strerror(e));
}

void BinaryFileStream::WriteOut(const unsigned char* data, size_t size) { _out->Write(data, size); }

void BinaryFileStream::Write(const unsigned char* data, size_t size) {
    if (_mode != Mode::Write || _committed) throw StreamError("stream is not writable: " + _path);
    if (_bufferUsed + size > BufferSize) {
        WriteOut(_buffer, _bufferUsed);
        _bufferUsed = 0;
        if (size >= BufferSize) {
            WriteOut(data, size);
            return;
        }
    }
    if (size) std::memcpy(_buffer + _bufferUsed, data, size);
    _bufferUsed += size;
}

void BinaryFileStream::Read(unsigned char* data, size_t size) {
    if (_mode != Mode::Read) throw StreamError("stream is not readable: " + _path);
    if (size > Remaining())
        throw StreamError("read of " + std::to_string(size) + " bytes with " + std::to_string(Remaining()) +
                          " left in " + _path);
    while (size > 0) {
        if (_bufferPos == _bufferUsed) {
            _filePos += _bufferUsed;
            _bufferPos = _bufferUsed = 0;
            ssize_t n = ::read(_fd, _buffer, BufferSize);
            if (n < 0) {
                if (errno == EINTR) continue;
                Fail("cannot read");
            }
            if (n == 0) throw StreamError("file ended early: " + _path);
            _bufferUsed = size_t(n);
        }
        size_t take = std::min(size, _bufferUsed - _bufferPos);
        std::memcpy(data, _buffer + _bufferPos, take);
        _bufferPos += take;
        data += take;
        size -= take;
    }
}

uint64_t BinaryFileStream::Remaining() const {
    if (_mode != Mode::Read) return 0;
    uint64_t at = _filePos + _bufferPos;
    return at < _fileSize ? _fileSize - at : 0;
}

void BinaryFileStream::Flush() {
    if (_mode != Mode::Write || _committed) return;
    WriteOut(_buffer, _bufferUsed);
    _bufferUsed = 0;
    _out->Sync();
}

void BinaryFileStream::Commit() {
    if (_mode != Mode::Write) throw StreamError("only a writer can commit: " + _path);
    if (_committed) return;
    WriteOut(_buffer, _bufferUsed);
    _bufferUsed = 0;
    _out->Commit();
    _committed = true;
}

}  // namespace quorl::filesystem
