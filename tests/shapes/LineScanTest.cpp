#include "shapes/LineScan.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <bit>
#include <clocale>
#include <cstdio>
#include <random>

namespace {

struct Scanned {
    int count = 0; // values that scanned
    float floats[3] = { -7.0f, -7.0f, -7.0f };
    int integers[3] = { -7, -7, -7 };
    char word[300] = {};
};

bool same(const Scanned &a, const Scanned &b)
{
    for (int i = 0; i < 3; ++i) // bits: a NaN has to agree too, and so has the sign of a zero
        if (std::bit_cast<quint32>(a.floats[i]) != std::bit_cast<quint32>(b.floats[i]) ||
            a.integers[i] != b.integers[i])
            return false;
    return a.count == b.count && qstrcmp(a.word, b.word) == 0;
}

// "%f %f %f %s" shows with its word what the numbers took.
Scanned floatsOf(const std::string &line)
{
    LineScan scan(line);
    Scanned result;
    while (result.count < 3 && scan.number(result.floats[result.count]))
        ++result.count;
    if (result.count == 3) {
        const std::string word(scan.word());
        result.count += !word.empty();
        qstrncpy(result.word, word.c_str(), sizeof result.word);
    }
    return result;
}

Scanned libraryFloatsOf(const std::string &line)
{
    Scanned result;
    float(&f)[3] = result.floats;
    result.count =
        qMax(0, std::sscanf(line.c_str(), "%f %f %f %299s", &f[0], &f[1], &f[2], result.word));
    return result;
}

Scanned cornerOf(const std::string &line)
{
    LineScan scan(line);
    Scanned result;
    while (result.count < 3 && (result.count == 0 || scan.literal("/")) &&
           scan.integer(result.integers[result.count]))
        ++result.count;
    return result;
}

Scanned libraryCornerOf(const std::string &line)
{
    Scanned result;
    int(&n)[3] = result.integers;
    result.count = qMax(0, std::sscanf(line.c_str(), "%d/%d/%d", &n[0], &n[1], &n[2]));
    return result;
}

std::string randomText(std::mt19937 &random, std::string_view letters)
{
    std::string text(random() % 24, ' ');
    for (char &letter : text)
        letter = letters[random() % letters.size()];
    return text;
}

} // namespace

/// The scan against the C library's own.
class LineScanTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { std::setlocale(LC_ALL, "C"); } // Qt takes the user's
    void oddNumbers();
    void randomNumbers();
    void corners();
    void germanLocale();
};

void LineScanTest::oddNumbers()
{
    const QByteArray lines =
        "1 2 3|+1 -2 +.5|1. .25 -0|1e3 1E-3 1.5e+2 rest|1e 2 3 x|1e+ 2 3 x|1e+-5 3|"
        "1ee 2 3|1e5e3 2 3|1.2.3 4|1e2.5 3|-. 1|+-1|--1|+|. 1|\t1\v2\f3\r|1,5 2 3|"
        "1/2/3|nan -NaN nan(12)|nano 1|na 1|inf -INFINITY infx|infi 1|infinit 1|in 1|"
        "0x10 0X1.8p1 0x.8 r|0x 1|-0xp1 1|0x. 1 2|0x1p 2 3 x|0x1pz|00x1 2|"
        "1e99 -1e99 1e-99 r|1e-42 2 3|3.40282357e38 3.4028236e38 1.17549435e-38|"
        "16777217 0.1 8388608.5|"
        "1234567890123456789012345678901234567890123e-40 0.000000000000000000001 9||"
        "   |1 2|1 2 3\xC3\xA4|1\240 2 3|"
        "999999999999999999999999999999999999999999e+ 1 2";
    for (const QByteArray &line : lines.split('|'))
        QVERIFY2(same(floatsOf(line.toStdString()), libraryFloatsOf(line.toStdString())),
                 line.constData());
}

void LineScanTest::randomNumbers()
{
    std::mt19937 random(20);
    for (int i = 0; i < 300000; ++i) {
        const std::string line = randomText(random, "0011235799..eE+--xXpPnaif \t\r/,");
        QVERIFY2(same(floatsOf(line), libraryFloatsOf(line)), line.c_str());
    }
}

void LineScanTest::corners()
{
    std::mt19937 random(22);
    for (int i = 0; i < 200000; ++i) {
        const std::string line = randomText(random, "0123456789//////-+\r\va").substr(0, 9);
        QVERIFY2(same(cornerOf(line), libraryCornerOf(line)), line.c_str());
    }
}

void LineScanTest::germanLocale()
{
    const QTemporaryDir locales;
    const QString name = QStringLiteral("de_DE.UTF-8");
    QProcess::execute(QStringLiteral("localedef"),
                      { QStringLiteral("-i"), QStringLiteral("de_DE"), QStringLiteral("-f"),
                        QStringLiteral("UTF-8"), locales.filePath(name) });
    qputenv("LOCPATH", locales.path().toLocal8Bit());
    const bool german = std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr;
    qunsetenv("LOCPATH");
    if (!german)
        QSKIP("no German locale here, and none can be made");
    const Scanned comma = libraryFloatsOf("1,5 0x1.8p1 3");
    const Scanned scanned = floatsOf("1.5 0x1.8p1 1.5e99");
    const Scanned stopped = floatsOf("1,5");
    std::setlocale(LC_ALL, "C");
    QCOMPARE(comma.floats[0], 1.5f); // the locale does change what the C library reads
    QVERIFY(same(scanned, libraryFloatsOf("1.5 0x1.8p1 1.5e99")));
    QCOMPARE(stopped.floats[0], 1.0f);
}

QTEST_APPLESS_MAIN(LineScanTest)
#include "LineScanTest.moc"
