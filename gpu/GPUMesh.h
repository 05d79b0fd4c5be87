#pragma once

#include "gpu/BrushType.h"
#include "gpu/CardArrays.h"
#include "gpu/GLBuffer.h"
#include "gpu/GpuRecords.h"
#include "layers/LayerData.h"
#include "viewport/CompareSplit.h"

#include <QMatrix4x4>
#include <QObject>
#include <QOpenGLFunctions_4_3_Core>
#include <QVector3D>

#include <array>
#include <memory>
#include <optional>
#include <span>

class AlembicFile;
class QOpenGLDebugLogger;
class QOpenGLDebugMessage;
class QOpenGLTexture;
class ProgramScope;
class ShaderProgram;
class Topology;

/// What a draw needs beside the buffers.
struct MeshDrawOptions {
    QMatrix4x4 modelView;
    QMatrix4x4 projection;
    QMatrix3x3 normalMatrix;
    QVector3D lightDirection; ///< eye space, not normalised
    float compareSplit = CompareSplit::kOff;
    bool wireframe = false;
};

/// The graphics card's copy of the imported mesh: the sixteen storage buffers of BufferTable.h, the
/// brush alphas, a program per draw style and per kernel, and the passes over them. One lives for
/// the whole run; an import resizes its buffers.
///
/// Every operation needs a context of the share group current and first makes sure that
/// initialize() has run; without OpenGL 4.3 each is a no-op, and so is one whose own program could
/// not be built. Buffers and programs serve every
/// shared context; vertex arrays are the views' own business. Each dispatch is followed by the
/// storage barrier (with the buffer-update bit, which copies and read-backs need). Positions are
/// world space.
class GPUMesh : public QObject, protected QOpenGLFunctions_4_3_Core {
    Q_OBJECT

public:
    /// `shaderRoot`: where the folders of draw and compute shaders lie, a folder or ":".
    explicit GPUMesh(const QString &shaderRoot = QStringLiteral(":"));
    ~GPUMesh() override;

    bool initialize();
    /// Binds the sixteen buffers to their binding points in the current context. False without
    /// OpenGL 4.3.
    bool bind();
    void release();

    /// The tables that allocateBuffers() and draw() read; not owned, must outlive the mesh or be
    /// replaced by null.
    void setTopology(const Topology *topology);
    /// Sizes every buffer for the topology, uploads its tables, zeroes the rest. False, with a
    /// debug line, where the card has no room; then the buffers hold nothing until another call
    /// succeeds.
    bool allocateBuffers();
    /// No vertices, no rest points; what an empty scene shows.
    void clear();
    int vertexCount() const { return m_vertexCount; }
    int triangleCount() const { return m_triangleCount; }

    /// The rest pose: the start frame's points at import, replaced by "Save Morph". Mush and Cloth
    /// layers start from it, the clone brush rebuilds it. Its length may differ from the vertex
    /// count (an archive whose start frame could not be read); who needs it checks.
    const PointArray &restPoints() const { return m_restPoints.items(); }
    const RevisedPoints &revisedRestPoints() const { return m_restPoints; }
    void setRestPoints(RevisedPoints points) { m_restPoints = std::move(points); }

    /// Null, and a debug line, for a name that is in no row of the table.
    GLBuffer *bufferBySemantic(const QString &semantic);
    /// Uploads into the buffer; false, nothing changed, when the items do not number exactly the
    /// buffer's (no kernel may read past an end) or the name is unknown.
    template <class Items> bool upload(const QString &semantic, const Items &items)
    {
        GLBuffer *buffer = initialize() ? bufferBySemantic(semantic) : nullptr;
        if (!buffer || int(items.size()) != buffer->itemCount())
            return false;
        buffer->upload(items);
        return true;
    }
    /// The same of what a layer holds: uploaded only where the card has not kept it.
    template <class Item> bool fill(const QString &semantic, const RevisedArray<Item> &array)
    {
        GLBuffer *buffer = initialize() ? bufferBySemantic(semantic) : nullptr;
        if (!buffer || int(array.size()) != buffer->itemCount())
            return false;
        if (!m_cardArrays.copyTo(*buffer, array))
            buffer->upload(array.items());
        return true;
    }
    /// The buffer's points of this moment, as an array that stays on the card where it has room.
    RevisedPoints keep(const QString &semantic);
    /// Of what fill() keeps on the card, in bytes; 0 uploads every time.
    void setCardLimit(qint64 bytes) { m_cardArrays.setLimit(bytes); }
    template <class Item> std::vector<Item> readBack(const QString &semantic)
    {
        GLBuffer *buffer = initialize() ? bufferBySemantic(semantic) : nullptr;
        return buffer ? buffer->readBack<Item>() : std::vector<Item>();
    }
    void fillZero(const QString &semantic);
    /// One vec4 per vertex from one buffer to the other.
    void copyBuffer(const QString &source, const QString &target);

