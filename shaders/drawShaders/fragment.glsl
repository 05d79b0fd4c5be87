#version 430 core
#include "common/lighting.glsl"

in float MaskIntensity;
layout(location = 0) out vec4 fragColor;

void main()
{
    vec3 colour = litColour();
    if (MaskIntensity > 0.0)
        colour.rg *= 1.0 - MaskIntensity * 0.5;
    fragColor = vec4(colour, 1.0);
}
