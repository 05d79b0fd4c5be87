#version 430 core

// The plate: a rectangle that fills the camera's film back at a chosen depth, made from the vertex
// index alone. Apertures are inches, the focal length millimetres.

uniform mat4 CameraMatrix;
uniform mat4 ModelView;
uniform mat4 Projection;
uniform float HorizontalFilmAperture;
uniform float VerticalFilmAperture;
uniform float FocalLength;
uniform float ScaleX;
uniform float ScaleY;
uniform float OffsetX;
uniform float OffsetY;
uniform float Depth;

out vec2 coord;

const vec2 corners[6] = vec2[](vec2(0, 0), vec2(1, 0), vec2(1, 1),
                               vec2(0, 0), vec2(1, 1), vec2(0, 1));

void main()
{
    float focalInches = FocalLength / 25.4;
    vec4 position = vec4(0, 0, 0, 1);
    vec2 corner = vec2(0);
    if (focalInches > 0) {
        corner = corners[gl_VertexID];
        vec2 halfSize = 0.5 * Depth * vec2(HorizontalFilmAperture, VerticalFilmAperture)
            / focalInches;
        position = CameraMatrix * vec4((corner * 2 - 1) * halfSize, -Depth, 1);
    }
    gl_Position = Projection * ModelView * position;
    coord = (corner - 0.5) * vec2(ScaleX, ScaleY) + 0.5 + vec2(OffsetX, OffsetY);
}
