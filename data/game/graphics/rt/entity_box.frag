#version 460
#extension GL_GOOGLE_include_directive : require
#include "scene.glsl"
#include "surface.glsl"
layout(location = 0) in vec3 worldPosition;
layout(location = 1) in vec3 worldNormal;
layout(location = 4) flat in uint drawIndex;

void main() {
    DrawRecord draw = GetDraw(drawIndex);
    Surface s;
    s.albedo = draw.baseColor.rgb;
    s.emission = draw.emission;
    s.metallic = draw.metallic;
    s.roughness = draw.roughness;
    ApplyRenderableData(s, draw.renderableData, vec2(0.0), false);
    outColor = Finish(Shade(s, worldPosition, worldNormal));
    outAimId = draw.aimId;
}
