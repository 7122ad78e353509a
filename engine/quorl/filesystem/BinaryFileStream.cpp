#include "quorl/filesystem/BinaryFileStream.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quorl::filesystem {

namespace {

std::atomic<uint64_t> temporaryCounter{0};

// Folder and file name of a path, split at its last slash.
void SplitPath(const std::string& path, std::string& folder, std::string& name) {
    size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        folder = ".";
        name = path;
    } else {
        folder = slash == 0 ? "/" : path.substr(0, slash);
        name = path.substr(slash + 1);
    }
}

}  // namespace

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
    std::string folder, name;
    SplitPath(path, folder, name);
    _tempPath = (folder == "/" ? "" : folder) + "/." + name + "." + std::to_string(::getpid()) + "." +
                std::to_string(temporaryCounter.fetch_add(1)) + ".tmp";
    _fd = ::open(_tempPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (_fd < 0) {
        int e = errno;
        throw StreamError("cannot create " + _tempPath + ": " + std::strerror(e));
    }
}

BinaryFileStream::~BinaryFileStream() {
    if (_fd >= 0) ::close(_fd);
    if (_mode == Mode::Write && !_committed) ::unlink(_tempPath.c_str());
}

void BinaryFileStream::Fail(const std::string& what) const {
    int e = errno;
    throw StreamError(what + " " + _path + ": " + std::strerror(e));
}

void BinaryFileStream::WriteOut(const unsigned char* data, size_t size) {
    while (size > 0) {
        ssize_t n = ::write(_fd, data, size);
        if (n < 0) {
            if (errno == EINTR) continue;
            Fail("cannot write");
        }
        data += n;
        size -= size_t(n);
    }
}

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
    if (::fdatasync(_fd) != 0) Fail("cannot flush");
}

void BinaryFileStream::Commit() {
    if (_mode != Mode::Write) throw StreamError("only a writer can commit: " + _path);
    if (_committed) return;
    Flush();
    if (::close(_fd) != 0) {
        _fd = -1;
        Fail("cannot close");
    }
    _fd = -1;
    if (::rename(_tempPath.c_str(), _path.c_str()) != 0) Fail("cannot rename the temporary file over");
    _committed = true;
}

}  // namespace quorl::filesystem
