#include "gpu/CameraWindow.h"
#include "gpu/ImagePlane.h"
#include "layers/Outliner.h"
#include "support/LogCapture.h"
#include "support/Stage.h"
#include "widgets/FloatFieldGrp.h"

#include <QMenuBar>
#include <QTreeWidget>
#include <QtMath>

#include <chrono>
#include <cmath>
#include <filesystem>

namespace {

// Of the film that archives::Writer gives its cameras.
constexpr double kAspect = 2.4 / 1.8, kHalfFilm = 9; // millimetres

/// Where the archive's camera stands at a frame.
Imath::M44d shotCamera(int frame)
{
    return Imath::M44d().setAxisAngle({ 0, 1, 0 }, 0.1 + 0.05 * frame) *
        archives::translation(0.4 * frame, 1.0, 6.0);
}

Viewport *view() { return Global::auxViewport(); }
PlateSettings &plate() { return Global::imagePlane()->settings(); }
void showFrame(int frame) { Stage::ruler().setCurrentFrame(frame); }

void choose(int row)
{
    auto *tree = Global::outliner()->findChild<QTreeWidget *>();
    const QPoint at = tree->visualItemRect(tree->topLevelItem(row)).center();
    const QString name = tree->topLevelItem(row)->text(0);
    QVERIFY(tree->columnWidth(0) > tree->fontMetrics().horizontalAdvance(name));
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, at);
    QTest::mouseDClick(tree->viewport(), Qt::LeftButton, {}, at);
    QVERIFY(QTest::qWaitForWindowExposed(Global::cameraWindow()));
}

