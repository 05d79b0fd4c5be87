#version 430 core
layout(location = 0) in vec3 VertexPosition;
layout(location = 1) in vec3 VertexNormal;

uniform mat4 MVP;
uniform mat4 ModelViewMatrix;
uniform mat3 NormalMatrix;

out vec4 EyePos;
out vec3 EyeNorm;

void main()
{
    EyeNorm = NormalMatrix * VertexNormal;
    EyePos = ModelViewMatrix * vec4(VertexPosition, 1.0);
    gl_Position = MVP * vec4(VertexPosition, 1.0);
}
