#version 430 core
layout(location = 0) out vec4 FragColor;

void main() { FragColor = vec4(0.0, 0.0, 0.0, 1.0); }
