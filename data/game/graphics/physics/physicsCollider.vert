#version 460
// Debug view of physics colliders: positions relative to the world origin, one colour per draw.
layout(push_constant) uniform Push {
    mat4 viewProjection;
    vec4 color;
};
layout(location = 0) in vec3 position;

void main() { gl_Position = viewProjection * vec4(position, 1.0); }
