#include "game/graphics/GameRenderer.h"

#include <imgui.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <glm/gtc/matrix_transform.hpp>
#include <stdexcept>
#include <utility>

#include "game/AssertSites.h"
#include "game/GAME_Mod.h"
#include "game/Game.h"
#include "game/GameSettings.h"
#include "game/GraphicsPresets.h"
#include "game/graphics/ui/FrameUi.h"
#include "game/Options.h"
#include "game/graphics/ui/Element.h"
#include "game/graphics/ui/GraphicsPipelineWrapper.h"
#include "game/graphics/ui/ImGuiBackend.h"
#include "game/graphics/SceneRenderer.h"
#include "quorl/Assert.h"
#include "quorl/graphics/GlfwWindow.h"
#include "quorl/graphics/SaveImage.h"
#include "quorl/graphics/Upscaler.h"

namespace game::graphics {

using quorl::graphics::Upscaler;

namespace {

// Calls a module hook in every module (load order) or in the list sorted for a key.
template <class Hook, class... Args>
void ForAll(Hook GAME_Mod::*hook, Args... args) {
    GAME_Mod::ForEachModule([&](GAME_Mod::Ptr& mod) {
        if (auto f = (*mod).*hook) f(args...);
    });
}

template <class Hook, class... Args>
void ForSorted(const char* key, Hook GAME_Mod::*hook, Args... args) {
    GAME_Mod::ForEachSortedModule(key, [&](GAME_Mod::Ptr& mod) {
        if (auto f = (*mod).*hook) f(args...);
    });
}

quorl::vk::PhysicalDevice::Features WithGameFeatures(quorl::vk::PhysicalDevice::Features features) {
    // What the ray traced materials would need; the rasteriser takes them where the device has them.
    features.rayTracingPipeline = true;
    features.accelerationStructure = true;
    features.rayQuery = true;
    features.shaderInt64 = true;
    features.descriptorIndexing = true;
    return features;
}

// Push constants of the crosshair (see data/game/graphics/crosshair.vert).
struct CrosshairPush {
    float extent[2];
    float size;
    float thickness;
    float color[4];
};

// Push constants of the collider pipelines: a view-projection matrix and a colour.
struct ColliderPush {
    float viewProjection[16];
    float color[4];
};

}  // namespace

// -------------------------------------------------------------------------------------------
// Aim

GameRenderer::Aim& GameRenderer::Aim::operator=(const AimBuffer& buffer) {
    std::lock_guard lock(mutex);
    module = quorl::modular::ModuleID();
    data.reset();
    aimBuffer = buffer;
    const uint32_t id = buffer.AimId();
    if (id != 0 && _owner) {
        std::lock_guard listLock(_owner->_aimReferencesMutex);
        if (id < _owner->_aimReferences.size()) {
            module = _owner->_aimReferences[id].module;
            data = _owner->_aimReferences[id].data;
        }
    }
    return *this;
}

GameRenderer::Aim& GameRenderer::Aim::operator=(const Aim& other) {
    if (this == &other) return *this;
    std::lock_guard lock(other.mutex);
    module = other.module;
    data = other.data;
    aimBuffer = other.aimBuffer;
    return *this;
}

// -------------------------------------------------------------------------------------------
// Construction

GameRenderer::GameRenderer(quorl::graphics::Window* window)
    : GameRenderer(window, "Zendola", 1, quorl::vk::PhysicalDevice::Features{}) {}

GameRenderer::GameRenderer(quorl::graphics::Window* window, const char* applicationName, unsigned int version,
                           const quorl::vk::PhysicalDevice::Features& features, VkExtent2D offscreenExtent)
    : QuorlRenderer(window, applicationName, version, WithGameFeatures(features),
                    Game::settings ? Game::settings->vsync : false, offscreenExtent) {
    quorl::vk::Device& device = GetDevice();
    _samplerNearest.Create(device, VK_FILTER_NEAREST, VK_SAMPLER_ADDRESS_MODE_CLAMP_TO_EDGE);
    _samplerLinear.Create(device, VK_FILTER_LINEAR, VK_SAMPLER_ADDRESS_MODE_CLAMP_TO_EDGE);
    _samplerRepeat.Create(device, VK_FILTER_LINEAR, VK_SAMPLER_ADDRESS_MODE_REPEAT);
    for (size_t i = 0; i < graphicsPresetLabels.size(); ++i) graphicsPresetLabels[i] = GraphicsPresets()[i].label;
    for (const char* view : DebugViews()) debugViewNames.push_back(view);

    _overlayLayout.Create(device, sizeof(ColliderPush));
    CreateOverlay();
    _debugColliderVertices = quorl::vk::Buffer(device, 1 << 16, VK_BUFFER_USAGE_VERTEX_BUFFER_BIT,
                                               VMA_MEMORY_USAGE_CPU_TO_GPU, 0, "Debug Physics Collider Vertex Buffer");
    _debugColliderIndices = quorl::vk::Buffer(device, 1 << 16, VK_BUFFER_USAGE_INDEX_BUFFER_BIT,
                                              VMA_MEMORY_USAGE_CPU_TO_GPU, 0, "Debug Physics Collider Index Buffer");

    const std::string atlasPath = quorl::graphics::Texture::DataPath(kFontAtlas);
    if (AddTexture(quorl::graphics::Texture::Load(device, atlasPath), _samplerNearest) != 0)
        throw std::runtime_error("Font Atlas Index is not 0");
    ui::GraphicsPipelineWrapper::LoadPipelines(this);
    if (_window) {
        // A click reaches the interface elements under the cursor, in window pixels.
        quorl::graphics::Window* window = _window;
        window->AddCallback_MouseButton(kElementsCallback, [window](int button, int action, int) {
            double x = 0, y = 0;
            window->GetCursorPos(x, y);
            ui::Element::MouseButtonEvent({x, y}, {window->GetWidth(), window->GetHeight()}, button, action);
        });
    }

    ConfigureSettingsFromPreset();
    _scene = std::make_unique<SceneRenderer>(*this);

    AddRenderableHitShader("game/graphics/rt/entity_tri");
    AddRenderableHitShader("game/graphics/rt/entity_box");
    AddRenderableHitShader("game/graphics/rt/entity_sphere");
    AddRenderableHitShader("game/graphics/rt/plasma");
    {
        std::lock_guard lock(_shadersMutex);
        CheckSite(!renderableShadersLocked, assert_sites::kShadersLocked);
        _callableShaders.push_back("#rcall\nvoid main(){}");
    }
    _aimReferences.emplace_back();  // id 0: nothing under the crosshair
    _imgui = std::make_unique<ui::ImGuiBackend>(*this, _glfw ? _glfw->GetHandle() : nullptr);
}

GameRenderer::~GameRenderer() {
    GetDevice().WaitIdle();
    if (_window) _window->RemoveCallback_MouseButton(kElementsCallback);
    ui::GraphicsPipelineWrapper::UnloadPipelines();
    _imgui.reset();
    CollectAllTrash();
}

void GameRenderer::CreateOverlay() {
    quorl::vk::Device& device = GetDevice();
    quorl::vk::Renderpass::Attachment color;
    color.format = GetOutputImageFormat();
    color.load = VK_ATTACHMENT_LOAD_OP_LOAD;
    color.initialLayout = VK_IMAGE_LAYOUT_COLOR_ATTACHMENT_OPTIMAL;
    color.finalLayout = VK_IMAGE_LAYOUT_COLOR_ATTACHMENT_OPTIMAL;
    std::vector<std::vector<VkImageView>> framebuffers;
    for (VkImageView view : OutputImageViews()) framebuffers.push_back({view});
    _overlayPass.Create(device, {color}, {}, GetOutputImageExtent(), framebuffers);
    if (!_crosshairPipeline.Handle()) {
        quorl::vk::GraphicsPipeline::Config crosshair;
        crosshair.shader = "game/graphics/crosshair";
        crosshair.blend = true;
        _crosshairPipeline.Create(device, _overlayLayout, _overlayPass.Handle(), 1, crosshair, GetOutputImageExtent());
        quorl::vk::GraphicsPipeline::Config collider;
        collider.shader = "game/graphics/physics/physicsCollider";
        collider.blend = true;
        collider.bindings = {{0, sizeof(float) * 3, VK_VERTEX_INPUT_RATE_VERTEX}};
        collider.attributes = {{0, 0, VK_FORMAT_R32G32B32_SFLOAT, 0}};
        _colliderSolidPipeline.Create(device, _overlayLayout, _overlayPass.Handle(), 1, collider,
                                      GetOutputImageExtent());
        collider.polygonMode = VK_POLYGON_MODE_LINE;
        _colliderWirePipeline.Create(device, _overlayLayout, _overlayPass.Handle(), 1, collider,
                                     GetOutputImageExtent());
    }
}

void GameRenderer::ConfigureSettingsFromPreset() {
    GameSettings* settings = Game::settings;
    if (!settings) return;
    if (settings->graphics_preset == -1) {
        settings->graphics_preset = 3;
        settings->upscaling_quality_setting = 1;
        settings->final_upscale = 0.0f;
        settings->WriteConfig();
    } else {
        ApplyGraphicsPreset(*settings);
    }
}

// -------------------------------------------------------------------------------------------
// Start, stop, viewport

void GameRenderer::CreateSwapchainDependantObjects() { QuorlRenderer::CreateSwapchainDependantObjects(); }

void GameRenderer::DestroySwapchainDependantObjects() { QuorlRenderer::DestroySwapchainDependantObjects(); }

void GameRenderer::RefreshViewport() {
    QuorlRenderer::RefreshViewport();
    _overlayPass.Destroy();
    CreateOverlay();
    const VkExtent2D extent = GetOutputImageExtent();
    _crosshairPipeline.RefreshViewport(extent);
    _colliderSolidPipeline.RefreshViewport(extent);
    _colliderWirePipeline.RefreshViewport(extent);
    ui::GraphicsPipelineWrapper::RefreshViewports(extent);
    ForAll(&GAME_Mod::Renderer_RefreshViewport);
}

void GameRenderer::StartRendering() {
    QuorlRenderer::StartRendering();
    ForAll(&GAME_Mod::Renderer_StartRendering);
}

void GameRenderer::StopRendering() {
    GetDevice().WaitIdle();
    ForAll(&GAME_Mod::Renderer_StopRendering);
    QuorlRenderer::StopRendering();
}

// -------------------------------------------------------------------------------------------
// The frame

bool GameRenderer::Frame() {
    if (rebuildStyle.exchange(false) && ImGui::GetCurrentContext()) {
        ImGui::GetStyle() = ImGuiStyle();
        Game::SetupUiStyle();
    }
    // The materials are made from the hit shader list from now on.
    renderableShadersLocked = true;
    return QuorlRenderer::Frame();
}

void GameRenderer::FrameInit() {
    quorl::renderer::QuorlRendererData& data = Data();
    if (GameSettings* s = Game::settings) {
        vsync = s->vsync;
        renderScale = s->render_scale;
        upscaler.quality = s->upscaling_quality_setting;
        upscaler.finalUpscale = s->final_upscale;
        upscaler.sharpness = s->upscaling_sharpness;
        for (char& c : s->upscaling_algo) c = char(std::toupper(static_cast<unsigned char>(c)));
        upscaler.algo = Upscaler::GetAlgoEnumFromStr(s->upscaling_algo);
        data.brightness = s->brightness;
        data.contrast = s->contrast;
        data.gamma = s->gamma;
        data.fov = s->fov;
        data.options = (s->tone_mapping ? 1u : 0u) | (s->taa ? 2u : 0u) |
                       (Upscaler::IsTemporal(upscaler.algo) ? 4u : 0u) | (originRelative ? 8u : 0u) |
                       (s->dithering ? 16u : 0u);
        devTools = s->dev_tools;
    }
    data.renderScale = renderScale;
    data.timeScale = timeScale;

    // World origin: near the camera, so that positions on the GPU stay small.
    const double threshold = Options::Get<double>("world_origin_reset_distance_threshold", 1000.0);
    const glm::dvec3 position(camera.worldTransform * camera.origin);
    if (!(threshold > 0.0)) {
        _worldOrigin = glm::dvec4(position, 1.0);
        _originReset = true;
    } else {
        const glm::i64vec3 rounded(std::llround(position.x), std::llround(position.y), std::llround(position.z));
        const glm::i64vec3 difference = rounded - _worldOriginInt;
        const double distance = glm::length(glm::dvec3(difference));
        _originReset = distance > threshold;
        if (_originReset) _worldOrigin = glm::dvec4(glm::dvec3(rounded), 1.0);
    }

    ForAll(&GAME_Mod::Renderer_FrameInit);

    if (_originReset) {
        _worldOriginInt = glm::i64vec3(int64_t(_worldOrigin.x), int64_t(_worldOrigin.y), int64_t(_worldOrigin.z));
        _inverseOriginTranslation = glm::translate(glm::dmat4(1.0), -glm::dvec3(_worldOrigin));
    }
    data.viewMatrix = glm::mat4(glm::inverse(_inverseOriginTranslation * camera.worldTransform));
}

// The ImGui frame opens first, so the panels and the modules' hooks can call ImGui.
void GameRenderer::FrameUpdateUi() {
    _imgui->BeginFrame();
    ui::FrameUi::Update(this);
}
void GameRenderer::FrameBeforeUpdate() { ForSorted("update", &GAME_Mod::Renderer_FrameBeforeUpdate); }
void GameRenderer::FrameUpdate() { ForSorted("update", &GAME_Mod::Renderer_FrameUpdate); }
void GameRenderer::FrameAfterUpdate() { ForSorted("update", &GAME_Mod::Renderer_FrameAfterUpdate); }
void GameRenderer::FrameBeforeRender() { ForSorted("render", &GAME_Mod::Renderer_FrameBeforeRender); }
void GameRenderer::FrameUpdateDescriptorSets() { ForAll(&GAME_Mod::Renderer_FrameUpdateDescriptorSets); }

void GameRenderer::FramePushCommands(VkCommandBuffer cmd) {
    ForAll(&GAME_Mod::Renderer_FramePushCommands, cmd);
    std::lock_guard lock(_texturesToPushMutex);
    for (auto& texture : _texturesToPush) {
        if (texture.use_count() == 1)
            Trash(std::move(texture));
        else
            texture->Push(cmd);
    }
    _texturesToPush.clear();
}

void GameRenderer::FrameBuildCommands(VkCommandBuffer cmd) {
    _scene->Compute(cmd);
    ForAll(&GAME_Mod::Renderer_FrameBuildCommands, cmd);
}
void GameRenderer::FrameRenderCommands(VkCommandBuffer cmd) {
    _scene->Draw(cmd, RenderableHitShaders(), _worldOrigin);
    ForSorted("render", &GAME_Mod::Renderer_FrameRenderCommands, cmd);
}
void GameRenderer::FrameBeforePost() { ForAll(&GAME_Mod::Renderer_FrameBeforePost); }
void GameRenderer::FrameResolveCommands(VkCommandBuffer cmd) {
    ForSorted("post", &GAME_Mod::Renderer_FrameResolveCommands, cmd);
}
void GameRenderer::FrameBlitCommands(VkCommandBuffer cmd) {
    ForSorted("post", &GAME_Mod::Renderer_FrameBlitCommands, cmd);
}
void GameRenderer::FramePostCommands(VkCommandBuffer cmd) {
    ForSorted("post", &GAME_Mod::Renderer_FramePostCommands, cmd);
}

void GameRenderer::FrameOverlayCommands(VkCommandBuffer cmd) {
    _overlayPass.Begin(cmd, OutputImageIndex());
    try {
        if (showCrosshair) {
            const VkExtent2D extent = GetOutputImageExtent();
            ColliderPush push{};  // the layout's whole range; the crosshair reads its head
            CrosshairPush crosshair{{float(extent.width), float(extent.height)}, 6.0f, 1.0f, {1.0f, 1.0f, 1.0f, 0.8f}};
            static_assert(sizeof(CrosshairPush) <= sizeof(ColliderPush));
            std::memcpy(&push, &crosshair, sizeof(crosshair));
            _crosshairPipeline.Bind(cmd);
            _overlayLayout.Push(cmd, &push, sizeof(push));
            vkCmdDraw(cmd, 12, 1, 0, 0);
        }
        ForSorted("overlay", &GAME_Mod::Renderer_FrameOverlayCommands, cmd);
        ui::Element::DrawAll(cmd, GetOutputImageExtent());
        _imgui->Render(cmd);
    } catch (...) {
        _overlayPass.End(cmd);
        throw;
    }
    _overlayPass.End(cmd);
}

void GameRenderer::FrameAfterRender() {
    // Higher sort keys are drawn later, over the others.
    ui::Element::Sort([](auto& a, auto& b) { return a->SortOrder() < b->SortOrder(); });
    if (_window) {
        double x = 0, y = 0;
        _window->GetCursorPos(x, y);
        ui::Element::PointerEvent({x, y}, {_window->GetWidth(), _window->GetHeight()},
                                  _window->GetMouseButton(0) == quorl::graphics::PRESS);
    }
    ForSorted("render", &GAME_Mod::Renderer_FrameAfterRender);
}

void GameRenderer::FrameCollectGarbage() {
    // The frame's GPU work is complete: what it reported about the centre of the screen is in.
    aim = GetAimBuffer();
    ForAll(&GAME_Mod::Renderer_FrameCollectGarbage);
    CollectTrash();
}

// -------------------------------------------------------------------------------------------
// Hit shaders, aim references, trash, screenshots, textures

int GameRenderer::AddRenderableHitShader(const std::string& name) {
    std::lock_guard lock(_shadersMutex);
    CheckSite(!renderableShadersLocked, assert_sites::kShadersLocked);
    _hitShaders.push_back(name);
    return int(_hitShaders.size() - 1);
}

std::vector<std::string> GameRenderer::RenderableHitShaders() const {
    std::lock_guard lock(_shadersMutex);
    return _hitShaders;
}

std::vector<std::string> GameRenderer::RenderableCallableShaders() const {
    std::lock_guard lock(_shadersMutex);
    return _callableShaders;
}

unsigned int GameRenderer::AddAimReference(const std::string& moduleName, std::any data) {
    std::lock_guard lock(_aimReferencesMutex);
    _aimReferences.push_back({quorl::modular::ModuleID(moduleName), std::move(data)});
    return unsigned(_aimReferences.size() - 1);
}

void GameRenderer::Trash(std::shared_ptr<void> object) {
    std::lock_guard lock(_trashMutex);
    _trash[0].push_back(std::move(object));
}

void GameRenderer::CollectTrash() {
    std::vector<std::shared_ptr<void>> released;
    {
        // Trash may be called from other threads while the render thread collects: the swap
        // is under the mutex here, the release outside it.
        std::lock_guard lock(_trashMutex);
        _trash[0].swap(_trash[1]);
        released.swap(_trash[0]);
    }
}

void GameRenderer::CollectAllTrash() {
    std::vector<std::shared_ptr<void>> released[2];
    std::lock_guard lock(_trashMutex);
    released[0].swap(_trash[0]);
    released[1].swap(_trash[1]);
}

size_t GameRenderer::TrashSize() const {
    std::lock_guard lock(_trashMutex);
    return _trash[0].size() + _trash[1].size();
}

bool GameRenderer::SaveImage(VkImage image, VkOffset2D offset, VkExtent2D extent, VkFormat format,
                             VkImageLayout layout, const std::string& path) {
    return quorl::graphics::SaveImage::Save(GetDevice(), image, offset, extent, format, layout, path);
}

double GameRenderer::GetFixedBoundingSizeInScreenPixels(const glm::dvec3& position, double size,
                                                       double minimumPixels) {
    const glm::dvec3 eye(camera.worldTransform * camera.origin);
    const double distance = glm::length(position - eye);
    const double fov = glm::radians(double(std::clamp(Data().fov, 1.0f, 179.0f)));
    const double height = double(GetOutputImageExtent().height);
    if (distance <= 0.0) return std::max(minimumPixels, height);
    return std::max(minimumPixels, size / (2.0 * distance * std::tan(fov / 2.0)) * height);
}

void GameRenderer::PushTexture(std::shared_ptr<quorl::graphics::Texture> texture) {
    std::lock_guard lock(_texturesToPushMutex);
    _texturesToPush.push_back(std::move(texture));
}

void GameRenderer::Cleanup() {
    GetDevice().WaitIdle();
    _scene->Release();
    {
        std::lock_guard lock(_texturesToPushMutex);
        _texturesToPush.clear();
    }
    CollectAllTrash();
}

}  // namespace game::graphics
