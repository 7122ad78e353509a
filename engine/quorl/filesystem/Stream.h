#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace quorl::filesystem {

class ReadOnlyStream;

// Raised by a read that would go past the end of a stream, by a framed length larger than what
// is left, and by I/O failures. A reader never returns garbage or allocates from a bad length.
class StreamError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Byte stream of the engine. Numbers go in their in-memory (little-endian) form, with no padding.
//
// Framed forms, self-delimiting:
//   string: length as unsigned 64-bit little-endian, then the bytes (no terminator)
//   block:  length as unsigned 64-bit little-endian, then the contents of a memory stream
// A framed read first checks the length against Remaining(), so a corrupt length raises
// StreamError instead of allocating.
class Stream {
public:
    virtual ~Stream() = default;

    // Raw bytes. The defaults raise StreamError: each kind of stream offers one direction or both.
    virtual void Write(const unsigned char* data, size_t size);
    virtual void Read(unsigned char* data, size_t size);
    // Bytes left to read.
    virtual uint64_t Remaining() const { return 0; }
    // Whole contents of a memory stream (what Write(const Stream&) frames). Files raise StreamError.
    virtual std::span<const unsigned char> Contents() const;

    // Trivially copyable values (numbers, glm vectors, ids) in their memory image.
    template <class T>
        requires(std::is_trivially_copyable_v<T> && !std::is_pointer_v<T>)
    void Write(const T& value) {
        Write(reinterpret_cast<const unsigned char*>(&value), sizeof(T));
    }
    template <class T>
        requires(std::is_trivially_copyable_v<T> && !std::is_pointer_v<T> && !std::is_const_v<T>)
    void Read(T& value) {
        Read(reinterpret_cast<unsigned char*>(&value), sizeof(T));
    }

    void Write(const std::string& text);
    void Read(std::string& text);

    // A block: the other stream's Contents(), framed.
    void Write(const Stream& block);
    ReadOnlyStream ReadStream();

protected:
    // Reads a frame's length and checks it against Remaining().
    uint64_t ReadFrameLength();
};

}  // namespace quorl::filesystem
