#include "gpu/CameraWindow.h"

#include "alembic/AlembicFile.h"
#include "app/Global.h"
#include "gpu/ImagePlane.h"
#include "gpu/Log.h"
#include "layers/BrushShelf.h"
#include "timeline/Timeline.h"
#include "viewport/Lens.h"
#include "viewport/Viewport.h"
#include "widgets/FileQuestion.h"
#include "widgets/FloatFieldGrp.h"

#include <QGroupBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QMenuBar>
#include <QScreen>
#include <QShowEvent>
#include <QVBoxLayout>

#include <algorithm>

namespace {

constexpr float kDefaultFieldOfView = 45.0f;
constexpr int kFieldWidth = 70; // pixels; six digits and a sign
constexpr int kColumnWidth = 190;
constexpr double kLargest = 1e6; // of what the widened fields take

FloatFieldGrp *createField(const char *label, double minimum, double maximum)
{
    auto *field = new FloatFieldGrp(QString::fromLatin1(label));
    field->setRange(minimum, maximum, 4);
    field->field()->setFixedWidth(kFieldWidth);
    field->setStretch(0, 1);
    return field;
}

QGroupBox *createGroup(const QString &title, const std::initializer_list<FloatFieldGrp *> &rows)
{
    auto *group = new QGroupBox(title);
    auto *layout = new QVBoxLayout(group);
    for (FloatFieldGrp *row : rows)
        layout->addLayout(row);
    return group;
}

void redraw() { Global::evaluateLayers(false); }

/// Beside the owner where the screen has room, else below `top` on the wider side.
QPoint besideOwner(const QSize &size, const QRect &owner, int top, const QRect &screen)
{
    if (owner.right() + size.width() <= screen.right())
        return { owner.right() + 1, owner.top() };
    if (owner.left() - size.width() >= screen.left())
        return { owner.left() - size.width(), owner.top() };
    const bool widerRight = owner.center().x() < screen.center().x();
    return { widerRight ? screen.right() + 1 - size.width() : screen.left(),
             std::max(screen.top(), std::min(top, screen.bottom() + 1 - size.height())) };
}

}

CameraWindow::CameraWindow(QWidget *owner)
    : QWidget(owner, Qt::Tool) // stays above its owner, whose shortcuts work here too
    , m_fieldOfView(createField("Fov:", 0.0, 180.0))
    , m_scaleX(createField("Scale X:", -kLargest, kLargest))
    , m_scaleY(createField("Scale Y:", -kLargest, kLargest))
    , m_offsetX(createField("Offset X:", -kLargest, kLargest))
    , m_offsetY(createField("Offset Y:", -kLargest, kLargest))
    , m_depth(createField("Depth:", 0.0, kLargest))
    , m_opacity(createField("Opacity:", 0.0, 1.0))
    , m_path(new QLineEdit)
{
    setWindowTitle(QStringLiteral("Camera"));
    setAttribute(Qt::WA_QuitOnClose, false); // the program ends with its main window
    auto *column = new QVBoxLayout;
    for (QGroupBox *group : { createCameraGroup(), createPlateGroup(), createSequenceGroup() }) {
        group->setFixedWidth(kColumnWidth);
        column->addWidget(group);
    }
    column->addStretch();
    auto *layout = new QHBoxLayout(this);
    layout->addWidget(Global::auxViewport(), 1);
    layout->addLayout(column);
    createMenu();
    explainFields();
    connectFields();
    showDefaults();
    resize(960, 600);
}

void CameraWindow::createMenu()
{
    auto *bar = new QMenuBar;
    QMenu *file = bar->addMenu(QStringLiteral("&File"));
    const QAction *import = file->addAction(QStringLiteral("&Import Sequence"));
    connect(import, &QAction::triggered, this, &CameraWindow::importImageSequence);
    layout()->setMenuBar(bar);
}

QGroupBox *CameraWindow::createCameraGroup()
{
    return createGroup(QStringLiteral("Camera"), { m_fieldOfView });
}

QGroupBox *CameraWindow::createPlateGroup()
{
    return createGroup(QStringLiteral("Image Plane"),
                       { m_scaleX, m_scaleY, m_offsetX, m_offsetY, m_depth, m_opacity });
}

QGroupBox *CameraWindow::createSequenceGroup()
{
    QGroupBox *group = createGroup(QStringLiteral("Image Sequence"), {});
    group->layout()->addWidget(m_path);
    return group;
}

void CameraWindow::explainFields()
{
    m_fieldOfView->setToolTip(QStringLiteral("Vertical angle of view, degrees"));
    m_scaleX->setToolTip(QStringLiteral("2 shows the plate half as wide"));
    m_scaleY->setToolTip(QStringLiteral("2 shows the plate half as high"));
    m_offsetX->setToolTip(QStringLiteral("Shift across, in widths of the plate"));
    m_offsetY->setToolTip(QStringLiteral("Shift up, in heights of the plate"));
    m_depth->setToolTip(QStringLiteral("Distance from the camera; meshes nearer hide the plate"));
    m_opacity->setToolTip(QStringLiteral("1 is opaque"));
    m_path->setToolTip(QStringLiteral("An image of the sequence, Return loads all"));
}

