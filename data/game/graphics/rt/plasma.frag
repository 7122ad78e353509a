#version 460
#extension GL_GOOGLE_include_directive : require
#include "scene.glsl"
// The glow of a plasma trail, added to what is behind it: a ray march through the trail's box
// (local space: the body at y = 0, the trail growing along +y to `top`). PlasmaData as floats:
// top 0, size 1, flow intensity 2, texture 3, colour 4-6, glow 7.
layout(location = 2) in vec3 localPosition;
layout(location = 3) flat in vec3 localCamera;
layout(location = 4) flat in uint drawIndex;
layout(location = 0) out vec4 outColor;

float Density(vec3 p, float top, float size, float flow, float time) {
    const float h = clamp(p.y / top, 0.0, 1.0);
    // The trail widens a little and fades along its length; flow makes it streak.
    const float width = size * (0.45 + 0.55 * h);
    const float radial = dot(p.xz, p.xz) / (width * width);
    const float streaks = 1.0 + 0.25 * sin(p.y / size * 1.2 - time * (2.0 + flow * 0.01)) * min(flow / 600.0, 1.0);
    return exp(-radial * 1.5) * pow(1.0 - h, 2.0) * streaks;
}

void main() {
    DrawRecord draw = GetDraw(drawIndex);
    Floats plasma = Floats(draw.plasmaData);
    const float top = max(plasma.v[0], 1e-6), size = max(plasma.v[1], 1e-6), flow = plasma.v[2];
    const vec3 color = vec3(plasma.v[4], plasma.v[5], plasma.v[6]);
    const float glow = plasma.v[7];
    RendererData data = RendererData(scene.rendererData);
    // The part of the view ray inside the box, from this face.
    Floats record = Floats(draw.positions);
    const vec3 lo = vec3(record.v[0], record.v[1], record.v[2]), hi = vec3(record.v[3], record.v[4], record.v[5]);
    const vec3 dir = normalize(localPosition - localCamera);
    const vec3 t0 = (lo - localCamera) / dir, t1 = (hi - localCamera) / dir;
    const float rawEnter = max(max(min(t0.x, t1.x), min(t0.y, t1.y)), min(t0.z, t1.z));
    const float enter = max(rawEnter, 0.0);
    const float leave = min(min(max(t0.x, t1.x), max(t0.y, t1.y)), max(t0.z, t1.z));
    // Both faces of the box are drawn: from outside, the far ones would add the glow twice.
    const float face = dot(localPosition - localCamera, dir);
    if (rawEnter > 0.0 && abs(face - enter) > abs(face - leave)) discard;
    const int steps = 32;
    const float stepLength = max(leave - enter, 0.0) / float(steps);
    float sum = 0.0;
    for (int i = 0; i < steps; ++i) {
        const vec3 p = localCamera + dir * (enter + (float(i) + 0.5) * stepLength);
        // Frames, not the clock, drive the flow: a frame shows the same on every run.
        sum += Density(p, top, size, flow, float(data.frameIndex) / 60.0) * stepLength;
    }
    const float brightness = 1.0 - exp(-sum / size * glow * 0.008);
    outColor = vec4(color * brightness, 1.0);
}
