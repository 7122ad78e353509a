#pragma once
#include <vulkan/vulkan_core.h>

#include <functional>

namespace quorl::vk {

class Device;

class CommandBuffer {
public:
    // Records f into a one-time command buffer named `name`, submits it and waits for the GPU
    // to finish. If f throws, nothing is submitted, the buffer is freed and the error goes on.
    static void Run(Device& device, const char* name, const std::function<void(VkCommandBuffer)>& f);

    // A full pipeline barrier that moves `image` (all mips and layers of `aspect`) between layouts.
    static void TransitionImage(VkCommandBuffer cmd, VkImage image, VkImageAspectFlags aspect,
                                VkImageLayout from, VkImageLayout to);
};

}  // namespace quorl::vk
