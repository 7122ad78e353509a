#pragma once
#include <vector>

#include "quorl/filesystem/Stream.h"

namespace quorl::filesystem {

// A memory stream that grows as it is written; the argument is the capacity to reserve.
class WriteOnlyStream : public Stream {
public:
    using Stream::Read;
    using Stream::Write;

    explicit WriteOnlyStream(size_t reserve = 0);

    void Write(const unsigned char* data, size_t size) override;
    std::span<const unsigned char> Contents() const override { return {_bytes.data(), _bytes.size()}; }

    size_t Size() const { return _bytes.size(); }
    const std::vector<unsigned char>& Bytes() const { return _bytes; }
    void Clear() { _bytes.clear(); }

private:
    std::vector<unsigned char> _bytes;
};

}  // namespace quorl::filesystem
