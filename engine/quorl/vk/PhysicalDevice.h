#pragma once
#include <vulkan/vulkan_core.h>

#include <string>
#include <vector>

namespace quorl::vk {

// Choice of the GPU. A real GPU (discrete, then integrated, then virtual) is taken before a
// software driver (Mesa's lavapipe), and only devices of Vulkan 1.3 with buffer device
// addresses count.
class PhysicalDevice {
public:
    // Features a renderer asks for. Buffer device addresses are always on. The ray tracing
    // features are wishes: the renderer rasterises, so they are enabled where the device has
    // them and ignored where it hasn't.
    struct Features {
        bool rayTracingPipeline = false;
        bool accelerationStructure = false;
        bool rayQuery = false;
        bool shaderFloat64 = false;
        bool shaderInt64 = true;
        bool fillModeNonSolid = true;  // wireframe pipelines
        bool descriptorIndexing = true;
    };

    // The best device of the instance, or VK_NULL_HANDLE when none qualifies.
    static VkPhysicalDevice Pick(VkInstance instance);
    // Rank of a device type: higher is preferred; a software device ranks lowest.
    static int Rank(VkPhysicalDeviceType type);
    static std::string Name(VkPhysicalDevice device);
    static bool IsSoftware(VkPhysicalDevice device);
};

}  // namespace quorl::vk