/// Of the camera view, drawn anew: background and mesh are grey, plates have an extreme there.
int blueAt(const QPointF &at) { return view()->grabFramebuffer().pixelColor(at.toPoint()).blue(); }

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
            auto other = writer.xform(writer.top(), "other", { archives::translation(0, 0, 9) });
            writer.camera(other, "stillShape", { 50 });
            auto shot =
                writer.xform(writer.top(), "shot",
                             { shotCamera(0), shotCamera(1), shotCamera(2), shotCamera(3) });
            writer.camera(shot, "shotCameraOfTheSecondUnitAtNight", { 35, 34, 33, 32 });
            writer.camera(other, "lensless", { 0 });
        }
        Stage::open(path);
        choose(2); // cameras alone are listed
        QCOMPARE(view()->cameraName(), QStringLiteral("shotCameraOfTheSecondUnitAtNight"));
        plate() = {};
    }

    void projectsThroughTheShotCamera()
    {
        Driver::drag(view(), { 200, 200 }, { 230, 185 }, 3, Qt::MiddleButton, Qt::AltModifier);
        Driver::drag(view(), { 200, 200 }, { 200, 240 }, 3, Qt::RightButton, Qt::AltModifier);
        const double zoom = 1.0 + 40.0 / view()->height(); // downwards enlarges
        const double scale = zoom * view()->height() / 2 * 35 / kHalfFilm;
        for (const int frame : { 3, 2, 1, 0 }) {
            showFrame(frame);
            for (const Imath::V3f &p :
                 { Imath::V3f(1, -1, 1), { -0.5f, 0.25f, 0 }, { 0, 2, -3 } }) {
                const Imath::V3d seen = Imath::V3d(p) * shotCamera(frame).inverse();
                const QPointF expected = QRectF(view()->rect()).center() + QPointF(30, -15) +
                    QPointF(seen.x, -seen.y) / -seen.z * scale;
                const QPointF found = Stage::pixelOf({ p.x, p.y, p.z }, view());
                QVERIFY(QLineF(found, expected).length() < 0.05);
            }
        }
        // Strokes land under the cursor here, too.
        const LayerData &data = *Stage::addLayer(LayerKind::Sculpt)->data();
        const QPoint target = Stage::pixelOf({ -1, 1, 1 }, view()).toPoint();
        Road::chooseBrush(4);
        Global::setBrushRadius(20);
        Driver::drag(view(), target + QPoint(12, 3), target + QPoint(2, 3), 3);
        for (size_t i = 0; i < 8; ++i) // the corner (-1, 1, 1) alone
            QCOMPARE(data.offsetPoints()[i] != data.basePoints()[i], i == 6);
        view()->setFocus();
        Driver::key(view(), Qt::Key_Z, Qt::ControlModifier); // this view asks for undo, too
        QCOMPARE(Global::commands()->undoCount(), 0);
        Driver::key(view(), Qt::Key_F);
        QVERIFY(view()->camera().picture().isIdentity());
    }

    void theFieldStartsAtTheLens()
    {
        const double lens = 2 * qRadiansToDegrees(std::atan(kHalfFilm / 35));
        auto *field = Global::cameraWindow()->findChild<FloatFieldGrp *>()->field();
        const std::pair<std::function<void()>, double> rows[] = {
            { [] {}, lens },
            { [=] { field->clear(); }, lens }, // no angle: the view keeps its own
            { [] { view()->camera().setFieldOfView(60); }, 60 },
            { [] { emit Global::mainWindow()->alembicImported(); }, lens },
            { [] { choose(0); }, 20.408 },
            { [] { choose(1); }, 20.408 }, // without a lens
            { [] { Global::cameraWindow()->reset(); }, 45 },
        };
        for (const auto &[act, degrees] : rows) {
            act();
            QVERIFY(qAbs(double(view()->camera().fieldOfView()) - degrees) < 1e-3);
        }
        QVERIFY(view()->camera().isFree());
        QCOMPARE(view()->matrices().view, view()->camera().view());
    }

    void thePlateFillsTheFilmBack()
    {
        loadPlates(writePlates());
        showFrame(0);
        const PlateSettings rows[] = { { 1, 1, 0, 0, 2 }, // before the mesh, behind it, far
                                       { 1, 1, 0, 0, 100 },
                                       {},
                                       { 2, 0.5f, 0.25f, 0.125f, 2 } };
        for (const PlateSettings &row : rows) {
            plate() = row;
            const QImage picture = view()->grabFramebuffer();
            for (int i = 0; i < 16; ++i) {
                const double u = 0.02 + 0.32 * (i % 4), v = 0.02 + 0.32 * (i / 4); // from the top
                // The lens is the view's.
                const QPointF at = QRectF(picture.rect()).center() +
                    QPointF((u - 0.5) * kAspect, v - 0.5) * picture.height();
                // Below the horizon the cube stands before a plate that is farther than it.
                if (!picture.rect().contains(at.toPoint()) || (v > 0.5 && row.depth > 3))
                    continue;
                const double x = (u - 0.5) * row.scaleX + 0.5 + row.offsetX,
                             y = (v - 0.5) * row.scaleY + 0.5 - row.offsetY;
                const QColor shown = picture.pixelColor(at.toPoint());
                QCOMPARE(shown.blue(), 255);
                QVERIFY(qAbs(shown.red() - 255 * qBound(0.0, x, 1.0)) < 1.5 &&
                        qAbs(shown.green() - 255 * qBound(0.0, y, 1.0)) < 1.5);
            }
        }
    }

    /// Frames without a picture, the background beside the mesh, the mesh behind, a camera without
    /// a lens. Images are decoded anew only when they change.
    void whenThePlateIsShown()
    {
        const QString path = writePlates();
        loadPlates(path);
        const int background = 102;
        const QPointF top(view()->width() / 2.0, 8);
        QImage black(240, 180, QImage::Format_RGB32);
        black.fill(Qt::black);
        const auto later = std::filesystem::file_time_type::clock::now() + std::chrono::seconds(5);
        const auto replace = [&] {
            black.save(path);
            std::filesystem::last_write_time(path.toStdString(), later);
        };
        const LogCapture log;
        int kept = 0;
        const std::pair<std::function<void()>, int> rows[] = {
            { [] { showFrame(1); }, background },
            { [] { showFrame(0); }, 255 },
            { [&] { kept = Global::imagePlane()->keptImageCount(); }, 255 },
            { replace, 255 }, // looked at when the frame changes
            { [] { showFrame(3); }, background }, // there is a file, and it is no image
            { [] { showFrame(0); }, 0 },
            { [] { plate().opacity = 0.5f; }, background / 2 },
        };
        for (const auto &[act, blue] : rows) {
            act();
            for (int i = 0; i < 3; ++i)
                QCOMPARE(blueAt(top), blue);
        }
        QCOMPARE(LogCapture::countContaining(QStringLiteral("plate.0003.png")), 1);
        QCOMPARE(Global::imagePlane()->keptImageCount(), kept);
        const QPointF middle = Stage::pixelOf({ 0, 0, 1 }, view());
        const int alone = blueAt(middle); // the mesh before the plate
        plate().depth = 2;
        QVERIFY(alone != background && qAbs(blueAt(middle) - alone / 2) < 2);
        choose(1);
        QCOMPARE(blueAt(top), background);

        choose(2);
        ImageSequence many;
        for (int frame = 0; frame < 20; ++frame) {
            black.save(many[frame] = m_stage.path(QStringLiteral("many%1.png").arg(frame)));
            Global::imagePlane()->setSequence(many);
            showFrame(frame);
            QCOMPARE(blueAt(top), background / 2);
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
    /// A plate for frame 0 and one for frame 2, whose red grows to the right and whose green grows
    /// downwards, and a file for frame 3 that is none.
    QString writePlates() const
    {
        QImage image(256, 256, QImage::Format_RGB32);
        for (int i = 0; i < 256 * 256; ++i)
            image.setPixel(i % 256, i / 256, qRgb(i % 256, i / 256, 255));
        for (const int frame : { 0, 2 })
            image.save(m_stage.path(QStringLiteral("plate.000%1.png").arg(frame)));
        QFile broken(m_stage.path(QStringLiteral("plate.0003.png")));
        static_cast<void>(broken.open(QIODevice::WriteOnly) && broken.write("no picture"));
        return m_stage.path(QStringLiteral("plate.0000.png"));
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