void CameraWindow::connectFields()
{
    connect(m_fieldOfView, &FloatFieldGrp::valueChanged, this, &CameraWindow::setFieldOfView);
    connect(m_scaleX, &FloatFieldGrp::valueChanged, this, &CameraWindow::setScaleX);
    connect(m_scaleY, &FloatFieldGrp::valueChanged, this, &CameraWindow::setScaleY);
    connect(m_offsetX, &FloatFieldGrp::valueChanged, this, &CameraWindow::setOffsetX);
    connect(m_offsetY, &FloatFieldGrp::valueChanged, this, &CameraWindow::setOffsetY);
    connect(m_depth, &FloatFieldGrp::valueChanged, this, &CameraWindow::setDepth);
    connect(m_opacity, &FloatFieldGrp::valueChanged, this, &CameraWindow::setOpacity);
    connect(m_path, &QLineEdit::returnPressed, this, &CameraWindow::updateImageSequence);
    connect(Global::auxViewport(), &Viewport::cameraChosen, this, &CameraWindow::followLens);
}

void CameraWindow::showDefaults()
{
    const PlateSettings plate;
    m_fieldOfView->setValue(kDefaultFieldOfView);
    m_scaleX->setValue(plate.scaleX);
    m_scaleY->setValue(plate.scaleY);
    m_offsetX->setValue(plate.offsetX);
    m_offsetY->setValue(plate.offsetY);
    m_depth->setValue(plate.depth);
    m_opacity->setValue(plate.opacity);
    m_path->clear();
}

void CameraWindow::reset()
{
    Global::imagePlane()->setSequence({});
    Global::auxViewport()->camera().resetPicture();
    Global::auxViewport()->setCameraName(OrbitCamera().name());
    showDefaults();
}

void CameraWindow::showEvent(QShowEvent *event)
{
    if (!event->spontaneous()) // else only un-minimised
        move(m_position.value_or(firstPosition()));
    QWidget::showEvent(event);
}

void CameraWindow::hideEvent(QHideEvent *event)
{
    if (!event->spontaneous())
        m_position = pos();
    QWidget::hideEvent(event);
}

QPoint CameraWindow::firstPosition() const
{
    const QWidget *owner = parentWidget();
    const auto *shelf = owner ? owner->findChild<BrushShelf *>() : nullptr;
    if (!shelf)
        return pos();
    // The system may put this window's title bar above the place: it has not been shown yet.
    const int titleBar = owner->geometry().top() - owner->frameGeometry().top();
    const int below = shelf->mapToGlobal(shelf->rect().bottomLeft()).y() + 1 + titleBar;
    return besideOwner(size(), owner->frameGeometry(), below, owner->screen()->availableGeometry());
}

void CameraWindow::setFieldOfView(float degrees)
{
    Global::auxViewport()->camera().setFieldOfView(degrees);
    redraw();
}

void CameraWindow::setScaleX(float scale)
{
    Global::imagePlane()->settings().scaleX = scale;
    redraw();
}

void CameraWindow::setScaleY(float scale)
{
    Global::imagePlane()->settings().scaleY = scale;
    redraw();
}

void CameraWindow::setOffsetX(float offset)
{
    Global::imagePlane()->settings().offsetX = offset;
    redraw();
}

void CameraWindow::setOffsetY(float offset)
{
    Global::imagePlane()->settings().offsetY = offset;
    redraw();
}

void CameraWindow::setDepth(float depth)
{
    Global::imagePlane()->settings().depth = depth;
    redraw();
}

void CameraWindow::setOpacity(float opacity)
{
    Global::imagePlane()->settings().opacity = opacity;
    redraw();
}

void CameraWindow::importImageSequence()
{
    const QString path =
        askForFile(this, QStringLiteral("load file"), QStringLiteral("Images (*.png *.exe *.jpg)"));
    if (path.isEmpty())
        return;
    m_path->setText(path);
    updateImageSequence();
}

void CameraWindow::updateImageSequence()
{
    const QString path = m_path->text();
    ImageSequence sequence = scanImageSequence(path, Global::timeline()->minFrame());
    if (sequence.empty() && !path.isEmpty())
        qCDebug(lcGpu).noquote() << "can't find the image:" << path;
    Global::imagePlane()->setSequence(std::move(sequence));
    redraw();
}

void CameraWindow::followLens()
{
    const double seconds = Global::timeline()->currentSeconds();
    CameraRecord camera;
    const Viewport *view = Global::auxViewport();
    if (view->camera().isFree() || !Global::alembic()->isValid() ||
        !Global::alembic()->readCamera(camera, seconds, view->cameraName()))
        return;
    const float angle = verticalFieldOfView(camera);
    if (angle > 0.0f) // without a lens the view keeps its own
        m_fieldOfView->setValue(angle);
}
