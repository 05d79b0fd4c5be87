#include "gpu/GroundGrid.h"

#include "gpu/ProgramScope.h"

#include <QOpenGLContext>
#include <QOpenGLFunctions>

namespace {
constexpr int kVertexCount = 44;
}

void GroundGrid::draw(const QMatrix4x4 &modelViewProjection)
{
    ProgramScope program(m_program);
    program.set("MVP", modelViewProjection);
    QOpenGLContext::currentContext()->functions()->glDrawArrays(GL_LINES, 0, kVertexCount);
}
