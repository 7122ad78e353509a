#include "quorl/vk/Device.h"

#include <cstdlib>
#include <algorithm>
#include <cstring>
#include <map>
#include <iostream>
#include <stdexcept>

#include "quorl/vk/Result.h"

namespace quorl::vk {

std::atomic<bool> Device::validation{false};
std::atomic<int> Device::validationMessages{0};

namespace {

constexpr const char* kValidationLayer = "VK_LAYER_KHRONOS_validation";
constexpr const char* kInstallDriver =
    "install a GPU driver or Mesa's software driver (Debian: apt-get install mesa-vulkan-drivers libvulkan1)";

VKAPI_ATTR VkBool32 VKAPI_CALL OnValidationMessage(VkDebugUtilsMessageSeverityFlagBitsEXT severity,
                                                   VkDebugUtilsMessageTypeFlagsEXT,
                                                   const VkDebugUtilsMessengerCallbackDataEXT* data, void*) {
    if (severity >= VK_DEBUG_UTILS_MESSAGE_SEVERITY_WARNING_BIT_EXT) {
        Device::validationMessages.fetch_add(1);
        std::cerr << "Vulkan validation: " << (data && data->pMessage ? data->pMessage : "(no text)") << std::endl;
    }
    return VK_FALSE;
}

bool HasLayer(const char* name) {
    uint32_t count = 0;
    vkEnumerateInstanceLayerProperties(&count, nullptr);
    std::vector<VkLayerProperties> layers(count);
    vkEnumerateInstanceLayerProperties(&count, layers.data());
    for (auto& l : layers)
        if (std::strcmp(l.layerName, name) == 0) return true;
    return false;
}

bool HasInstanceExtension(const char* name) {
    uint32_t count = 0;
    vkEnumerateInstanceExtensionProperties(nullptr, &count, nullptr);
    std::vector<VkExtensionProperties> extensions(count);
    vkEnumerateInstanceExtensionProperties(nullptr, &count, extensions.data());
    for (auto& e : extensions)
        if (std::strcmp(e.extensionName, name) == 0) return true;
    return false;
}

}  // namespace

// Instances are made once per process for each set of options (validation, extensions, the
// driver list of the environment) and kept until the process ends: loading the drivers (an LLVM
// compiler for the software one) and layers costs more than a renderer's own set-up, and drivers
// that stay loaded keep their own long-lived allocations reachable for leak checkers.
VkInstance Device::SharedInstance(const std::string& applicationName, uint32_t version, bool wantValidation,
                                  const std::vector<const char*>& extensions) {
    static std::mutex mutex;
    static auto* instances = new std::map<std::string, VkInstance>();
    std::string key = wantValidation ? "validation" : "plain";
    for (const char* e : extensions) key += std::string(";") + e;
    for (const char* var : {"VK_ICD_FILENAMES", "VK_DRIVER_FILES", "VK_ADD_DRIVER_FILES"})
        if (const char* value = std::getenv(var)) key += std::string(";") + var + "=" + value;
    std::lock_guard lock(mutex);
    if (auto it = instances->find(key); it != instances->end()) return it->second;

    VkApplicationInfo app{};
    app.sType = VK_STRUCTURE_TYPE_APPLICATION_INFO;
    app.pApplicationName = applicationName.c_str();
    app.applicationVersion = version;
    app.pEngineName = "quorl";
    app.engineVersion = 1;
    app.apiVersion = VK_API_VERSION_1_3;

    std::vector<const char*> layers;
    if (wantValidation) {
        if (!HasLayer(kValidationLayer))
            throw std::runtime_error(
                "Vulkan validation was asked for but the layer VK_LAYER_KHRONOS_validation is not installed "
                "(Debian: apt-get install vulkan-validationlayers)");
        layers.push_back(kValidationLayer);
    }
    const bool debugUtils =
        std::find_if(extensions.begin(), extensions.end(), [](const char* e) {
            return std::strcmp(e, VK_EXT_DEBUG_UTILS_EXTENSION_NAME) == 0;
        }) != extensions.end();
    VkDebugUtilsMessengerCreateInfoEXT messengerInfo{};
    messengerInfo.sType = VK_STRUCTURE_TYPE_DEBUG_UTILS_MESSENGER_CREATE_INFO_EXT;
    messengerInfo.messageSeverity =
        VK_DEBUG_UTILS_MESSAGE_SEVERITY_WARNING_BIT_EXT | VK_DEBUG_UTILS_MESSAGE_SEVERITY_ERROR_BIT_EXT;
    messengerInfo.messageType = VK_DEBUG_UTILS_MESSAGE_TYPE_GENERAL_BIT_EXT |
                                VK_DEBUG_UTILS_MESSAGE_TYPE_VALIDATION_BIT_EXT |
                                VK_DEBUG_UTILS_MESSAGE_TYPE_PERFORMANCE_BIT_EXT;
    messengerInfo.pfnUserCallback = OnValidationMessage;

    VkInstanceCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_INSTANCE_CREATE_INFO;
    info.pApplicationInfo = &app;
    info.enabledExtensionCount = uint32_t(extensions.size());
    info.ppEnabledExtensionNames = extensions.data();
    info.enabledLayerCount = uint32_t(layers.size());
    info.ppEnabledLayerNames = layers.data();
    if (wantValidation && debugUtils) info.pNext = &messengerInfo;
    VkInstance instance = VK_NULL_HANDLE;
    VkResult r = vkCreateInstance(&info, nullptr, &instance);
    if (r == VK_ERROR_INCOMPATIBLE_DRIVER || r == VK_ERROR_INITIALIZATION_FAILED)
        throw std::runtime_error(std::string("No Vulkan driver found (") + ResultName(r) + "): " + kInstallDriver);
    if (r == VK_ERROR_EXTENSION_NOT_PRESENT)
        throw std::runtime_error(
            "The Vulkan driver lacks an instance extension the window needs (surface support): " +
            std::string(kInstallDriver));
    Check(r, "vkCreateInstance");
    if (wantValidation && debugUtils) {
        auto create = reinterpret_cast<PFN_vkCreateDebugUtilsMessengerEXT>(
            vkGetInstanceProcAddr(instance, "vkCreateDebugUtilsMessengerEXT"));
        VkDebugUtilsMessengerEXT messenger = VK_NULL_HANDLE;  // lives as long as the instance
        if (create) Check(create(instance, &messengerInfo, nullptr, &messenger), "vkCreateDebugUtilsMessengerEXT");
    }
    instances->emplace(key, instance);
    return instance;
}

Device::Device(const std::string& applicationName, uint32_t version, const PhysicalDevice::Features& features,
               const std::vector<const char*>& instanceExtensions, bool presentation) {
    const char* env = std::getenv("QUORL_VK_VALIDATION");
    const bool wantValidation = validation.load() || (env && std::strcmp(env, "1") == 0);

    std::vector<const char*> extensions = instanceExtensions;
    const bool debugUtils = HasInstanceExtension(VK_EXT_DEBUG_UTILS_EXTENSION_NAME);
    if (debugUtils) extensions.push_back(VK_EXT_DEBUG_UTILS_EXTENSION_NAME);
    instance = SharedInstance(applicationName, version, wantValidation, extensions);

    try {
        if (debugUtils)
            _setName = reinterpret_cast<PFN_vkSetDebugUtilsObjectNameEXT>(
                vkGetInstanceProcAddr(instance, "vkSetDebugUtilsObjectNameEXT"));

        physicalDevice = PhysicalDevice::Pick(instance);
        if (!physicalDevice)
            throw std::runtime_error(
                "No Vulkan 1.3 device with buffer device addresses was found: " + std::string(kInstallDriver));
        vkGetPhysicalDeviceProperties(physicalDevice, &properties);
        vkGetPhysicalDeviceMemoryProperties(physicalDevice, &_memory);

        uint32_t familyCount = 0;
        vkGetPhysicalDeviceQueueFamilyProperties(physicalDevice, &familyCount, nullptr);
        std::vector<VkQueueFamilyProperties> families(familyCount);
        vkGetPhysicalDeviceQueueFamilyProperties(physicalDevice, &familyCount, families.data());
        queueFamily = UINT32_MAX;
        for (uint32_t i = 0; i < familyCount; ++i) {
            if (families[i].queueFlags & VK_QUEUE_GRAPHICS_BIT) {
                queueFamily = i;
                break;
            }
        }
        if (queueFamily == UINT32_MAX)
            throw std::runtime_error("The Vulkan device " + PhysicalDevice::Name(physicalDevice) +
                                     " has no graphics queue: " + kInstallDriver);

        // Features: what is asked and available.
        VkPhysicalDeviceVulkan13Features has13{};
        has13.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_3_FEATURES;
        VkPhysicalDeviceVulkan12Features has12{};
        has12.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_2_FEATURES;
        has12.pNext = &has13;
        VkPhysicalDeviceFeatures2 has{};
        has.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_FEATURES_2;
        has.pNext = &has12;
        vkGetPhysicalDeviceFeatures2(physicalDevice, &has);

        VkPhysicalDeviceVulkan13Features want13{};

        want13.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_3_FEATURES;
        VkPhysicalDeviceVulkan12Features want12{};
        want12.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_2_FEATURES;
        want12.pNext = &want13;
        VkPhysicalDeviceFeatures2 want{};
        want.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_FEATURES_2;
        want.pNext = &want12;
        want12.bufferDeviceAddress = VK_TRUE;
        want13.synchronization2 = VK_TRUE;  // both are core in Vulkan 1.3
        want13.dynamicRendering = VK_TRUE;
        // glslc writes compute shaders' group size as LocalSizeId, which needs maintenance4.
        want13.maintenance4 = has13.maintenance4;
        enabled = PhysicalDevice::Features{};
        enabled.shaderInt64 = features.shaderInt64 && has.features.shaderInt64;
        enabled.shaderFloat64 = features.shaderFloat64 && has.features.shaderFloat64;
        enabled.fillModeNonSolid = features.fillModeNonSolid && has.features.fillModeNonSolid;
        enabled.descriptorIndexing = features.descriptorIndexing && has12.descriptorIndexing &&
                                     has12.runtimeDescriptorArray && has12.descriptorBindingPartiallyBound &&
                                     has12.shaderSampledImageArrayNonUniformIndexing;
        want.features.shaderInt64 = enabled.shaderInt64;
        want.features.shaderFloat64 = enabled.shaderFloat64;
        want.features.fillModeNonSolid = enabled.fillModeNonSolid;
        // Raster materials blend their colour and leave the aim id as it is, where the device can.
        want.features.independentBlend = has.features.independentBlend;
        if (enabled.descriptorIndexing) {
            want12.descriptorIndexing = VK_TRUE;
            want12.runtimeDescriptorArray = VK_TRUE;
            want12.descriptorBindingPartiallyBound = VK_TRUE;
            want12.shaderSampledImageArrayNonUniformIndexing = VK_TRUE;
            want12.descriptorBindingSampledImageUpdateAfterBind = has12.descriptorBindingSampledImageUpdateAfterBind;
        }
        // Ray tracing is never enabled: the renderer rasterises what it would trace.

        const float priority = 1.0f;
        VkDeviceQueueCreateInfo queueInfo{};
        queueInfo.sType = VK_STRUCTURE_TYPE_DEVICE_QUEUE_CREATE_INFO;
        queueInfo.queueFamilyIndex = queueFamily;
        queueInfo.queueCount = 1;
        queueInfo.pQueuePriorities = &priority;
        std::vector<const char*> deviceExtensions;
        if (presentation) deviceExtensions.push_back(VK_KHR_SWAPCHAIN_EXTENSION_NAME);
        VkDeviceCreateInfo deviceInfo{};
        deviceInfo.sType = VK_STRUCTURE_TYPE_DEVICE_CREATE_INFO;
        deviceInfo.pNext = &want;
        deviceInfo.queueCreateInfoCount = 1;
        deviceInfo.pQueueCreateInfos = &queueInfo;
        deviceInfo.enabledExtensionCount = uint32_t(deviceExtensions.size());
        deviceInfo.ppEnabledExtensionNames = deviceExtensions.data();
        Check(vkCreateDevice(physicalDevice, &deviceInfo, nullptr, &device), "vkCreateDevice");
        vkGetDeviceQueue(device, queueFamily, 0, &queue);

        VkCommandPoolCreateInfo poolInfo{};

        poolInfo.sType = VK_STRUCTURE_TYPE_COMMAND_POOL_CREATE_INFO;
        poolInfo.flags = VK_COMMAND_POOL_CREATE_TRANSIENT_BIT;
        poolInfo.queueFamilyIndex = queueFamily;
        Check(vkCreateCommandPool(device, &poolInfo, nullptr, &oneTimePool), "vkCreateCommandPool");
    } catch (...) {
        Release();
        throw;
    }
}

Device::~Device() { Release(); }

void Device::Release() {
    if (device) {
        vkDeviceWaitIdle(device);
        if (oneTimePool) vkDestroyCommandPool(device, oneTimePool, nullptr);
        vkDestroyDevice(device, nullptr);
        device = VK_NULL_HANDLE;
    }
    instance = VK_NULL_HANDLE;  // shared, kept until the process ends
}

uint32_t Device::FindMemoryType(uint32_t typeBits, VkMemoryPropertyFlags required,
                                VkMemoryPropertyFlags preferred) const {
    uint32_t fallback = UINT32_MAX;
    for (uint32_t i = 0; i < _memory.memoryTypeCount; ++i) {
        if (!(typeBits & (1u << i))) continue;
        const VkMemoryPropertyFlags flags = _memory.memoryTypes[i].propertyFlags;
        if ((flags & required) != required) continue;
        if ((flags & preferred) == preferred) return i;
        if (fallback == UINT32_MAX) fallback = i;
    }
    if (fallback == UINT32_MAX) throw std::runtime_error("No Vulkan memory type with the properties a buffer needs");
    return fallback;
}

VkMemoryPropertyFlags Device::MemoryTypeFlags(uint32_t type) const {
    return type < _memory.memoryTypeCount ? _memory.memoryTypes[type].propertyFlags : 0;
}

void Device::SetName(VkObjectType type, uint64_t handle, const std::string& name) const {
    if (!_setName || name.empty() || !handle) return;
    VkDebugUtilsObjectNameInfoEXT info{};
    info.sType = VK_STRUCTURE_TYPE_DEBUG_UTILS_OBJECT_NAME_INFO_EXT;
    info.objectType = type;
    info.objectHandle = handle;
    info.pObjectName = name.c_str();
    _setName(device, &info);
}

void Device::WaitIdle() {
    std::lock_guard lock(queueMutex);
    if (device) vkDeviceWaitIdle(device);
}

}  // namespace quorl::vk
