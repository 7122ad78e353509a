#pragma once
#include <vulkan/vulkan_core.h>

#include <cstddef>
#include <string>

// The memory usage values of the allocator interface the library was written against. The
// engine's own allocator maps each onto Vulkan memory properties (see Buffer::Required).
enum VmaMemoryUsage {
    VMA_MEMORY_USAGE_UNKNOWN = 0,
    VMA_MEMORY_USAGE_GPU_ONLY = 1,
    VMA_MEMORY_USAGE_CPU_ONLY = 2,
    VMA_MEMORY_USAGE_CPU_TO_GPU = 3,
    VMA_MEMORY_USAGE_GPU_TO_CPU = 4,
    VMA_MEMORY_USAGE_CPU_COPY = 5,
    VMA_MEMORY_USAGE_GPU_LAZILY_ALLOCATED = 6,
    VMA_MEMORY_USAGE_AUTO = 7,
    VMA_MEMORY_USAGE_AUTO_PREFER_DEVICE = 8,
    VMA_MEMORY_USAGE_AUTO_PREFER_HOST = 9,
};

namespace quorl::vk {

class Device;

// A buffer with its own memory and a device address. Each buffer has one allocation of its own:
// the engine's allocator is this class, which is enough for the few long-lived buffers a frame
// uses. Memory that the usage says the CPU reads or writes is host-visible and coherent, and is
// mapped for the buffer's whole life.
class Buffer {
public:
    Buffer() = default;
    // alignment: the least alignment of the allocation (0: what the device asks). Throws
    // std::runtime_error on failure.
    Buffer(Device& device, VkDeviceSize size, VkBufferUsageFlags usage, VmaMemoryUsage memoryUsage,
           VkDeviceSize alignment = 0, const std::string& debugName = {});
    ~Buffer();
    Buffer(Buffer&& other) noexcept;
    Buffer& operator=(Buffer&& other) noexcept;
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;

    // Properties a usage value requires and prefers.
    static VkMemoryPropertyFlags Required(VmaMemoryUsage usage);
    static VkMemoryPropertyFlags Preferred(VmaMemoryUsage usage);

    VkBuffer Handle() const { return _buffer; }
    VkDeviceSize Size() const { return _size; }
    VkDeviceAddress DeviceAddress() const { return _address; }
    // The mapped memory, or null for memory the CPU can't see.
    void* Data() const { return _mapped; }
    bool IsHostVisible() const { return _mapped != nullptr; }
    explicit operator bool() const { return _buffer != VK_NULL_HANDLE; }

private:
    void Release();
    Device* _device = nullptr;
    VkBuffer _buffer = VK_NULL_HANDLE;
    VkDeviceMemory _memory = VK_NULL_HANDLE;
    VkDeviceSize _size = 0;
    VkDeviceAddress _address = 0;
    void* _mapped = nullptr;
};

}  // namespace quorl::vk
