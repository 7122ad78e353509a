#include "game/graphics/ui/ImGuiBackend.h"

#include <backends/imgui_impl_glfw.h>
#include <backends/imgui_impl_vulkan.h>
#include <imgui.h>
#include <imgui_internal.h>

#include <algorithm>
#include <iostream>
#include <stdexcept>

#include "game/MultiFont.h"
#include "game/graphics/GameRenderer.h"
#include "quorl/vk/CommandBuffer.h"
#include "quorl/vk/Descriptors.h"
#include "quorl/vk/Result.h"

namespace game::graphics::ui {

namespace {

void CheckResult(VkResult result) {
    if (result != VK_SUCCESS) std::cerr << "ImGui Vulkan backend: VkResult " << int(result) << std::endl;
}

}  // namespace

ImGuiBackend::ImGuiBackend(GameRenderer& renderer, void* glfwWindow) : _renderer(renderer) {
    _context = ImGui::GetCurrentContext();
    if (!_context) {
        _context = ImGui::CreateContext();
        _ownsContext = true;
    }
    ImGuiIO& io = ImGui::GetIO();
    io.IniFilename = nullptr;  // window places are the game's, not a file's
    _fonts = std::make_unique<MultiFont>();

    // Enough for the font atlas and the images panels show.
    _pool = quorl::vk::CreatePool(renderer.GetDevice().device, VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER, 64, 64,
                                  "vkCreateDescriptorPool (ImGui)", VK_DESCRIPTOR_POOL_CREATE_FREE_DESCRIPTOR_SET_BIT);

    if (glfwWindow) _glfw = ImGui_ImplGlfw_InitForVulkan(static_cast<GLFWwindow*>(glfwWindow), true);
}

ImGuiBackend::~ImGuiBackend() {
    ImGuiContext* previous = ImGui::GetCurrentContext();
    ImGui::SetCurrentContext(_context);
    if (FrameOpen()) {
        ImGui::ErrorCheckEndFrameRecover(nullptr);
        ImGui::EndFrame();
    }
    ShutdownVulkan();
    if (_glfw) ImGui_ImplGlfw_Shutdown();
    vkDestroyDescriptorPool(_renderer.GetDevice().device, _pool, nullptr);
    // The atlas keeps pointers into the glyph ranges: clear it before they go.
    ImGui::GetIO().Fonts->Clear();
    _fonts.reset();
    if (_ownsContext) {
        ImGui::DestroyContext(_context);
        ImGui::SetCurrentContext(previous == _context ? nullptr : previous);
    } else {
        ImGui::SetCurrentContext(previous);
    }
}

bool ImGuiBackend::FrameOpen() const { return _context && _context->WithinFrameScope; }

void ImGuiBackend::InitVulkan() {
    quorl::vk::Device& device = _renderer.GetDevice();
    ImGui_ImplVulkan_InitInfo info{};
    info.Instance = device.instance;
    info.PhysicalDevice = device.physicalDevice;
    info.Device = device.device;
    info.QueueFamily = device.queueFamily;
    info.Queue = device.queue;
    info.DescriptorPool = _pool;
    info.Subpass = 0;
    // One frame is in flight; the backend keeps one set of vertex buffers per image.
    info.ImageCount = uint32_t(std::max<size_t>(2, _renderer.OutputImageCount()));
    info.MinImageCount = 2;
    info.MSAASamples = VK_SAMPLE_COUNT_1_BIT;
    info.CheckVkResultFn = CheckResult;
    if (!ImGui_ImplVulkan_Init(&info, _renderer.OverlayPass()))
        throw std::runtime_error("the ImGui Vulkan backend could not be initialised");
    _vulkan = true;
}

void ImGuiBackend::ShutdownVulkan() {
    if (!_vulkan) return;
    _renderer.GetDevice().WaitIdle();
    ImGui_ImplVulkan_Shutdown();
    _vulkan = false;
}

void ImGuiBackend::UploadFonts() {
    ImFontAtlas* atlas = ImGui::GetIO().Fonts;
    if (!atlas->Build()) {
        // A file that exists but is no usable face: keep the game running on ImGui's own.
        std::cerr << "The interface fonts could not be built; using the default face" << std::endl;
        atlas->Clear();
        atlas->AddFontDefault();
        atlas->Build();
    }
    // The backend's font image is made once per initialisation: remake it for a new atlas.
    ShutdownVulkan();
    InitVulkan();
    quorl::vk::CommandBuffer::Run(_renderer.GetDevice(), "ImGui font upload",
                                  [](VkCommandBuffer cmd) { ImGui_ImplVulkan_CreateFontsTexture(cmd); });
    ImGui_ImplVulkan_DestroyFontUploadObjects();
}

void ImGuiBackend::BeginFrame() {
    ImGui::SetCurrentContext(_context);
    if (FrameOpen()) {
        ImGui::ErrorCheckEndFrameRecover(nullptr);
        ImGui::EndFrame();
    }
    ImGuiIO& io = ImGui::GetIO();
    if (!_vulkan || !io.Fonts->IsBuilt()) UploadFonts();

    const auto now = std::chrono::steady_clock::now();
    float dt = fixedDeltaTime;
    if (dt <= 0.0f) dt = _hasLast ? std::chrono::duration<float>(now - _last).count() : 1.0f / 60.0f;
    _last = now;
    _hasLast = true;
    ImGui_ImplVulkan_NewFrame();
    if (_glfw) {
        ImGui_ImplGlfw_NewFrame();
    } else {
        const VkExtent2D extent = _renderer.GetOutputImageExtent();
        io.DisplaySize = ImVec2(float(extent.width), float(extent.height));
        io.DisplayFramebufferScale = ImVec2(1.0f, 1.0f);
    }
    io.DeltaTime = std::max(dt, 1e-4f);
    ImGui::NewFrame();
}

void ImGuiBackend::Render(VkCommandBuffer cmd) {
    if (!FrameOpen()) return;
    ImGui::SetCurrentContext(_context);
    ImGui::ErrorCheckEndFrameRecover(nullptr);
    ImGui::Render();
    ImDrawData* data = ImGui::GetDrawData();
    if (data && data->CmdListsCount > 0) ImGui_ImplVulkan_RenderDrawData(data, cmd);
}

}  // namespace game::graphics::ui
