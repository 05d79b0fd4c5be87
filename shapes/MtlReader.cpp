#include "shapes/MtlReader.h"

#include "shapes/LineScan.h"

namespace {

struct ValueRow {
    std::string_view key;
    float ObjMaterial::*value;
};
constexpr ValueRow kValues[] = {
    { "d", &ObjMaterial::dissolve },
    { "Ni", &ObjMaterial::opticalDensity },
    { "Ns", &ObjMaterial::specularExponent },
    { "sharpness", &ObjMaterial::sharpness },
};

struct ColourRow {
    std::string_view key;
    std::array<float, 3> ObjMaterial::*colour;
};
constexpr ColourRow kColours[] = {
    { "Ka", &ObjMaterial::ambient },
    { "Kd", &ObjMaterial::diffuse },
    { "Ks", &ObjMaterial::specular },
    { "Tf", &ObjMaterial::transmissionFilter },
};

void readValues(std::string_view line, ObjMaterial &material)
{
    for (const ValueRow &row : kValues) {
        LineScan scan(line);
        if (scan.literal(row.key))
            scan.number(material.*row.value);
    }
    for (const ColourRow &row : kColours) {
        LineScan scan(line);
        std::array<float, 3> colour;
        if (scan.literal(row.key) && scan.numbers(colour.data(), 3))
            material.*row.colour = colour;
    }
    LineScan scan(line);
    if (scan.literal("illum"))
        scan.integer(material.illuminationModel);
}

} // namespace

std::vector<ObjMaterial> parseMtl(std::string_view text)
{
    std::vector<ObjMaterial> materials;
    forEachLine(text, [&materials](std::string_view line) {
        LineScan scan(line);
        if (!scan.literal("newmtl")) {
            if (!materials.empty())
                readValues(line, materials.back());
        } else if (const std::string_view name = scan.word(); !name.empty()) {
            materials.push_back({ std::string(name) });
        }
    });
    return materials;
}
