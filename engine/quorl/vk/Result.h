#pragma once
#include <vulkan/vulkan_core.h>

namespace quorl::vk {

// The name of a Vulkan result code ("VK_ERROR_DEVICE_LOST"), for messages.
const char* ResultName(VkResult result);

// Throws std::runtime_error "<what> failed: <result name>" when result is an error code.
// A lost device names itself so that the caller's message says what happened.
void Check(VkResult result, const char* what);

}  // namespace quorl::vk
