// What the raster materials share: the push constants, the per-draw record, and readers of the
// game's GPU records through their device addresses (twin of src/game/graphics/SceneRenderer.h).
#extension GL_EXT_buffer_reference : require
#extension GL_EXT_buffer_reference_uvec2 : require
#extension GL_EXT_shader_explicit_arithmetic_types_int64 : require
#include "quorl/renderer/common.glsl"

layout(push_constant) uniform ScenePush {
    uint64_t rendererData;
    uint64_t draws;
    uint64_t lights;
    uint lightCount;
    uint textureArraySize;
} scene;

// The first 32 elements of the renderer's texture array: what every device can hold, and what a
// switch of constant indices can reach where arrays of samplers can't be indexed by a variable.
#define TEXTURE_SLOTS 32u
layout(set = 0, binding = 0) uniform sampler2D textures[32];

// One geometry of one instance (SceneRenderer::DrawRecord).
struct DrawRecord {
    mat4 model;  // origin-relative
    vec4 baseColor;
    vec3 emission;
    float metallic;
    float roughness;
    uint baseColorTexture;
    uint indexType;  // 1 none, 2 16-bit, 3 32-bit
    uint aimId;
    uint64_t positions;  // vec3 floats, or AabbData records for boxes
    uint64_t indices;
    uint64_t normals;
    uint64_t texcoord0;
    uint64_t floatColors;
    uint64_t byteColors;
    uint64_t renderableData;  // this geometry's RenderableData, 0 for none
    uint64_t plasmaData;      // PlasmaData of a plasma draw
};
layout(buffer_reference, std430, buffer_reference_align = 16) readonly buffer Draws { DrawRecord d[]; };

// Per light: origin-relative position and direction, the address of its LightSourceInstanceData.
struct LightEntry {
    vec4 position;
    vec4 direction;
    uint64_t data;
    uint64_t pad;
};
layout(buffer_reference, std430, buffer_reference_align = 16) readonly buffer Lights { LightEntry l[]; };

// Packed records read float by float: their vec3 fields have no std430 twin.
layout(buffer_reference, std430, buffer_reference_align = 4) readonly buffer Floats { float v[]; };
layout(buffer_reference, std430, buffer_reference_align = 4) readonly buffer Words { uint v[]; };

DrawRecord GetDraw(uint index) { return Draws(scene.draws).d[index]; }

vec3 ReadVec3(uint64_t address, uint i) {
    Floats f = Floats(address);
    return vec3(f.v[3 * i], f.v[3 * i + 1], f.v[3 * i + 2]);
}

bool HasTexture(uint index) { return index != 0u && index < min(scene.textureArraySize, TEXTURE_SLOTS); }

// Texture `index` at uv; the index is the same for the whole draw.
#define TEXTURE_CASE(i) case i: return texture(textures[i], uv);
#define TEXTURE_CASES8(i) TEXTURE_CASE(i) TEXTURE_CASE(i + 1) TEXTURE_CASE(i + 2) TEXTURE_CASE(i + 3) \
    TEXTURE_CASE(i + 4) TEXTURE_CASE(i + 5) TEXTURE_CASE(i + 6) TEXTURE_CASE(i + 7)
vec4 SampleTexture(uint index, vec2 uv) {
    switch (index) {
        TEXTURE_CASES8(0u) TEXTURE_CASES8(8u) TEXTURE_CASES8(16u) TEXTURE_CASES8(24u)
    }
    return vec4(1.0);
}
