#version 460
#extension GL_GOOGLE_include_directive : require
#include "scene.glsl"
#include "surface.glsl"
// Spheres: the ellipsoid inside each box of the geometry, found by the view ray in the box's
// space; the fragment takes the depth of the hit, so spheres cut each other and the surfaces.
layout(location = 2) in vec3 localPosition;
layout(location = 3) flat in vec3 localCamera;
layout(location = 4) flat in uint drawIndex;
layout(location = 5) flat in uint boxIndex;

void main() {
    DrawRecord draw = GetDraw(drawIndex);
    Floats record = Floats(draw.positions + uint64_t(boxIndex) * 32ul);
    const vec3 lo = vec3(record.v[0], record.v[1], record.v[2]), hi = vec3(record.v[3], record.v[4], record.v[5]);
    const vec3 centre = (lo + hi) * 0.5, radii = max((hi - lo) * 0.5, vec3(1e-6));
    // In the unit sphere's space.
    const vec3 origin = (localCamera - centre) / radii;
    const vec3 dir = normalize((localPosition - localCamera) / radii);
    const float b = dot(origin, dir), c = dot(origin, origin) - 1.0;
    const float disc = b * b - c;
    if (disc < 0.0) discard;
    const float root = sqrt(disc);
    float t = -b - root;
    if (t < 0.0) t = -b + root;  // the camera is inside
    if (t < 0.0) discard;
    const vec3 unit = origin + dir * t;
    const vec3 local = centre + unit * radii;
    RendererData data = RendererData(scene.rendererData);
    const vec4 world = draw.model * vec4(local, 1.0);
    const vec4 clip = data.projectionMatrix * data.viewMatrix * world;
    gl_FragDepth = clip.z / clip.w;
    const vec3 normal = transpose(inverse(mat3(draw.model))) * (unit / radii);
    Surface s;
    s.albedo = draw.baseColor.rgb;
    s.emission = draw.emission;
    s.metallic = draw.metallic;
    s.roughness = draw.roughness;
    ApplyRenderableData(s, draw.renderableData, vec2(0.0), false);
    outColor = Finish(Shade(s, world.xyz, normal));
    outAimId = draw.aimId;
}
