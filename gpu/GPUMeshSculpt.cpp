#include "gpu/GPUMesh.h"

#include "gpu/Log.h"
#include "gpu/ProgramScope.h"
#include "layers/Topology.h"

#include <QOpenGLTexture>

void GPUMesh::closestIntersection(const QVector3D &nearPoint, const QVector3D &farPoint,
                                  bool ignoreBackface, BrushData *readBack)
{
    if (!ready(Program::ClosestIntersection))
        return;
    {
        ProgramScope scope(program(Program::ClosestIntersection));
        scope.set("nearP", nearPoint);
        scope.set("farP", farPoint);
        scope.set("ignoreBackface", ignoreBackface ? 1 : 0);
        reduce(scope, m_triangleCount);
    }
    if (!readBack)
        return;
    const auto records = this->readBack<BrushData>(Semantic::kBrush);
    if (!records.empty())
        *readBack = records.front();
}

void GPUMesh::pickVertices(float radius)
{
    if (!ready(Program::Picking))
        return;
    ProgramScope scope(program(Program::Picking));
    scope.set("brushRadiusSquared", radius * radius);
    dispatchItems(m_vertexCount);
}

void GPUMesh::pickVerticesBySurface(float radius)
{
    if (initialize() && m_topology)
        pickVerticesBySurface(radius, readBack<QVector4D>(Semantic::kPosition));
}

void GPUMesh::pickVerticesBySurface(float radius, const PointArray &positions)
{
    if (!initialize() || !m_topology)
        return;
    if (int(positions.size()) != m_vertexCount)
        qCDebug(lcGpu).noquote() << "can't read position from gpu //pickVerticesBySurface";
    const auto records = readBack<BrushData>(Semantic::kBrush);
    if (records.empty()) {
        qCDebug(lcGpu).noquote() << "cant get brush intersection with mesh back to cpu";
        return;
    }
    const int hitVertex = records.front().hitVertex;
    upload(Semantic::kFalloff, m_topology->surfaceFalloff(hitVertex, positions, radius));
}

void GPUMesh::computeArea(float radius)
{
    if (!ready(Program::AreaCompute))
        return;
    ProgramScope scope(program(Program::AreaCompute));
    scope.set("brushRadiusSquared", radius * radius);
    reduce(scope, m_vertexCount);
}

void GPUMesh::reduce(ProgramScope &scope, int items)
{
    const int groups[] = { groupCount(items), secondPassGroupCount(items), 1 };
    for (int pass = 0; pass < 3; ++pass) {
        scope.set("pass", pass);
        dispatchGroups(groups[pass]);
    }
}

// The families of shaders/computeShaders/sculpt.glsl.
GPUMesh::Program GPUMesh::sculptProgram(BrushType brush)
{
    switch (brush) {
    case BrushType::Clay:
    case BrushType::Crease:
        return Program::SculptAlpha;
    case BrushType::Fix:
    case BrushType::Smooth:
    case BrushType::MaskSmooth:
        return Program::SculptRing;
    default:
        return Program::SculptPlain;
    }
}

void GPUMesh::sculpt(const BrushSettings &brush, const QVector3D &moveVector)
{
    if (brush.type == BrushType::None || !ready(sculptProgram(brush.type)))
        return;
    QOpenGLTexture *alpha = brush.type == BrushType::Clay ? m_clayAlpha.get()
        : brush.type == BrushType::Crease                 ? m_creaseAlpha.get()
                                                          : nullptr;
    ProgramScope scope(program(sculptProgram(brush.type)));
    scope.set("Radius", brush.radius);
    scope.set("MoveVector", moveVector);
    scope.set("Intensity", brush.intensity);
    scope.set("Pressure", brush.pressure);
    scope.set("BrushType", int(brush.type));
    scope.set("Shift", brush.shift ? 1 : 0);
    scope.set("Control", brush.control ? 1 : 0);
    scope.set("useContangent", brush.cotangent ? 1 : 0);
    if (alpha)
        alpha->bind(0); // the sampler keeps its default unit
    dispatchItems(m_vertexCount);
    if (alpha)
        alpha->release(0);
}
