// Takes the documentation's pictures of the whole window: pictures ARCHIVE FOLDER. The archive is
// imported, a layer of each kind added and keyed, a bump sculpted and a mask painted, all by hand;
// then the sample's elbow without and with a Mush layer.

#include "layers/Topology.h"
#include "tools/Road.h"
#include "tools/RunningProgram.h"

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
    constexpr int kMaskBrush = 8;
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
    return 0;
}
