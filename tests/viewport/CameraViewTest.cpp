#include "alembic/AlembicFile.h"
#include "gpu/CameraWindow.h"
#include "gpu/ImagePlane.h"
#include "layers/BrushShelf.h"
#include "layers/Outliner.h"
#include "support/LogCapture.h"
#include "support/Stage.h"
#include "widgets/FloatFieldGrp.h"

#include <QMenuBar>
#include <QPainter>
#include <QTreeWidget>
#include <QtMath>

#include <cmath>

namespace {

constexpr double kAspect = 2.4 / 1.8; // of the film that archives::Writer gives its cameras

/// The camera that the archive holds at a frame: angle about y in radians, eye, lens in
/// millimetres.
struct ShotCamera {
    double angle;
    Imath::V3d eye;
    double focalLength;

    explicit ShotCamera(int frame)
        : angle(0.1 + 0.05 * frame)
        , eye(0.4 * frame, 1.0, 6.0)
        , focalLength(35.0 - frame)
    {
    }
    /// In the camera's own axes: the inverse of turning, then moving.
    Imath::V3d seen(const Imath::V3d &point) const
    {
        const Imath::V3d from = point - eye;
        const double c = std::cos(angle), s = std::sin(angle);
        return { c * from.x - s * from.z, from.y, s * from.x + c * from.z };
    }
    double fieldOfView() const { return 2 * qRadiansToDegrees(std::atan(18.0 / 2 / focalLength)); }
};

QPointF pixel(const Imath::V3d &eye, double fieldOfView, const QSize &size)
{
    const double scale = 0.5 * size.height() / std::tan(qDegreesToRadians(fieldOfView) / 2);
    return { 0.5 * size.width() + scale * eye.x / -eye.z,
             0.5 * size.height() - scale * eye.y / -eye.z };
}

Viewport *view() { return Global::auxViewport(); }
PlateSettings &plate() { return Global::imagePlane()->settings(); }
void showFrame(int frame) { Stage::ruler().setCurrentFrame(frame); }

void choose(int row)
{
    auto *tree = Global::outliner()->findChild<QTreeWidget *>();
    const QPoint at = tree->visualItemRect(tree->topLevelItem(row)).center();
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, at);
    QTest::mouseDClick(tree->viewport(), Qt::LeftButton, {}, at);
    QVERIFY(QTest::qWaitForWindowExposed(Global::cameraWindow()));
}

/// Of the camera view, drawn anew.
QColor colorAt(const QPointF &at) { return view()->grabFramebuffer().pixelColor(at.toPoint()); }

}

