#include "gpu/ShaderSource.h"

#include <QTemporaryDir>
#include <QtTest>

class ShaderSourceTest : public QObject {
    Q_OBJECT

private slots:
    void init()
    {
        QVERIFY(m_folder.isValid());
        QVERIFY(QDir(m_folder.path()).mkpath(QStringLiteral("common")));
    }
    void expandsEachFileOnce();
    void namesTheMissingFile();
    void readsWindowsLineEnds();

private:
    QString write(const char *name, const QByteArray &text)
    {
        QFile file(m_folder.filePath(QLatin1String(name)));
        if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
            qFatal("can't write %s", name);
        return file.fileName();
    }

    QTemporaryDir m_folder;
};

void ShaderSourceTest::expandsEachFileOnce()
{
    // b includes a, relative to the main file's folder; the second mention of a adds nothing.
    write("common/a.glsl", "int a;");
    write("common/b.glsl", "#include \"common/a.glsl\"\nint b;\n");
    const QString main = write("main.glsl",
                               "#version 430 core\n"
                               "#include \"common/b.glsl\"\n"
                               "  #include \"common/a.glsl\"\n"
                               "void main() {}\n");
    const ShaderSource source = loadShader(main);
    QVERIFY(source.error.isEmpty());
    QCOMPARE(source.text,
             QByteArray("#version 430 core\n"
                        "#line 2 0\n"
                        "#line 1 1\n"
                        "#line 1 2\n"
                        "int a;\n"
                        "#line 2 1\n"
                        "int b;\n"
                        "#line 3 0\n"
                        "#line 4 0\n"
                        "void main() {}\n"));
    QCOMPARE(source.files.size(), 3);
    QVERIFY(source.files[1].endsWith(QLatin1String("common/b.glsl")));
    QVERIFY(source.files[2].endsWith(QLatin1String("common/a.glsl")));
}

void ShaderSourceTest::namesTheMissingFile()
{
    const QString main = write("main.glsl", "#version 430 core\n#include \"common/gone.glsl\"\n");
    const ShaderSource source = loadShader(main);
    QVERIFY(source.text.isEmpty());
    QVERIFY(source.error.contains(QLatin1String("common/gone.glsl")));
    QVERIFY(loadShader(QStringLiteral("/nowhere.glsl")).error.contains(QLatin1String("nowhere")));
}

void ShaderSourceTest::readsWindowsLineEnds()
{
    write("common/c.glsl", "int c;\r\n");
    const QString main = write("main.glsl", "#version 430 core\r\n#include \"common/c.glsl\"\r\n");
    const QByteArray text = loadShader(main).text;
    QVERIFY(text.contains("int c;\n"));
    QVERIFY(!text.contains('\r'));
}

QTEST_GUILESS_MAIN(ShaderSourceTest)
#include "ShaderSourceTest.moc"
