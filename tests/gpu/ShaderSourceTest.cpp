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

    /// Drivers differ in what they let pass. The text is what the program hands to the driver, each
    /// draw program's stages linked with each other.
    void referenceCompilerTakesThem()
    {
        const QString compiler = QStandardPaths::findExecutable(QStringLiteral("glslangValidator"));
#ifndef REQUIRE_GL
        if (compiler.isEmpty())
            QSKIP("no reference compiler here");
#endif
        const auto stage = [this](const QString &path, const char *suffix) {
            const ShaderSource source = loadShader(path);
            return source.text.startsWith("#version 430 core\n")
                ? write(QFileInfo(path).baseName() + QLatin1String(suffix), source.text)
                : path + QLatin1String(" is not for 4.3 core");
        };
        int programs = 0;
        for (const char *folder :
             { ":/computeShaders/ComputeShaders", ":/drawShaders/DrawShaders" }) {
            for (QDirIterator files(QLatin1String(folder), QDir::Files); files.hasNext();) {
                QString path = files.next();
                QStringList stages(QStringLiteral("-l"));
                if (path.startsWith(QStringLiteral(":/compute")))
                    stages << stage(path, ".comp");
                else if (path.contains(QStringLiteral("vertex")))
                    stages << stage(path, ".vert")
                           << stage(
                                  path.replace(QLatin1String("vertex"), QLatin1String("fragment")),
                                  ".frag");
                else
                    continue; // with its vertex shader
                QProcess process;
                process.start(compiler, stages);
                QVERIFY2(process.waitForFinished() && process.exitCode() == 0,
                         path.toUtf8() + process.readAllStandardOutput());
                ++programs;
            }
        }
        QVERIFY(programs >= 17);
    }
};

QTEST_GUILESS_MAIN(ShaderSourceTest)
#include "ShaderSourceTest.moc"
