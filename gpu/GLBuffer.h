#pragma once

#include "gpu/BufferTable.h"

#include <QOpenGLFunctions_4_3_Core>
#include <QString>

#include <type_traits>
#include <vector>

/// One OpenGL buffer object used as a shader-storage buffer at a fixed binding point. Every call
/// below the descriptive ones needs a context of the share group current; without OpenGL 4.3 it
/// prints "failed to initialize OpenGL functions for GPUMesh" and does nothing. Not copyable. The
/// buffer name is generated and deleted by the GPUMesh that owns this.
class GLBuffer {
public:
    GLBuffer() = default;
    GLBuffer(const GLBuffer &) = delete;
    GLBuffer &operator=(const GLBuffer &) = delete;

    void create(const QString &semantic, ElementType element, int components, BufferUsage usage);
    void setName(GLuint name) { m_name = name; }
    void setBinding(GLuint binding) { m_binding = binding; }

    const QString &semantic() const { return m_semantic; }
    bool hasSemantic(const QString &text) const { return m_semantic == text; }
    GLuint name() const { return m_name; }
    GLuint binding() const { return m_binding; }
    int itemCount() const { return m_itemCount; }
    int itemSize() const; ///< bytes
    GLsizeiptr byteSize() const { return GLsizeiptr(itemSize()) * m_itemCount; }

    void bind();
    /// New storage for `itemCount` items, contents undefined.
    void allocate(int itemCount);
    /// Sets every byte of the storage to zero.
    void fillZero();

    /// Replaces the storage with the items; the item count stays what allocate() set. The items
    /// must number exactly that many: kernels take lengths from the storage.
    template <class Items> void upload(const Items &items) ///< a vector or a span
    {
        using Item = typename Items::value_type;
        static_assert(std::is_trivially_copyable_v<Item>, "items travel as raw bytes");
        Q_ASSERT(int(sizeof(Item)) == itemSize());
        uploadBytes(items.data(), GLsizeiptr(items.size() * sizeof(Item)));
    }
    /// All items; empty when nothing can be read.
    template <class Item> std::vector<Item> readBack()
    {
        static_assert(std::is_trivially_copyable_v<Item>, "items travel as raw bytes");
        Q_ASSERT(int(sizeof(Item)) == itemSize());
        std::vector<Item> items(static_cast<size_t>(m_itemCount));
        if (!readBytes(items.data(), byteSize()))
            items.clear();
        return items;
    }

private:
    bool resolveFunctions();
    void uploadBytes(const void *data, GLsizeiptr size);
    bool readBytes(void *data, GLsizeiptr size);

    QString m_semantic;
    ElementType m_element = ElementType::Float;
    int m_components = 1;
    GLuint m_name = 0;
    GLuint m_binding = 0;
    int m_itemCount = 0;
    BufferUsage m_usage = BufferUsage::Dynamic;
    QOpenGLFunctions_4_3_Core m_gl;
    bool m_resolved = false;
};
