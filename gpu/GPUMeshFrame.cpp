#include "gpu/GPUMesh.h"

#include "alembic/AlembicFile.h"
#include "layers/Topology.h"

void GPUMesh::startFrom(PointArray points)
{
    if (points.size() == m_lastGoodPoints.size())
        m_lastGoodPoints = points;
    m_restPoints = std::move(points);
}

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
    return m_topology && m_topology->vertexCount() == m_vertexCount &&
        alembic.readPoints(m_lastGoodPoints, seconds, *m_topology); // says itself why not
}
