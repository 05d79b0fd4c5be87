#include "gpu/ImageSequence.h"
#include "layers/StrokeBrush.h"
#include "viewport/InteractionMode.h"
#include "viewport/StrengthLabel.h"

#include <QTemporaryDir>
#include <QtTest>

Q_DECLARE_METATYPE(Qt::MouseButtons)
Q_DECLARE_METATYPE(Qt::KeyboardModifiers)
Q_DECLARE_METATYPE(InteractionMode)
Q_DECLARE_METATYPE(StrokeConditions)
Q_DECLARE_METATYPE(BrushType)

class InteractionTest : public QObject {
    Q_OBJECT

private slots:
    void mode_data()
    {
        QTest::addColumn<Qt::MouseButtons>("buttons");
        QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
        QTest::addColumn<bool>("layer");
        QTest::addColumn<InteractionMode>("mode");
        const auto row = [](const char *name, Qt::MouseButtons buttons,
                            Qt::KeyboardModifiers modifiers, bool layer, InteractionMode mode) {
            QTest::newRow(name) << buttons << modifiers << layer << mode;
        };
        const Qt::MouseButtons left = Qt::LeftButton, middle = Qt::MiddleButton;
        const Qt::MouseButtons right = Qt::RightButton;
        const Qt::KeyboardModifiers none, shift = Qt::ShiftModifier, control = Qt::ControlModifier;
        const Qt::KeyboardModifiers alt = Qt::AltModifier;
        row("left", left, none, true, InteractionMode::Stroke);
        row("left, no layer", left, none, false, InteractionMode::None);
        row("shift left", left, shift, true, InteractionMode::Stroke);
        row("control left", left, control, true, InteractionMode::Stroke);
        row("wipe", left, shift | control, false, InteractionMode::Compare);
        row("wipe beats alt", left, shift | control | alt, true, InteractionMode::Compare);
        row("right", right, none, true, InteractionMode::Light);
        row("control right", right, control, false, InteractionMode::Light);
        row("alt right", right, alt, true, InteractionMode::Navigate);
        row("middle", middle, none, false, InteractionMode::BrushRadius);
        row("shift middle", middle, shift, false, InteractionMode::BrushStrength);
        row("control middle", middle, control, true, InteractionMode::BrushRadius);
        row("alt left", left, alt, true, InteractionMode::Navigate);
        row("alt and two buttons", left | right, alt, true, InteractionMode::Navigate);
        row("two buttons", left | right, none, true, InteractionMode::None);
        row("shift control right", right, shift | control, true, InteractionMode::Light);
        row("a fourth button", Qt::BackButton, none, true, InteractionMode::None);
    }
    void mode()
    {
        QFETCH(const Qt::MouseButtons, buttons);
        QFETCH(const Qt::KeyboardModifiers, modifiers);
        QFETCH(const bool, layer);
        QTEST(chooseMode(buttons, modifiers, layer), "mode");
    }

    void brush_data()
    {
        QTest::addColumn<int>("current");
        QTest::addColumn<StrokeConditions>("conditions");
        QTest::addColumn<BrushType>("brush");
        StrokeConditions free;
        free.hit = free.sculptLayer = free.restPointsFit = true;
        StrokeConditions shift = free, miss = free, mush = free, unreferenced = free;
        shift.shift = true;
        miss.hit = false;
        miss.shift = true;
        mush.sculptLayer = false;
        unreferenced.restPointsFit = false;
        StrokeConditions mushShift = mush;
        mushShift.shift = true;
        QTest::newRow("itself") << 3 << free << BrushType::Crease;
        QTest::newRow("miss") << 8 << miss << BrushType::None;
        QTest::newRow("shift smooths") << 2 << shift << BrushType::Smooth;
        QTest::newRow("shift smooths the mask") << 8 << shift << BrushType::MaskSmooth;
        QTest::newRow("mask on any layer") << 8 << mush << BrushType::Mask;
        QTest::newRow("mask smoothing on any layer") << 8 << mushShift << BrushType::MaskSmooth;
        QTest::newRow("smoothing needs a sculpt layer") << 2 << mushShift << BrushType::None;
        QTest::newRow("others need a sculpt layer") << 0 << mush << BrushType::None;
        QTest::newRow("clone") << 5 << free << BrushType::Fix;
        QTest::newRow("clone without reference") << 5 << unreferenced << BrushType::None;
        QTest::newRow("none stays") << 11 << free << BrushType::None;
        QTest::newRow("no such number") << 99 << free << BrushType::None;
    }
    void brush()
    {
        QFETCH(const int, current);
        QFETCH(const StrokeConditions, conditions);
        QTEST(strokeBrush(current, conditions), "brush");
    }

