#pragma once
#include <vulkan/vulkan_core.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "quorl/graphics/TextureRef.h"
#include "quorl/graphics/Upscaler.h"
#include "quorl/vk/Device.h"
#include "quorl/vk/PhysicalDevice.h"

namespace quorl::graphics {

class Window;
class GlfwWindow;

// The Vulkan side of a renderer: device, output target, frame synchronisation and textures.
//
// The output is the swapchain of a desktop window (a GlfwWindow) or, with any other window (the
// headless one, or none), an offscreen RGBA8 image of the size given. One frame is in flight:
// EndFrame submits and waits for the GPU, so whatever a frame read or wrote is on the CPU side
// when the next one starts.
class VulkanRenderer {
public:
    VulkanRenderer(Window* window, const char* applicationName, uint32_t version,
                   const vk::PhysicalDevice::Features& features, bool vsync,
                   VkExtent2D offscreenExtent = {1280, 720});
    virtual ~VulkanRenderer();
    VulkanRenderer(const VulkanRenderer&) = delete;
    VulkanRenderer& operator=(const VulkanRenderer&) = delete;

    virtual void LoadFunctionPointersInterface() {}
    // What depends on the output images (their views, framebuffers); the engine's own are none.
    virtual void CreateSwapchainDependantObjects() {}
    virtual void DestroySwapchainDependantObjects() {}
    // Waits for the device, remakes the swapchain at the window's size, then the dependants,
    // then RefreshViewport.
    virtual void ReCreateSwapchain();
    virtual void RefreshViewport() {}
    virtual VkExtent2D GetOutputImageExtent() const { return _outputExtent; }
    virtual VkFormat GetOutputImageFormat() const { return _outputFormat; }
    virtual VkImageUsageFlags GetOutputImageUsage() const { return _outputUsage; }
    virtual VkImage GetOutputVkImage() const;
    virtual VkImageView GetOutputVkImageView() const;

    virtual void StartRendering();
    virtual void StopRendering();
    // Waits for the previous frame, acquires the output image and begins the frame's command
    // buffer. False when there is nothing to draw on (minimised window, swapchain remade).
    virtual bool BeginFrame();
    // Ends and submits the command buffer, presents, and waits for the GPU.
    virtual void EndFrame();

    // Registers a texture with the sampler to read it with; the index is its place in the
    // texture list that shaders index. AddTextures gives the index of the first.
    uint32_t AddTexture(TextureRef texture, VkSampler sampler);
    uint32_t AddTextures(const std::vector<TextureRef>& textures, VkSampler sampler);
    TextureRef GetTexture(uint32_t index) const;
    size_t TextureCount() const;

    // The texture array: one descriptor set whose binding 0 is an array of combined image
    // samplers, element i being texture i (GLSL: `layout(set = 0, binding = 0) uniform sampler2D
    // textures[];`). The array has TextureArraySize() elements, what the device allows up to
    // kMaxTextures; textures registered beyond it are not in the array (a warning says so once)
    // and shaders must treat such an index as none.
    static constexpr uint32_t kMaxTextures = 4096;
    VkDescriptorSetLayout TextureSetLayout() const { return _textureSetLayout; }
    VkDescriptorSet TextureSet() const { return _textureSet; }
    uint32_t TextureArraySize() const { return _textureArraySize; }
    // Writes the array elements whose texture, sampler or layout changed. A texture that is in no
    // layout a shader may sample (not yet uploaded) shows texture 0 until it is. Called by Frame
    // before FrameUpdateDescriptorSets, while no frame is in flight.
    void UpdateTextureDescriptors();

    vk::Device& GetDevice() { return *_device; }
    bool IsOffscreen() const { return _surface == VK_NULL_HANDLE; }
    bool IsRendering() const { return _rendering; }
    size_t OutputImageCount() const { return _outputImages.size(); }
    uint32_t OutputImageIndex() const { return _imageIndex; }
    const std::vector<VkImageView>& OutputImageViews() const { return _outputViews; }
    // The layout the output image is left in at the end of a frame: PRESENT_SRC for a window,
    // TRANSFER_SRC_OPTIMAL offscreen (ready to be read back).
    VkImageLayout OutputFinalLayout() const;
    VkCommandBuffer CurrentCommandBuffer() const { return _cmd; }
    uint64_t FrameIndex() const { return _frameIndex; }

    // Fields the game sets each frame.
    bool vsync = false;
    float renderScale = 1.0f;
    bool devTools = false;
    Upscaler upscaler;

protected:
    // Ends a frame that failed while being recorded, so that the next one starts clean.
    void AbortFrame();

    std::unique_ptr<vk::Device> _device;
    Window* _window = nullptr;
    GlfwWindow* _glfw = nullptr;
    uint64_t _frameIndex = 0;
    bool _recording = false;

private:
    void CreateOutput(VkExtent2D offscreenExtent);
    void DestroyOutput();

    VkSurfaceKHR _surface = VK_NULL_HANDLE;
    VkSwapchainKHR _swapchain = VK_NULL_HANDLE;
    std::vector<VkImage> _outputImages;
    std::vector<VkImageView> _outputViews;
    std::shared_ptr<Texture> _offscreen;
    VkExtent2D _outputExtent{};
    VkFormat _outputFormat = VK_FORMAT_R8G8B8A8_UNORM;
    VkImageUsageFlags _outputUsage = 0;
    uint32_t _imageIndex = 0;
    bool _acquired = false;
    bool _swapchainVsync = false;  // the vsync the swapchain was made with

    VkCommandPool _pool = VK_NULL_HANDLE;
    VkCommandBuffer _cmd = VK_NULL_HANDLE;
    VkFence _fence = VK_NULL_HANDLE;
    VkSemaphore _imageAvailable = VK_NULL_HANDLE;
    VkSemaphore _renderFinished = VK_NULL_HANDLE;
    bool _rendering = false;

    void CreateTextureSet();

    mutable std::mutex _texturesMutex;
    struct TextureEntry {
        TextureRef texture;
        VkSampler sampler;
    };
    std::vector<TextureEntry> _textures;
    // What each array element was last written with.
    struct WrittenDescriptor {
        VkImageView view = VK_NULL_HANDLE;
        VkSampler sampler = VK_NULL_HANDLE;
        VkImageLayout layout = VK_IMAGE_LAYOUT_UNDEFINED;
    };
    std::vector<WrittenDescriptor> _written;
    VkDescriptorSetLayout _textureSetLayout = VK_NULL_HANDLE;
    VkDescriptorPool _texturePool = VK_NULL_HANDLE;
    VkDescriptorSet _textureSet = VK_NULL_HANDLE;
    uint32_t _textureArraySize = 0;
    bool _partiallyBound = false;
    bool _warnedFull = false;
};

}  // namespace quorl::graphics
