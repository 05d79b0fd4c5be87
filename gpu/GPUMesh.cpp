#include "gpu/GPUMesh.h"

#include "gpu/GpuCounters.h"
#include "gpu/Log.h"
#include "gpu/ShaderProgram.h"
#include "layers/Topology.h"

#include <QImage>
#include <QOpenGLContext>
#include <QOpenGLDebugLogger>
#include <QOpenGLTexture>

namespace {

/// In the order of GPUMesh::Program.
std::vector<std::vector<ShaderStage>> programTable(const QString &root)
{
    const auto kernel = [&root](const char *name, const QByteArray &defines = {}) {
        const QString folder = root + QStringLiteral("/computeShaders/ComputeShaders/");
        return ShaderStage { QOpenGLShader::Compute, folder + QLatin1String(name), defines };
    };
    const auto drawn = [&root](const char *vertex, const char *fragment) {
        const QString folder = root + QStringLiteral("/drawShaders/DrawShaders/");
        return std::vector<ShaderStage> {
            { QOpenGLShader::Vertex, folder + QLatin1String(vertex), {} },
            { QOpenGLShader::Fragment, folder + QLatin1String(fragment), {} }
        };
    };
    return {
        drawn("vertex.glsl", "fragment.glsl"),
        drawn("compare_vertex.glsl", "compare_fragment.glsl"),
        drawn("vertexWire.glsl", "fragmentWire.glsl"),
        { kernel("vertexNormals.glsl") },
        { kernel("closestIntersection.glsl") },
        { kernel("areaCompute.glsl") },
        { kernel("picking.glsl") },
        { kernel("sculpt.glsl", "#define BRUSHES PLAIN_BRUSHES\n") },
        { kernel("sculpt.glsl", "#define BRUSHES ALPHA_BRUSHES\n") },
        { kernel("sculpt.glsl", "#define BRUSHES RING_BRUSHES\n") },
        { kernel("addDeltas.glsl") },
        { kernel("addDeltas.glsl", "#define WITHOUT_TANGENT\n") },
        { kernel("cloth.glsl") },
        { kernel("clone.glsl") },
        { kernel("clone.glsl", "#define WITHOUT_TANGENT\n") },
        { kernel("relax.glsl") },
        { kernel("mush.glsl") },
        { kernel("jiggle.glsl") },
    };
}

/// The sculpt kernel filters by hand, so the texture hands out single texels.
std::unique_ptr<QOpenGLTexture> loadAlpha(const QString &path)
{
    QImage image(path);
    if (image.isNull()) {
        qCDebug(lcGpu).noquote() << "can't load the brush alpha" << path;
        image = QImage(1, 1, QImage::Format_RGBA8888);
        image.fill(Qt::white); // the brush then works unshaped
    }
    auto texture =
        std::make_unique<QOpenGLTexture>(image.mirrored(), QOpenGLTexture::DontGenerateMipMaps);
    texture->setMinMagFilters(QOpenGLTexture::Nearest, QOpenGLTexture::Nearest);
    texture->setWrapMode(QOpenGLTexture::ClampToEdge);
    return texture;
}

} // namespace

GPUMesh::GPUMesh(const QString &shaderRoot)
    : m_shaderRoot(shaderRoot)
{
}

GPUMesh::~GPUMesh()
{
    if (!m_initialized)
        return;
    if (!QOpenGLContext::currentContext()) {
        // The contexts went first and took every object with them; what is left are names.
        static_cast<void>(m_clayAlpha.release());
        static_cast<void>(m_creaseAlpha.release());
        return;
    }
    for (const GLBuffer &buffer : m_buffers) {
        const GLuint name = buffer.name();
        glDeleteBuffers(1, &name);
    }
    glDeleteBuffers(1, &m_triangleIndexBuffer);
    glDeleteBuffers(1, &m_edgeIndexBuffer);
}

