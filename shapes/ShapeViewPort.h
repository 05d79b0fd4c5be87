#pragma once

#include "shapes/ShapeMesh.h"
#include "viewport/OrbitCamera.h"

#include <QOpenGLBuffer>
#include <QOpenGLFunctions_4_3_Core>
#include <QOpenGLWidget>

#include <memory>

class GroundGrid;
class QOpenGLVertexArrayObject;
class ShaderProgram;

/// The preview of one shape on the ground grid, lit as the meshes of the main view are, back faces
/// culled, and turned by the same drags, with no Alt needed; F frames the shape. Its buffers live
/// in its own context; the shape is kept, so that a new context (a window moved or made anew) gets
/// it again. Without OpenGL 4.3 it stays blank.
class ShapeViewPort : public QOpenGLWidget, protected QOpenGLFunctions_4_3_Core {
    Q_OBJECT

public:
    explicit ShapeViewPort(QWidget *parent = nullptr);
    ~ShapeViewPort() override;

    /// Null shows the grid alone. The camera stays.
    void setShape(std::shared_ptr<const ShapeMesh> shape);
    const OrbitCamera &camera() const { return m_camera; }

public slots:
    /// Frames the box around the shape's finite points; without any the camera stays.
    void frameShape();

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void initializeGL() override;
    void resizeGL(int width, int height) override;
    void paintGL() override;

private:
    void freeGL();
    bool makeVertexArrays();
    void uploadShape();
    void drawShape(const CameraMatrices &matrices);

    OrbitCamera m_camera;
    bool m_dragging = false;
    std::shared_ptr<const ShapeMesh> m_shape;
    std::unique_ptr<GroundGrid> m_grid;
    std::unique_ptr<ShaderProgram> m_shapeProgram;
    std::unique_ptr<QOpenGLVertexArrayObject> m_gridArray;
    std::unique_ptr<QOpenGLVertexArrayObject> m_shapeArray;
    QOpenGLBuffer m_positions { QOpenGLBuffer::VertexBuffer };
    QOpenGLBuffer m_normals { QOpenGLBuffer::VertexBuffer };
    QOpenGLBuffer m_indices { QOpenGLBuffer::IndexBuffer };
    bool m_initialized = false;
    bool m_uploaded = false; ///< the buffers hold m_shape
};
