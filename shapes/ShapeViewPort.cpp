#include "shapes/ShapeViewPort.h"

#include "gpu/GroundGrid.h"
#include "gpu/ProgramScope.h"
#include "layers/PointMath.h"
#include "shapes/Log.h"
#include "viewport/InteractionMode.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QOpenGLVertexArrayObject>

#include <optional>

namespace {

constexpr int kPositionLocation = 0;
constexpr int kNormalLocation = 1;
const QVector3D kLightDirection(0.0f, 0.0f, 1.0f); // eye space: from behind the viewer

PointArray pointsOf(const ShapeMesh &shape)
{
    PointArray points;
    points.reserve(shape.positions.size() / 3);
    for (std::size_t i = 0; i + 2 < shape.positions.size(); i += 3)
        points.emplace_back(shape.positions[i], shape.positions[i + 1], shape.positions[i + 2], 1);
    return points;
}

} // namespace

ShapeViewPort::ShapeViewPort(QWidget *parent)
    : QOpenGLWidget(parent)
{
    setFocusPolicy(Qt::StrongFocus);
    setMinimumSize(200, 200);
}

ShapeViewPort::~ShapeViewPort()
{
    makeCurrent();
    freeGL();
    doneCurrent();
}

void ShapeViewPort::freeGL()
{
    m_grid.reset();
    m_shapeProgram.reset();
    m_gridArray.reset();
    m_shapeArray.reset();
    m_positions.destroy();
    m_normals.destroy();
    m_indices.destroy();
    m_initialized = false;
    m_uploaded = false;
}

void ShapeViewPort::setShape(std::shared_ptr<const ShapeMesh> shape)
{
    m_shape = std::move(shape);
    m_uploaded = false;
    update();
}

void ShapeViewPort::frameShape()
{
    if (!m_shape)
        return;
    if (const std::optional<PointBounds> bounds = boundsOf(pointsOf(*m_shape)))
        m_camera.frameBox(bounds->low, bounds->high);
    update();
}

void ShapeViewPort::mousePressEvent(QMouseEvent *event)
{
    m_dragging = true;
    m_camera.beginDrag(event->x(), height() - event->y());
}

void ShapeViewPort::mouseReleaseEvent(QMouseEvent *event)
{
    m_dragging = event->buttons() != Qt::NoButton;
}

void ShapeViewPort::mouseMoveEvent(QMouseEvent *event)
{
    if (!m_dragging)
        return;
    m_camera.orbitDrag(event->x(), height() - event->y(), navigationKind(event->buttons()));
    update();
}

void ShapeViewPort::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_F && !event->isAutoRepeat())
        frameShape();
    else
        QOpenGLWidget::keyPressEvent(event);
}

void ShapeViewPort::initializeGL()
{
    freeGL(); // runs again when the view moves to another window, with a new context
    if (!initializeOpenGLFunctions()) {
        qCDebug(lcShapes).noquote() << "failed to initialize OpenGL functions";
        return;
    }
    m_grid = std::make_unique<GroundGrid>();
    m_shapeProgram = std::make_unique<ShaderProgram>();
    if (!m_grid->build() || !m_shapeProgram->build(drawStages(QStringLiteral("shape"))) ||
        !makeVertexArrays())
        return;
    glEnable(GL_DEPTH_TEST);
    glClearColor(0.4f, 0.4f, 0.4f, 1.0f);
    glEnable(GL_CULL_FACE);
    glCullFace(GL_BACK);
    m_initialized = true;
}

// Two, as a draw may not leave attributes enabled whose buffers are empty, as they are until there
// is a shape: the grid reads none.
bool ShapeViewPort::makeVertexArrays()
{
    m_gridArray = std::make_unique<QOpenGLVertexArrayObject>();
    m_shapeArray = std::make_unique<QOpenGLVertexArrayObject>();
    if (!m_gridArray->create() || !m_shapeArray->create() || !m_positions.create() ||
        !m_normals.create() || !m_indices.create())
        return false;
    const QOpenGLVertexArrayObject::Binder vertexArray(m_shapeArray.get());
    m_indices.bind();
    m_positions.bind();
    glEnableVertexAttribArray(kPositionLocation);
    glVertexAttribPointer(kPositionLocation, 3, GL_FLOAT, GL_FALSE, 0, nullptr);
    m_normals.bind();
    glEnableVertexAttribArray(kNormalLocation);
    glVertexAttribPointer(kNormalLocation, 3, GL_FLOAT, GL_FALSE, 0, nullptr);
    m_normals.release();
    return true;
}

void ShapeViewPort::resizeGL(int width, int height)
{
    m_camera.setSize(width, height);
    if (m_initialized)
        glViewport(0, 0, width, height);
}

void ShapeViewPort::paintGL()
{
    if (!m_initialized)
        return;
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    const CameraMatrices matrices = m_camera.matrices();
    if (m_shape && !m_shape->indices.empty())
        drawShape(matrices);
    const QOpenGLVertexArrayObject::Binder vertexArray(m_gridArray.get());
    m_grid->draw(matrices.projection * matrices.view);
}

// With the shape's vertex array bound, which keeps the index buffer.
void ShapeViewPort::uploadShape()
{
    const auto fill = [this](GLenum target, const auto &values) {
        glBufferData(target, GLsizeiptr(values.size() * sizeof(values[0])), values.data(),
                     GL_STATIC_DRAW);
    };
    m_positions.bind();
    fill(GL_ARRAY_BUFFER, m_shape->positions);
    m_normals.bind();
    fill(GL_ARRAY_BUFFER, m_shape->normals);
    m_normals.release();
    fill(GL_ELEMENT_ARRAY_BUFFER, m_shape->indices);
    m_uploaded = true;
}

void ShapeViewPort::drawShape(const CameraMatrices &matrices)
{
    const QOpenGLVertexArrayObject::Binder vertexArray(m_shapeArray.get());
    if (!m_uploaded)
        uploadShape();
    ProgramScope program(*m_shapeProgram);
    program.set("MVP", matrices.projection * matrices.view);
    program.set("ModelViewMatrix", matrices.view);
    program.set("NormalMatrix", matrices.normal);
    program.set("LightDirection", kLightDirection);
    glDrawElements(GL_TRIANGLES, GLsizei(m_shape->indices.size()), GL_UNSIGNED_INT, nullptr);
}
