#version 460
#extension GL_GOOGLE_include_directive : require
#include "scene.glsl"
#include "surface.glsl"
layout(location = 0) in vec3 worldPosition;
layout(location = 1) in vec3 worldNormal;
layout(location = 2) in vec2 uv;
layout(location = 3) in vec4 vertexColor;
layout(location = 4) flat in uint drawIndex;

void main() {
    DrawRecord draw = GetDraw(drawIndex);
    const bool hasUv = draw.texcoord0 != 0ul;
    Surface s;
    vec4 base = draw.baseColor * vertexColor;
    if (HasTexture(draw.baseColorTexture) && hasUv) base *= SampleTexture(draw.baseColorTexture, uv);
    s.albedo = base.rgb;
    s.emission = draw.emission;
    s.metallic = draw.metallic;
    s.roughness = draw.roughness;
    ApplyRenderableData(s, draw.renderableData, uv, hasUv);
    // Without normals in the mesh: the face's own.
    const vec3 normal = dot(worldNormal, worldNormal) > 1e-12 ? worldNormal
                                                              : cross(dFdx(worldPosition), dFdy(worldPosition));
    outColor = Finish(Shade(s, worldPosition, normal));
    outAimId = draw.aimId;
}
