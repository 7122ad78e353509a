#include "quorl/filesystem/Stream.h"

#include "quorl/filesystem/ReadOnlyStream.h"

namespace quorl::filesystem {

void Stream::Write(const unsigned char*, size_t) {
    throw StreamError("stream is not writable");
}

void Stream::Read(unsigned char*, size_t) {
    throw StreamError("stream is not readable");
}

std::span<const unsigned char> Stream::Contents() const {
    throw StreamError("stream has no contents in memory");
}

uint64_t Stream::ReadFrameLength() {
    uint64_t length = 0;
    Read(length);
    uint64_t left = Remaining();
    if (length > left)
        throw StreamError("framed length " + std::to_string(length) + " exceeds the " + std::to_string(left) +
                          " bytes left");
    return length;
}

void Stream::Write(const std::string& text) {
    Write(uint64_t(text.size()));
    Write(reinterpret_cast<const unsigned char*>(text.data()), text.size());
}

void Stream::Read(std::string& text) {
    uint64_t length = ReadFrameLength();
    std::string read(static_cast<size_t>(length), char(0));
    Read(reinterpret_cast<unsigned char*>(read.data()), read.size());
    text = std::move(read);
}

void Stream::Write(const Stream& block) {
    std::span<const unsigned char> bytes = block.Contents();
    Write(uint64_t(bytes.size()));
    Write(bytes.data(), bytes.size());
}

ReadOnlyStream Stream::ReadStream() {
    uint64_t length = ReadFrameLength();
    std::vector<unsigned char> bytes(static_cast<size_t>(length));
    Read(bytes.data(), bytes.size());
    return ReadOnlyStream(std::move(bytes));
}

}  // namespace quorl::filesystem
