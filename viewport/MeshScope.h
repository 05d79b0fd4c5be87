#pragma once

#include <QPointer>

class QOpenGLContext;
class QSurface;

/// Holds the graphics card for as long as it lives: a context of the share group is current and the
/// mesh bound. A context of the group that is current already stays (so does the framebuffer that a
/// paint draws into); otherwise the main viewport's is made current and the earlier one comes back
/// at the end. Scopes may nest. False where there is no OpenGL: the caller leaves its GPU steps
/// out.
class MeshScope {
public:
    MeshScope();
    ~MeshScope();
    MeshScope(const MeshScope &) = delete;
    MeshScope &operator=(const MeshScope &) = delete;

    explicit operator bool() const { return m_usable; }

private:
    bool makeContextCurrent();

    QPointer<QOpenGLContext> m_previousContext;
    QSurface *m_previousSurface = nullptr;
    QOpenGLContext *m_previouslyBoundIn = nullptr;
    bool m_switched = false;
    bool m_usable = false;
    bool m_boundHere = false;
};
