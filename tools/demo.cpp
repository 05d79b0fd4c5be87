// Drives the program's own windows down the main road, as a person would, and leaves a picture of
// every station: demo ARCHIVE FOLDER. Exit status 1 when a station fails.

#include "tools/Road.h"
#include "tools/RunningProgram.h"

#include <QDir>

#include <cstdio>

namespace {

class Demo {
public:
    explicit Demo(const QString &folder)
        : m_folder(folder)
    {
    }

    void show(const Road::Station &station)
    {
        ++m_count;
        const QString name =
            QStringLiteral("%1/%2-%3.png")
                .arg(m_folder.path())
                .arg(m_count, 2, 10, QLatin1Char('0'))
                .arg(QString(station.name).replace(QLatin1Char(' '), QLatin1Char('-')));
        Driver::screenshot().save(name);
        const bool good = station.good;
        m_failures += !good;
        std::printf("%-6s %-14s %s\n", good ? "ok" : "FAILED", qPrintable(station.name),
                    qPrintable(station.checked));
        std::fflush(stdout);
    }

    int failures() const { return m_failures; }

private:
    QDir m_folder;
    int m_count = 0;
    int m_failures = 0;
};

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: demo ARCHIVE FOLDER\n");
        return 2;
    }
    Startup::prepare();
    QApplication application(argc, argv);
    const RunningProgram app;
    if (!app.hasGL()) {
        std::fprintf(stderr, "demo: the view has no OpenGL 4.3 context\n");
        return 1;
    }
    Global::mainWindow()->resize(1280, 800);

    const QString folder = QString::fromLocal8Bit(argv[2]);
    Road road(QString::fromLocal8Bit(argv[1]), folder + QStringLiteral("/demo.pxm"));
    QFile::remove(folder + QStringLiteral("/demo.pxm"));
    Demo demo(folder);
    demo.show(road.importArchive());
    demo.show(road.play());
    demo.show(road.scrub(10));
    demo.show(road.addLayer());
    demo.show(road.stroke());
    demo.show(road.ride(30));
    demo.show(road.undoAndRedo());
    demo.show(road.save());
    demo.show(road.newScene());
    demo.show(road.open(30));
    return demo.failures() == 0 ? 0 : 1;
}
