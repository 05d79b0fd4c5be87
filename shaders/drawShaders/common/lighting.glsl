// One directional light in eye space. The direction and the interpolated normal are deliberately
// not normalised here.
uniform vec3 LightDirection;

in vec4 EyePos;
in vec3 EyeNorm;

vec3 litColour()
{
    const float ambient = 0.1;
    const float diffuse = 0.66;
    const float specular = 0.2;
    vec3 towardsEye = normalize(-EyePos.xyz);
    vec3 reflected = reflect(-LightDirection, EyeNorm);
    return vec3(ambient + diffuse * max(dot(LightDirection, EyeNorm), 0.0) +
                specular * pow(max(dot(reflected, towardsEye), 0.0), 33.0));
}
