#version 460
#extension GL_GOOGLE_include_directive : require
#include "common.glsl"

layout(push_constant) uniform Push {
    uvec2 dataAddress;
};

layout(location = 0) in vec2 ndc;
layout(location = 0) out vec4 color;
layout(location = 1) out uint aimId;

// A clear sky: horizon colour blending to the zenith above, to the ground below.
void main() {
    RendererData data = RendererData(dataAddress);
    vec4 view = data.inverseProjectionMatrix * vec4(ndc, 1.0, 1.0);
    vec3 dir = normalize((data.inverseViewMatrix * vec4(view.xyz / view.w, 0.0)).xyz);
    vec3 c = dir.y >= 0.0 ? mix(data.skyHorizon.rgb, data.skyZenith.rgb, sqrt(dir.y))
                          : mix(data.skyHorizon.rgb, data.ground.rgb, sqrt(min(1.0, -dir.y * 8.0)));
    color = vec4(c, 1.0);
    aimId = 0u;
}
