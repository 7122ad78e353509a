#pragma once
#include <cstddef>
#include <string>

#include "quorl/Assert.h"
#include "quorl/vk/Buffer.h"

namespace quorl::vk {

// An array of `count` records of T in host-visible memory that the GPU reads through the
// buffer's device address. Indexing out of range is a broken invariant (assertion).
template <class T, VmaMemoryUsage Usage = VMA_MEMORY_USAGE_CPU_TO_GPU,
          VkBufferUsageFlags BufferUsage = VK_BUFFER_USAGE_STORAGE_BUFFER_BIT>
class MappedBuffer {
public:
    MappedBuffer() = default;
    MappedBuffer(Device& device, size_t count, const std::string& debugName = {})
        : _buffer(device, sizeof(T) * count, BufferUsage, Usage, 0, debugName), _count(count) {
        QUORL_ASSERT(_buffer.Data() != nullptr);
        _data = static_cast<T*>(_buffer.Data());
        for (size_t i = 0; i < count; ++i) new (_data + i) T();
    }

    T& operator[](size_t index) {
        QUORL_ASSERT(index < _count);
        return _data[index];
    }
    const T& operator[](size_t index) const {
        QUORL_ASSERT(index < _count);
        return _data[index];
    }
    T* Data() const { return _data; }
    size_t Count() const { return _count; }
    VkDeviceAddress DeviceAddress() const { return _buffer.DeviceAddress(); }
    Buffer& GetBuffer() { return _buffer; }

private:
    Buffer _buffer;
    size_t _count = 0;
    T* _data = nullptr;
};

}  // namespace quorl::vk
