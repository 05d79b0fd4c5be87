#pragma once

#include <QMatrix4x4>

/// What a scene camera sees at one time, as the archive stores it.
struct CameraRecord {
    float horizontalAperture = 0.0f; ///< centimetres
    float verticalAperture = 0.0f; ///< centimetres
    float focalLength = 0.0f; ///< millimetres
    QMatrix4x4 matrix; ///< camera to world; a column vector is multiplied from the right
};
