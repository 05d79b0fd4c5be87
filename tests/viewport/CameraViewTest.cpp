#include "alembic/AlembicFile.h"
#include "gpu/CameraWindow.h"
#include "gpu/ImagePlane.h"
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
    int frame;
    double angle = 0.1 + 0.05 * frame, focalLength = 35.0 - frame;
    Imath::V3d eye { 0.4 * frame, 1.0, 6.0 };
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
            std::vector<Imath::M44d> matrices(4);
            std::vector<double> lengths(4);
            for (int frame = 0; frame < 4; ++frame) {
                const ShotCamera camera { frame };
                lengths[size_t(frame)] = camera.focalLength;
                Imath::M44d &matrix = matrices[size_t(frame)];
                matrix.setAxisAngle({ 0, 1, 0 }, camera.angle);
                matrix *= Imath::M44d().setTranslation(camera.eye);
            }
            auto other = writer.xform(writer.top(), "other", { archives::translation(0, 0, 9) });
            writer.camera(other, "stillShape", { 50 });
            writer.camera(writer.xform(writer.top(), "shot", matrices), "shotShape", lengths);
            writer.camera(other, "lensless", { 0 });
        }
        Stage::open(path);
        choose(2); // cameras alone are listed
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
            for (const QVector3D &p : { QVector3D(1, -1, 1), { -0.5f, 0.25f, 0 }, { 0, 2, -3 } }) {
                const Imath::V3d seen = ShotCamera { frame }.seen({ p.x(), p.y(), p.z() });
                const QPointF plain = pixel(seen, ShotCamera { 0 }.fieldOfView(), view()->size());
                const QPointF expected = centre + (plain - centre) * zoom + QPointF(30, -15);
                QVERIFY(QLineF(Stage::pixelOf(p, view()), expected).length() < 0.05);
            }
        }
        Driver::key(view(), Qt::Key_F);
        QVERIFY(view()->camera().picture().isIdentity());
    }

    void theFieldStartsAtTheLens()
    {
        const double lens = ShotCamera { 0 }.fieldOfView();
        auto *field = Global::cameraWindow()->findChild<FloatFieldGrp *>()->field();
        const std::pair<std::function<void()>, double> rows[] = {
            { [] {}, lens },
            { [=] { field->clear(); }, lens }, // no angle: the view keeps its own
            { [] { view()->camera().setFieldOfView(60); }, 60 },
            { [] { emit Global::mainWindow()->alembicImported(); }, lens },
            { [] { choose(0); }, 20.408 },
            { [] { Global::cameraWindow()->reset(); }, 45 },
        };
        for (const auto &[act, degrees] : rows) {
            act();
            QVERIFY(qAbs(double(view()->camera().fieldOfView()) - degrees) < 1e-3);
        }
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
        for (size_t i = 0; i < 8; ++i) // the corner (1, 1, 1) alone
            QCOMPARE(data.offsetPoints()[i] != data.basePoints()[i], i == 7);
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
        const QPointF quarter(halfWidth / 2, 0), top = centre - QPointF(0, halfHeight - 5);
        // Before the mesh, behind it, far.
        for (const float depth : { 2.0f, 100.0f, PlateSettings().depth }) {
            plate().depth = depth;
            for (int i = 0; i < 4; ++i) {
                const int x = i % 2 * 2 - 1, y = i / 2 * 2 - 1;
                const QPointF corner = centre + QPointF(x * (halfWidth - 4), y * (halfHeight - 4));
                if (view()->rect().contains(corner.toPoint()))
                    QCOMPARE(colorAt(corner), QColor(Qt::red));
                // Below the horizon the cube stands before a plate that is farther than it.
                if (y < 0 || depth < 3)
                    QCOMPARE(colorAt(centre + QPointF(x * halfWidth, y * halfHeight) * 0.8),
                             QColor(Qt::white));
            }
            QCOMPARE(colorAt(top), QColor(Qt::blue));
        }
        plate().depth = 2.0f;
        plate().offsetX = 0.25f; // a quarter of the picture's width to either side
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
        const int background = 102;
        const QPointF beside(view()->width() / 2.0 + 120, 12);
        const QPointF middle = Stage::pixelOf({ 0, 0, 1 }, view());
        const auto isMixed = [](const QPointF &at, int with) {
            return qAbs(colorAt(at).red() - (255 + with) / 2) <= 2;
        };
        plate().depth = 100;
        const int alone = colorAt(middle).red(); // the mesh before the plate
        plate().opacity = 0.5f;
        showFrame(1);
        QCOMPARE(colorAt(beside).red(), background);
        showFrame(0);
        QVERIFY(isMixed(beside, background));
        plate().depth = 2;
        QVERIFY(alone != background && isMixed(middle, alone));
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
        const QDateTime later = QDateTime::currentDateTime().addSecs(5);
        QVERIFY(file.open(QIODevice::ReadWrite) &&
                file.setFileTime(later, QFileDevice::FileModificationTime));
        QCOMPARE(colorAt(top), QColor(Qt::blue)); // looked at when the frame changes
        showFrame(1);
        QCOMPARE(colorAt(top).red(), 102);
        showFrame(0);
        QCOMPARE(colorAt(top), QColor(Qt::green));
        QCOMPARE(Global::imagePlane()->keptImageCount(), kept);

        ImageSequence many;
        for (int frame = 0; frame < 20; ++frame)
            green.save(many[frame] = m_stage.path(QStringLiteral("many%1.png").arg(frame)));
        Global::imagePlane()->setSequence(many);
        for (int frame = 0; frame < 20; ++frame) {
            showFrame(frame);
            QCOMPARE(colorAt(top), QColor(Qt::green));
        }
        QVERIFY(Global::imagePlane()->keptImageCount() <= 8);
    }

    void theWindowComesBack()
    {
        CameraWindow *window = Global::cameraWindow();
        const QString chosen = writePlates();
        Driver::answerFileDialog(chosen);
        window->findChild<QMenuBar *>()->actions().first()->menu()->actions().first()->trigger();
        QCOMPARE(window->findChildren<QLineEdit *>().last()->text(), chosen);
        QCOMPARE(int(Global::imagePlane()->sequence().size()), 3);
        window->move(31, 17);
        window->close();
        window->setWindowState(Qt::WindowMinimized);
        choose(1);
        QVERIFY(window->isVisible() && !window->isMinimized() && window->pos() == QPoint(31, 17));
        loadPlates(QStringLiteral("/no/such/plate.0001.png"));
        QVERIFY(Global::imagePlane()->sequence().empty());
    }

private:
    /// A plate for frame 0 and one for frame 2, white with red corners and blue at the top, and a
    /// file for frame 3 that is none.
    QString writePlates() const
    {
        QImage image(240, 180, QImage::Format_RGB32);
        image.fill(Qt::white);
        QPainter painter(&image);
        for (int i = 0; i < 4; ++i)
            painter.fillRect(i % 2 * 220, i / 2 * 160, 20, 20, Qt::red);
        painter.fillRect(110, 0, 20, 20, Qt::blue);
        painter.end();
        image.save(m_stage.path(QStringLiteral("plate.0002.png")));
        QFile broken(m_stage.path(QStringLiteral("plate.0003.png")));
        static_cast<void>(broken.open(QIODevice::WriteOnly) && broken.write("no picture"));
        const QString path = m_stage.path(QStringLiteral("plate.0000.png"));
        image.save(path);
        return path;
    }

    static void loadPlates(const QString &path)
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
