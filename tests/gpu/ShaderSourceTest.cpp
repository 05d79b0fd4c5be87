#include "gpu/ShaderSource.h"
#include "gpu/BrushType.h"
#include "gpu/BufferTable.h"
#include "shaders/computeShaders/common/bindings.glsl"
#include "shaders/computeShaders/common/brushes.glsl"

#include <QTemporaryDir>
#include <QtTest>

/// The shaders' text and the numbers that C++ and GLSL share.
class ShaderSourceTest : public QObject {
    Q_OBJECT

private slots:
    void bindingsAreTheRows();
    void brushNumbersAgree();
    void groupCounts();
    void expandsEachFileOnce();
    void namesTheMissingFile();

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

void ShaderSourceTest::bindingsAreTheRows()
{
    const QByteArray text =
        loadShader(QStringLiteral(SOURCE_DIR "/shaders/computeShaders/common/bindings.glsl")).text;
    for (size_t i = 0; i < kBufferTable.size(); ++i) {
        QString name = kBufferTable[i].semantic; // triangleHit is TRIANGLE_HIT there
        name.replace(QRegularExpression(QStringLiteral("([A-Z])")), QStringLiteral("_\\1"));
        const QString line = QStringLiteral("#define %1_BINDING %2\n").arg(name.toUpper()).arg(i);
        QVERIFY2(text.contains(line.toUtf8()), qPrintable(line));
    }
    QCOMPARE(GROUP_SIZE, kGroupSize);
}

void ShaderSourceTest::brushNumbersAgree()
{
    const std::pair<BrushType, int> numbers[] = {
        { BrushType::Clay, CLAY },         { BrushType::Move, MOVE },
        { BrushType::Standard, STANDARD }, { BrushType::Crease, CREASE },
        { BrushType::Inflate, INFLATE },   { BrushType::Fix, FIX },
        { BrushType::Flatten, FLATTEN },   { BrushType::Erase, ERASE },
        { BrushType::Mask, MASK },         { BrushType::MaskSmooth, MASK_SMOOTH },
        { BrushType::Smooth, SMOOTH }
    };
    for (const auto &[type, number] : numbers)
        QCOMPARE(int(type), number);
}

void ShaderSourceTest::groupCounts()
{
    QCOMPARE(groupCount(0), 1);
    QCOMPARE(groupCount(1024), 2);
    QCOMPARE(secondPassGroupCount(0), 0);
    QCOMPARE(secondPassGroupCount(1 << 20), 1);
    QCOMPARE(secondPassGroupCount((1 << 20) + 1), 2);
    QCOMPARE(secondPassGroupCount((1 << 24) + 1), 17); // a float would lose the last item
}

/// b includes a, relative to the main file's folder; the second mention of a adds nothing.
void ShaderSourceTest::expandsEachFileOnce()
{
    QVERIFY(QDir(m_folder.path()).mkpath(QStringLiteral("common")));
    write("common/a.glsl", "int a;");
    write("common/b.glsl", "#include \"common/a.glsl\"\r\nint b;\r\n");
    const QString main = write("main.glsl",
                               "#version 430 core\n"
                               "#include \"common/b.glsl\"\n"
                               "  #include \"common/a.glsl\"\n"
                               "void main() {}\n");
    QCOMPARE(loadShader(main).text,
             QByteArray("#version 430 core\n#line 2 0\n#line 1 1\n#line 1 2\nint a;\n"
                        "#line 2 1\nint b;\n#line 3 0\n#line 4 0\nvoid main() {}\n"));
    QVERIFY(loadShader(main).files.value(2).endsWith(QLatin1String("common/a.glsl")));
}

void ShaderSourceTest::namesTheMissingFile()
{
    const QString main = write("main.glsl", "#version 430 core\n#include \"common/gone.glsl\"\n");
    QVERIFY(loadShader(main).text.isEmpty());
    QVERIFY(loadShader(main).error.contains(QLatin1String("common/gone.glsl")));
}

QTEST_GUILESS_MAIN(ShaderSourceTest)
#include "ShaderSourceTest.moc"
