#include "quorl/graphics/VulkanRenderer.h"

#include <algorithm>
#include <iostream>
#include <stdexcept>

#include "quorl/graphics/GlfwWindow.h"
#include "quorl/graphics/Window.h"
#include "quorl/vk/CommandBuffer.h"
#include "quorl/vk/Descriptors.h"
#include "quorl/vk/Result.h"

namespace quorl::graphics {

namespace {

std::vector<const char*> SurfaceExtensions(GlfwWindow* glfw) {
    if (!glfw) return {};
    std::vector<const char*> extensions = glfw->VulkanInstanceExtensions();
    if (extensions.empty())
        throw std::runtime_error(
            "The window system offers no Vulkan surface: install a Vulkan driver (Debian: apt-get install "
            "mesa-vulkan-drivers libvulkan1), or run without a window (offscreen)");
    return extensions;
}

}  // namespace

VulkanRenderer::VulkanRenderer(Window* window, const char* applicationName, uint32_t version,
                               const vk::PhysicalDevice::Features& features, bool vsync_, VkExtent2D offscreenExtent)
    : vsync(vsync_), _window(window) {
    _glfw = dynamic_cast<GlfwWindow*>(window);
    if (_glfw && !_glfw->GetHandle()) _glfw = nullptr;
    _device = std::make_unique<vk::Device>(applicationName ? applicationName : "quorl", version, features,
                                           SurfaceExtensions(_glfw), _glfw != nullptr);
    try {
        VkDevice d = _device->device;
        VkCommandPoolCreateInfo poolInfo{};
        poolInfo.sType = VK_STRUCTURE_TYPE_COMMAND_POOL_CREATE_INFO;
        poolInfo.flags = VK_COMMAND_POOL_CREATE_RESET_COMMAND_BUFFER_BIT;
        poolInfo.queueFamilyIndex = _device->queueFamily;
        vk::Check(vkCreateCommandPool(d, &poolInfo, nullptr, &_pool), "vkCreateCommandPool");
        VkCommandBufferAllocateInfo alloc{};
        alloc.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_ALLOCATE_INFO;
        alloc.commandPool = _pool;
        alloc.level = VK_COMMAND_BUFFER_LEVEL_PRIMARY;
        alloc.commandBufferCount = 1;
        vk::Check(vkAllocateCommandBuffers(d, &alloc, &_cmd), "vkAllocateCommandBuffers");
        _device->SetName(VK_OBJECT_TYPE_COMMAND_BUFFER, uint64_t(_cmd), "Frame Command Buffer");
        VkFenceCreateInfo fenceInfo{};
        fenceInfo.sType = VK_STRUCTURE_TYPE_FENCE_CREATE_INFO;
        fenceInfo.flags = VK_FENCE_CREATE_SIGNALED_BIT;
        vk::Check(vkCreateFence(d, &fenceInfo, nullptr, &_fence), "vkCreateFence");
        VkSemaphoreCreateInfo semInfo{};
        semInfo.sType = VK_STRUCTURE_TYPE_SEMAPHORE_CREATE_INFO;
        vk::Check(vkCreateSemaphore(d, &semInfo, nullptr, &_imageAvailable), "vkCreateSemaphore");
        vk::Check(vkCreateSemaphore(d, &semInfo, nullptr, &_renderFinished), "vkCreateSemaphore");
        if (_glfw) {
            VkResult r = VkResult(_glfw->CreateVulkanSurface(_device->instance, &_surface));
            vk::Check(r, "Creating the window's Vulkan surface");
            VkBool32 present = VK_FALSE;
            vkGetPhysicalDeviceSurfaceSupportKHR(_device->physicalDevice, _device->queueFamily, _surface, &present);
            if (!present)
                throw std::runtime_error("The Vulkan device " + std::string(_device->properties.deviceName) +
                                         " can't present to this window");
        }
        CreateOutput(offscreenExtent);
        CreateTextureSet();
    } catch (...) {
        DestroyOutput();
        if (_texturePool) vkDestroyDescriptorPool(_device->device, _texturePool, nullptr);
        if (_textureSetLayout) vkDestroyDescriptorSetLayout(_device->device, _textureSetLayout, nullptr);
        VkDevice d = _device->device;
        if (_surface) vkDestroySurfaceKHR(_device->instance, _surface, nullptr);
        if (_imageAvailable) vkDestroySemaphore(d, _imageAvailable, nullptr);
        if (_renderFinished) vkDestroySemaphore(d, _renderFinished, nullptr);
        if (_fence) vkDestroyFence(d, _fence, nullptr);
        if (_pool) vkDestroyCommandPool(d, _pool, nullptr);
        throw;
    }
}

VulkanRenderer::~VulkanRenderer() {
    _device->WaitIdle();
    {
        std::lock_guard lock(_texturesMutex);
        _textures.clear();
    }
    DestroyOutput();
    VkDevice d = _device->device;
    vkDestroyDescriptorPool(d, _texturePool, nullptr);
    vkDestroyDescriptorSetLayout(d, _textureSetLayout, nullptr);
    if (_surface) vkDestroySurfaceKHR(_device->instance, _surface, nullptr);
    vkDestroySemaphore(d, _imageAvailable, nullptr);
    vkDestroySemaphore(d, _renderFinished, nullptr);
    vkDestroyFence(d, _fence, nullptr);
    vkDestroyCommandPool(d, _pool, nullptr);
}

void VulkanRenderer::CreateOutput(VkExtent2D offscreenExtent) {
    if (!_surface) {
        _outputExtent = {std::max(1u, offscreenExtent.width), std::max(1u, offscreenExtent.height)};
        _outputFormat = VK_FORMAT_R8G8B8A8_UNORM;
        _outputUsage = VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT | VK_IMAGE_USAGE_TRANSFER_SRC_BIT |
                       VK_IMAGE_USAGE_TRANSFER_DST_BIT | VK_IMAGE_USAGE_SAMPLED_BIT;
        _offscreen = std::make_shared<Texture>(*_device, _outputExtent.width, _outputExtent.height, _outputFormat,
                                               _outputUsage, "Offscreen Output Image");
        _outputImages = {_offscreen->Image()};
        _outputViews = {_offscreen->View()};
        return;
    }
    VkPhysicalDevice pd = _device->physicalDevice;
    VkSurfaceCapabilitiesKHR caps;
    vk::Check(vkGetPhysicalDeviceSurfaceCapabilitiesKHR(pd, _surface, &caps), "vkGetPhysicalDeviceSurfaceCapabilitiesKHR");
    uint32_t count = 0;
    vkGetPhysicalDeviceSurfaceFormatsKHR(pd, _surface, &count, nullptr);
    std::vector<VkSurfaceFormatKHR> formats(count);
    vkGetPhysicalDeviceSurfaceFormatsKHR(pd, _surface, &count, formats.data());
    if (formats.empty()) throw std::runtime_error("The window's Vulkan surface offers no image format");
    VkSurfaceFormatKHR chosen = formats[0];
    for (auto& f : formats)
        if (f.format == VK_FORMAT_B8G8R8A8_UNORM || f.format == VK_FORMAT_R8G8B8A8_UNORM) {
            chosen = f;
            break;
        }
    vkGetPhysicalDeviceSurfacePresentModesKHR(pd, _surface, &count, nullptr);
    std::vector<VkPresentModeKHR> modes(count);
    vkGetPhysicalDeviceSurfacePresentModesKHR(pd, _surface, &count, modes.data());
    VkPresentModeKHR mode = VK_PRESENT_MODE_FIFO_KHR;
    if (!vsync) {
        for (VkPresentModeKHR m : modes)
            if (m == VK_PRESENT_MODE_MAILBOX_KHR || m == VK_PRESENT_MODE_IMMEDIATE_KHR) mode = m;
    }
    VkExtent2D extent = caps.currentExtent;
    if (extent.width == UINT32_MAX) {
        int w = 0, h = 0;
        _glfw->GetFramebufferSize(w, h);
        extent = {std::clamp(uint32_t(std::max(w, 1)), caps.minImageExtent.width, caps.maxImageExtent.width),
                  std::clamp(uint32_t(std::max(h, 1)), caps.minImageExtent.height, caps.maxImageExtent.height)};
    }
    uint32_t images = caps.minImageCount + 1;
    if (caps.maxImageCount && images > caps.maxImageCount) images = caps.maxImageCount;
    _outputUsage = VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT | VK_IMAGE_USAGE_TRANSFER_DST_BIT;
    if (caps.supportedUsageFlags & VK_IMAGE_USAGE_TRANSFER_SRC_BIT) _outputUsage |= VK_IMAGE_USAGE_TRANSFER_SRC_BIT;
    VkSwapchainCreateInfoKHR info{};
    info.sType = VK_STRUCTURE_TYPE_SWAPCHAIN_CREATE_INFO_KHR;
    info.surface = _surface;
    info.minImageCount = images;
    info.imageFormat = chosen.format;
    info.imageColorSpace = chosen.colorSpace;
    info.imageExtent = extent;
    info.imageArrayLayers = 1;
    info.imageUsage = _outputUsage;
    info.imageSharingMode = VK_SHARING_MODE_EXCLUSIVE;
    info.preTransform = caps.currentTransform;
    info.compositeAlpha = VK_COMPOSITE_ALPHA_OPAQUE_BIT_KHR;
    info.presentMode = mode;
    info.clipped = VK_TRUE;
    vk::Check(vkCreateSwapchainKHR(_device->device, &info, nullptr, &_swapchain), "vkCreateSwapchainKHR");
    _swapchainVsync = vsync;
    _outputExtent = extent;
    _outputFormat = chosen.format;
    vkGetSwapchainImagesKHR(_device->device, _swapchain, &count, nullptr);
    _outputImages.resize(count);
    vkGetSwapchainImagesKHR(_device->device, _swapchain, &count, _outputImages.data());
    for (VkImage image : _outputImages) {
        VkImageViewCreateInfo view{};
        view.sType = VK_STRUCTURE_TYPE_IMAGE_VIEW_CREATE_INFO;
        view.image = image;
        view.viewType = VK_IMAGE_VIEW_TYPE_2D;
        view.format = _outputFormat;
        view.subresourceRange = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 1, 0, 1};
        VkImageView handle = VK_NULL_HANDLE;
        vk::Check(vkCreateImageView(_device->device, &view, nullptr, &handle), "vkCreateImageView (swapchain)");
        _outputViews.push_back(handle);
    }
}

