#include <QDir>
#include <QtTest>

/// Reads the #include lines of every source and holds them to the floors of docs/architecture.md.
/// A source's floor is the target that builds it; a header alone has that of whoever includes it.
class IncludeFloorsTest : public QObject {
    Q_OBJECT

private:
    enum Floor { Core, Import, Gpu, Bake, Widgets, Panels, Shell };
    QMap<QString, int> m_floors; ///< by path without suffix, like "layers/Topology"

    static QString content(const QString &path)
    {
        QFile file(QStringLiteral(SOURCE_DIR "/") + path);
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }
    static bool matches(const char *pattern, const QString &text)
    {
        return QRegularExpression(QLatin1String(pattern)).match(text).hasMatch();
    }

    /// The option flags are the main window's; their source and the two of a stroke, which read
    /// them as they read Global, lie below it.
    bool mayInclude(const QString &file, int floor, const QString &header) const
    {
        if (header == QLatin1String("app/Global"))
            return file.startsWith(header) ||
                (floor >= Gpu && file.endsWith(QLatin1String(".cpp")));
        if (header == QLatin1String("app/MainWindow") &&
            matches("^(app/MainWindowOptions|layers/Sculpt|viewport/ViewportStroke)\\.cpp$", file))
            return true;
        const int to = m_floors.value(header, floor);
        if (to == Bake) // a program of its own
            return floor == Bake;
        return floor == Widgets ? to == Core || to == Widgets : to <= floor;
    }
    /// A header of the system or a library: no whole module; what needs a display and the archive
    /// library only where they belong. Widgets are not on the lower floors' paths.
    static bool mayInclude(int floor, const QString &header)
    {
        const char *const display =
            "^Q(OpenGL|Window$|Surface|OffscreenSurface|GuiApplication|Screen)";
        return !matches("^Qt(Core|Gui|Widgets|OpenGL|Network|Test)$", header) &&
            (floor >= Gpu || !matches(display, header)) &&
            (floor == Import || floor == Bake || !header.startsWith(QLatin1String("Alembic/")));
    }
    QStringList faultsOf(const QString &file, int floor) const
    {
        static const QRegularExpression line(
            QStringLiteral("^\\s*#\\s*include\\s*([<\"])([^>\"]+?)(\\.h)?[>\"]"),
            QRegularExpression::MultilineOption);
        QStringList faults;
        for (auto match = line.globalMatch(content(file)); match.hasNext();) {
            const QRegularExpressionMatch found = match.next();
            const bool own = found.captured(1) == QLatin1String("\"");
            const QString name = found.captured(2);
            if (own ? !mayInclude(file, floor, name) : !mayInclude(floor, name))
                faults << QStringLiteral("%1 includes %2").arg(file, name);
            if (own && !m_floors.contains(name))
                faults << faultsOf(name + found.captured(3), floor);
        }
        return faults;
    }

private slots:
    void everyInclude()
    {
        const QStringList targets =
            QStringLiteral("core import gpu bake widgets panels shell").split(QLatin1Char(' '));
        const QRegularExpression list(
            QStringLiteral("target_sources\\((\\w+)\\s+PRIVATE\\s+([^)]*)\\)"));
        const QRegularExpression source(QStringLiteral("(\\w+)\\.cpp"));
        for (const QString &folder : QDir(QStringLiteral(SOURCE_DIR)).entryList(QDir::Dirs)) {
            auto lists = list.globalMatch(content(folder + QStringLiteral("/CMakeLists.txt")));
            while (lists.hasNext()) {
                const QRegularExpressionMatch target = lists.next();
                for (auto it = source.globalMatch(target.captured(2)); it.hasNext();)
                    m_floors[folder + QLatin1Char('/') + it.next().captured(1)] =
                        targets.indexOf(target.captured(1));
            }
        }
        QVERIFY(m_floors.size() > 50);
        QStringList faults;
        for (auto file = m_floors.begin(); file != m_floors.end(); ++file)
            for (const char *suffix : { ".h", ".cpp" })
                faults << faultsOf(file.key() + QLatin1String(suffix), file.value());
        QVERIFY2(faults.isEmpty(), qPrintable(faults.join(QLatin1Char('\n'))));
    }

    /// Each picture and file that the documents show is there.
    void everyLinkOfTheDocuments()
    {
        const QRegularExpression link(QStringLiteral(R"(\]\(([^):#]+)\))"));
        for (const QString &document :
             { QStringLiteral("README.md"), QStringLiteral("docs/guide.md") }) {
            auto match = link.globalMatch(content(document));
            QVERIFY(match.hasNext());
            const QString folder = QFileInfo(document).path();
            while (match.hasNext()) {
                const QString path = folder + QLatin1Char('/') + match.next().captured(1);
                QVERIFY2(!content(path).isEmpty(), qPrintable(path));
            }
        }
    }
};

QTEST_GUILESS_MAIN(IncludeFloorsTest)
#include "IncludeFloorsTest.moc"
