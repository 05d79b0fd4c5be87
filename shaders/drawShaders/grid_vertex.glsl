#version 430 core
uniform mat4 MVP;

out vec4 Color;

// 22 lines from the vertex number alone: first those along z, then those along x.
void main()
{
    int k = gl_VertexID;
    int line = (k % 2 == 0 ? k : k - 1) / 2;
    float across = -5.0 + float(line);
    float along = k % 2 == 0 ? 5.0 : -5.0;
    vec3 point = k < 22 ? vec3(across, 0.0, along) : vec3(along, 0.0, across - 11.0);
    bool axis = k == 10 || k == 11 || k == 32 || k == 33;
    Color = vec4(axis ? vec3(0.0) : vec3(0.6), 1.0);
    gl_Position = MVP * vec4(point, 1.0);
}
