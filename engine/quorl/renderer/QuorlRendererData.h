#pragma once
#include <cstdint>
#include <glm/mat4x4.hpp>
#include <glm/vec2.hpp>
#include <glm/vec4.hpp>

namespace quorl::renderer {

// The per-frame record the shaders read through its device address (std430 layout; the GLSL
// twin is data/quorl/renderer/common.glsl).
struct QuorlRendererData {
    glm::mat4 viewMatrix{1.0f};  // origin-relative world to view
    glm::mat4 inverseViewMatrix{1.0f};
    glm::mat4 projectionMatrix{1.0f};
    glm::mat4 inverseProjectionMatrix{1.0f};
    glm::vec4 skyZenith{0.16f, 0.34f, 0.72f, 1.0f};
    glm::vec4 skyHorizon{0.62f, 0.76f, 0.92f, 1.0f};
    glm::vec4 ground{0.28f, 0.26f, 0.24f, 1.0f};
    glm::uvec2 extent{0, 0};
    float renderScale = 1.0f;
    float timeScale = 1.0f;
    float fov = 70.0f;
    uint32_t options = 0;  // bit 0 tone mapping, 1 taa, 2 temporal upscaler, 3 origin-relative, 4 dithering
    float brightness = 1.0f;
    float contrast = 1.0f;
    float gamma = 2.4f;
    uint32_t frameIndex = 0;
    float time = 0.0f;
    float padding = 0.0f;
};
static_assert(sizeof(QuorlRendererData) == 352, "layout shared with the shaders");

}  // namespace quorl::renderer
