#include "gpu/GPUMesh.h"

#include "gpu/Log.h"
#include "gpu/ProgramScope.h"

#include <algorithm>

namespace {
// A field takes any number of iterations and a damaged scene file may hold any; two thousand
// million passes would hold the window for days. Smoothing never quite ends: n passes take away
// waves shorter than about pi times the root of n edges, here 800. That is a minute's work at a
// millisecond a pass.
constexpr int kMaxPasses = 65536;
constexpr int kClothCloneIterations = 5;

int passCount(int asked)
{
    if (asked > kMaxPasses)
        qCDebug(lcGpu).noquote() << "too many iterations:" << asked << "running" << kMaxPasses;
    return std::clamp(asked, 0, kMaxPasses);
}
} // namespace

void GPUMesh::updateNormals()
{
    if (!ready(Program::VertexNormals))
        return;
    ProgramScope kernel(program(Program::VertexNormals));
    dispatchItems(m_vertexCount);
}

void GPUMesh::addDeltas(bool tangent, float intensity, int cloneIterations, float cloneIntensity)
{
    const Program which = tangent ? Program::AddDeltas : Program::AddDeltasWithoutTangent;
    if (!ready(which))
        return;
    copyBuffer(Semantic::kPosition, Semantic::kBackupPoints);
    {
        ProgramScope kernel(program(which));
        kernel.set("intensity", intensity);
        if (tangent)
            kernel.set("tangent", 1);
        dispatchItems(m_vertexCount);
    }
    clone(cloneIterations, cloneIntensity, true);
}

void GPUMesh::clone(int iterations, float intensity, bool tangent)
{
    const Program which = tangent ? Program::Clone : Program::CloneWithoutTangent;
    if (!ready(which))
        return;
    ProgramScope kernel(program(which));
    kernel.set("intensity", intensity);
    if (tangent)
        kernel.set("tangent", 1);
    for (int pass = passCount(iterations); pass > 0; --pass) {
        copyBuffer(Semantic::kPosition, Semantic::kBackupPoints);
        dispatchItems(m_vertexCount);
    }
}

void GPUMesh::relax(int iterations, float intensity, bool useMask, bool cotangent)
{
    if (!ready(Program::Relax))
        return;
    ProgramScope kernel(program(Program::Relax));
    kernel.set("Intensity", intensity);
    kernel.set("UseMask", int(useMask));
    kernel.set("Cotangent", int(cotangent));
    for (int pass = passCount(iterations); pass > 0; --pass) {
        copyBuffer(Semantic::kPosition, Semantic::kBackupPoints);
        dispatchItems(m_vertexCount);
    }
}

void GPUMesh::mush(int iterations, int cloneIterations, float envelope,
                   const RevisedPoints &basePoints, const RevisedPoints &offsetPoints)
{
    const auto count = size_t(m_vertexCount);
    if (iterations <= 0 || basePoints.size() != count || offsetPoints.size() != count ||
        !ready(Program::Relax) || !ready(Program::Mush))
        return;
    copyBuffer(Semantic::kPosition, Semantic::kDeltas); // the pose before
    relax(iterations, 1.0f, false, false);
    copyBuffer(Semantic::kPosition, Semantic::kNormal); // the smoothed pose
    copyBuffer(Semantic::kDeltas, Semantic::kPosition);
    fill(Semantic::kBasePoints, basePoints);
    fill(Semantic::kOffsetPoints, offsetPoints);
    {
        ProgramScope kernel(program(Program::Mush));
        kernel.set("intensity", 1.0f);
        dispatchItems(m_vertexCount);
    }
    clone(cloneIterations, 1.0f, true);
    if (envelope < 1.0f) {
        copyBuffer(Semantic::kPosition, Semantic::kOffsetPoints);
        copyBuffer(Semantic::kDeltas, Semantic::kBasePoints);
        copyBuffer(Semantic::kDeltas, Semantic::kPosition);
        addDeltas(false, envelope, 0, 0.0f);
    }
}

void GPUMesh::jiggle(float intensity, float damping, float stiffness, float asMuscle,
                     int cloneIterations)
{
    if (!ready(Program::Jiggle))
        return;
    {
        ProgramScope kernel(program(Program::Jiggle));
        kernel.set("intensity", intensity);
        kernel.set("damping", damping);
        kernel.set("stiffness", stiffness);
        kernel.set("asMuscle", asMuscle);
        dispatchItems(m_vertexCount);
    }
    clone(cloneIterations, 1.0f, false);
}

void GPUMesh::cloth(int steps, float intensity)
{
    if (steps < 0 || !ready(Program::Cloth))
        return;
    if (int(m_restPoints.size()) != m_vertexCount) {
        qCDebug(lcGpu).noquote() << "the rest pose does not fit the mesh, cloth is not run";
        return;
    }
    copyBuffer(Semantic::kPosition, Semantic::kDeltas); // the pose before
    fill(Semantic::kBackupPoints, m_restPoints);
    copyBuffer(Semantic::kPosition, Semantic::kNormal); // the second position buffer
    fillZero(Semantic::kBasePoints); // both velocities start at rest
    fillZero(Semantic::kOffsetPoints);
    {
        ProgramScope kernel(program(Program::Cloth));
        kernel.set("intensity", 1.0f);
        kernel.set("particleMass", 0.05f);
        kernel.set("springK", 400.0f);
        kernel.set("deltaT", 0.005f);
        kernel.set("dampingConst", 1.0f);
        for (int step = 0, count = passCount(steps); step < count; ++step) {
            kernel.set("pass", step % 2);
            dispatchItems(m_vertexCount);
        }
    }
    // After an odd number of steps the last one lies in "normal" and stays unused, deliberately.
    copyBuffer(Semantic::kPosition, Semantic::kOffsetPoints);
    copyBuffer(Semantic::kDeltas, Semantic::kPosition);
    clone(kClothCloneIterations, intensity, false);
}
