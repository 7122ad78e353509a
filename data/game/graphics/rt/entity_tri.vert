#version 460
#extension GL_GOOGLE_include_directive : require
#include "scene.glsl"
// Triangle geometries: vertices pulled through the geometry's addresses (positions, indices of
// 16 or 32 bits, normals, texture coordinates, colours); no vertex buffers.
layout(location = 0) out vec3 worldPosition;
layout(location = 1) out vec3 worldNormal;
layout(location = 2) out vec2 uv;
layout(location = 3) out vec4 vertexColor;
layout(location = 4) flat out uint drawIndex;

void main() {
    DrawRecord draw = GetDraw(gl_InstanceIndex);
    uint vertex = uint(gl_VertexIndex);
    if (draw.indexType == 2u) {
        const uint64_t at = draw.indices + uint64_t(vertex) * 2ul;
        const uint word = Words(at & ~3ul).v[0];
        vertex = (at & 2ul) != 0ul ? word >> 16 : word & 0xffffu;
    } else if (draw.indexType == 3u) {
        vertex = Words(draw.indices).v[vertex];
    }
    const vec4 world = draw.model * vec4(ReadVec3(draw.positions, vertex), 1.0);
    worldPosition = world.xyz;
    worldNormal = draw.normals != 0ul ? transpose(inverse(mat3(draw.model))) * ReadVec3(draw.normals, vertex)
                                      : vec3(0.0);
    uv = draw.texcoord0 != 0ul ? vec2(Floats(draw.texcoord0).v[2 * vertex], Floats(draw.texcoord0).v[2 * vertex + 1])
                               : vec2(0.0);
    vertexColor = vec4(1.0);
    if (draw.floatColors != 0ul) {
        Floats c = Floats(draw.floatColors);
        vertexColor = vec4(c.v[4 * vertex], c.v[4 * vertex + 1], c.v[4 * vertex + 2], c.v[4 * vertex + 3]);
    } else if (draw.byteColors != 0ul) {
        vertexColor = unpackUnorm4x8(Words(draw.byteColors).v[vertex]);
    }
    drawIndex = gl_InstanceIndex;
    RendererData data = RendererData(scene.rendererData);
    gl_Position = data.projectionMatrix * data.viewMatrix * world;
}
