#include "viewport/Lens.h"

#include "alembic/CameraRecord.h"

#include <QtMath>

#include <cmath>

float verticalFieldOfView(const CameraRecord &camera)
{
    constexpr double kMillimetresPerCentimetre = 10.0;
    if (!(camera.focalLength > 0.0f && camera.verticalAperture > 0.0f))
        return 0.0f;
    const double halfFilm = 0.5 * double(camera.verticalAperture) * kMillimetresPerCentimetre;
    return float(2.0 * qRadiansToDegrees(std::atan(halfFilm / double(camera.focalLength))));
}
