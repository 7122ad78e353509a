#version 460
#extension GL_GOOGLE_include_directive : require
#include "scene.glsl"
#define PLASMA_GLOW
#include "box.glsl"
