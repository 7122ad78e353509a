#pragma once
#include <vulkan/vulkan_core.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <glm/mat4x4.hpp>
#include <glm/vec4.hpp>

#include "game/graphics/PlasmaFlow.h"
#include "quorl/vk/Buffer.h"
#include "quorl/vk/GraphicsPipeline.h"
#include "quorl/vk/PipelineLayout.h"

namespace quorl::renderer {
class QuorlRenderer;
}

namespace game::graphics {

class LightSourceInstance;
class RenderableInstance;

// Draws the renderable instances in the scene pass: the raster stand-in for the hit shaders.
//
// Each frame it walks RenderableInstance::_sharedObjects under its shared lock and keeps the
// instances that are alive and `visible`, and whose shader index names a material.
// The instance's shader index picks the material by the hit shader's name:
//   "game/graphics/rt/entity_tri", "entity_box": lit surfaces. A geometry is drawn as triangles
//     or as boxes by its own kind (Mesh::Geometry and TriangleGeometry, or AabbGeometry), lit by
//     every active LightSourceInstance;
//   "game/graphics/rt/entity_sphere": the same, but each box is the bound of a lit sphere (an
//     ellipsoid for a box that isn't a cube);
//   "game/graphics/rt/plasma": the additive glow of the boxes of a plasma trail, shaped by the
//     PlasmaData whose device address the first 8 bytes of the instance's first RenderableData
//     record hold, and torn by the trail's flow field (its compute texture, filled by Compute).
//     A PlasmaTrail has shader index 4 although the hit shader list has "plasma" at 3: the
//     list's index 4 is the first module's shader, which any other instance of index 4 means.
// Names with no raster material (the modules' own) fall back to the lit surface of their
// geometry, with one warning per name on the standard error.
//
// Per geometry one DrawRecord goes into a host-visible buffer of the frame; the shaders pull
// vertices, indices and materials through device addresses (data/game/graphics/rt/scene.glsl is
// the GLSL twin), so a draw is one vkCmdDraw whose first instance is the record's index. The
// lights go into a second buffer. Both are rewritten each frame: the renderer keeps one frame in
// flight and waits for it, so the GPU has finished with them by then.
class SceneRenderer {
public:
    enum class Material : uint8_t { None, Surface, Sphere, Plasma };
    static constexpr unsigned kPlasmaTrailShaderIndex = 4;
    // The materials read the first 32 textures of the renderer's array: every device has that
    // many, and where arrays of samplers can't be indexed by a variable (lavapipe) the shaders
    // reach each through a switch of constant indices.
    static constexpr uint32_t kShaderTextureSlots = 32;

    // One geometry of one instance, as the shaders read it (std430).
    struct DrawRecord {
        glm::mat4 model{1.0f};  // relative to the world origin
        glm::vec4 baseColor{1.0f};
        float emission[3] = {0.0f, 0.0f, 0.0f};
        float metallic = 1.0f;
        float roughness = 1.0f;
        uint32_t baseColorTexture = 0;
        uint32_t indexType = 1;
        uint32_t aimId = 0;
        uint64_t positions = 0;
        uint64_t indices = 0;
        uint64_t normals = 0;
        uint64_t texcoord0 = 0;
        uint64_t floatColors = 0;
        uint64_t byteColors = 0;
        uint64_t renderableData = 0;
        uint64_t plasmaData = 0;
    };
    static_assert(sizeof(DrawRecord) == 176, "layout shared with scene.glsl");

    struct LightEntry {
        glm::vec4 position{0.0f};   // relative to the world origin
        glm::vec4 direction{0.0f};  // in the world
        uint64_t data = 0;          // LightSourceInstanceData
        uint64_t pad = 0;
    };
    static_assert(sizeof(LightEntry) == 48, "layout shared with scene.glsl");

    // What the last Draw drew.
    struct Counts {
        size_t instances = 0;
        size_t draws = 0;
        size_t lights = 0;
    };

    // Makes the three pipelines in the renderer's scene pass, with its texture array as set 0.
    explicit SceneRenderer(quorl::renderer::QuorlRenderer& renderer);

    // The material of a hit shader name.
    static Material MaterialOf(const std::string& hitShaderName);

    // Before the scene pass: the flow field of every shown plasma trail whose texture is ready
    // (GENERAL layout) is computed for this frame, then made visible to the fragment stage.
    void Compute(VkCommandBuffer cmd);
    // Plasma trails whose field the last Compute filled.
    size_t LastFlowCount() const { return _flowJobs.size(); }

    // Records the draws of every shown instance into cmd, inside the scene pass. hitShaders: the
    // renderer's list (locked by now); worldOrigin: what positions are made relative to.
    void Draw(VkCommandBuffer cmd, const std::vector<std::string>& hitShaders, const glm::dvec4& worldOrigin);

    const Counts& LastCounts() const { return _counts; }
    // Lets go of what the last frame drew (the renderer's Cleanup, with the device idle).
    void Release();

private:
    struct Pending {
        uint32_t record;
        uint32_t vertexCount;
    };
    void Collect(const RenderableInstance& instance, Material material, const glm::dmat4& toOrigin);
    template <class T>
    T* Reserve(quorl::vk::Buffer& buffer, size_t count, const char* name);

    quorl::renderer::QuorlRenderer& _renderer;
    quorl::vk::PipelineLayout _layout;
    quorl::vk::GraphicsPipeline _triangles, _boxes, _spheres, _plasma;
    std::vector<Material> _materials;  // per shader index, made at the first Draw
    std::set<std::string> _warned;     // module shader names already reported
    PlasmaFlow _flow;
    std::vector<PlasmaFlow::Job> _flowJobs;  // held until the next Compute: the frame reads them
    // What the frame in flight reads: an owner letting go meanwhile doesn't free it under the GPU.
    std::vector<std::shared_ptr<RenderableInstance>> _shown;
    std::vector<std::shared_ptr<LightSourceInstance>> _shownLights;
    quorl::vk::Buffer _drawBuffer, _lightBuffer;
    std::vector<DrawRecord> _records;
    std::vector<Pending> _triangleDraws, _boxDraws, _sphereDraws, _plasmaDraws;
    Counts _counts;
};

}  // namespace game::graphics