void VulkanRenderer::DestroyOutput() {
    if (_swapchain) {
        for (VkImageView v : _outputViews) vkDestroyImageView(_device->device, v, nullptr);
        vkDestroySwapchainKHR(_device->device, _swapchain, nullptr);
        _swapchain = VK_NULL_HANDLE;
    }
    _outputViews.clear();
    _outputImages.clear();
    _offscreen.reset();
}

void VulkanRenderer::ReCreateSwapchain() {
    _device->WaitIdle();
    DestroySwapchainDependantObjects();
    const VkExtent2D previous = _outputExtent;
    DestroyOutput();
    CreateOutput(previous);
    CreateSwapchainDependantObjects();
    RefreshViewport();
}

VkImage VulkanRenderer::GetOutputVkImage() const {
    return _imageIndex < _outputImages.size() ? _outputImages[_imageIndex] : VK_NULL_HANDLE;
}

VkImageView VulkanRenderer::GetOutputVkImageView() const {
    return _imageIndex < _outputViews.size() ? _outputViews[_imageIndex] : VK_NULL_HANDLE;
}

VkImageLayout VulkanRenderer::OutputFinalLayout() const {
    return _surface ? VK_IMAGE_LAYOUT_PRESENT_SRC_KHR : VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL;
}

void VulkanRenderer::StartRendering() { _rendering = true; }