/// The camera window: looking through the shot's camera at the mesh and at the plate.
class CameraViewTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { NEEDS_GL(m_stage.hasGL()); }
    void init()
    {
        const QString path = m_stage.path(QStringLiteral("shot.abc"));
        {
            archives::Writer writer(path);
            writer.mesh(writer.top(), "cube", archives::cube());
            std::vector<Imath::M44d> matrices;
            std::vector<double> lengths;
            for (int frame = 0; frame < 4; ++frame) {
                const ShotCamera camera(frame);
                Imath::M44d turned;
                turned.setAxisAngle({ 0, 1, 0 }, camera.angle);
                matrices.push_back(turned *
                                   archives::translation(camera.eye.x, camera.eye.y, camera.eye.z));
                lengths.push_back(camera.focalLength);
            }
            auto other = writer.xform(writer.top(), "other", { archives::translation(0, 0, 9) });
            writer.camera(other, "stillShape", { 50 });
            auto carrier = writer.xform(writer.top(), "shot", matrices);
            writer.camera(carrier, "shotShape", lengths);
            writer.camera(other, "lensless", { 0 });
        }
        Stage::open(path);
        auto *tree = Global::outliner()->findChild<QTreeWidget *>();
        QCOMPARE(tree->topLevelItemCount(), 3); // cameras alone
        choose(2);
        QCOMPARE(view()->cameraName(), QStringLiteral("shotShape"));
        plate() = {};
    }

    void projectsThroughTheShotCamera()
    {
        Driver::drag(view(), { 200, 200 }, { 230, 185 }, 3, Qt::MiddleButton, Qt::AltModifier);
        Driver::drag(view(), { 200, 200 }, { 200, 240 }, 3, Qt::RightButton, Qt::AltModifier);
        const double zoom = 1.0 + 40.0 / view()->height(); // downwards enlarges
        const QPointF centre = QRectF(view()->rect()).center();
        for (int frame = 0; frame < 4; ++frame) {
            showFrame(frame);
            for (const Imath::V3d &point :
                 { Imath::V3d(1, -1, 1), { -0.5, 0.25, 0 }, { 0, 2, -3 } }) {
                const QPointF plain = pixel(ShotCamera(frame).seen(point),
                                            ShotCamera(0).fieldOfView(), view()->size());
                const QPointF expected = centre + (plain - centre) * zoom + QPointF(30, -15);
                const QVector3D world(float(point.x), float(point.y), float(point.z));
                QVERIFY(QLineF(Stage::pixelOf(world, view()), expected).length() < 0.05);
            }
        }
        Driver::key(view(), Qt::Key_F);
        QVERIFY(view()->camera().picture().isIdentity());
    }

    void theFieldStartsAtTheLens()
    {
        const float lens = float(ShotCamera(0).fieldOfView());
        QVERIFY(qAbs(view()->camera().fieldOfView() - lens) < 1e-3f);
        auto *field = Global::cameraWindow()->findChild<FloatFieldGrp *>()->field();
        field->clear(); // no angle: the view keeps its own
        QVERIFY(qAbs(view()->camera().fieldOfView() - lens) < 1e-3f);
        view()->camera().setFieldOfView(60);
        emit Global::mainWindow()->alembicImported();
        QVERIFY(qAbs(view()->camera().fieldOfView() - lens) < 1e-3f);
        choose(0);
        QVERIFY(qAbs(view()->camera().fieldOfView() - 20.408f) < 1e-2f);
        Global::cameraWindow()->reset();
        QCOMPARE(view()->camera().fieldOfView(), 45.0f);
        QVERIFY(view()->camera().isFree());
        QCOMPARE(view()->matrices().view, view()->camera().view());
    }

    void strokesLandUnderTheCursorHereToo()
    {
        const LayerData &data = *Stage::addLayer(LayerKind::Sculpt)->data();
        Driver::drag(view(), { 200, 200 }, { 240, 190 }, 3, Qt::MiddleButton, Qt::AltModifier);
        const QPoint target = Stage::pixelOf({ 1, 1, 1 }, view()).toPoint();
        Road::chooseBrush(4);
        Global::setBrushRadius(20);
        Driver::drag(view(), target + QPoint(-12, 3), target + QPoint(-2, 3), 3);
        const PointArray moved = Stage::difference(data.offsetPoints(), data.basePoints());
        for (size_t i = 0; i < 8; ++i)
            QCOMPARE(moved[i].length() > 0, i == 7); // the corner (1, 1, 1) alone
        view()->setFocus();
        Driver::key(view(), Qt::Key_Z, Qt::ControlModifier); // this view asks for undo, too
        QCOMPARE(Global::commands()->undoCount(), 0);
    }

    void thePlateFillsTheFilmBack()
    {
        loadPlates(writePlates());
        showFrame(0);
        const double halfHeight = view()->height() / 2.0; // the view's angle is the lens's
        const double halfWidth = halfHeight * kAspect;
        const QPointF centre(view()->width() / 2.0, halfHeight);
        for (const float depth :
             { 2.0f, 100.0f, PlateSettings().depth }) { // before the mesh, behind, far
            plate().depth = depth;
            const QImage picture = view()->grabFramebuffer();
            for (const int x : { -1, 1 })
                for (const int y : { -1, 1 }) {
                    const QPointF corner =
                        centre + QPointF(x * (halfWidth - 4), y * (halfHeight - 4));
                    if (view()->rect().contains(corner.toPoint()))
                        QCOMPARE(picture.pixelColor(corner.toPoint()), QColor(Qt::red));
                    // Below the horizon the cube stands before a plate that is farther than it.
                    const QPointF inner = centre + QPointF(x * halfWidth, y * halfHeight) * 0.8;
                    if (y < 0 || depth < 3)
                        QCOMPARE(picture.pixelColor(inner.toPoint()), QColor(Qt::white));
                }
            QCOMPARE(picture.pixelColor((centre - QPointF(0, halfHeight - 5)).toPoint()),
                     QColor(Qt::blue));
        }
        plate().depth = 2.0f;
        plate().offsetX = 0.25f; // a quarter of the picture's width to either side
        const QPointF quarter(halfWidth / 2, 0), top = centre - QPointF(0, halfHeight - 5);
        QVERIFY(colorAt(top) == QColor(Qt::white));
        QVERIFY(colorAt(top + quarter) == QColor(Qt::blue) ||
                colorAt(top - quarter) == QColor(Qt::blue));
        plate().offsetX = 0.0f;
        plate().scaleY = 0.5f; // about the centre
        QVERIFY(colorAt(top) == QColor(Qt::white));
    }

    /// The background beside the mesh, the mesh behind, frames without a picture, a camera without
    /// a lens.
    void whatThePlateLeavesAlone()
    {
        loadPlates(writePlates());
        plate().depth = 100;
        plate().opacity = 0.5f;
        const int background = 102;
        const QPointF beside(view()->width() / 2.0 + 120, 12);
        const QPointF middle = Stage::pixelOf({ 0, 0, 1 }, view());
        showFrame(1);
        QCOMPARE(colorAt(beside).red(), background);
        showFrame(0);
        QVERIFY(qAbs(colorAt(beside).red() - (255 + background) / 2) <= 2);
        plate().depth = 2;
        const int mixed = colorAt(middle).red();
        Global::imagePlane()->setSequence({});
        const int alone = colorAt(middle).red();
        QVERIFY(alone != background && qAbs(mixed - (255 + alone) / 2) <= 2);

        loadPlates(writePlates());
        showFrame(3); // there is a file, and it is no image: told of once, however often drawn
        const LogCapture log;
        for (int i = 0; i < 3; ++i)
            QCOMPARE(colorAt(beside).red(), background);
        QCOMPARE(LogCapture::countContaining(QStringLiteral("plate.0003.png")), 1);

        showFrame(0);
        plate().opacity = 1.0f;
        QCOMPARE(colorAt({ 300, 60 }), QColor(Qt::white));
        const float angle = view()->camera().fieldOfView();
        choose(1);
        QCOMPARE(view()->camera().fieldOfView(), angle);
        QCOMPARE(colorAt({ 300, 60 }).red(), background);
    }

    void imagesAreDecodedAnewOnlyWhenTheyChange()
    {
        const QString path = writePlates();
        loadPlates(path);
        showFrame(0);
        plate().depth = 100;
        const QPointF top(view()->width() / 2.0, 8);
        QCOMPARE(colorAt(top), QColor(Qt::blue));
        const int kept = Global::imagePlane()->keptImageCount();
        QImage green(240, 180, QImage::Format_RGB32);
        green.fill(Qt::green);
        green.save(path);
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(QDateTime::currentDateTime().addSecs(5),
                                 QFileDevice::FileModificationTime));
        file.close();
        QCOMPARE(colorAt(top), QColor(Qt::blue)); // looked at when the frame changes
        showFrame(1);
        static_cast<void>(view()->grabFramebuffer());
        showFrame(0);
        QCOMPARE(colorAt(top), QColor(Qt::green));
        QCOMPARE(Global::imagePlane()->keptImageCount(), kept);

        ImageSequence many;
        for (int frame = 0; frame < 20; ++frame)
            green.save(many[frame] = m_stage.path(QStringLiteral("many%1.png").arg(frame)));
        Global::imagePlane()->setSequence(many);
        for (int i = 0; i < 20; ++i) {
            showFrame(i);
            static_cast<void>(view()->grabFramebuffer());
        }
        QVERIFY(Global::imagePlane()->keptImageCount() <= 8);
    }

    void theWindowComesBack()
    {
        CameraWindow *window = Global::cameraWindow();
        const QString chosen = writePlates();
        Driver::answerFileDialog(chosen);
        window->findChild<QMenuBar *>()->actions().first()->menu()->actions().first()->trigger();
        auto *path = window->findChildren<QLineEdit *>().last();
        QCOMPARE(path->text(), chosen);
        QCOMPARE(int(Global::imagePlane()->sequence().size()), 3);
        const auto *shelf = Global::mainWindow()->findChild<BrushShelf *>();
        QVERIFY(!window->frameGeometry().intersects(
            QRect(shelf->mapToGlobal(QPoint()), shelf->size())));
        window->move(31, 17);
        window->close();
        window->setWindowState(Qt::WindowMinimized);
        choose(1);
        QVERIFY(window->isVisible() && !window->isMinimized());
        QCOMPARE(window->pos(), QPoint(31, 17));
        loadPlates(QStringLiteral("/no/such/plate.0001.png"));
        QVERIFY(Global::imagePlane()->sequence().empty());
    }

    /// Points set out in the camera's own space, so that nothing here inverts its matrix.
    void realCamerasPutPointsWhereTheirLensDoes()
    {
        NEEDS_REAL_ARCHIVES();
        for (const char *name : { "animatedCube.abc", "testAbcCamera.abc" }) {
            Stage::open(realArchives() + QLatin1String(name));
            const int count = Global::alembic()->cameraCount();
            QVERIFY(count > 0);
            for (int row = 0; row < count; ++row) {
                choose(row);
                for (const int frame : { 1, 12, 20 }) {
                    showFrame(frame);
                    CameraRecord camera;
                    QVERIFY(
                        Global::alembic()->readCamera(camera, frame / 24.0, view()->cameraName()));
                    for (const Imath::V3d &eye :
                         { Imath::V3d(0.1, 0.2, -1), { -3, 2, -20 }, { 0, 0, -5 } }) {
                        const QPointF expected =
                            pixel(eye, double(view()->camera().fieldOfView()), view()->size());
                        const QVector3D inWorld =
                            camera.matrix.map(QVector3D(float(eye.x), float(eye.y), float(eye.z)));
                        QVERIFY(QLineF(Stage::pixelOf(inWorld, view()), expected).length() < 0.5);
                    }
                }
            }
        }
    }

