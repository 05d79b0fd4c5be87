#pragma once

#include <QGenericMatrix>
#include <QMatrix4x4>

/// What every draw and every pick of one picture works with.
struct CameraMatrices {
    QMatrix4x4 view; ///< world to eye, right-handed, looking along −z
    /// The upper-left 3×3 of the view, copied without inversion: right for rotations and uniform
    /// scales, which is what cameras have.
    QMatrix3x3 normal;
    QMatrix4x4 projection; ///< eye to clip; includes the picture pan and zoom of a camera view
    int width = 1; ///< pixels, at least 1
    int height = 1; ///< pixels, at least 1
};