    /// The points of the start frame, one per vertex: the rest pose, and what is shown where no
    /// frame was read yet.
    void startFrom(PointArray points);
    /// The imported points at a frame go into "position". A mesh of the archive that cannot be read
    /// there keeps its last good ones, with one debug line. A frame is read once, however often it
    /// is evaluated: again only after another one.
    void loadFrame(int frame, double framesPerSecond, const AlembicFile &alembic);

    /// The imported points that loadFrame() put into "position" last; before the first those
    /// of startFrom(), or zeros.
    const PointArray &framePoints() const { return m_lastGoodPoints; }

    // One dab (GPUMeshSculpt.cpp).
    /// `nearPoint`, `farPoint`: the mouse ray's ends. Reads the brush record back only when asked.
    void closestIntersection(const QVector3D &nearPoint, const QVector3D &farPoint,
                             bool ignoreBackface, BrushData *readBack = nullptr);
    void pickVertices(float radius);
    void pickVerticesBySurface(float radius);
    /// Walks the given positions, one per vertex, instead of reading all of them back.
    void pickVerticesBySurface(float radius, const PointArray &positions);
    void computeArea(float radius);
    void sculpt(const BrushSettings &brush, const QVector3D &moveVector);

    // Deformers (GPUMeshDeform.cpp).
    void updateNormals();
    void addDeltas(bool tangent, float intensity, int cloneIterations, float cloneIntensity);
    void clone(int iterations, float intensity, bool tangent);
    void relax(int iterations, float intensity, bool useMask, bool cotangent);
    /// `basePoints` (relaxed rest pose) and `offsetPoints` (rest pose): one per vertex.
    void mush(int iterations, int cloneIterations, float envelope, const RevisedPoints &basePoints,
              const RevisedPoints &offsetPoints);
    void jiggle(float intensity, float damping, float stiffness, float asMuscle,
                int cloneIterations);
    void cloth(int steps, float intensity);

    // Drawing (GPUMeshDraw.cpp).
    void draw(const MeshDrawOptions &options);

public slots:
    void onMessageLogged(const QOpenGLDebugMessage &message);

private:
    // Order of building; kernels from VertexNormals on.
    enum class Program {
        Draw,
        Compare,
        Wire,
        VertexNormals,
        ClosestIntersection,
        AreaCompute,
        Picking,
        SculptPlain,
        SculptAlpha,
        SculptRing,
        AddDeltas,
        AddDeltasWithoutTangent,
        Cloth,
        Clone,
        CloneWithoutTangent,
        Relax,
        Mush,
        Jiggle,
        Count
    };

    void startDebugLog();
    void buildPrograms();
    void createBuffers();
    bool tellRoom(GLsizeiptr largest);
    int itemsOf(ItemCount count) const;

    /// Whether a pass of that program can run.
    bool ready(Program which);
    ShaderProgram &program(Program which);
    static Program sculptProgram(BrushType brush);
    /// The one place that dispatches: the bound program over `groups` work groups of the sixteen
    /// buffers, then the barrier.
    void dispatchGroups(int groups);
    void dispatchItems(int items) { dispatchGroups(groupCount(items)); }
    /// The three passes of a reduction over the items.
    void reduce(ProgramScope &scope, int items);

    void uploadIndices(GLuint buffer, std::span<const quint32> indices);
    void drawTriangles(Program which, const MeshDrawOptions &options);
    void drawEdges(const QMatrix4x4 &modelViewProjection);

    const QString m_shaderRoot;
    bool m_initialized = false;
    bool m_failed = false;
    const Topology *m_topology = nullptr;
    int m_vertexCount = 0;
    int m_triangleCount = 0;
    RevisedPoints m_restPoints;
    PointArray m_lastGoodPoints; ///< of each mesh of the archive
    std::optional<double> m_readSeconds; ///< where m_lastGoodPoints were read last
    std::array<GLBuffer, 16> m_buffers;
    CardArrays m_cardArrays;
    std::array<std::unique_ptr<ShaderProgram>, size_t(Program::Count)> m_programs; ///< or null
    std::unique_ptr<QOpenGLTexture> m_clayAlpha;
    std::unique_ptr<QOpenGLTexture> m_creaseAlpha;
    std::unique_ptr<QOpenGLDebugLogger> m_logger;
    GLuint m_triangleIndexBuffer = 0;
    GLuint m_edgeIndexBuffer = 0;
};
