#pragma once
// The records that the renderer's shaders read through buffer device addresses. Their sizes and
// field offsets are fixed: the shaders' declarations mirror them byte for byte.
#include <cstddef>
#include <cstdint>

namespace game::graphics {

// One box primitive: minimum and maximum corner, 8 spare bytes.
struct AabbData {
    float minX = 0.0f, minY = 0.0f, minZ = 0.0f;
    float maxX = 0.0f, maxY = 0.0f, maxZ = 0.0f;
    uint32_t reserved[2] = {0, 0};
};

// Per-geometry material record of a renderable instance. The last 16 bytes are the client
// entity's (filled where it creates this buffer).
struct RenderableData {
    float emission[3] = {0.0f, 0.0f, 0.0f};
    float colorFactor = 0.0f;
    float color[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    // SetPbrMetallicRoughness(name, a, b, c) stores c, a, b.
    float material[3] = {0.0f, 0.0f, 0.0f};
    uint32_t monitorTexture = 0;
    uint8_t entityData[16] = {};
};

// A light: its first 24 bytes are an AabbData box, so the record is its own primitive.
struct LightSourceInstanceData {
    float boxMin[3] = {0.0f, 0.0f, 0.0f};
    float boxMax[3] = {0.0f, 0.0f, 0.0f};
    float power = 0.0f;
    float reach = 0.0f;
    float color[3] = {0.0f, 0.0f, 0.0f};
    float radius = 0.0f;
    float direction[3] = {0.0f, 0.0f, 0.0f};
    float focus = 0.0f;
};

// The glow of a plasma trail.
struct PlasmaData {
    float top = 0.0f;
    float size = 0.0f;
    float flowIntensity = 0.0f;
    uint32_t texture = 0;
    float color[3] = {0.0f, 0.0f, 0.0f};
    float glow = 0.0f;
};

static_assert(sizeof(AabbData) == 32 && offsetof(AabbData, minX) == 0 && offsetof(AabbData, maxX) == 12 &&
              offsetof(AabbData, reserved) == 24);
static_assert(sizeof(RenderableData) == 64 && offsetof(RenderableData, emission) == 0 &&
              offsetof(RenderableData, colorFactor) == 12 && offsetof(RenderableData, color) == 16 &&
              offsetof(RenderableData, material) == 32 && offsetof(RenderableData, monitorTexture) == 44 &&
              offsetof(RenderableData, entityData) == 48);
static_assert(sizeof(LightSourceInstanceData) == 64 && offsetof(LightSourceInstanceData, boxMin) == 0 &&
              offsetof(LightSourceInstanceData, boxMax) == 12 && offsetof(LightSourceInstanceData, power) == 24 &&
              offsetof(LightSourceInstanceData, reach) == 28 && offsetof(LightSourceInstanceData, color) == 32 &&
              offsetof(LightSourceInstanceData, radius) == 44 && offsetof(LightSourceInstanceData, direction) == 48 &&
              offsetof(LightSourceInstanceData, focus) == 60);
static_assert(sizeof(PlasmaData) == 32 && offsetof(PlasmaData, top) == 0 && offsetof(PlasmaData, size) == 4 &&
              offsetof(PlasmaData, flowIntensity) == 8 && offsetof(PlasmaData, texture) == 12 &&
              offsetof(PlasmaData, color) == 16 && offsetof(PlasmaData, glow) == 28);

}  // namespace game::graphics
