#include "gpu/ShaderSource.h"

#include <QDirIterator>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

/// The shaders' text, joined from its files.
class ShaderSourceTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_folder;

    QString write(const QString &name, const QByteArray &text)
    {
        QFile file(m_folder.filePath(name));
        return file.open(QIODevice::WriteOnly) && file.write(text) == text.size() ? file.fileName()
                                                                                  : QString();
    }

private slots:
    /// b includes a, relative to the main file's folder; the second mention of a adds nothing.
    void expandsEachFileOnce()
    {
        QVERIFY(QDir(m_folder.path()).mkdir(QStringLiteral("common")));
        write(QStringLiteral("common/a.glsl"), "int a;");
        write(QStringLiteral("common/b.glsl"), "#include \"common/a.glsl\"\r\nint b;\r\n");
        const QString main = write(QStringLiteral("main.glsl"),
                                   "#version 430 core\n#include \"common/b.glsl\"\n"
                                   "  #include \"common/a.glsl\"\nvoid main() {}\n");
        const ShaderSource source = loadShader(main, "#define A 1\n");
        QCOMPARE(source.text,
                 QByteArray("#version 430 core\n#define A 1\n#line 2 0\n#line 1 1\n#line 1 2\n"
                            "int a;\n#line 2 1\nint b;\n#line 3 0\n#line 4 0\nvoid main() {}\n"));
        QVERIFY(source.files.value(2).endsWith(QStringLiteral("common/a.glsl")));
        QVERIFY(QFile::remove(m_folder.filePath(QStringLiteral("common/a.glsl"))));
        QVERIFY(loadShader(main).text.isEmpty());
        QVERIFY(loadShader(main).error.contains(QStringLiteral("common/a.glsl")));
    }

    /// Drivers differ in what they let pass. The text is what the program hands to the driver.
    void referenceCompilerTakesThem()
    {
        const QString compiler = QStandardPaths::findExecutable(QStringLiteral("glslangValidator"));
#ifndef REQUIRE_GL
        if (compiler.isEmpty())
            QSKIP("no reference compiler here");
#endif
        QStringList stages;
        for (QDirIterator files(QStringLiteral(":/"), { QStringLiteral("*.glsl") }, QDir::Files,
                                QDirIterator::Subdirectories);
             files.hasNext();) {
            const QString path = files.next(), name = QFileInfo(path).baseName();
            const char *const kind = path.startsWith(QLatin1String(":/compute")) ? ".comp"
                : name.contains(QLatin1String("vertex"))                         ? ".vert"
                                                                                 : ".frag";
            const QByteArray text = loadShader(path).text;
            if (text.startsWith("#version 430 core\n"))
                stages << write(name + QLatin1String(kind), text);
        }
        QVERIFY(stages.size() >= 23 && !stages.contains(QString()));
        QProcess process;
        process.start(compiler, stages);
        QVERIFY2(process.waitForFinished() && process.exitCode() == 0,
                 process.readAllStandardOutput());
    }
};

QTEST_GUILESS_MAIN(ShaderSourceTest)
#include "ShaderSourceTest.moc"
