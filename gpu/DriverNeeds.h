#pragma once

#include <QString>

/// What a driver offers of that which the shaders need.
struct DriverOffer {
    int major = 0; ///< OpenGL version; 0 without a context
    int minor = 0;
    int kernelBlocks = 0; ///< storage blocks that one compute shader may have
    int vertexBlocks = 0; ///< and one vertex shader
    int bindings = 0; ///< binding points for storage buffers
};

/// Of the current context.
DriverOffer driverOffer();

/// One plain sentence on the first need that is not met, what it is and what there is; empty where
/// all are.
QString unmetNeed(const DriverOffer &offer);
