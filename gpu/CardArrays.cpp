#include "gpu/CardArrays.h"

#include "gpu/GLBuffer.h"
#include "gpu/GpuCounters.h"
#include "gpu/Log.h"

#include <QOpenGLContext>

#include <algorithm>

namespace {

/// Five layers of a million vertices take 180 MB.
constexpr qint64 kDefaultLimit = qint64(1) << 30;
constexpr size_t kSpareBuffers = 4; ///< a simulation takes and releases two a frame

bool isSame(const std::weak_ptr<const quint64> &a, const std::weak_ptr<const quint64> &b)
{
    return !a.owner_before(b) && !b.owner_before(a);
}

} // namespace

/// Buffer names. What is released while no context is current waits here.
class CardArrays::Pool {
public:
    QOpenGLFunctions_4_3_Core *functions()
    {
        if (!m_resolved)
            m_resolved =
                QOpenGLContext::currentContext() && m_functions.initializeOpenGLFunctions();
        return m_resolved ? &m_functions : nullptr;
    }

    /// 0 where the card has no room. The content is undefined.
    GLuint acquire(qint64 bytes)
    {
        const auto spare = std::find_if(m_spares.begin(), m_spares.end(),
                                        [bytes](const Spare &s) { return s.bytes == bytes; });
        if (spare != m_spares.end()) {
            const GLuint name = spare->name;
            m_spares.erase(spare);
            return name;
        }
        dropSpares(0);
        return functions() ? allocate(bytes) : 0;
    }

    void release(GLuint name, qint64 bytes)
    {
        m_spares.push_back({ name, bytes });
        if (QOpenGLContext::currentContext())
            dropSpares(kSpareBuffers);
    }

    void dropSpares(size_t keep)
    {
        while (m_spares.size() > keep && functions()) {
            m_functions.glDeleteBuffers(1, &m_spares.front().name);
            m_spares.erase(m_spares.begin());
        }
    }

private:
    struct Spare {
        GLuint name;
        qint64 bytes;
    };

    GLuint allocate(qint64 bytes)
    {
        GLuint name = 0;
        m_functions.glGenBuffers(1, &name);
        m_functions.glBindBuffer(GL_COPY_WRITE_BUFFER, name);
        m_functions.glGetError(); // what came before is another's
        m_functions.glBufferData(GL_COPY_WRITE_BUFFER, GLsizeiptr(bytes), nullptr, GL_STATIC_COPY);
        const bool hasRoom = m_functions.glGetError() == GL_NO_ERROR;
        m_functions.glBindBuffer(GL_COPY_WRITE_BUFFER, 0);
        if (hasRoom)
            return name;
        m_functions.glDeleteBuffers(1, &name);
        qCDebug(lcGpu).noquote() << "the graphics card has no room to keep a layer's array of"
                                 << bytes << "bytes";
        return 0;
    }

    QOpenGLFunctions_4_3_Core m_functions;
    bool m_resolved = false;
    std::vector<Spare> m_spares; ///< the one released first at the front
};

class CardArrays::Buffer {
public:
    /// Null where the card has no room.
    static std::unique_ptr<Buffer> create(const std::shared_ptr<Pool> &pool, qint64 bytes)
    {
        const GLuint name = bytes > 0 ? pool->acquire(bytes) : 0;
        return name ? std::unique_ptr<Buffer>(new Buffer(pool, name, bytes)) : nullptr;
    }
    ~Buffer() { m_pool->release(m_name, m_bytes); }
    Buffer(const Buffer &) = delete;
    Buffer &operator=(const Buffer &) = delete;

    qint64 bytes() const { return m_bytes; }

    void upload(const void *data)
    {
        QOpenGLFunctions_4_3_Core &gl = *m_pool->functions();
        gl.glBindBuffer(GL_COPY_WRITE_BUFFER, m_name);
        gl.glBufferSubData(GL_COPY_WRITE_BUFFER, 0, GLsizeiptr(m_bytes), data);
        gl.glBindBuffer(GL_COPY_WRITE_BUFFER, 0);
        ++gpuCounters().uploads;
        gpuCounters().uploadedBytes += quint64(m_bytes);
    }
    void copyTo(GLuint target) const { copy(m_name, target); }
    void copyFrom(GLuint source) { copy(source, m_name); }
    /// False without a context.
    bool read(void *data) const
    {
        QOpenGLFunctions_4_3_Core *gl =
            QOpenGLContext::currentContext() ? m_pool->functions() : nullptr;
        if (!gl)
            return false;
        gl->glBindBuffer(GL_COPY_READ_BUFFER, m_name);
        gl->glGetBufferSubData(GL_COPY_READ_BUFFER, 0, GLsizeiptr(m_bytes), data);
        gl->glBindBuffer(GL_COPY_READ_BUFFER, 0);
        ++gpuCounters().readBacks;
        return true;
    }

private:
    Buffer(std::shared_ptr<Pool> pool, GLuint name, qint64 bytes)
        : m_pool(std::move(pool))
        , m_name(name)
        , m_bytes(bytes)
    {
    }

