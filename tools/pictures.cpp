// Takes the documentation's pictures of the whole window: pictures ARCHIVE FOLDER. The archive is
// imported, a layer of each kind added and keyed, a bump sculpted and a mask painted, all by hand.

#include "support/AppFixture.h"
#include "support/Road.h"

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

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: pictures ARCHIVE FOLDER\n");
        return 2;
    }
    Startup::prepare();
    QApplication application(argc, argv);
    const AppFixture app;
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
    return 0;
}