void VulkanRenderer::StopRendering() { _rendering = false; }

bool VulkanRenderer::BeginFrame() {
    VkDevice d = _device->device;
    vk::Check(vkWaitForFences(d, 1, &_fence, VK_TRUE, UINT64_MAX), "vkWaitForFences");
    _acquired = false;
    if (_swapchain) {
        int w = 0, h = 0;
        _glfw->GetFramebufferSize(w, h);
        if (w == 0 || h == 0) return false;
        if (vsync != _swapchainVsync) {  // a changed setting takes a new present mode
            ReCreateSwapchain();
            return false;
        }
        VkResult r = vkAcquireNextImageKHR(d, _swapchain, UINT64_MAX, _imageAvailable, VK_NULL_HANDLE, &_imageIndex);
        if (r == VK_ERROR_OUT_OF_DATE_KHR) {
            ReCreateSwapchain();
            return false;
        }
        vk::Check(r, "vkAcquireNextImageKHR");
        _acquired = true;
    } else {
        _imageIndex = 0;
    }
    vk::Check(vkResetFences(d, 1, &_fence), "vkResetFences");
    vk::Check(vkResetCommandBuffer(_cmd, 0), "vkResetCommandBuffer");
    VkCommandBufferBeginInfo begin{};
    begin.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_BEGIN_INFO;
    begin.flags = VK_COMMAND_BUFFER_USAGE_ONE_TIME_SUBMIT_BIT;
    vk::Check(vkBeginCommandBuffer(_cmd, &begin), "vkBeginCommandBuffer");
    _recording = true;
    return true;
}

