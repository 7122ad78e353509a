#version 460
// One glyph of an interface text per instance. The line is centred on rect.xy and rect.w high;
// each glyph is half as wide as high. The atlas holds ASCII 32..127, 16 to a row, in cells of
// 8 x 16 pixels (128 x 96 in all).
layout(push_constant) uniform Block {
    vec4 rect;  // centre x, y; width (whole line), height
    vec4 color;
    uint chars[23];  // four characters to a word, first in the lowest byte
    float aspect;    // screen height / width
} block;

layout(location = 0) out vec4 outColor;
layout(location = 1) out vec2 outUv;

void main() {
    int i = gl_InstanceIndex;
    uint code = (block.chars[i >> 2] >> (8 * (i & 3))) & 0xFFu;
    if (code < 32u || code > 127u) code = 63u;  // '?'
    uint cell = code - 32u;
    vec2 corner = vec2(gl_VertexIndex & 1, gl_VertexIndex >> 1);  // 0..1, strip order
    float glyphWidth = block.rect.w * 0.5;
    vec2 local = vec2(-0.5 * block.rect.z + (float(i) + corner.x) * glyphWidth, (corner.y - 0.5) * block.rect.w);
    gl_Position = vec4(block.rect.xy + local * vec2(block.aspect, 1.0), 0.0, 1.0);
    outUv = (vec2(cell % 16u, cell / 16u) + corner) / vec2(16.0, 6.0);
    outColor = block.color;
}
