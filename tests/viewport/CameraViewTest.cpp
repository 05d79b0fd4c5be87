#include "Stage.h"
#include "alembic/AlembicFile.h"
#include "gpu/CameraWindow.h"
#include "gpu/ImagePlane.h"
#include "layers/BrushShelf.h"
#include "layers/Outliner.h"
#include "support/LogCapture.h"
#include "widgets/FloatFieldGrp.h"

#include <QAction>
#include <QMenuBar>
#include <QPainter>
#include <QTreeWidget>
#include <QtMath>

#include <cmath>

namespace {

// The camera that the archive holds at a frame, in the archive's own terms.
struct ShotCamera {
    double angle = 0; ///< about y, radians
    Imath::V3d eye;
    double focalLength = 35; ///< millimetres
};
constexpr double kHorizontalAperture = 2.4, kVerticalAperture = 1.8; // centimetres

ShotCamera shotCamera(int frame)
{
    return { 0.1 + 0.05 * frame, { 0.4 * frame, 1.0, 6.0 }, 35.0 - frame };
}

// Where a world point lies in the camera's own axes: the inverse of turning, then moving.
Imath::V3d seenBy(const ShotCamera &camera, const Imath::V3d &point)
{
    const Imath::V3d way = point - camera.eye;
    const double c = std::cos(camera.angle), s = std::sin(camera.angle);
    return { c * way.x - s * way.z, way.y, s * way.x + c * way.z };
}

QPointF pixel(const Imath::V3d &eye, double fieldOfView, const QSize &size)
{
    const double scale = 0.5 * size.height() / std::tan(qDegreesToRadians(fieldOfView) / 2);
    return { 0.5 * size.width() + scale * eye.x / -eye.z,
             0.5 * size.height() - scale * eye.y / -eye.z };
}

double lens(const ShotCamera &camera)
{
    return 2 * qRadiansToDegrees(std::atan(kVerticalAperture * 10 / 2 / camera.focalLength));
}

}

// The camera window: looking through the shot's camera at the mesh and at the plate.
class CameraViewTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<Stage> m_stage;

    static Viewport *view() { return Global::auxViewport(); }
    static PlateSettings &plate() { return Global::imagePlane()->settings(); }
    static FloatFieldGrp *fieldOfView()
    {
        return Global::cameraWindow()->findChild<FloatFieldGrp *>();
    }
    static void showFrame(int frame) { Global::timeline()->setCurrentFrame(frame); }
    static void choose(int row)
    {
        auto *tree = Global::outliner()->findChild<QTreeWidget *>();
        emit tree->itemDoubleClicked(tree->topLevelItem(row), 0);
        QVERIFY(QTest::qWaitForWindowExposed(Global::cameraWindow()));
    }

    void importShot()
    {
        const QString path = m_stage->path(QStringLiteral("shot.abc"));
        {
            archives::Writer writer(path);
            archives::Shape shape = archives::cube();
            writer.mesh(writer.top(), "cube", shape);
            std::vector<Imath::M44d> matrices;
            std::vector<double> lengths;
            for (int frame = 0; frame < 4; ++frame) {
                const ShotCamera camera = shotCamera(frame);
                Imath::M44d turned, moved;
                turned.setAxisAngle({ 0, 1, 0 }, camera.angle);
                moved.setTranslation(camera.eye);
                matrices.push_back(turned * moved);
                lengths.push_back(camera.focalLength);
            }
            auto other = writer.xform(writer.top(), "other", { archives::translation(0, 0, 9) });
            writer.camera(other, "stillShape", { 50 });
            auto carrier = writer.xform(writer.top(), "shot", matrices);
            writer.camera(carrier, "shotShape", lengths);
            auto third = writer.xform(writer.top(), "third", { archives::translation(0, 0, 9) });
            writer.camera(third, "lensless", { 0 });
        }
        Global::clearScene();
        QVERIFY(Global::openArchive(path));
        emit Global::mainWindow()->alembicImported();
    }
    /// A plate for frame 0 and one for frame 2, white with red corners.
    QString writePlates()
    {
        QImage image(240, 180, QImage::Format_RGB32);
        image.fill(Qt::white);
        QPainter painter(&image);
        for (const QPoint &corner :
             { QPoint(0, 0), QPoint(220, 0), QPoint(0, 160), QPoint(220, 160) })
            painter.fillRect(QRect(corner, QSize(20, 20)), Qt::red);
        painter.fillRect(110, 0, 20, 20, Qt::blue); // at the top
        painter.end();
        image.save(m_stage->path(QStringLiteral("plate.0000.png")));
        image.save(m_stage->path(QStringLiteral("plate.0002.png")));
        QFile broken(m_stage->path(QStringLiteral("plate.0003.png")));
        static_cast<void>(broken.open(QIODevice::WriteOnly));
        broken.write("no picture");
        return m_stage->path(QStringLiteral("plate.0000.png"));
    }
    void importPlates()
    {
        auto *path = Global::cameraWindow()->findChildren<QLineEdit *>().last();
        path->setText(writePlates());
        Global::cameraWindow()->updateImageSequence();
    }
    static QColor colorAt(const QImage &picture, const QPointF &at)
    {
        return picture.pixelColor(at.toPoint());
    }