void VulkanRenderer::EndFrame() {
    _recording = false;
    vk::Check(vkEndCommandBuffer(_cmd), "vkEndCommandBuffer");
    VkSubmitInfo submit{};
    submit.sType = VK_STRUCTURE_TYPE_SUBMIT_INFO;
    const VkPipelineStageFlags waitStage = VK_PIPELINE_STAGE_ALL_COMMANDS_BIT;
    submit.commandBufferCount = 1;
    submit.pCommandBuffers = &_cmd;
    if (_acquired) {
        submit.waitSemaphoreCount = 1;
        submit.pWaitSemaphores = &_imageAvailable;
        submit.pWaitDstStageMask = &waitStage;
        submit.signalSemaphoreCount = 1;
        submit.pSignalSemaphores = &_renderFinished;
    }
    VkResult presented = VK_SUCCESS;
    {
        std::lock_guard lock(_device->queueMutex);
        vk::Check(vkQueueSubmit(_device->queue, 1, &submit, _fence), "vkQueueSubmit (frame)");
        if (_acquired) {
            VkPresentInfoKHR present{};
            present.sType = VK_STRUCTURE_TYPE_PRESENT_INFO_KHR;
            present.waitSemaphoreCount = 1;
            present.pWaitSemaphores = &_renderFinished;
            present.swapchainCount = 1;
            present.pSwapchains = &_swapchain;
            present.pImageIndices = &_imageIndex;
            presented = vkQueuePresentKHR(_device->queue, &present);
        }
    }
    _acquired = false;
    vk::Check(vkWaitForFences(_device->device, 1, &_fence, VK_TRUE, UINT64_MAX), "vkWaitForFences (frame)");
    // The presentation engine is done with the semaphore once the next acquire succeeds; with
    // one frame in flight, waiting for the queue covers it.
    if (_surface) {
        std::lock_guard lock(_device->queueMutex);
        vkQueueWaitIdle(_device->queue);
    }
    ++_frameIndex;
    if (presented == VK_ERROR_OUT_OF_DATE_KHR || presented == VK_SUBOPTIMAL_KHR)
        ReCreateSwapchain();
    else
        vk::Check(presented, "vkQueuePresentKHR");
}

void VulkanRenderer::AbortFrame() {
    if (!_recording) return;
    try {
        EndFrame();
    } catch (...) {
        // The frame's own error is the one that goes on.
    }
}