bool GPUMesh::initialize()
{
    if (m_initialized || m_failed)
        return m_initialized;
    const bool hasContext = QOpenGLContext::currentContext();
    if (!hasContext || !initializeOpenGLFunctions()) {
        m_failed = hasContext; // without a context a later call may still find one
        qCDebug(lcGpu).noquote() << "failed to initialize OpenGL functions for GPUMesh";
        return false;
    }
    buildPrograms(); // before the driver is listened to: what fails is said already
    startDebugLog();
    m_clayAlpha = loadAlpha(QStringLiteral(":/alphas2d/Alphas/alphas2d/square.png"));
    m_creaseAlpha = loadAlpha(QStringLiteral(":/alphas2d/Alphas/alphas2d/dot.png"));
    createBuffers();
    m_initialized = true;
    return true;
}

void GPUMesh::startDebugLog()
{
    m_logger = std::make_unique<QOpenGLDebugLogger>();
    connect(m_logger.get(), &QOpenGLDebugLogger::messageLogged, this, &GPUMesh::onMessageLogged);
    if (!m_logger->initialize())
        return;
    m_logger->startLogging();
    m_logger->enableMessages();
}

void GPUMesh::buildPrograms()
{
    const std::vector<std::vector<ShaderStage>> table = programTable(m_shaderRoot);
    Q_ASSERT(table.size() == m_programs.size());
    for (size_t i = 0; i < m_programs.size(); ++i) {
        m_programs[i] = std::make_unique<ShaderProgram>();
        if (!m_programs[i]->build(table[i]))
            m_programs[i].reset(); // takes only its own feature away
    }
}

void GPUMesh::createBuffers()
{
    glGenBuffers(1, &m_triangleIndexBuffer);
    glGenBuffers(1, &m_edgeIndexBuffer);
    for (size_t i = 0; i < m_buffers.size(); ++i) {
        const BufferRow &row = kBufferTable[i];
        GLuint name = 0;
        glGenBuffers(1, &name);
        m_buffers[i].create(row.semantic, row.element, row.components, row.usage);
        m_buffers[i].setName(name);
        m_buffers[i].setBinding(GLuint(i));
    }
}

bool GPUMesh::bind()
{
    if (!initialize())
        return false;
    for (GLBuffer &buffer : m_buffers)
        buffer.bind();
    return true;
}

void GPUMesh::release()
{
    if (!m_initialized)
        return;
    for (const GLBuffer &buffer : m_buffers)
        glBindBufferBase(GL_SHADER_STORAGE_BUFFER, buffer.binding(), 0);
}

void GPUMesh::setTopology(const Topology *topology) { m_topology = topology; }

int GPUMesh::itemsOf(ItemCount count) const
{
    switch (count) {
    case ItemCount::Vertices:
        return m_vertexCount;
    case ItemCount::TriangleIndices:
        return 3 * m_triangleCount;
    case ItemCount::RingEntries:
        return m_topology ? int(m_topology->rings().size()) : 0;
    case ItemCount::ConstraintEntries:
        return m_topology ? int(m_topology->constraints().size()) : 0;
    case ItemCount::One:
        return 1;
    case ItemCount::VertexGroups:
        return groupCount(m_vertexCount);
    case ItemCount::TriangleGroups:
        return groupCount(m_triangleCount);
    }
    return 0;
}

bool GPUMesh::allocateBuffers()
{
    if (!initialize())
        return false;
    m_vertexCount = m_topology ? m_topology->vertexCount() : 0;
    m_triangleCount = m_topology ? m_topology->triangleCount() : 0;
    m_lastGoodPoints.assign(size_t(m_vertexCount), QVector4D(0.0f, 0.0f, 0.0f, 1.0f));
    m_readSeconds.reset();
    glGetError(); // what came before is another's
    GLsizeiptr largest = 0;
    for (size_t i = 0; i < m_buffers.size(); ++i) {
        m_buffers[i].allocate(itemsOf(kBufferTable[i].count));
        m_buffers[i].fillZero();
        largest = std::max(largest, m_buffers[i].byteSize());
    }
    if (m_topology) {
        upload(Semantic::kTriangleVertices, m_topology->triangles());
        upload(Semantic::kRingVertices, m_topology->markedRings());
        upload(Semantic::kConstraints, m_topology->constraints());
    }
    upload(Semantic::kBrush, std::vector<BrushData>(1)); // zeros would be a hit of triangle 0
    return tellRoom(largest);
}

