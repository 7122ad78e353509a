#pragma once
#include <memory>
#include <vector>

#include "quorl/filesystem/Stream.h"

namespace quorl::filesystem {

// Reads from bytes in memory. A default-made stream is empty. Copies share the bytes but keep
// their own position.
class ReadOnlyStream : public Stream {
public:
    using Stream::Read;
    using Stream::Write;

    ReadOnlyStream() = default;
    explicit ReadOnlyStream(std::vector<unsigned char> bytes);
    ReadOnlyStream(const unsigned char* data, size_t size);

    void Read(unsigned char* data, size_t size) override;
    uint64_t Remaining() const override { return _size - _pos; }
    std::span<const unsigned char> Contents() const override;

    size_t Size() const { return _size; }
    size_t Position() const { return _pos; }

private:
    std::shared_ptr<const std::vector<unsigned char>> _bytes;
    size_t _size = 0;
    size_t _pos = 0;
};

}  // namespace quorl::filesystem
