#version 430 core
#define BUFFER_ACCESS readonly
#define USES_POSITION
#include "common/buffers.glsl"

uniform mat4 MVP;

void main()
{
    gl_Position = MVP * position[gl_VertexID];
    gl_Position.z -= 0.001; // a little in front of the surface
}
