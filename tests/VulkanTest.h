#pragma once
// Base of tests that use Vulkan: the validation layer is on while they run and a validation
// message fails the test.
//
// One instance with the validation layer and the drivers loaded is kept for the whole test run,
// so those libraries stay mapped until the process ends: the leak check at exit then sees their
// own long-lived allocations as reachable, and names the library of any real leak.
#include <gtest/gtest.h>
#include <vulkan/vulkan_core.h>

#include "quorl/vk/Device.h"

class VulkanTest : public ::testing::Test {
protected:
    void SetUp() override {
        static const VkInstance pinned = [] {
            const char* layer = "VK_LAYER_KHRONOS_validation";
            VkApplicationInfo app{};
            app.sType = VK_STRUCTURE_TYPE_APPLICATION_INFO;
            app.apiVersion = VK_API_VERSION_1_3;
            VkInstanceCreateInfo info{};
            info.sType = VK_STRUCTURE_TYPE_INSTANCE_CREATE_INFO;
            info.pApplicationInfo = &app;
            info.enabledLayerCount = 1;
            info.ppEnabledLayerNames = &layer;
            VkInstance instance = VK_NULL_HANDLE;
            if (vkCreateInstance(&info, nullptr, &instance) == VK_SUCCESS) {
                uint32_t count = 0;
                vkEnumeratePhysicalDevices(instance, &count, nullptr);
            }
            return instance;
        }();
        (void)pinned;
        quorl::vk::Device::validation = true;
        _messagesBefore = quorl::vk::Device::validationMessages.load();
    }
    void TearDown() override {
        EXPECT_EQ(quorl::vk::Device::validationMessages.load(), _messagesBefore)
            << "the Vulkan validation layer reported problems (see the error stream)";
    }

private:
    int _messagesBefore = 0;
};
