#include "gpu/GPUMesh.h"

#include "alembic/AlembicFile.h"
#include "gpu/Log.h"

void GPUMesh::loadFrame(int frame, double framesPerSecond, const AlembicFile &alembic)
{
    if (!initialize())
        return;
    const double seconds = framesPerSecond > 0.0 ? frame / framesPerSecond : 0.0;
    // A reader that gives no points has said why itself.
    if (alembic.readPoints(m_framePoints, seconds)) {
        if (int(m_framePoints.size()) == m_vertexCount)
            m_lastGoodPoints.swap(m_framePoints);
        else
            qCDebug(lcGpu).noquote()
                << "frame" << frame << "has" << m_framePoints.size() << "points instead of"
                << m_vertexCount << "- keeping the last good ones";
    }
    upload(Semantic::kPosition, m_lastGoodPoints);
}
