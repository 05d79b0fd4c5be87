#include <QDir>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QMap>
#include <QtTest>

#include <optional>

/// Reads the #include lines of every source and holds them to the floors of docs/architecture.md.

namespace {

enum Floor { Core, Import, Gpu, Widgets, Panels, Shell };

struct FolderFloors {
    Floor usual;
    QMap<Floor, QStringList> others; ///< file names without suffix
};

/// Which floor a file belongs to.
const QMap<QString, FolderFloors> &floorTable()
{
    const auto names = [](const char *list) {
        return QString::fromLatin1(list).split(QLatin1Char(' '));
    };
    static const QMap<QString, FolderFloors> table {
        { QStringLiteral("alembic"), { Import, { { Core, names("Log CameraRecord") } } } },
        { QStringLiteral("gpu"),
          { Gpu,
            { { Core, names("BrushType BufferTable GpuRecords ImageSequence Log ShaderSource") },
              { Panels, names("CameraWindow") } } } },
        { QStringLiteral("layers"),
          { Panels,
            { { Core,
                names("CommandStack Envelope LayerData Log PointMath PointSum StrokeBrush "
                      "Topology TopologyValidate") } } } },
        { QStringLiteral("viewport"),
          { Panels,
            { { Core,
                names("CameraMatrices InteractionMode Lens Log OrbitCamera PixelLine ScreenRay "
                      "StrengthLabel") } } } },
        { QStringLiteral("timeline"), { Panels, { { Core, names("RangeMath RulerMath") } } } },
        { QStringLiteral("shapes"),
          { Panels,
            { { Core,
                names("LineScan Log MtlReader ObjReader ShapeCache ShapeFolder "
                      "ShapeMesh") } } } },
        { QStringLiteral("widgets"), { Widgets, { { Core, names("Log") } } } },
        { QStringLiteral("app"), { Shell, { { Core, names("GlobalState Log SceneStream") } } } },
    };
    return table;
}

/// What a file of each floor may include.
const QMap<Floor, QList<Floor>> &mayInclude()
{
    static const QMap<Floor, QList<Floor>> table {
        { Core, { Core } },
        { Import, { Core, Import } },
        { Gpu, { Core, Import, Gpu } },
        { Widgets, { Core, Widgets } },
        { Panels, { Core, Import, Gpu, Widgets, Panels } },
        { Shell, { Core, Import, Gpu, Widgets, Panels, Shell } },
    };
    return table;
}

const QString &globalHeader()
{
    static const QString path = QStringLiteral("app/Global.h");
    return path;
}

/// The option flags are the main window's, and the two sources of a stroke read them there, as they
/// read Global.
bool readsOptionFlags(const QString &file, const QString &header)
{
    return header == QLatin1String("app/MainWindow.h") &&
        (file == QLatin1String("layers/Sculpt.cpp") ||
         file == QLatin1String("viewport/ViewportStroke.cpp"));
}

/// Of a path like "layers/Topology.h"; nothing for one outside the table.
std::optional<Floor> floorOf(const QString &path)
{
    const QString folder = path.section(QLatin1Char('/'), 0, 0);
    const QString name = QFileInfo(path).completeBaseName();
    const auto row = floorTable().find(folder);
    if (row == floorTable().end())
        return std::nullopt;
    for (auto other = row->others.begin(); other != row->others.end(); ++other) {
        if (other->contains(name))
            return other.key();
    }
    return row->usual;
}

bool isWidgetHeader(const QString &name)
{
    static const QDir folder(QLibraryInfo::location(QLibraryInfo::HeadersPath) +
                             QStringLiteral("/QtWidgets"));
    return folder.exists(name);
}

/// Empty when the file may include the header, else the reason. `own` is the project's.
QString fault(const QString &file, const QString &header, bool own)
{
    const Floor floor = floorOf(file).value_or(Shell);
    if (own && header == globalHeader()) {
        const bool below = floor < Gpu && file != QLatin1String("app/GlobalState.cpp");
        return file.endsWith(QLatin1String(".h")) || below
            ? QStringLiteral("only sources of floor 2 and higher may know Global")
            : QString();
    }
    if (own) {
        const std::optional<Floor> target = floorOf(header);
        if (!target)
            return QStringLiteral("in no folder of the table");
        return mayInclude()[floor].contains(*target) || readsOptionFlags(file, header)
            ? QString()
            : QStringLiteral("on a forbidden floor");
    }
    static const QRegularExpression module(
        QStringLiteral("^Qt(Core|Gui|Widgets|OpenGL|Network|Test)$"));
    static const QRegularExpression display(
        QStringLiteral("^Q(OpenGL|Window$|Surface|OffscreenSurface|GuiApplication|Screen)"));
    if (module.match(header).hasMatch())
        return QStringLiteral("a whole module");
    if (floor < Widgets && isWidgetHeader(header))
        return QStringLiteral("a widget");
    if ((floor == Core || floor == Import) && display.match(header).hasMatch())
        return QStringLiteral("needs a display");
    if (floor != Import && header.startsWith(QLatin1String("Alembic/")))
        return QStringLiteral("the archive library, which only the reader knows");
    return QString();
}

QByteArray content(const QString &path)
{
    QFile file(QStringLiteral(SOURCE_DIR "/") + path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Headers and sources of the table's folders, as paths from the repository's root.
QStringList projectFiles()
{
    const QDir root(QStringLiteral(SOURCE_DIR));
    QStringList files;
    for (const QString &folder : floorTable().keys()) {
        for (const QString &name :
             QDir(root.filePath(folder))
                 .entryList({ QStringLiteral("*.h"), QStringLiteral("*.cpp") }))
            files.append(folder + QLatin1Char('/') + name);
    }
    return files;
}

struct Include {
    QString header;
    bool own;
};

QList<Include> includesOf(const QString &path)
{
    static const QRegularExpression line(
        QStringLiteral("^\\s*#\\s*include\\s*([<\"])([^>\"]+)[>\"]"),
        QRegularExpression::MultilineOption);
    QList<Include> includes;
    auto match = line.globalMatch(QString::fromUtf8(content(path)));
    while (match.hasNext()) {
        const QRegularExpressionMatch found = match.next();
        includes.append({ found.captured(2), found.captured(1) == QLatin1String("\"") });
    }
    return includes;
}

} // namespace

class IncludeFloorsTest : public QObject {
    Q_OBJECT

private slots:
    void rules_data();
    void rules();
    void everyInclude();
    void ownHeaderComesFirst();
    void tableMatchesTheTargets();
};

void IncludeFloorsTest::rules_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("header");
    QTest::addColumn<bool>("own");
    QTest::addColumn<bool>("allowed");
    const auto row = [](const char *file, const char *header, bool own, bool allowed) {
        QTest::addRow("%s: %s", file, header)
            << QString::fromLatin1(file) << QString::fromLatin1(header) << own << allowed;
    };
    row("layers/Layer.cpp", "layers/Topology.h", true, true);
    row("layers/Topology.cpp", "layers/Layer.h", true, false);
    row("widgets/Icon.cpp", "gpu/GPUMesh.h", true, false);
    row("gpu/GPUMesh.h", "app/Global.h", true, false);
    row("gpu/GPUMesh.cpp", "app/Global.h", true, true);
    row("layers/Envelope.cpp", "app/Global.h", true, false);
    row("app/GlobalState.cpp", "app/Global.h", true, true);
    row("viewport/Viewport.cpp", "tests/support/Compare.h", true, false);
    row("shapes/ObjReader.cpp", "QWidget", false, false);
    row("shapes/ObjReader.cpp", "QOpenGLContext", false, false);
    row("shapes/ObjReader.cpp", "QVector3D", false, true);
    row("layers/Layer.cpp", "QtWidgets", false, false);
    row("gpu/GPUMesh.cpp", "Alembic/Abc/All.h", false, false);
}

void IncludeFloorsTest::rules()
{
    QFETCH(QString, file);
    QFETCH(QString, header);
    QFETCH(bool, own);
    QTEST(fault(file, header, own).isEmpty(), "allowed");
}

void IncludeFloorsTest::everyInclude()
{
    QVERIFY(projectFiles().size() > 80);
    QStringList faults;
    for (const QString &file : projectFiles()) {
        for (const Include &include : includesOf(file)) {
            const QString reason = fault(file, include.header, include.own);
            if (!reason.isEmpty())
                faults << file + QStringLiteral(" includes ") + include.header +
                        QStringLiteral(": ") + reason;
        }
    }
    QVERIFY2(faults.isEmpty(), qPrintable(faults.join(QLatin1Char('\n'))));
}

void IncludeFloorsTest::ownHeaderComesFirst()
{
    const QStringList files = projectFiles();
    for (const QString &file : files) {
        const QString header = file.section(QLatin1Char('.'), 0, 0) + QStringLiteral(".h");
        if (!file.endsWith(QLatin1String(".cpp")) || !files.contains(header))
            continue;
        const QList<Include> includes = includesOf(file);
        QVERIFY2(!includes.isEmpty() && includes.front().header == header, qPrintable(file));
    }
}

void IncludeFloorsTest::tableMatchesTheTargets()
{
    const QStringList targets = { QStringLiteral("core"),   QStringLiteral("import"),
                                  QStringLiteral("gpu"),    QStringLiteral("widgets"),
                                  QStringLiteral("panels"), QStringLiteral("shell") };
    static const QRegularExpression list(
        QStringLiteral("target_sources\\((\\w+)\\s+PRIVATE\\s+([^)]*)\\)"));
    int sources = 0;
    for (const QString &folder : floorTable().keys()) {
        const QString text = QString::fromUtf8(content(folder + QStringLiteral("/CMakeLists.txt")));
        auto match = list.globalMatch(text);
        while (match.hasNext()) {
            const QRegularExpressionMatch found = match.next();
            for (const QString &name : found.captured(2).split(
                     QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts)) {
                const QString path = folder + QLatin1Char('/') + name;
                QVERIFY2(floorOf(path) == Floor(targets.indexOf(found.captured(1))),
                         qPrintable(path));
                ++sources;
            }
        }
    }
    QVERIFY(sources > 50);
}

QTEST_GUILESS_MAIN(IncludeFloorsTest)
#include "IncludeFloorsTest.moc"
