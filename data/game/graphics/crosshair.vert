#version 460
// The crosshair: two thin bars across the centre of the output, in pixels.
layout(push_constant) uniform Push {
    vec2 extent;     // output size in pixels
    float size;      // half length of a bar in pixels
    float thickness; // half width of a bar in pixels
    vec4 color;
};

void main() {
    const vec2 corners[6] = vec2[](vec2(-1, -1), vec2(1, -1), vec2(1, 1), vec2(-1, -1), vec2(1, 1), vec2(-1, 1));
    vec2 c = corners[gl_VertexIndex % 6];
    vec2 half_ = gl_VertexIndex < 6 ? vec2(size, thickness) : vec2(thickness, size);
    vec2 pixel = floor(extent * 0.5) + c * half_;
    gl_Position = vec4(pixel / extent * 2.0 - 1.0, 0.0, 1.0);
}
