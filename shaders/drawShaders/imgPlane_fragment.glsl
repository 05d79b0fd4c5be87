#version 430 core

uniform sampler2D imageTex;
uniform float Opacity;

in vec2 coord;
layout(location = 0) out vec4 FragColor;

void main() { FragColor = vec4(texture(imageTex, coord).rgb, Opacity); }
