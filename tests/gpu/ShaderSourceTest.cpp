#include "gpu/ShaderSource.h"

#include <QDirIterator>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

/// The shaders' text, joined from its files.
class ShaderSourceTest : public QObject {
    Q_OBJECT

private slots:
    void expandsEachFileOnce();
    void namesTheMissingFile();
    void referenceCompilerTakesThem();

private:
    QString write(const QString &name, const QByteArray &text)
    {
        QFile file(m_folder.filePath(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
            qFatal("can't write %s", qPrintable(name));
        return file.fileName();
    }

    QTemporaryDir m_folder;
};

/// b includes a, relative to the main file's folder; the second mention of a adds nothing.
void ShaderSourceTest::expandsEachFileOnce()
{
    QVERIFY(QDir(m_folder.path()).mkpath(QStringLiteral("common")));
    write(QStringLiteral("common/a.glsl"), "int a;");
    write(QStringLiteral("common/b.glsl"), "#include \"common/a.glsl\"\r\nint b;\r\n");
    const QString main = write(QStringLiteral("main.glsl"),
                               "#version 430 core\n"
                               "#include \"common/b.glsl\"\n"
                               "  #include \"common/a.glsl\"\n"
                               "void main() {}\n");
    QCOMPARE(loadShader(main).text,
             QByteArray("#version 430 core\n#line 2 0\n#line 1 1\n#line 1 2\nint a;\n"
                        "#line 2 1\nint b;\n#line 3 0\n#line 4 0\nvoid main() {}\n"));
    QVERIFY(loadShader(main).files.value(2).endsWith(QLatin1String("common/a.glsl")));
    QVERIFY(loadShader(main, "#define A 1\n").text.startsWith("#version 430 core\n#define A 1\n"));
}

void ShaderSourceTest::namesTheMissingFile()
{
    const QString main =
        write(QStringLiteral("main.glsl"), "#version 430 core\n#include \"common/gone.glsl\"\n");
    QVERIFY(loadShader(main).text.isEmpty());
    QVERIFY(loadShader(main).error.contains(QLatin1String("common/gone.glsl")));
}

/// Drivers differ in what they let pass. The text is what the program hands to the driver, each
/// draw program's stages linked with each other.
void ShaderSourceTest::referenceCompilerTakesThem()
{
    const QString compiler = QStandardPaths::findExecutable(QStringLiteral("glslangValidator"));
#ifndef REQUIRE_GL
    if (compiler.isEmpty())
        QSKIP("no reference compiler here");
#endif
    const auto stage = [this](const QString &path, const QString &suffix) {
        const ShaderSource source = loadShader(path);
        return source.text.startsWith("#version 430 core\n")
            ? write(QFileInfo(path).baseName() + suffix, source.text)
            : path + QStringLiteral(" is not for 4.3 core");
    };
    int programs = 0;
    for (const char *folder : { ":/computeShaders/ComputeShaders", ":/drawShaders/DrawShaders" }) {
        for (QDirIterator files(QLatin1String(folder), QDir::Files); files.hasNext();) {
            QString path = files.next();
            QStringList stages(QStringLiteral("-l"));
            if (path.startsWith(QLatin1String(":/compute")))
                stages << stage(path, QStringLiteral(".comp"));
            else if (path.contains(QLatin1String("vertex")))
                stages << stage(path, QStringLiteral(".vert"))
                       << stage(path.replace(QLatin1String("vertex"), QLatin1String("fragment")),
                                QStringLiteral(".frag"));
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

QTEST_GUILESS_MAIN(ShaderSourceTest)
#include "ShaderSourceTest.moc"