private:
    /// A plate for frame 0 and one for frame 2, white with red corners and blue at the top, and a
    /// file for frame 3 that is none.
    QString writePlates() const
    {
        QImage image(240, 180, QImage::Format_RGB32);
        image.fill(Qt::white);
        QPainter painter(&image);
        for (const QPoint &corner :
             { QPoint(0, 0), QPoint(220, 0), QPoint(0, 160), QPoint(220, 160) })
            painter.fillRect(QRect(corner, QSize(20, 20)), Qt::red);
        painter.fillRect(110, 0, 20, 20, Qt::blue);
        painter.end();
        image.save(m_stage.path(QStringLiteral("plate.0002.png")));
        QFile broken(m_stage.path(QStringLiteral("plate.0003.png")));
        static_cast<void>(broken.open(QIODevice::WriteOnly));
        broken.write("no picture");
        const QString path = m_stage.path(QStringLiteral("plate.0000.png"));
        image.save(path);
        return path;
    }

    void loadPlates(const QString &path) const
    {
        auto *field = Global::cameraWindow()->findChildren<QLineEdit *>().last();
        field->setText(path);
        field->setFocus();
        QTest::keyClick(field, Qt::Key_Return);
    }

    Stage m_stage;
};

PLEXMOLD_TEST_MAIN(CameraViewTest)
#include "CameraViewTest.moc"
