#include "viewport/MeshScope.h"

#include "app/Global.h"
#include "gpu/GPUMesh.h"
#include "viewport/Viewport.h"

#include <QOpenGLContext>

namespace {

// The context in which the innermost living scope has the mesh bound: binding points belong to a
// context, and an inner scope must not release what an outer one still works with.
QOpenGLContext *s_boundIn = nullptr;

}

MeshScope::MeshScope()
{
    if (!makeContextCurrent() || !Global::mesh())
        return;
    QOpenGLContext *current = QOpenGLContext::currentContext();
    if (s_boundIn == current) {
        m_usable = true;
        return;
    }
    m_boundHere = m_usable = Global::mesh()->bind();
    if (m_boundHere) {
        m_previouslyBoundIn = s_boundIn;
        s_boundIn = current;
    }
}

MeshScope::~MeshScope()
{
    if (m_boundHere) {
        Global::mesh()->release();
        s_boundIn = m_previouslyBoundIn;
    }
    if (!m_switched)
        return;
    if (m_previousContext)
        m_previousContext->makeCurrent(m_previousSurface);
    else
        Global::viewport()->doneCurrent();
}

bool MeshScope::makeContextCurrent()
{
    QOpenGLContext *current = QOpenGLContext::currentContext();
    Viewport *viewport = Global::viewport();
    if (!viewport || !viewport->isValid())
        return current != nullptr;
    if (current && QOpenGLContext::areSharing(current, viewport->context()))
        return true;
    m_previousContext = current;
    m_previousSurface = current ? current->surface() : nullptr;
    m_switched = true;
    viewport->makeCurrent();
    return QOpenGLContext::currentContext() == viewport->context();
}
