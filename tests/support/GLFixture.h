#pragma once

#include "support/Needs.h"

#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions_4_3_Core>
#include <QSurfaceFormat>

/// An offscreen OpenGL 4.3 core context, current once made. Make it before the objects of a test,
/// so that it outlives them.
class GLFixture {
public:
    GLFixture()
    {
        QSurfaceFormat format;
        format.setVersion(4, 3);
        format.setProfile(QSurfaceFormat::CoreProfile);
        format.setOption(QSurfaceFormat::DebugContext);
        m_surface.setFormat(format);
        m_surface.create();
        m_context.setFormat(format);
        m_valid = m_context.create() && makeCurrent() && m_functions.initializeOpenGLFunctions();
        if (m_valid) {
            m_functions.glGenVertexArrays(1, &m_vertexArray);
            m_functions.glBindVertexArray(m_vertexArray); // a core profile draws nothing without
        }
    }

    bool valid() const { return m_valid; }
    bool makeCurrent() { return m_context.makeCurrent(&m_surface); }
    void doneCurrent() { m_context.doneCurrent(); }
    QOpenGLFunctions_4_3_Core &gl() { return m_functions; }

private:
    QOffscreenSurface m_surface;
    QOpenGLContext m_context;
    QOpenGLFunctions_4_3_Core m_functions;
    GLuint m_vertexArray = 0;
    bool m_valid = false;
};
