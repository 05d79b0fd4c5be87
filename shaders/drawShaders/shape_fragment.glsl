#version 430 core
#include "common/lighting.glsl"

layout(location = 0) out vec4 fragColor;

void main() { fragColor = vec4(litColour(), 1.0); }
