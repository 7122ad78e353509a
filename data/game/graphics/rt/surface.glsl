// Fragment stage of lit surfaces: base colour (factor, vertex colours, texture), emission,
// metallic and roughness of the geometry, changed by its RenderableData record, lit by every
// active light, plus a little sky light. Writes the colour and the instance's aim id.
layout(location = 0) out vec4 outColor;
layout(location = 1) out uint outAimId;

// RenderableData as floats: emission 0-2, colour factor 3, colour 4-7, material 8-10 (the
// weight, metallic, roughness), monitor texture 11.
struct Surface {
    vec3 albedo;
    vec3 emission;
    float metallic;
    float roughness;
};

void ApplyRenderableData(inout Surface s, uint64_t address, vec2 uv, bool hasUv) {
    if (address == 0ul) return;
    Floats r = Floats(address);
    const float factor = clamp(r.v[3], 0.0, 1.0);
    s.albedo = mix(s.albedo, vec3(r.v[4], r.v[5], r.v[6]), factor);
    const vec3 emission = vec3(r.v[0], r.v[1], r.v[2]);
    const float weight = clamp(r.v[8], 0.0, 1.0);
    s.metallic = mix(s.metallic, r.v[9], weight);
    s.roughness = mix(s.roughness, r.v[10], weight);
    const uint monitor = floatBitsToUint(r.v[11]);
    if (HasTexture(monitor) && hasUv) {
        // A monitor: its pixels are the surface's colour and glow at the record's emission.
        const vec3 texel = SampleTexture(monitor, uv).rgb;
        s.albedo = texel;
        s.emission = texel * emission;
    } else {
        s.emission += emission;
    }
}

vec3 Shade(Surface s, vec3 position, vec3 normal) {
    RendererData data = RendererData(scene.rendererData);
    const vec3 eye = data.inverseViewMatrix[3].xyz;
    const vec3 v = normalize(eye - position);
    vec3 n = normalize(normal);
    if (dot(n, v) < 0.0) n = -n;  // both faces are drawn
    const vec3 specularColor = mix(vec3(0.04), s.albedo, s.metallic);
    const float shininess = clamp(2.0 / max(pow(s.roughness, 4.0), 1e-4) - 2.0, 1.0, 2048.0);
    // Sky light from above, ground light from below.
    vec3 result = s.albedo * (1.0 - s.metallic * 0.5) * mix(data.ground.rgb, data.skyZenith.rgb, n.y * 0.5 + 0.5) * 0.15;
    Lights lights = Lights(scene.lights);
    for (uint i = 0u; i < scene.lightCount; ++i) {
        const LightEntry light = lights.l[i];
        Floats d = Floats(light.data);
        const float power = d.v[6], reach = d.v[7], radius = d.v[11], focus = d.v[15];
        const vec3 color = vec3(d.v[8], d.v[9], d.v[10]);
        const vec3 toLight = light.position.xyz - position;
        const float distance = length(toLight);
        if (distance > reach + radius) continue;
        const vec3 l = toLight / max(distance, 1e-6);
        const float x = max(distance - radius, 0.0);
        // Power over the sphere (or the focused cone) at the distance; 0.01 at the reach.
        float intensity;
        if (focus == 0.0) {
            intensity = power / (1.0 + 12.566371 * x * x);
        } else {
            intensity = power / (1.0 + 4.0 * focus * focus * x * x) *
                        pow(max(dot(-l, normalize(light.direction.xyz)), 0.0), focus);
        }
        const float nl = max(dot(n, l), 0.0);
        const vec3 h = normalize(l + v);
        const vec3 diffuse = s.albedo * (1.0 - s.metallic) * nl;
        const vec3 specular = specularColor * pow(max(dot(n, h), 0.0), shininess) * nl * (shininess + 8.0) / 25.0;
        result += (diffuse + specular) * color * intensity;
    }
    return result + s.emission;
}

vec4 Finish(vec3 color) { return vec4(pow(clamp(color, 0.0, 1.0), vec3(1.0 / 2.2)), 1.0); }
