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
    const double seconds = framesPerSecond > 0.0 ? frame / framesPerSecond : 0.0;
    if (m_readSeconds != seconds && m_topology && m_topology->vertexCount() == m_vertexCount) {
        alembic.readPoints(m_lastGoodPoints, seconds, *m_topology); // says itself what failed
        m_readSeconds = seconds;
    }
    upload(Semantic::kPosition, m_lastGoodPoints);
}
