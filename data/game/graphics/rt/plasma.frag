#version 460
#extension GL_GOOGLE_include_directive : require
#include "scene.glsl"
// The glow of a plasma trail, added to what is behind it: a ray march through the trail's box
// (local space: the body at y = 0, the trail growing along +y to `top`). PlasmaData as floats:
// top 0, size 1, flow intensity 2, texture 3 (a uint), colour 4-6, glow 7.
layout(location = 2) in vec3 localPosition;
layout(location = 3) flat in vec3 localCamera;
layout(location = 4) flat in uint drawIndex;
layout(location = 5) flat in uint boxIndex;
layout(location = 0) out vec4 outColor;

// The trail's flow field (plasma_flow.comp) at a point: r the density of the torn gas, g its
// bright filaments. u goes around the trail, v along it. Without a texture: an even glow.
vec2 Field(uint texture, vec3 p, float h) {
    if (!HasTexture(texture)) return vec2(1.0, 0.0);
    const float u = atan(p.z, p.x) * 0.15915494 + 0.5;
    return SampleTexture(texture, vec2(u, h)).rg;
}

// Glowing gas per metre at p: a sheath around the trail's axis that widens and fades along it,
// torn by the flow field; hottest just behind the body.
float Density(vec3 p, float top, float size, float flow, uint texture) {
    const float h = clamp(p.y / top, 0.0, 1.0);
    const float width = size * (0.45 + 0.55 * h);
    const float radial = dot(p.xz, p.xz) / (width * width);
    const vec2 field = Field(texture, p, h);
    const float torn = mix(1.0, field.r, min(0.35 + flow / 1200.0, 1.0)) + field.g * min(flow / 600.0, 1.5);
    return exp(-radial * 1.5) * pow(1.0 - h, 2.0) * torn;
}

void main() {
    DrawRecord draw = GetDraw(drawIndex);
    Floats plasma = Floats(draw.plasmaData);
    const float top = max(plasma.v[0], 1e-6), size = max(plasma.v[1], 1e-6), flow = plasma.v[2];
    const vec3 color = vec3(plasma.v[4], plasma.v[5], plasma.v[6]);
    const float glow = plasma.v[7];
    // The part of the view ray inside the box, from this face.
    Floats record = Floats(draw.positions + uint64_t(boxIndex) * 32ul);
    const vec3 lo = vec3(record.v[0], record.v[1], record.v[2]), hi = vec3(record.v[3], record.v[4], record.v[5]);
    const vec3 dir = normalize(localPosition - localCamera);
    const vec3 t0 = (lo - localCamera) / dir, t1 = (hi - localCamera) / dir;
    const float rawEnter = max(max(min(t0.x, t1.x), min(t0.y, t1.y)), min(t0.z, t1.z));
    const float enter = max(rawEnter, 0.0);
    const float leave = min(min(max(t0.x, t1.x), max(t0.y, t1.y)), max(t0.z, t1.z));
    // Both faces of the box are drawn: from outside, the far ones would add the glow twice.
    const float face = dot(localPosition - localCamera, dir);
    if (rawEnter > 0.0 && abs(face - enter) > abs(face - leave)) discard;
    const uint texture = Words(draw.plasmaData).v[3];
    const int steps = 32;
    const float stepLength = max(leave - enter, 0.0) / float(steps);
    float sum = 0.0, core = 0.0;
    for (int i = 0; i < steps; ++i) {
        const vec3 p = localCamera + dir * (enter + (float(i) + 0.5) * stepLength);
        const float d = Density(p, top, size, flow, texture) * stepLength;
        sum += d;
        // The first size or so behind the body burns white-hot.
        core += d * exp(-max(p.y, 0.0) / size);
    }
    // glow grows with the square of the speed: on a log scale, so that a body at a few hundred
    // metres a second shows a faint wake and a re-entry a blinding one; flow adds its share.
    const float strength = 0.6 * log2(1.0 + glow) + flow / 600.0;
    const float brightness = 1.0 - exp(-sum / size * strength * 4.0);
    const float white = 1.0 - exp(-core / size * strength * 3.0);
    outColor = vec4(mix(color, vec3(1.0, 0.9, 0.7), white * 0.6) * brightness, 1.0);
}