    void label_data()
    {
        QTest::addColumn<float>("strength");
        QTest::addColumn<QString>("label");
        QTest::newRow("whole") << 1.0f << QStringLiteral("1");
        QTest::newRow("zero") << 0.0f << QStringLiteral("0");
        QTest::newRow("padded") << 0.5f << QStringLiteral("0.50");
        QTest::newRow("cut") << 0.123f << QStringLiteral("0.12");
        QTest::newRow("cut, not rounded") << 0.999f << QStringLiteral("0.99");
        QTest::newRow("one pixel of the bar") << 1 / 300.0f << QStringLiteral("0.00");
        QTest::newRow("six digits round up to 1") << 0.9999999f << QStringLiteral("1.00");
        QTest::newRow("exponent") << 0.00001f << QStringLiteral("0.00");
        QTest::newRow("above 1") << 1.25f << QStringLiteral("1.25");
    }
    void label()
    {
        QFETCH(const float, strength);
        QTEST(strengthLabel(strength), "label");
    }

    void sequence_data()
    {
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<QString>("chosen");
        QTest::addColumn<QString>("found"); // frame=name, in order
        const auto row = [](const char *name, const char *files, const char *chosen,
                            const char *found) {
            QTest::newRow(name) << QString::fromLatin1(files).split(QLatin1Char(' '))
                                << QString::fromLatin1(chosen) << QString::fromLatin1(found);
        };
        row("padded and not", "p.0009.png p.0010.png p.11.png q.0012.png p.0013.jpg", "p.0010.png",
            "9=p.0009.png 10=p.0010.png 11=p.11.png");
        row("the last run counts", "s2_01.png s2_02.png s3_03.png", "s2_02.png",
            "1=s2_01.png 2=s2_02.png");
        row("chosen wins", "a1.png a01.png a2.png", "a1.png", "1=a1.png 2=a2.png");
        row("no digits", "still.png still1.png", "still.png", "-5=still.png");
        row("digits of the file type", "x3.jp2 x4.jp2", "x4.jp2", "3=x3.jp2 4=x4.jp2");
        row("numbered file type", "x.3 x.4", "x.3", "3=x.3 4=x.4");
        row("no frame has that number", "b99999999999.png b1.png", "b99999999999.png",
            "-5=b99999999999.png");
        row("text after", "c_001_v.png c_002_v.png c_002_w.png", "c_001_v.png",
            "1=c_001_v.png 2=c_002_v.png");
        row("not there", "d1.png", "d2.png", "");
    }
    void sequence()
    {
        QFETCH(const QStringList, files);
        QFETCH(const QString, chosen);
        const QTemporaryDir folder;
        for (const QString &name : files) {
            QFile file(folder.filePath(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
        }
        QStringList found;
        for (const auto &[frame, path] : scanImageSequence(folder.filePath(chosen), -5)) {
            QVERIFY(QFileInfo::exists(path));
            found << QStringLiteral("%1=%2").arg(frame).arg(QFileInfo(path).fileName());
        }
        QTEST(found.join(QLatin1Char(' ')), "found");
    }
};

QTEST_APPLESS_MAIN(InteractionTest)
#include "InteractionTest.moc"
