#include "quorl/vk/Buffer.h"

#include <utility>

#include "quorl/vk/Device.h"
#include "quorl/vk/Result.h"

namespace quorl::vk {

VkMemoryPropertyFlags Buffer::Required(VmaMemoryUsage usage) {
    constexpr VkMemoryPropertyFlags host = VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT | VK_MEMORY_PROPERTY_HOST_COHERENT_BIT;
    switch (usage) {
        case VMA_MEMORY_USAGE_CPU_ONLY:
        case VMA_MEMORY_USAGE_CPU_TO_GPU:
        case VMA_MEMORY_USAGE_GPU_TO_CPU:
        case VMA_MEMORY_USAGE_CPU_COPY:
        case VMA_MEMORY_USAGE_AUTO_PREFER_HOST:
            return host;
        default:
            return 0;
    }
}

VkMemoryPropertyFlags Buffer::Preferred(VmaMemoryUsage usage) {
    switch (usage) {
        case VMA_MEMORY_USAGE_GPU_TO_CPU:
        case VMA_MEMORY_USAGE_AUTO_PREFER_HOST:
            return VK_MEMORY_PROPERTY_HOST_CACHED_BIT;
        case VMA_MEMORY_USAGE_CPU_ONLY:
        case VMA_MEMORY_USAGE_CPU_COPY:
            return 0;
        default:
            return VK_MEMORY_PROPERTY_DEVICE_LOCAL_BIT;
    }
}

Buffer::Buffer(Device& device, VkDeviceSize size, VkBufferUsageFlags usage, VmaMemoryUsage memoryUsage,
               VkDeviceSize alignment, const std::string& debugName)
    : _device(&device), _size(size) {
    try {
        VkBufferCreateInfo info{};
        info.sType = VK_STRUCTURE_TYPE_BUFFER_CREATE_INFO;
        info.size = size ? size : 1;
        info.usage = usage | VK_BUFFER_USAGE_SHADER_DEVICE_ADDRESS_BIT;
        info.sharingMode = VK_SHARING_MODE_EXCLUSIVE;
        Check(vkCreateBuffer(device.device, &info, nullptr, &_buffer), "vkCreateBuffer");
        device.SetName(VK_OBJECT_TYPE_BUFFER, uint64_t(_buffer), debugName);

        VkMemoryRequirements req;
        vkGetBufferMemoryRequirements(device.device, _buffer, &req);
        if (alignment > req.alignment) req.size = (req.size + alignment - 1) / alignment * alignment;
        const VkMemoryPropertyFlags required = Required(memoryUsage);
        const uint32_t type = device.FindMemoryType(req.memoryTypeBits, required, Preferred(memoryUsage));
        VkMemoryAllocateFlagsInfo flags{};
        flags.sType = VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_FLAGS_INFO;
        flags.flags = VK_MEMORY_ALLOCATE_DEVICE_ADDRESS_BIT;
        VkMemoryAllocateInfo alloc{};
        alloc.sType = VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_INFO;
        alloc.pNext = &flags;
        alloc.allocationSize = req.size;
        alloc.memoryTypeIndex = type;
        Check(vkAllocateMemory(device.device, &alloc, nullptr, &_memory), "vkAllocateMemory");
        Check(vkBindBufferMemory(device.device, _buffer, _memory, 0), "vkBindBufferMemory");

        VkBufferDeviceAddressInfo addressInfo{};

        addressInfo.sType = VK_STRUCTURE_TYPE_BUFFER_DEVICE_ADDRESS_INFO;
        addressInfo.buffer = _buffer;
        _address = vkGetBufferDeviceAddress(device.device, &addressInfo);

        if (device.MemoryTypeFlags(type) & VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT)
            Check(vkMapMemory(device.device, _memory, 0, VK_WHOLE_SIZE, 0, &_mapped), "vkMapMemory");
    } catch (...) {
        Release();
        throw;
    }
}

Buffer::~Buffer() { Release(); }

Buffer::Buffer(Buffer&& other) noexcept { *this = std::move(other); }

Buffer& Buffer::operator=(Buffer&& other) noexcept {
    if (this != &other) {
        Release();
        _device = std::exchange(other._device, nullptr);
        _buffer = std::exchange(other._buffer, VK_NULL_HANDLE);
        _memory = std::exchange(other._memory, VK_NULL_HANDLE);
        _size = std::exchange(other._size, 0);
        _address = std::exchange(other._address, 0);
        _mapped = std::exchange(other._mapped, nullptr);
    }
    return *this;
}

void Buffer::Release() {
    if (!_device) return;
    if (_buffer) vkDestroyBuffer(_device->device, _buffer, nullptr);
    if (_memory) vkFreeMemory(_device->device, _memory, nullptr);  // unmaps too
    _buffer = VK_NULL_HANDLE;
    _memory = VK_NULL_HANDLE;
    _mapped = nullptr;
    _address = 0;
    _device = nullptr;
}

}  // namespace quorl::vk
