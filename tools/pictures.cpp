// Takes the documentation's pictures of the whole window: pictures ARCHIVE FOLDER. The archive is
// imported, a layer of each kind added and keyed, a bump sculpted and a mask painted, all by hand;
// then the sample's elbow without and with a Mush layer, and each layer kind's work beside none.

#include "layers/Topology.h"
#include "tools/Road.h"
#include "tools/RunningProgram.h"

#include <QPainter>
#include <QSignalMapper>

#include <cstdio>

namespace {

void addLayers()
{
    for (const char *kind : { "Sculpt", "Mush", "Relax", "Jiggle", "Cloth" })
        for (QPushButton *button : Global::layerManager()->findChildren<QPushButton *>())
            if (button->text() == QLatin1String(kind))
                Driver::click(button);
}

/// Shift and a click add a key; higher up means a higher value.
void addKeys()
{
    Timeline *ruler = Global::timeline();
    const QPoint places[] = { { 5, 85 }, { 35, 40 }, { 60, 95 }, { 90, 30 } }; // per cent
    for (const QPoint &place : places) {
        const QPoint at(ruler->width() * place.x() / 100, ruler->height() * place.y() / 100);
        Driver::mouse(QTest::MousePress, ruler, at, Qt::LeftButton, Qt::ShiftModifier);
        Driver::mouse(QTest::MouseRelease, ruler, at, Qt::LeftButton, Qt::ShiftModifier);
    }
}

void takePicture(const QSize &size, const QString &path)
{
    MainWindow *window = Global::mainWindow();
    window->resize(size);
    QTest::qWait(200);
    const QSize taken = window->size();
    QGuiApplication::primaryScreen()->grabWindow(window->winId()).save(path);
    std::printf("%s: asked for %d x %d, the window is %d x %d\n", qPrintable(path), size.width(),
                size.height(), taken.width(), taken.height());
}

/// The bent arm as animated, and with a Mush layer whose mask covers the arm, the first mesh.
void takeElbowPictures(Road &road, const QString &folder)
{
    Global::clearScene();
    road.importArchive();
    Global::timeline()->setCurrentFrame(30);
    const auto take = [&folder](const char *name) {
        Global::viewport()->camera().frameBox({ -3.5f, 2.5f, -1.5f }, { 1.5f, 6.5f, 1.5f });
        QApplication::processEvents();
        Global::viewport()->grabFramebuffer().save(folder + QLatin1String(name));
    };
    take("/elbow-collapsed.png");
    emit Global::layerManager()->mapper()->mappedInt(int(LayerKind::Mush));
    std::vector<float> mask(size_t(Global::mesh()->vertexCount()), 0.0f);
    std::fill_n(mask.begin(), Global::topology()->meshes().front().vertexCount, 1.0f);
    Global::currentLayer()->data()->setMask(std::move(mask));
    Global::currentLayer()->setIterations(400);
    take("/elbow-with-mush.png");
}

// The sample's arm comes first, in rings of 64 vertices, then the sheet of 41 by 41.
struct Place {
    size_t first;
    size_t count;
};
constexpr Place kElbow { 74 * 64, 64 };
constexpr Place kForearm { 130 * 64, 64 };
constexpr Place kArm { 0, 9986 };
constexpr Place kSheetMiddle { 9986 + 20 * 41, 41 };
constexpr Place kSheetBelowRim { 9986 + 4 * 41, 37 * 41 };

/// What docs/guide.md shows of a layer kind, with the numbers that it names.
struct Example {
    LayerKind kind;
    Place place; ///< in the middle of the picture
    int frame;
    int iterations;
    int brush;
    Place masked; ///< count 0: what the brush paints
};
constexpr int kStandardBrush = 2;
constexpr int kMaskBrush = 8;
constexpr Example kExamples[] = {
    { LayerKind::Sculpt, kForearm, 0, 0, kStandardBrush, {} },
    { LayerKind::Mush, kElbow, 36, 400, kMaskBrush, kArm },
    { LayerKind::Relax, kElbow, 36, 200, kMaskBrush, kArm },
    { LayerKind::Jiggle, kForearm, 20, 0, kMaskBrush, {} },
    { LayerKind::Cloth, kSheetMiddle, 36, 1000, kMaskBrush, kSheetBelowRim },
};

void lookAt(const Place &place)
{
    const MeshScope scope;
    const PointArray points = Global::mesh()->readBack<QVector4D>(Semantic::kPosition);
    QVector3D middle;
    for (size_t i = place.first; i < place.first + place.count; ++i)
        middle += points.at(i).toVector3D() / float(place.count);
    const QVector3D reach(2.5f, 2.5f, 2.5f);
    Global::viewport()->camera().frameBox(middle - reach, middle + reach);
}

QImage middleOfView()
{
    const QImage picture = Global::viewport()->grabFramebuffer();
    QRect part(0, 0, 360, 360);
    part.moveCenter(picture.rect().center());
    return picture.copy(part);
}

void addExampleLayer(const Example &example)
{
    for (QPushButton *button : Global::layerManager()->findChildren<QPushButton *>())
        if (button->text() == layerKindName(example.kind))
            Driver::click(button);
    Global::currentLayer()->setIterations(example.iterations);
    if (example.masked.count > 0) {
        std::vector<float> mask(size_t(Global::mesh()->vertexCount()), 0.0f);
        std::fill_n(mask.begin() + std::ptrdiff_t(example.masked.first), example.masked.count,
                    1.0f);
        Global::currentLayer()->data()->setMask(std::move(mask));
        Global::evaluateLayers(true);
        return;
    }
    Global::setBrushStrength(example.brush == kMaskBrush ? 1.0f : 0.3f);
    Road::chooseBrush(example.brush);
    const QPoint middle = Global::viewport()->rect().center();
    for (const int dy : { -40, 0, 40 })
        Driver::drag(Global::viewport(), middle + QPoint(-40, dy), middle + QPoint(40, dy), 8);
}

/// A simulation swings from the first frame on.
void playTo(int frame)
{
    Timeline &timeline = *Global::timeline();
    timeline.setCurrentFrame(timeline.minFrame());
    timeline.playPause();
    while (timeline.currentFrame() < frame)
        timeline.timeFoward();
}

void takeExample(const Example &example, const QString &folder)
{
    while (!Global::layers().empty())
        Global::deleteLayer(Global::layers().back());
    Global::timeline()->setCurrentFrame(example.frame);
    lookAt(example.place);
    const QImage before = middleOfView();
    addExampleLayer(example);
    const bool plays = example.kind == LayerKind::Jiggle;
    if (plays)
        playTo(example.frame);
    const QImage after = middleOfView();
    if (plays)
        Global::timeline()->playPause();
    QImage both(before.width() * 2 + 4, before.height(), QImage::Format_RGB32);
    both.fill(Qt::white);
    QPainter painter(&both);
    painter.drawImage(0, 0, before);
    painter.drawImage(before.width() + 4, 0, after);
    both.save(folder + QStringLiteral("/layer-%1.png").arg(layerKindName(example.kind).toLower()));
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: pictures ARCHIVE FOLDER\n");
        return 2;
    }
    Startup::prepare();
    QApplication application(argc, argv);
    const RunningProgram app;
    if (!app.hasGL()) {
        std::fprintf(stderr, "pictures: the view has no OpenGL 4.3 context\n");
        return 1;
    }
    Global::mainWindow()->resize(1280, 800);
    const QString folder = QString::fromLocal8Bit(argv[2]);
    Road road(QString::fromLocal8Bit(argv[1]), folder + QStringLiteral("/unused.pxm"));
    road.importArchive();
    const int middle = (Global::timeline()->minFrame() + Global::timeline()->maxFrame()) / 2;
    road.scrub(middle);
    Global::viewport()->setFocus();
    Driver::key(Global::mainWindow(), Qt::Key_F); // the mesh may have left the picture
    addLayers();
    Global::layers().front()->select();
    road.stroke();
    addKeys();
    Global::layers().at(1)->select();
    Road::chooseBrush(kMaskBrush);
    Driver::drag(Global::viewport(), Road::pixelOnMesh() + QPoint(-40, 0),
                 Road::pixelOnMesh() + QPoint(40, 10), 12);
    Global::layers().front()->select();
    Road::chooseBrush(2);

    takePicture(QSize(800, 600), folder + QStringLiteral("/window-small.png"));
    takePicture(QSize(1920, 1080), folder + QStringLiteral("/window-large.png"));
    takePicture(QSize(1280, 800), folder + QStringLiteral("/window.png"));
    Global::mainWindow()->resize(1400, 900);
    takeElbowPictures(road, folder);
    for (const Example &example : kExamples)
        takeExample(example, folder);
    return 0;
}
