// Draws the pictures in resources/Resources from the drawings in resources/svg:
//   render_icons SVG_FOLDER PNG_FOLDER
// It needs Qt's SVG image plugin; the program does not, because the pictures are kept with it.
#include <QDir>
#include <QGuiApplication>
#include <QImageReader>

#include <cstdio>

namespace {

struct Picture {
    const char *name;
    int size; ///< pixels along each side
    bool twice = false; ///< beside it one of double density, "@2x", where a style sheet shows it
};

// What an icon shows has twice its size in the window, so that a screen of double density is sharp
// and one of single density takes exactly every second pixel's mean.
constexpr Picture kPictures[] = {
    { "CLAY", 80 },
    { "MOVE", 80 },
    { "DEFAULT", 80 },
    { "CREASE", 80 },
    { "INFLATE", 80 },
    { "CLONE", 80 },
    { "FLATTEN", 80 },
    { "ERASE", 80 },
    { "MASK", 80 },
    { "cameraIcon", 32 },
    { "cameraIconSelected", 32 },
    { "branch-open", 15, true },
    { "branch-closed", 15, true },
    { "check", 11, true },
    { "spin-up", 9, true },
    { "spin-down", 9, true },
    { "plexmold", 256 },
};

bool render(const QDir &drawings, const QDir &pictures, const Picture &picture, int density)
{
    const QString name = QLatin1String(picture.name);
    QImageReader reader(drawings.filePath(name + QStringLiteral(".svg")));
    reader.setScaledSize(QSize(picture.size, picture.size) * density);
    const QImage image = reader.read();
    if (image.isNull()) {
        std::fprintf(stderr, "%s: %s\n", picture.name, qPrintable(reader.errorString()));
        return false;
    }
    const QLatin1String suffix(density == 2 ? "@2x.png" : ".png");
    return image.save(pictures.filePath(name + suffix));
}

} // namespace

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication app(argc, argv);
    if (argc != 3) {
        std::fprintf(stderr, "usage: render_icons SVG_FOLDER PNG_FOLDER\n");
        return 2;
    }
    const QDir drawings(QString::fromLocal8Bit(argv[1]));
    const QDir pictures(QString::fromLocal8Bit(argv[2]));
    bool complete = true;
    for (const Picture &picture : kPictures)
        for (int density = 1; density <= (picture.twice ? 2 : 1); ++density)
            complete = render(drawings, pictures, picture, density) && complete;
    return complete ? 0 : 1;
}
