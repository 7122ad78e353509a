// Vertex stage of box geometries: 36 vertices per AabbData record, the box's corners pulled from
// its record; no vertex buffers. Lit surfaces get world position and normal; the glow
// (PLASMA_GLOW defined) the box's local position and the camera in the box's space.
#ifdef PLASMA_GLOW
layout(location = 2) out vec3 localPosition;
layout(location = 3) flat out vec3 localCamera;
#else
layout(location = 0) out vec3 worldPosition;
layout(location = 1) out vec3 worldNormal;
#endif
layout(location = 4) flat out uint drawIndex;

const uint kCorners[36] = uint[](1, 5, 7, 1, 7, 3,   // +x
                                 4, 0, 2, 4, 2, 6,   // -x
                                 2, 3, 7, 2, 7, 6,   // +y
                                 4, 5, 1, 4, 1, 0,   // -y
                                 5, 4, 6, 5, 6, 7,   // +z
                                 0, 1, 3, 0, 3, 2);  // -z
const vec3 kNormals[6] = vec3[](vec3(1, 0, 0), vec3(-1, 0, 0), vec3(0, 1, 0), vec3(0, -1, 0), vec3(0, 0, 1),
                                vec3(0, 0, -1));

void main() {
    DrawRecord draw = GetDraw(gl_InstanceIndex);
    const uint box = uint(gl_VertexIndex) / 36u, corner = kCorners[uint(gl_VertexIndex) % 36u];
    Floats record = Floats(draw.positions + uint64_t(box) * 32ul);
    const vec3 lo = vec3(record.v[0], record.v[1], record.v[2]);
    const vec3 hi = vec3(record.v[3], record.v[4], record.v[5]);
    const vec3 local = mix(lo, hi, vec3(corner & 1u, (corner >> 1) & 1u, (corner >> 2) & 1u));
    const vec4 world = draw.model * vec4(local, 1.0);
    RendererData data = RendererData(scene.rendererData);
#ifdef PLASMA_GLOW
    localPosition = local;
    localCamera = (inverse(draw.model) * vec4(data.inverseViewMatrix[3].xyz, 1.0)).xyz;
#else
    worldPosition = world.xyz;
    worldNormal = transpose(inverse(mat3(draw.model))) * kNormals[(uint(gl_VertexIndex) % 36u) / 6u];
#endif
    drawIndex = gl_InstanceIndex;
    gl_Position = data.projectionMatrix * data.viewMatrix * world;
}