void VulkanRenderer::CreateTextureSet() {
    VkDevice d = _device->device;
    const VkPhysicalDeviceLimits& limits = _device->properties.limits;
    // A combined image sampler counts as a sampler and as a sampled image, per stage and per set.
    _textureArraySize = std::min({kMaxTextures, limits.maxPerStageDescriptorSamplers,
                                  limits.maxPerStageDescriptorSampledImages, limits.maxDescriptorSetSamplers,
                                  limits.maxDescriptorSetSampledImages});
    // Elements not written yet are allowed where the device can leave them unbound; elsewhere
    // every element is written (texture 0 standing in) before a set is used.
    _partiallyBound = _device->enabled.descriptorIndexing;
    _textureSetLayout = vk::CreateSetLayout(d, VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER, _textureArraySize,
                                            VK_SHADER_STAGE_ALL, "vkCreateDescriptorSetLayout",
                                            _partiallyBound ? VK_DESCRIPTOR_BINDING_PARTIALLY_BOUND_BIT : 0);
    _texturePool = vk::CreatePool(d, VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER, _textureArraySize, 1,
                                  "vkCreateDescriptorPool");
    VkDescriptorSetAllocateInfo alloc{};
    alloc.sType = VK_STRUCTURE_TYPE_DESCRIPTOR_SET_ALLOCATE_INFO;
    alloc.descriptorPool = _texturePool;
    alloc.descriptorSetCount = 1;
    alloc.pSetLayouts = &_textureSetLayout;
    vk::Check(vkAllocateDescriptorSets(d, &alloc, &_textureSet), "vkAllocateDescriptorSets");
    // No debug name: lavapipe frees a set's name only when the set is freed alone, not with its pool.
    _written.assign(_textureArraySize, {});
}

void VulkanRenderer::UpdateTextureDescriptors() {
    const auto sampleable = [](const TextureEntry& e) {
        return e.texture && e.sampler && e.texture->View() && (e.texture->Usage() & VK_IMAGE_USAGE_SAMPLED_BIT) &&
               (e.texture->layout == VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL ||
                e.texture->layout == VK_IMAGE_LAYOUT_GENERAL);
    };
    std::lock_guard lock(_texturesMutex);
    if (_textures.empty() || !sampleable(_textures[0])) return;  // nothing to stand in for the rest yet
    const uint32_t filled = _partiallyBound ? uint32_t(std::min<size_t>(_textures.size(), _textureArraySize))
                                            : _textureArraySize;
    std::vector<VkDescriptorImageInfo> infos;
    std::vector<VkWriteDescriptorSet> writes;
    infos.reserve(filled);
    for (uint32_t i = 0; i < filled; ++i) {
        const TextureEntry& e = i < _textures.size() && sampleable(_textures[i]) ? _textures[i] : _textures[0];
        const WrittenDescriptor want{e.texture->View(), e.sampler, e.texture->layout};
        WrittenDescriptor& had = _written[i];
        if (had.view == want.view && had.sampler == want.sampler && had.layout == want.layout) continue;
        had = want;
        infos.push_back({want.sampler, want.view, want.layout});
        VkWriteDescriptorSet w{};
        w.sType = VK_STRUCTURE_TYPE_WRITE_DESCRIPTOR_SET;
        w.dstSet = _textureSet;
        w.dstBinding = 0;
        w.dstArrayElement = i;
        w.descriptorCount = 1;
        w.descriptorType = VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER;
        w.pImageInfo = &infos.back();
        writes.push_back(w);
    }
    if (!writes.empty()) vkUpdateDescriptorSets(_device->device, uint32_t(writes.size()), writes.data(), 0, nullptr);
}

uint32_t VulkanRenderer::AddTexture(TextureRef texture, VkSampler sampler) {
    return AddTextures({std::move(texture)}, sampler);
}

uint32_t VulkanRenderer::AddTextures(const std::vector<TextureRef>& textures, VkSampler sampler) {
    std::lock_guard lock(_texturesMutex);
    const uint32_t first = uint32_t(_textures.size());
    for (const TextureRef& t : textures) _textures.push_back({t, sampler});
    if (_textures.size() > _textureArraySize && !_warnedFull) {
        _warnedFull = true;
        std::cerr << "The texture array of this device holds " << _textureArraySize
                  << " textures: texture " << _textureArraySize << " and later are not shown\n";
    }
    return first;
}

TextureRef VulkanRenderer::GetTexture(uint32_t index) const {
    std::lock_guard lock(_texturesMutex);
    return index < _textures.size() ? _textures[index].texture : nullptr;
}

size_t VulkanRenderer::TextureCount() const {
    std::lock_guard lock(_texturesMutex);
    return _textures.size();
}

}  // namespace quorl::graphics
