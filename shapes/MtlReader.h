#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

/// One material of a library, colours as red, green, blue.
struct ObjMaterial {
    std::string name;
    std::array<float, 3> ambient {};
    std::array<float, 3> diffuse {};
    std::array<float, 3> specular {};
    std::array<float, 3> transmissionFilter {};
    float dissolve = 1.0f;
    int illuminationModel = 0;
    float sharpness = 0.0f;
    float opticalDensity = 0.0f; ///< "Ni"
    float specularExponent = 0.0f; ///< "Ns"
};

/// Parses the text of a material library. A line that does not scan to all its numbers is passed
/// over, and so is a value before the first "newmtl".
std::vector<ObjMaterial> parseMtl(std::string_view text);
