// The renderer's per-frame record, read through its device address (twin of
// engine/quorl/renderer/QuorlRendererData.h).
#extension GL_EXT_buffer_reference : require
#extension GL_EXT_buffer_reference_uvec2 : require

layout(buffer_reference, std430, buffer_reference_align = 16) readonly buffer RendererData {
    mat4 viewMatrix;
    mat4 inverseViewMatrix;
    mat4 projectionMatrix;
    mat4 inverseProjectionMatrix;
    vec4 skyZenith;
    vec4 skyHorizon;
    vec4 ground;
    uvec2 extent;
    float renderScale;
    float timeScale;
    float fov;
    uint options;
    float brightness;
    float contrast;
    float gamma;
    uint frameIndex;
    float time;
    float padding;
};
