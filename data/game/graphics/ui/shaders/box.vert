#version 460
// An interface rectangle: centre in normalised coordinates, size in units of half the screen
// height (both axes scale with the height), one colour.
layout(push_constant) uniform Block {
    vec4 rect;  // centre x, y; width, height
    vec4 color;
    float unused[23];
    float aspect;  // screen height / width
} block;

layout(location = 0) out vec4 outColor;

void main() {
    vec2 corner = vec2(gl_VertexIndex & 1, gl_VertexIndex >> 1) * 2.0 - 1.0;  // strip order
    vec2 half_ = 0.5 * block.rect.zw * vec2(block.aspect, 1.0);
    gl_Position = vec4(block.rect.xy + corner * half_, 0.0, 1.0);
    outColor = block.color;
}