/// Drivers mostly take buffers above the size that they promise: those get a line, and the try.
bool GPUMesh::tellRoom(GLsizeiptr largest)
{
    if (glGetError() == GL_OUT_OF_MEMORY) {
        qCDebug(lcGpu) << "the graphics card has no room for a mesh of" << m_vertexCount
                       << "vertices";
        return false;
    }
    GLint64 promised = 0;
    glGetInteger64v(GL_MAX_SHADER_STORAGE_BLOCK_SIZE, &promised);
    if (largest > promised)
        qCDebug(lcGpu) << "a buffer of" << largest << "bytes is above the" << promised
                       << "that the driver promises";
    return true;
}

void GPUMesh::clear()
{
    m_restPoints = {};
    const Topology *topology = std::exchange(m_topology, nullptr);
    m_vertexCount = 0;
    m_triangleCount = 0;
    m_lastGoodPoints.clear();
    if (m_initialized && QOpenGLContext::currentContext())
        allocateBuffers();
    m_topology = topology;
}

GLBuffer *GPUMesh::bufferBySemantic(const QString &semantic)
{
    for (GLBuffer &buffer : m_buffers) {
        if (buffer.hasSemantic(semantic))
            return &buffer;
    }
    qCDebug(lcGpu).noquote() << "can't find the buffer, semantic doesn't exist:" << semantic;
    return nullptr;
}

RevisedPoints GPUMesh::keep(const QString &semantic)
{
    GLBuffer *buffer = initialize() ? bufferBySemantic(semantic) : nullptr;
    if (!buffer)
        return {};
    std::optional<RevisedPoints> kept = m_cardArrays.keep(*buffer);
    return kept ? std::move(*kept) : RevisedPoints(buffer->readBack<QVector4D>());
}

void GPUMesh::fillZero(const QString &semantic)
{
    if (GLBuffer *buffer = initialize() ? bufferBySemantic(semantic) : nullptr)
        buffer->fillZero();
}

void GPUMesh::copyBuffer(const QString &source, const QString &target)
{
    if (!initialize())
        return;
    const GLBuffer *from = bufferBySemantic(source);
    const GLBuffer *to = bufferBySemantic(target);
    if (!from || !to)
        return;
    Q_ASSERT(from->byteSize() == to->byteSize() && from->itemCount() == m_vertexCount);
    glBindBuffer(GL_SHADER_STORAGE_BUFFER, from->name());
    glBindBuffer(GL_COPY_WRITE_BUFFER, to->name());
    glCopyBufferSubData(GL_SHADER_STORAGE_BUFFER, GL_COPY_WRITE_BUFFER, 0, 0, from->byteSize());
    glBindBuffer(GL_SHADER_STORAGE_BUFFER, 0);
    glBindBuffer(GL_COPY_WRITE_BUFFER, 0);
    ++gpuCounters().copies;
}

bool GPUMesh::ready(Program which) { return initialize() && m_programs[size_t(which)]; }

ShaderProgram &GPUMesh::program(Program which) { return *m_programs[size_t(which)]; }

void GPUMesh::dispatchGroups(int groups)
{
    bind(); // binding points belong to a context, and each view has its own
    glDispatchCompute(GLuint(groups), 1, 1);
    glMemoryBarrier(GL_SHADER_STORAGE_BARRIER_BIT | GL_BUFFER_UPDATE_BARRIER_BIT);
    ++gpuCounters().dispatches;
}

void GPUMesh::onMessageLogged(const QOpenGLDebugMessage &message)
{
    // Some drivers send a notification about each upload, or tell how fast each copy and draw was:
    // several lines per frame and per dab, which would bury the one that matters.
    if (message.severity() != QOpenGLDebugMessage::NotificationSeverity &&
        message.type() != QOpenGLDebugMessage::PerformanceType)
        qCDebug(lcGpu).noquote() << "OpenGL:" << message.message();
}
