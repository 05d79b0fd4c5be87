#pragma once

#include "gpu/ShaderProgram.h"

#include <QMatrix4x4>

/// The ground grid of the views: 22 lines, which the vertex stage makes from the index alone. Needs
/// a context of the share group current, and at draw() an attribute-free vertex array of it bound.
class GroundGrid {
public:
    /// False, with a debug line, where the program cannot be built.
    bool build() { return m_program.build(drawStages(QStringLiteral("grid"))); }
    void draw(const QMatrix4x4 &modelViewProjection);

private:
    ShaderProgram m_program;
};
