#version 430 core
#define BUFFER_ACCESS readonly
#define USES_POSITION
#define USES_NORMAL
#define USES_MASK
#include "common/buffers.glsl"

uniform mat4 MVP;
uniform mat4 ModelViewMatrix;
uniform mat3 NormalMatrix;

out vec4 EyePos;
out vec3 EyeNorm;
out float MaskIntensity;

void main()
{
    EyeNorm = NormalMatrix * normal[gl_VertexID].xyz;
    EyePos = ModelViewMatrix * position[gl_VertexID];
    MaskIntensity = mask[gl_VertexID];
    gl_Position = MVP * vec4(position[gl_VertexID].xyz, 1.0);
}
