#include "quorl/filesystem/WriteOnlyStream.h"

namespace quorl::filesystem {

WriteOnlyStream::WriteOnlyStream(size_t reserve) {
    _bytes.reserve(reserve);
}

void WriteOnlyStream::Write(const unsigned char* data, size_t size) {
    _bytes.insert(_bytes.end(), data, data + size);
}

}  // namespace quorl::filesystem
