#version 460
layout(push_constant) uniform Push {
    vec2 extent;
    float size;
    float thickness;
    vec4 color;
};
layout(location = 0) out vec4 outColor;

void main() { outColor = color; }
