#include "bake/MeshSpace.h"

#include <Imath/ImathVec.h>

#include <cmath>
#include <cstring>

std::optional<Imath::M44d> inverseOf(const Imath::M44d &world)
{
    Imath::M44d inverse = world;
    try {
        inverse.gjInvert(true);
    } catch (const std::exception &) {
        return std::nullopt;
    }
    for (int row = 0; row < 4; ++row)
        for (int column = 0; column < 4; ++column)
            if (!std::isfinite(inverse[row][column]))
                return std::nullopt;
    return inverse;
}

void toMeshSpace(const QVector4D *imported, const QVector4D *displayed, const Imath::M44d &inverse,
                 std::vector<Imath::V3f> &points)
{
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (std::memcmp(&imported[i], &displayed[i], sizeof(QVector4D)) == 0)
            continue;
        const QVector4D &from = displayed[i];
        Imath::V3d point;
        inverse.multVecMatrix(Imath::V3d(double(from.x()), double(from.y()), double(from.z())),
                              point);
        points[i] = Imath::V3f(point);
    }
}
