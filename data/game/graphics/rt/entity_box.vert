#version 460
#extension GL_GOOGLE_include_directive : require
#include "scene.glsl"
#include "box.glsl"
