#version 460
// The flow field of a plasma trail, written into its R32G32 texture each frame. u runs around the
// trail (periodic), v along it from the body (0) to the end of the box (1).
//   r: density of the gas torn along: turbulent noise stretched along the trail and carried away
//      from the body with time, about 1 on average;
//   g: filaments: thin bright strands where the turbulence folds over, 0 to 1.
// The faster the flow, the quicker the pattern streams and the longer its streaks.
layout(local_size_x = 8, local_size_y = 8) in;
layout(set = 0, binding = 0, rg32f) uniform writeonly image2D field;

layout(push_constant) uniform FlowPush {
    float time;           // seconds
    float flowIntensity;  // PlasmaData::flowIntensity
    float seed;           // decorrelates trails
} flow;

float Hash(vec3 p) {
    p = fract(p * vec3(0.1031, 0.1030, 0.0973));
    p += dot(p, p.yxz + 33.33);
    return fract((p.x + p.y) * p.z);
}

// Value noise in [0, 1] with smooth interpolation.
float Noise(vec3 p) {
    const vec3 i = floor(p), f = fract(p);
    const vec3 w = f * f * (3.0 - 2.0 * f);
    return mix(mix(mix(Hash(i), Hash(i + vec3(1, 0, 0)), w.x), mix(Hash(i + vec3(0, 1, 0)), Hash(i + vec3(1, 1, 0)), w.x),
                   w.y),
               mix(mix(Hash(i + vec3(0, 0, 1)), Hash(i + vec3(1, 0, 1)), w.x),
                   mix(Hash(i + vec3(0, 1, 1)), Hash(i + vec3(1, 1, 1)), w.x), w.y),
               w.z);
}

float Fbm(vec3 p) {
    float sum = 0.0, amplitude = 0.5;
    for (int octave = 0; octave < 4; ++octave) {
        sum += amplitude * Noise(p);
        p = p * 2.03 + vec3(1.7, 9.2, 3.1);
        amplitude *= 0.5;
    }
    return sum / 0.9375;
}

void main() {
    const ivec2 size = imageSize(field);
    const ivec2 texel = ivec2(gl_GlobalInvocationID.xy);
    if (texel.x >= size.x || texel.y >= size.y) return;
    const vec2 uv = (vec2(texel) + 0.5) / vec2(size);
    const float speed = clamp(flow.flowIntensity / 600.0, 0.0, 4.0);
    // Around the trail on a circle so that u wraps without a seam; along it, stretched more the
    // faster the flow, and carried away from the body.
    const float angle = uv.x * 6.28318530718;
    const float stretch = 1.0 + speed;
    // Plasma flickers: the pattern streams several cells a second.
    const float along = uv.y * 10.0 / stretch - flow.time * (6.0 + 10.0 * speed);
    const vec3 p = vec3(cos(angle) * 1.5, sin(angle) * 1.5, along) + flow.seed;
    // Domain warp: the turbulence bends the streaks sideways.
    const vec3 warp = vec3(Fbm(p + vec3(0.0, 0.0, 4.1)), Fbm(p + vec3(5.2, 1.3, 0.0)), 0.0) - 0.5;
    const float n = Fbm(p + 1.8 * warp);
    const float density = clamp(0.35 + 1.3 * n, 0.0, 2.0);
    // Filaments: where the warped noise crosses its middle value.
    const float filament = pow(1.0 - clamp(abs(n - 0.5) * 7.0, 0.0, 1.0), 3.0);
    imageStore(field, texel, vec4(density, filament, 0.0, 0.0));
}
