#include "gpu/GPUMesh.h"

#include "gpu/Log.h"
#include "gpu/ProgramScope.h"
#include "layers/Topology.h"

void GPUMesh::draw(const MeshDrawOptions &options)
{
    if (!m_initialized || !m_topology || m_vertexCount == 0 ||
        m_topology->vertexCount() != m_vertexCount)
        return;
    bind();
    // On every draw: which index buffer is bound belongs to the view's vertex array.
    uploadIndices(m_triangleIndexBuffer, m_topology->triangles());
    if (CompareSplit::isOn(options.compareSplit) && ready(Program::Compare)) {
        qCDebug(lcGpu) << options.compareSplit;
        drawTriangles(Program::Compare, options);
        return;
    }
    if (ready(Program::Draw))
        drawTriangles(Program::Draw, options);
    if (options.wireframe && ready(Program::Wire))
        drawEdges(options.projection * options.modelView);
}

void GPUMesh::uploadIndices(GLuint buffer, std::span<const quint32> indices)
{
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, buffer);
    glBufferData(GL_ELEMENT_ARRAY_BUFFER, GLsizeiptr(indices.size() * sizeof(quint32)),
                 indices.data(), GL_STATIC_DRAW);
}

void GPUMesh::drawTriangles(Program which, const MeshDrawOptions &options)
{
    ProgramScope scope(program(which));
    scope.set("MVP", options.projection * options.modelView);
    if (which == Program::Compare)
        scope.set("ComparePoint", options.compareSplit);
    scope.set("ModelViewMatrix", options.modelView);
    scope.set("NormalMatrix", options.normalMatrix);
    scope.set("LightDirection", options.lightDirection);
    glDrawElements(GL_TRIANGLES, 3 * m_triangleCount, GL_UNSIGNED_INT, nullptr);
}

void GPUMesh::drawEdges(const QMatrix4x4 &modelViewProjection)
{
    ProgramScope scope(program(Program::Wire));
    scope.set("MVP", modelViewProjection);
    uploadIndices(m_edgeIndexBuffer, m_topology->edges());
    glDrawElements(GL_LINES, GLsizei(m_topology->edges().size()), GL_UNSIGNED_INT, nullptr);
}
