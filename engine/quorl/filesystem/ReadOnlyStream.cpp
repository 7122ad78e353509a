#include "quorl/filesystem/ReadOnlyStream.h"

#include <cstring>

namespace quorl::filesystem {

ReadOnlyStream::ReadOnlyStream(std::vector<unsigned char> bytes)
    : _bytes(std::make_shared<const std::vector<unsigned char>>(std::move(bytes))), _size(_bytes->size()) {}

ReadOnlyStream::ReadOnlyStream(const unsigned char* data, size_t size)
    : ReadOnlyStream(std::vector<unsigned char>(data, data + size)) {}

void ReadOnlyStream::Read(unsigned char* data, size_t size) {
    if (size > _size - _pos)
        throw StreamError("read of " + std::to_string(size) + " bytes with " + std::to_string(_size - _pos) +
                          " left");
    if (size) std::memcpy(data, _bytes->data() + _pos, size);
    _pos += size;
}

std::span<const unsigned char> ReadOnlyStream::Contents() const {
    if (!_bytes) return {};
    return {_bytes->data(), _size};
}

}  // namespace quorl::filesystem
