#include "gpu/GLBuffer.h"

#include "gpu/GpuCounters.h"
#include "gpu/Log.h"

#include <QOpenGLContext>

namespace {
GLenum usageHint(BufferUsage usage)
{
    return usage == BufferUsage::Static ? GL_STATIC_DRAW : GL_DYNAMIC_DRAW;
}
}

void GLBuffer::create(const QString &semantic, ElementType element, int components,
                      BufferUsage usage)
{
    m_semantic = semantic;
    m_element = element;
    m_components = components;
    m_usage = usage;
}

int GLBuffer::itemSize() const { return elementSize(m_element) * m_components; }

void GLBuffer::bind()
{
    if (resolveFunctions())
        m_gl.glBindBufferBase(GL_SHADER_STORAGE_BUFFER, m_binding, m_name);
}

void GLBuffer::allocate(int itemCount)
{
    if (!resolveFunctions())
        return;
    m_itemCount = itemCount;
    bind();
    m_gl.glBufferData(GL_SHADER_STORAGE_BUFFER, byteSize(), nullptr, usageHint(m_usage));
}

void GLBuffer::fillZero()
{
    if (!resolveFunctions() || m_itemCount == 0)
        return;
    bind();
    // Without data the buffer is filled with zeros; every element is a multiple of four bytes.
    m_gl.glClearBufferData(GL_SHADER_STORAGE_BUFFER, GL_R32UI, GL_RED_INTEGER, GL_UNSIGNED_INT,
                           nullptr);
}

bool GLBuffer::resolveFunctions()
{
    if (!m_resolved)
        m_resolved = QOpenGLContext::currentContext() && m_gl.initializeOpenGLFunctions();
    if (!m_resolved)
        qCDebug(lcGpu).noquote() << "failed to initialize OpenGL functions for GPUMesh";
    return m_resolved;
}

void GLBuffer::uploadBytes(const void *data, GLsizeiptr size)
{
    if (!resolveFunctions())
        return;
    // A longer or shorter storage would change the array lengths that kernels see.
    Q_ASSERT(size == byteSize());
    bind();
    m_gl.glBufferData(GL_SHADER_STORAGE_BUFFER, size, data, usageHint(m_usage));
    m_gl.glMemoryBarrier(GL_VERTEX_ATTRIB_ARRAY_BARRIER_BIT);
    ++gpuCounters().uploads;
    gpuCounters().uploadedBytes += quint64(size);
}

bool GLBuffer::readBytes(void *data, GLsizeiptr size)
{
    if (!resolveFunctions())
        return false;
    bind();
    GLint64 stored = 0;
    m_gl.glGetBufferParameteri64v(GL_SHADER_STORAGE_BUFFER, GL_BUFFER_SIZE, &stored);
    if (stored < size)
        return false;
    m_gl.glGetBufferSubData(GL_SHADER_STORAGE_BUFFER, 0, size, data);
    m_gl.glMemoryBarrier(GL_VERTEX_ATTRIB_ARRAY_BARRIER_BIT);
    ++gpuCounters().readBacks;
    return true;
}