    void copy(GLuint source, GLuint target) const
    {
        QOpenGLFunctions_4_3_Core &gl = *m_pool->functions();
        gl.glBindBuffer(GL_COPY_READ_BUFFER, source);
        gl.glBindBuffer(GL_COPY_WRITE_BUFFER, target);
        gl.glCopyBufferSubData(GL_COPY_READ_BUFFER, GL_COPY_WRITE_BUFFER, 0, 0,
                               GLsizeiptr(m_bytes));
        gl.glBindBuffer(GL_COPY_READ_BUFFER, 0);
        gl.glBindBuffer(GL_COPY_WRITE_BUFFER, 0);
        ++gpuCounters().copies;
    }

    std::shared_ptr<Pool> m_pool;
    GLuint m_name;
    qint64 m_bytes;
};

class CardArrays::KeptPoints : public RemoteArray<QVector4D> {
public:
    explicit KeptPoints(std::unique_ptr<Buffer> buffer)
        : m_buffer(std::move(buffer))
    {
    }

    size_t size() const override { return size_t(m_buffer->bytes()) / sizeof(QVector4D); }
    PointArray fetch() const override
    {
        PointArray points(size());
        if (m_buffer->read(points.data()))
            return points;
        qCDebug(lcGpu).noquote() << "a simulation's points are lost with the graphics card";
        return {};
    }
    const Buffer &buffer() const { return *m_buffer; }

private:
    std::unique_ptr<Buffer> m_buffer;
};

CardArrays::CardArrays()
    : m_pool(std::make_shared<Pool>())
    , m_limit(kDefaultLimit)
{
}

CardArrays::~CardArrays()
{
    m_uploads.clear();
    if (QOpenGLContext::currentContext())
        m_pool->dropSpares(0);
}

void CardArrays::setLimit(qint64 bytes)
{
    m_limit = bytes;
    makeRoom(0);
}

bool CardArrays::copyRemote(GLBuffer &target, const RemotePoints *remote)
{
    const auto *kept = dynamic_cast<const KeptPoints *>(remote);
    if (!kept || kept->buffer().bytes() != target.byteSize())
        return false;
    kept->buffer().copyTo(target.name());
    return true;
}

bool CardArrays::copyUploaded(GLBuffer &target, const std::weak_ptr<const quint64> &life,
                              const void *data)
{
    const Buffer *buffer = uploaded(life, data, target.byteSize());
    if (buffer)
        buffer->copyTo(target.name());
    return buffer;
}

const CardArrays::Buffer *CardArrays::uploaded(const std::weak_ptr<const quint64> &life,
                                               const void *data, qint64 bytes)
{
    const auto known = std::find_if(m_uploads.begin(), m_uploads.end(), [&](const Upload &upload) {
        return isSame(upload.life, life);
    });
    if (known != m_uploads.end()) {
        m_uploads.splice(m_uploads.begin(), m_uploads, known);
        return known->buffer.get();
    }
    makeRoom(bytes);
    if (life.expired() || bytes > m_limit)
        return nullptr;
    std::unique_ptr<Buffer> buffer = Buffer::create(m_pool, bytes);
    if (!buffer)
        return nullptr;
    buffer->upload(data);
    m_keptBytes += bytes;
    m_uploads.push_front({ life, std::move(buffer) });
    return m_uploads.front().buffer.get();
}

void CardArrays::makeRoom(qint64 bytes)
{
    const auto drop = [this](std::list<Upload>::iterator upload) {
        m_keptBytes -= upload->buffer->bytes();
        return m_uploads.erase(upload);
    };
    for (auto upload = m_uploads.begin(); upload != m_uploads.end();)
        upload = upload->life.expired() ? drop(upload) : std::next(upload);
    while (!m_uploads.empty() && m_keptBytes + bytes > m_limit)
        drop(std::prev(m_uploads.end()));
}

std::optional<RevisedPoints> CardArrays::keep(const GLBuffer &source)
{
    std::unique_ptr<Buffer> buffer = Buffer::create(m_pool, source.byteSize());
    if (!buffer)
        return std::nullopt;
    buffer->copyFrom(source.name());
    return RevisedPoints(
        std::shared_ptr<const RemotePoints>(std::make_shared<KeptPoints>(std::move(buffer))));
}
