#include "viewport/Viewport.h"

#include "alembic/AlembicFile.h"
#include "app/Global.h"
#include "gpu/DriverNeeds.h"
#include "gpu/GPUMesh.h"
#include "gpu/GroundGrid.h"
#include "gpu/ImagePlane.h"
#include "timeline/Timeline.h"
#include "viewport/Log.h"
#include "viewport/MeshScope.h"
#include "viewport/UIDrawManager.h"

#include <QCursor>
#include <QGuiApplication>
#include <QLabel>
#include <QOpenGLVertexArrayObject>
#include <QPixmap>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace {

// clang-format off
const char *const kCursorImage[] = {
    "6 6 3 1", "  c None", ". c #000000", "+ c #FF0000",
    "......",
    ".++++.",
    ".+  +.",
    ".+  +.",
    ".++++.",
    "......",
};
// clang-format on

/// X11 takes a cursor's picture as it is, in pixels of the screen; elsewhere the density is part of
/// the picture.
QCursor brushCursor()
{
    const QPixmap image(kCursorImage);
    const int density = std::max(qRound(qApp->devicePixelRatio()), 1);
    QPixmap drawn = image.scaled(image.size() * density);
    if (QGuiApplication::platformName() != QLatin1String("xcb"))
        drawn.setDevicePixelRatio(density);
    return QCursor(drawn);
}

QMatrix4x4 mirrorTransform()
{
    QMatrix4x4 mirror;
    mirror(0, 0) = -1;
    return mirror;
}

}

Viewport::Viewport(QWidget *parent, ViewKind kind)
    : QOpenGLWidget(parent)
    , m_mirrorTool(mirrorTransform())
    , m_kind(kind)
    , m_overlay(new UIDrawManager(this))
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_overlay);
    setCursor(brushCursor());
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    setMinimumSize(400, 400);
    // The application hears undo and redo from the main view; the other's requests go through it.
    if (Viewport *mainView = Global::viewport()) {
        connect(this, &Viewport::undoRequested, mainView, &Viewport::undoRequested);
        connect(this, &Viewport::redoRequested, mainView, &Viewport::redoRequested);
    }
}

Viewport::~Viewport()
{
    makeCurrent();
    m_vertexArray.reset();
    m_grid.reset();
    doneCurrent();
}

void Viewport::setCameraName(const QString &name)
{
    m_camera.setName(name);
    emit cameraChosen(name);
    update();
}

CameraMatrices Viewport::matrices() const { return matricesThrough(sceneCamera()); }

std::optional<CameraRecord> Viewport::sceneCamera() const
{
    const AlembicFile *archive = Global::alembic();
    CameraRecord camera;
    if (m_camera.isFree() || !archive || !archive->isValid() ||
        !archive->readCamera(camera, Global::timeline()->currentSeconds(), m_camera.name()))
        return std::nullopt;
    return camera;
}

CameraMatrices Viewport::matricesThrough(const std::optional<CameraRecord> &camera) const
{
    bool invertible = false;
    const QMatrix4x4 view = camera ? camera->matrix.inverted(&invertible) : QMatrix4x4();
    return invertible ? m_camera.matrices(view) : m_camera.matrices();
}

void Viewport::initializeGL()
{
    // Runs again when the view moves to another window, with a new context.
    m_initialized = false;
    const QString unmet = unmetNeed(driverOffer());
    tell(unmet, false);
    if (!initializeOpenGLFunctions()) {
        qCDebug(lcViewport).noquote() << "failed to initialize OpenGL functions";
        tell(unmet, true);
        return;
    }
    const auto *version = reinterpret_cast<const char *>(glGetString(GL_VERSION));
    qCDebug(lcViewport).noquote().nospace() << "OpenGL version: " << version;
    m_grid = std::make_unique<GroundGrid>();
    if (!m_grid->build())
        return;
    m_vertexArray = std::make_unique<QOpenGLVertexArrayObject>();
    m_vertexArray->create();
    glEnable(GL_DEPTH_TEST);
    glClearColor(0.4f, 0.4f, 0.4f, 1.0f);
    glEnable(GL_CULL_FACE);
    glCullFace(GL_BACK);
    m_initialized = true;
}

void Viewport::showEvent(QShowEvent *event)
{
    QOpenGLWidget::showEvent(event);
    QTimer::singleShot(0, this, [this] {
        if (!isValid()) // no context was made, so nobody has told
            tell(unmetNeed({}), true);
    });
}

// In place of a picture, or below one that can only be looked at.
void Viewport::tell(const QString &sentence, bool noPicture)
{
    if (sentence.isEmpty()) {
        delete std::exchange(m_notice, nullptr);
        return;
    }
    if (!m_notice) {
        m_notice = new QLabel(this);
        m_notice->setObjectName(QStringLiteral("notice"));
        m_notice->setAlignment(Qt::AlignCenter);
        m_notice->setWordWrap(true);
        layout()->addWidget(m_notice);
        m_notice->show();
    }
    m_notice->setText(sentence);
    m_overlay->setVisible(!noPicture);
    m_notice->setSizePolicy(QSizePolicy::Preferred,
                            noPicture ? QSizePolicy::Expanding : QSizePolicy::Maximum);
}

void Viewport::resizeGL(int width, int height)
{
    if (!m_initialized)
        return;
    m_camera.setSize(width, height);
    glViewport(0, 0, width, height);
}

void Viewport::paintGL()
{
    if (!m_initialized)
        return;
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    const QOpenGLVertexArrayObject::Binder vertexArray(m_vertexArray.get());
    const std::optional<CameraRecord> camera = sceneCamera(); // read once a picture
    const CameraMatrices frame = matricesThrough(camera);
    drawMesh(frame);
    m_grid->draw(frame.projection * frame.view);
    if (camera)
        drawImagePlane(*camera, frame);
}

void Viewport::drawMesh(const CameraMatrices &matrices)
{
    GPUMesh *mesh = Global::mesh();
    if (!mesh || mesh->vertexCount() == 0)
        return;
    const MeshScope scope;
    if (!scope)
        return;
    MeshDrawOptions options;
    options.modelView = matrices.view;
    options.projection = matrices.projection;
    options.normalMatrix = matrices.normal;
    options.lightDirection = m_lightDirection;
    options.compareSplit = Global::compareSplit();
    options.wireframe = m_wireframe;
    mesh->draw(options);
}

void Viewport::drawImagePlane(const CameraRecord &camera, const CameraMatrices &matrices)
{
    ImagePlane *plane = Global::imagePlane();
    const Timeline *timeline = Global::timeline();
    if (plane && timeline && plane->initialize())
        plane->draw(timeline->currentFrame(), camera, matrices.view, matrices.projection);
}
