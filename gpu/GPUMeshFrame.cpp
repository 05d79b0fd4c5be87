#include "gpu/GPUMesh.h"

#include "alembic/AlembicFile.h"
#include "gpu/Log.h"

void GPUMesh::loadFrame(int frame, double framesPerSecond, const AlembicFile &alembic)
{
    if (!initialize())
        return;
    if (m_fallbackFrame != frame) {
        m_fallbackFrame.reset();
        if (!readFrame(frame, framesPerSecond, alembic))
            m_fallbackFrame = frame;
    }
    upload(Semantic::kPosition, m_lastGoodPoints);
}

bool GPUMesh::readFrame(int frame, double framesPerSecond, const AlembicFile &alembic)
{
    const double seconds = framesPerSecond > 0.0 ? frame / framesPerSecond : 0.0;
    if (!alembic.readPoints(m_framePoints, seconds))
        return false; // the reader has said why itself
    if (int(m_framePoints.size()) != m_vertexCount) {
        qCDebug(lcGpu).noquote() << "frame" << frame << "has" << m_framePoints.size()
                                 << "points instead of" << m_vertexCount
                                 << "- keeping the last good ones";
        return false;
    }
    m_lastGoodPoints.swap(m_framePoints);
    return true;
}
