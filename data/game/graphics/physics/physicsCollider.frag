#version 460
layout(push_constant) uniform Push {
    mat4 viewProjection;
    vec4 color;
};
layout(location = 0) out vec4 outColor;

void main() { outColor = color; }
