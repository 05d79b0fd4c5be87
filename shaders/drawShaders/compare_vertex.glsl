#version 430 core
#define BUFFER_ACCESS readonly
#define USES_POSITION
#define USES_NORMAL
#define USES_BASE
#define USES_OFFSET
#include "common/buffers.glsl"

uniform mat4 MVP;
uniform mat4 ModelViewMatrix;
uniform mat3 NormalMatrix;
uniform float ComparePoint;

out vec4 EyePos;
out vec3 EyeNorm;

// Left of the wipe the corrected mesh, right of it the uncorrected pose and its normals, which lie
// in basePoints and offsetPoints while comparing.
void main()
{
    vec4 p = position[gl_VertexID];
    vec3 n = normal[gl_VertexID].xyz;
    vec4 projected = MVP * vec4(p.xyz, 1.0);
    if (!(projected.x / projected.w < ComparePoint)) {
        p = basePoints[gl_VertexID];
        n = offsetPoints[gl_VertexID].xyz;
    }
    EyeNorm = NormalMatrix * n;
    EyePos = ModelViewMatrix * p;
    gl_Position = MVP * vec4(p.xyz, 1.0);
}