private slots:
    void initTestCase()
    {
        m_stage = std::make_unique<Stage>();
        SKIP_WITHOUT_GL(*m_stage);
    }
    void init()
    {
        importShot();
        choose(1);
    }
    void cleanupTestCase() { m_stage.reset(); }

    void projectsThroughTheShotCamera()
    {
        QCOMPARE(view()->cameraName(), QStringLiteral("shotShape"));
        Driver::drag(view(), { 200, 200 }, { 230, 185 }, 3, Qt::MiddleButton, Qt::AltModifier);
        Driver::drag(view(), { 200, 200 }, { 200, 240 }, 3, Qt::RightButton, Qt::AltModifier);
        const double zoom = 1.0 + 40.0 / view()->height(); // downwards enlarges
        for (int frame = 0; frame < 4; ++frame) {
            showFrame(frame);
            for (const Imath::V3d &point :
                 { Imath::V3d(1, -1, 1), { -0.5, 0.25, 0 }, { 0, 2, -3 } }) {
                QPointF expected =
                    pixel(seenBy(shotCamera(frame), point), lens(shotCamera(0)), view()->size());
                const QPointF centre = QRectF(view()->rect()).center();
                expected = centre + (expected - centre) * zoom + QPointF(30, -15);
                const QPointF shown = Stage::pixelOf(
                    QVector3D(float(point.x), float(point.y), float(point.z)), view());
                QVERIFY2(QLineF(shown, expected).length() < 0.05,
                         qPrintable(QStringLiteral("%1, %2").arg(shown.x()).arg(expected.x())));
            }
        }
        Driver::key(view(), Qt::Key_F);
        QVERIFY(view()->camera().picture().isIdentity());
    }

    void theFieldStartsAtTheLens()
    {
        QVERIFY(qAbs(double(view()->camera().fieldOfView()) - lens(shotCamera(0))) < 1e-3);
        fieldOfView()->field()->setText(QStringLiteral("60"));
        QCOMPARE(view()->camera().fieldOfView(), 60.0f);
        fieldOfView()->field()->clear(); // no angle: the view keeps its own
        QCOMPARE(view()->camera().fieldOfView(), 60.0f);
        emit Global::mainWindow()->alembicImported();
        QVERIFY(qAbs(double(view()->camera().fieldOfView()) - lens(shotCamera(0))) < 1e-3);
        choose(0);
        QVERIFY(qAbs(view()->camera().fieldOfView() - 20.408f) < 1e-2f);
        Global::cameraWindow()->reset();
        QCOMPARE(view()->camera().fieldOfView(), 45.0f);
        QVERIFY(view()->camera().isFree());
    }

    void strokesLandUnderTheCursorHereToo()
    {
        m_stage->addLayer(LayerKind::Sculpt);
        Driver::drag(view(), { 200, 200 }, { 240, 190 }, 3, Qt::MiddleButton, Qt::AltModifier);
        const QPoint target = Stage::pixelOf({ 1, 1, 1 }, view()).toPoint();
        Global::setCurrentBrush(4);
        Global::setBrushRadius(20);
        Driver::drag(view(), target + QPoint(-12, 3), target + QPoint(-2, 3), 3);
        const LayerData &data = *Global::currentLayer()->data();
        const PointArray way = Stage::difference(data.offsetPoints(), data.basePoints());
        QCOMPARE(Stage::movedCount(way), 1);
        QVERIFY(way[7].length() > 0); // the corner (1, 1, 1)
        view()->setFocus();
        Driver::key(view(), Qt::Key_Z, Qt::ControlModifier); // the camera view asks for undo, too
        QCOMPARE(Global::commands()->undoCount(), 0);
    }

    void thePlateFillsTheFilmBack_data()
    {
        QTest::addColumn<float>("depth");
        QTest::newRow("before the mesh") << 2.0f;
        QTest::newRow("behind") << 100.0f;
        QTest::newRow("where it starts") << PlateSettings().depth;
    }
    void thePlateFillsTheFilmBack()
    {
        QFETCH(const float, depth);
        importPlates();
        plate().depth = depth;
        showFrame(0);
        const QImage picture = view()->grabFramebuffer();
        const double halfHeight = view()->height() / 2.0; // the view's angle is the lens's
        const double halfWidth = halfHeight * kHorizontalAperture / kVerticalAperture;
        const QPointF centre(view()->width() / 2.0, halfHeight);
        for (const int x : { -1, 1 }) {
            for (const int y : { -1, 1 }) {
                const QPointF corner = centre + QPointF(x * (halfWidth - 4), y * (halfHeight - 4));
                if (view()->rect().contains(corner.toPoint()))
                    QCOMPARE(colorAt(picture, corner), QColor(Qt::red));
                // Below the horizon the cube stands before a plate that is farther than it.
                const QPointF inner = centre + QPointF(x * halfWidth * 0.8, y * halfHeight * 0.8);
                if (y < 0 || depth < 3)
                    QCOMPARE(colorAt(picture, inner), QColor(Qt::white));
            }
        }
        QCOMPARE(colorAt(picture, centre - QPointF(0, halfHeight - 5)), QColor(Qt::blue));
    }

    void opacityMixesAndMissingFramesShowNone()
    {
        importPlates();
        plate().depth = 100;
        showFrame(1); // no plate
        const QImage without = view()->grabFramebuffer();
        showFrame(0);
        const QPointF at(view()->width() / 2.0 + 120, 12); // background, above the mesh
        plate().opacity = 0.5f;
        const QImage mixed = view()->grabFramebuffer();
        const int background = 102;
        QVERIFY(qAbs(colorAt(without, at).red() - background) <= 1);
        QVERIFY(qAbs(colorAt(mixed, at).red() - (255 + background) / 2) <= 2);
        showFrame(3); // there is a file, and it is no image
        const LogCapture log;
        const QImage broken = view()->grabFramebuffer();
        static_cast<void>(view()->grabFramebuffer());
        QCOMPARE(colorAt(broken, at), colorAt(without, at));
        QCOMPARE(LogCapture::countContaining(QStringLiteral("plate.0003.png")), 1);
        plate().opacity = 1.0f;
    }

    void meshesBehindThePlateShowThrough()
    {
        importPlates();
        showFrame(2);
        plate().depth = 2;
        plate().opacity = 0.5f;
        const QPointF middle = Stage::pixelOf({ 0, 0, 1 }, view());
        const QImage picture = view()->grabFramebuffer();
        Global::imagePlane()->setSequence({});
        const QImage alone = view()->grabFramebuffer();
        const int expected = (255 + colorAt(alone, middle).red()) / 2;
        QVERIFY(qAbs(colorAt(picture, middle).red() - expected) <= 2);
        QVERIFY(colorAt(alone, middle).red() != 102);
        plate().opacity = 1.0f;
    }

    void imagesAreDecodedAnewOnlyWhenTheyChange()
    {
        importPlates();
        showFrame(0);
        plate().depth = 100;
        static_cast<void>(view()->grabFramebuffer());
        const int kept = Global::imagePlane()->keptImageCount();
        QImage green(240, 180, QImage::Format_RGB32);
        green.fill(Qt::green);
        const QString path = m_stage->path(QStringLiteral("plate.0000.png"));
        green.save(path);
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(QDateTime::currentDateTime().addSecs(5),
                                 QFileDevice::FileModificationTime));
        file.close();
        QVERIFY(colorAt(view()->grabFramebuffer(), { view()->width() / 2.0, 8 }) != Qt::green);
        for (const int frame : { 1, 0 }) { // looked at when the frame changes
            showFrame(frame);
            static_cast<void>(view()->grabFramebuffer());
        }
        const QImage picture = view()->grabFramebuffer();
        QCOMPARE(colorAt(picture, { view()->width() / 2.0, 8 }), QColor(Qt::green));
        QCOMPARE(Global::imagePlane()->keptImageCount(), kept);

        ImageSequence many;
        for (int frame = 0; frame < 20; ++frame) {
            const QString name = m_stage->path(QStringLiteral("many%1.png").arg(frame));
            green.save(name);
            many[frame] = name;
        }
        many[20] = m_stage->path(QStringLiteral("shot.abc"));
        Global::imagePlane()->setSequence(many);
        const LogCapture log;
        for (int i = 0; i < 42; ++i) {
            showFrame(i % 21);
            static_cast<void>(view()->grabFramebuffer());
        }
        QVERIFY(Global::imagePlane()->keptImageCount() <= 8);
        QCOMPARE(LogCapture::countContaining(many[20]), 1); // told of once, however often drawn
    }

    void noLensShowsNoPlate()
    {
        importPlates();
        showFrame(0);
        plate().depth = 2;
        QCOMPARE(colorAt(view()->grabFramebuffer(), { 300, 60 }), QColor(Qt::white));
        const float angle = view()->camera().fieldOfView();
        const QString shown = fieldOfView()->field()->text();
        choose(2);
        QCOMPARE(view()->camera().fieldOfView(), angle);
        QCOMPARE(fieldOfView()->field()->text(), shown);
        QCOMPARE(colorAt(view()->grabFramebuffer(), { 300, 60 }).red(), 102);
    }

    void theWindowIsUsable()
    {
        CameraWindow *window = Global::cameraWindow();
        QVERIFY(!window->windowTitle().isEmpty());
        const auto *shelf = Global::mainWindow()->findChild<BrushShelf *>();
        QVERIFY(!window->frameGeometry().intersects(
            QRect(shelf->mapToGlobal(QPoint()), shelf->size())));
        window->move(31, 17);
        const auto actions = window->findChild<QMenuBar *>()->actions();
        QCOMPARE(actions.front()->text(), QStringLiteral("&File"));
        QCOMPARE(actions.front()->menu()->actions().front()->text(),
                 QStringLiteral("&Import Sequence"));
        for (const FloatFieldGrp *row : window->findChildren<FloatFieldGrp *>()) {
            const QFontMetrics metrics(row->field()->font());
            QVERIFY(row->field()->width() > metrics.horizontalAdvance(QStringLiteral("-1234.56")));
            QVERIFY(window->rect().contains(row->geometry()) || row->parentWidget() != window);
        }
        const QString chosen = writePlates();
        Driver::answerFileDialog(chosen);
        actions.front()->menu()->actions().front()->trigger();
        auto *path = window->findChildren<QLineEdit *>().last();
        QCOMPARE(path->text(), chosen);
        QCOMPARE(int(Global::imagePlane()->sequence().size()), 3);
        window->close();
        QVERIFY(!window->isVisible());
        QVERIFY(Global::cameraWindow() == window);
        window->setWindowState(Qt::WindowMinimized);
        choose(1);
        QVERIFY(window->isVisible() && !window->isMinimized());
        QCOMPARE(window->pos(), QPoint(31, 17));

        const LogCapture log;
        path->setText(QStringLiteral("/no/such/plate.0001.png"));
        window->updateImageSequence();
        QVERIFY(Global::imagePlane()->sequence().empty());
        QCOMPARE(LogCapture::countContaining(path->text()), 1);
    }

    void ofTwoCamerasOfOneNameTheFirstIsMeant()
    {
        const QString path = m_stage->path(QStringLiteral("twins.abc"));
        {
            archives::Writer writer(path);
            for (const double x : { 3.0, 7.0 }) {
                auto carrier = writer.xform(writer.top(), x < 5 ? "a" : "b",
                                            { archives::translation(x, 0, 0) });
                writer.camera(carrier, "twin", { 35 });
            }
        }
        Stage::open(path);
        for (const int row : { 1, 0 }) {
            choose(row);
            QCOMPARE(view()->matrices().view.inverted().map(QVector3D()), QVector3D(3, 0, 0));
        }
    }

    // Points set out in the camera's own space, so that nothing here inverts its matrix.
    void realCamerasPutPointsWhereTheirLensDoes_data()
    {
        QTest::addColumn<QString>("archive");
        for (const char *name : { "animatedCube.abc", "testAbcCamera.abc" })
            QTest::newRow(name) << QString::fromLatin1(name);
    }
    void realCamerasPutPointsWhereTheirLensDoes()
    {
        const QString folder = qEnvironmentVariable("PLEXMOLD_REAL_ARCHIVES");
        if (folder.isEmpty())
            QSKIP("PLEXMOLD_REAL_ARCHIVES names no folder");
        QFETCH(const QString, archive);
        Stage::open(folder + QLatin1Char('/') + archive);
        const int count = Global::alembic()->cameraCount();
        QVERIFY(count > 0);
        for (int row = 0; row < count; ++row) {
            choose(row);
            for (const int frame : { 1, 7, 12, 20 }) {
                showFrame(frame);
                CameraRecord camera;
                QVERIFY(Global::alembic()->readCamera(camera, frame / 24.0, view()->cameraName()));
                for (const QVector3D &eye :
                     { QVector3D(0.1f, 0.2f, -1), QVector3D(-3, 2, -20), QVector3D(0, 0, -5) }) {
                    const QPointF expected =
                        pixel({ double(eye.x()), double(eye.y()), double(eye.z()) },
                              double(view()->camera().fieldOfView()), view()->size());
                    const QPointF shown = Stage::pixelOf(camera.matrix.map(eye), view());
                    QVERIFY2(QLineF(shown, expected).length() < 0.5,
                             qPrintable(QStringLiteral("%1, %2").arg(shown.x()).arg(expected.x())));
                }
            }
        }
    }

    void anArchiveWithoutCamerasLeavesTheFreeView()
    {
        m_stage->import(testCube());
        view()->setCameraName(QStringLiteral("gone"));
        QCOMPARE(view()->matrices().view, view()->camera().view());
        QVERIFY(!view()->grabFramebuffer().isNull());
    }
};

PLEXMOLD_TEST_MAIN(CameraViewTest)
#include "CameraViewTest.moc"
