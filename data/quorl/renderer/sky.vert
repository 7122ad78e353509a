#version 460
// One triangle that covers the screen; the fragment shader finds the view ray of each pixel.
layout(location = 0) out vec2 ndc;

void main() {
    vec2 p = vec2((gl_VertexIndex << 1) & 2, gl_VertexIndex & 2);
    ndc = p * 2.0 - 1.0;
    gl_Position = vec4(ndc, 1.0, 1.0);
}
