#pragma once
#include <vulkan/vulkan_core.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "quorl/vk/PhysicalDevice.h"

namespace quorl::vk {

// Vulkan instance, the chosen GPU, one logical device with one graphics queue and a command
// pool for one-time work. Buffer device addresses are on; Vulkan 1.3 is required.
//
// Failures throw std::runtime_error with a message that names what is missing and how to
// install it (no Vulkan driver, no suitable device, no validation layer when one is demanded).
class Device {
public:
    // instanceExtensions: those a window system needs for its surface; presentation adds the
    // swapchain extension to the device.
    Device(const std::string& applicationName, uint32_t version, const PhysicalDevice::Features& features,
           const std::vector<const char*>& instanceExtensions = {}, bool presentation = false);
    ~Device();
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    VkInstance instance = VK_NULL_HANDLE;  // shared by the devices made with the same options
    VkPhysicalDevice physicalDevice = VK_NULL_HANDLE;
    VkDevice device = VK_NULL_HANDLE;
    VkQueue queue = VK_NULL_HANDLE;
    uint32_t queueFamily = 0;
    VkPhysicalDeviceProperties properties{};
    // What was enabled of the wished features.
    PhysicalDevice::Features enabled;

    // Memory type with all of `required` among typeBits, preferring one that also has `preferred`.
    // Throws when none exists.
    uint32_t FindMemoryType(uint32_t typeBits, VkMemoryPropertyFlags required, VkMemoryPropertyFlags preferred) const;
    VkMemoryPropertyFlags MemoryTypeFlags(uint32_t type) const;

    // Gives a Vulkan object a debug name (shown by the validation layer and by GPU debuggers).
    void SetName(VkObjectType type, uint64_t handle, const std::string& name) const;

    // Queue access is serialised: submissions from several threads go through this mutex.
    std::mutex queueMutex;
    // The pool for one-time command buffers, under its own mutex.
    VkCommandPool oneTimePool = VK_NULL_HANDLE;
    std::mutex oneTimePoolMutex;

    void WaitIdle();

    // Validation: when set before a Device is made (or QUORL_VK_VALIDATION=1 in the environment),
    // the Khronos validation layer is enabled and every warning or error it reports is printed on
    // the error stream and counted in validationMessages. Tests turn it on and fail on a count
    // that changed.
    static std::atomic<bool> validation;
    static std::atomic<int> validationMessages;

private:
    static VkInstance SharedInstance(const std::string& applicationName, uint32_t version, bool validation,
                                     const std::vector<const char*>& extensions);
    void Release();
    PFN_vkSetDebugUtilsObjectNameEXT _setName = nullptr;
    VkPhysicalDeviceMemoryProperties _memory{};
};

}  // namespace quorl::vk
