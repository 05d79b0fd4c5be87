#include <QDir>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QtTest>

/// Reads the #include lines of every source and holds them to the floors of docs/architecture.md.
/// A source's floor is the target that builds it; a header alone has that of whoever includes it.

namespace {

const QStringList kTargets =
    QStringLiteral("core import gpu bake widgets panels shell").split(QLatin1Char(' '));
enum Floor { Core, Import, Gpu, Bake, Widgets, Panels, Shell };

QString content(const QString &path)
{
    QFile file(QStringLiteral(SOURCE_DIR "/") + path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

/// By path without suffix, like "layers/Topology".
const QMap<QString, Floor> &floors()
{
    static const QMap<QString, Floor> table = [] {
        QMap<QString, Floor> found;
        static const QRegularExpression list(
            QStringLiteral("target_sources\\((\\w+)\\s+PRIVATE\\s+([^)]*)\\)"));
        static const QRegularExpression source(QStringLiteral("(\\w+)\\.cpp"));
        for (const QString &folder : QDir(QStringLiteral(SOURCE_DIR)).entryList(QDir::Dirs)) {
            auto lists = list.globalMatch(content(folder + QStringLiteral("/CMakeLists.txt")));
            while (lists.hasNext()) {
                const QRegularExpressionMatch target = lists.next();
                auto sources = source.globalMatch(target.captured(2));
                while (sources.hasNext())
                    found[folder + QLatin1Char('/') + sources.next().captured(1)] =
                        Floor(kTargets.indexOf(target.captured(1)));
            }
        }
        return found;
    }();
    return table;
}

bool mayInclude(Floor from, Floor to)
{
    if (to == Bake) // a program of its own
        return from == Bake;
    return from == Widgets ? to == Core || to == Widgets : to <= from;
}

/// The option flags are the main window's; their source and the two of a stroke, which read them as
/// they read Global, lie below it.
bool readsOptionFlags(const QString &file, const QString &header)
{
    return header == QLatin1String("app/MainWindow") &&
        (file == QLatin1String("app/MainWindowOptions.cpp") ||
         file == QLatin1String("layers/Sculpt.cpp") ||
         file == QLatin1String("viewport/ViewportStroke.cpp"));
}

/// Empty when a file of that floor may include the header of the system or a library.
QString foreignFault(Floor floor, const QString &header)
{
    static const QDir widgets(QLibraryInfo::location(QLibraryInfo::HeadersPath) +
                              QStringLiteral("/QtWidgets"));
    static const QRegularExpression module(
        QStringLiteral("^Qt(Core|Gui|Widgets|OpenGL|Network|Test)$"));
    static const QRegularExpression display(
        QStringLiteral("^Q(OpenGL|Window$|Surface|OffscreenSurface|GuiApplication|Screen)"));
    if (module.match(header).hasMatch())
        return QStringLiteral("a whole module");
    if (floor < Widgets && widgets.exists(header))
        return QStringLiteral("a widget");
    if (floor < Gpu && display.match(header).hasMatch())
        return QStringLiteral("needs a display");
    if (floor != Import && floor != Bake && header.startsWith(QLatin1String("Alembic/")))
        return QStringLiteral("the archive library, which only reader and baker know");
    return QString();
}

/// Empty when the file may include the project's header, given without suffix.
QString ownFault(const QString &file, Floor floor, const QString &header)
{
    if (header == QLatin1String("app/Global")) {
        const bool below = floor < Gpu && file != QLatin1String("app/GlobalState.cpp");
        const bool own = file.startsWith(header);
        return !own && (below || file.endsWith(QLatin1String(".h")))
            ? QStringLiteral("only sources of floor 2 and higher may know Global")
            : QString();
    }
    return mayInclude(floor, floors().value(header, floor)) || readsOptionFlags(file, header)
        ? QString()
        : QStringLiteral("on a forbidden floor");
}

QStringList faultsOf(const QString &file, Floor floor)
{
    static const QRegularExpression line(
        QStringLiteral("^\\s*#\\s*include\\s*([<\"])([^>\"]+)[>\"]"),
        QRegularExpression::MultilineOption);
    QStringList faults;
    auto match = line.globalMatch(content(file));
    while (match.hasNext()) {
        const QRegularExpressionMatch found = match.next();
        const QString header = found.captured(2),
                      name = QString(header).remove(QLatin1String(".h"));
        const bool own = found.captured(1) == QLatin1String("\"");
        const QString fault = own ? ownFault(file, floor, name) : foreignFault(floor, header);
        if (!fault.isEmpty())
            faults << QStringLiteral("%1 includes %2: %3").arg(file, header, fault);
        if (own && !floors().contains(name))
            faults << faultsOf(header, floor);
    }
    return faults;
}

} // namespace

class IncludeFloorsTest : public QObject {
    Q_OBJECT

private slots:
    void everyInclude()
    {
        QVERIFY(floors().size() > 50);
        QStringList faults;
        for (auto file = floors().begin(); file != floors().end(); ++file) {
            for (const char *suffix : { ".h", ".cpp" })
                faults << faultsOf(file.key() + QLatin1String(suffix), file.value());
        }
        QVERIFY2(faults.isEmpty(), qPrintable(faults.join(QLatin1Char('\n'))));
    }
};

QTEST_GUILESS_MAIN(IncludeFloorsTest)
#include "IncludeFloorsTest.moc"
