#include "quorl/vk/CommandBuffer.h"

#include <mutex>

#include "quorl/vk/Device.h"
#include "quorl/vk/Result.h"

namespace quorl::vk {

void CommandBuffer::Run(Device& device, const char* name, const std::function<void(VkCommandBuffer)>& f) {
    VkCommandBuffer cmd = VK_NULL_HANDLE;
    {
        std::lock_guard lock(device.oneTimePoolMutex);
        VkCommandBufferAllocateInfo info{};
        info.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_ALLOCATE_INFO;
        info.commandPool = device.oneTimePool;
        info.level = VK_COMMAND_BUFFER_LEVEL_PRIMARY;
        info.commandBufferCount = 1;
        Check(vkAllocateCommandBuffers(device.device, &info, &cmd), "vkAllocateCommandBuffers");
    }
    device.SetName(VK_OBJECT_TYPE_COMMAND_BUFFER, uint64_t(cmd), name);
    VkFence fence = VK_NULL_HANDLE;
    auto release = [&] {
        if (fence) vkDestroyFence(device.device, fence, nullptr);
        std::lock_guard lock(device.oneTimePoolMutex);
        vkFreeCommandBuffers(device.device, device.oneTimePool, 1, &cmd);
    };
    try {
        VkCommandBufferBeginInfo begin{};
        begin.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_BEGIN_INFO;
        begin.flags = VK_COMMAND_BUFFER_USAGE_ONE_TIME_SUBMIT_BIT;
        Check(vkBeginCommandBuffer(cmd, &begin), "vkBeginCommandBuffer");
        try {
            f(cmd);
        } catch (...) {
            vkEndCommandBuffer(cmd);
            throw;
        }
        Check(vkEndCommandBuffer(cmd), "vkEndCommandBuffer");
        VkFenceCreateInfo fenceInfo{};
        fenceInfo.sType = VK_STRUCTURE_TYPE_FENCE_CREATE_INFO;
        Check(vkCreateFence(device.device, &fenceInfo, nullptr, &fence), "vkCreateFence");
        VkSubmitInfo submit{};
        submit.sType = VK_STRUCTURE_TYPE_SUBMIT_INFO;
        submit.commandBufferCount = 1;
        submit.pCommandBuffers = &cmd;
        {
            std::lock_guard lock(device.queueMutex);
            Check(vkQueueSubmit(device.queue, 1, &submit, fence), name);
        }
        Check(vkWaitForFences(device.device, 1, &fence, VK_TRUE, UINT64_MAX), name);
    } catch (...) {
        release();
        throw;
    }
    release();
}

void CommandBuffer::TransitionImage(VkCommandBuffer cmd, VkImage image, VkImageAspectFlags aspect,
                                   VkImageLayout from, VkImageLayout to) {
    VkImageMemoryBarrier2 barrier{};
    barrier.sType = VK_STRUCTURE_TYPE_IMAGE_MEMORY_BARRIER_2;
    barrier.srcStageMask = VK_PIPELINE_STAGE_2_ALL_COMMANDS_BIT;
    barrier.srcAccessMask = VK_ACCESS_2_MEMORY_WRITE_BIT;
    barrier.dstStageMask = VK_PIPELINE_STAGE_2_ALL_COMMANDS_BIT;
    barrier.dstAccessMask = VK_ACCESS_2_MEMORY_READ_BIT | VK_ACCESS_2_MEMORY_WRITE_BIT;
    barrier.oldLayout = from;
    barrier.newLayout = to;
    barrier.srcQueueFamilyIndex = VK_QUEUE_FAMILY_IGNORED;
    barrier.dstQueueFamilyIndex = VK_QUEUE_FAMILY_IGNORED;
    barrier.image = image;
    barrier.subresourceRange = {aspect, 0, VK_REMAINING_MIP_LEVELS, 0, VK_REMAINING_ARRAY_LAYERS};
    VkDependencyInfo dep{};
    dep.sType = VK_STRUCTURE_TYPE_DEPENDENCY_INFO;
    dep.imageMemoryBarrierCount = 1;
    dep.pImageMemoryBarriers = &barrier;
    vkCmdPipelineBarrier2(cmd, &dep);
}

}  // namespace quorl::vk
