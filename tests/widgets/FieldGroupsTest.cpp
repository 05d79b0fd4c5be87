// The number rows: typed text and moved sliders against the values that come out.
#include "widgets/FloatFieldGrp.h"
#include "widgets/FloatSliderGrp.h"
#include "widgets/IntFieldGrp.h"

#include <QLineEdit>
#include <QLocale>
#include <QSignalSpy>
#include <QSlider>
#include <QtTest>

#include <limits>
#include <memory>

namespace {

// A group is a layout; its host is the window that owns its parts.
template <class Group> struct Hosted {
    QWidget host;
    Group *group;
    QSignalSpy spy;

    explicit Hosted()
        : group(new Group(QStringLiteral("Amount:")))
        , spy(group, &Group::valueChanged)
    {
        host.setLayout(group);
        host.show();
    }

    void type(const QString &text)
    {
        group->field()->selectAll();
        QTest::keyClick(group->field(), Qt::Key_Delete);
        spy.clear();
        QTest::keyClicks(group->field(), text);
    }

    auto last() const { return spy.last().first(); }
};

using Slider = Hosted<FloatSliderGrp>;
using Field = Hosted<FloatFieldGrp>;
using Whole = Hosted<IntFieldGrp>;

} // namespace

class FieldGroupsTest : public QObject {
    Q_OBJECT

private slots:
    void init() { QLocale::setDefault(QLocale::c()); }

    void typedNumbersMoveTheSlider_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<float>("value");
        QTest::addColumn<int>("position");
        QTest::newRow("half") << "0.5" << 0.5f << 50;
        QTest::newRow("a product just below a whole number") << "0.53" << 0.53f << 52;
        QTest::newRow("another") << "0.59" << 0.59f << 58;
        QTest::newRow("a product that rounds up to one") << "0.29" << 0.29f << 29;
        QTest::newRow("no zero before the point") << ".25" << 0.25f << 25;
        QTest::newRow("nothing") << "0" << 0.0f << 0;
        QTest::newRow("a third decimal is refused") << "0.125" << 0.12f << 12;
        QTest::newRow("no sign") << "-1" << 1.0f << 100;
        QTest::newRow("too large is refused") << "15" << 1.0f << 100;
        QTest::newRow("no exponent, no comma") << "0,.e5" << 0.5f << 50;
    }

    void typedNumbersMoveTheSlider()
    {
        QFETCH(QString, text);
        QFETCH(float, value);
        QFETCH(int, position);
        for (const auto language : { QLocale::C, QLocale::German }) {
            QLocale::setDefault(QLocale(language));
            Slider slider;
            slider.type(text);
            QVERIFY(!slider.spy.isEmpty());
            QCOMPARE(slider.last().toFloat(), value);
            QCOMPARE(slider.group->slider()->value(), position);
        }
    }

    // 0.53 must not come back as the 0.52 at which the slider stands.
    void aTypedNumberStaysAsTyped()
    {
        Slider slider;
        slider.type(QStringLiteral("0.53"));
        QCOMPARE(slider.group->field()->text(), QStringLiteral("0.53"));
        QCOMPARE(slider.last().toFloat(), 0.53f);
    }

    void anEmptiedFieldIsZero()
    {
        Slider slider;
        slider.type({});
        QCOMPARE(slider.group->slider()->value(), 0);
        slider.group->field()->setText(QStringLiteral("nan"));
        QCOMPARE(slider.last().toFloat(), 0.0f);
        slider.group->field()->setText(QStringLiteral("1e99"));
        QCOMPARE(slider.last().toFloat(), 0.0f);
        slider.group->field()->setText(QStringLiteral("3e38"));
        QCOMPARE(slider.group->slider()->value(), 100);
    }

    // Every position keeps its number, shows it, and tells it twice.
    void aSliderMovedByHandTellsTwice()
    {
        Slider slider;
        for (int position = 99; position >= 0; --position) {
            slider.spy.clear();
            QTest::keyClick(slider.group->slider(), Qt::Key_Left);
            QCOMPARE(slider.group->slider()->value(), position);
            QCOMPARE(slider.group->field()->text().toFloat(), float(position) / 100.0f);
            QCOMPARE(slider.spy.count(), 2);
            QCOMPARE(slider.spy.first().first().toFloat(), float(position) / 100.0f);
            QCOMPARE(slider.last().toFloat(), float(position) / 100.0f);
        }
    }

    void setValueIsClamped_data()
    {
        QTest::addColumn<float>("value");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("position");
        QTest::newRow("above") << 1.7f << "1" << 100;
        QTest::newRow("below") << -0.2f << "0" << 0;
        QTest::newRow("six digits") << 0.12345678f << "0.123457" << 12;
        QTest::newRow("not a number") << std::numeric_limits<float>::quiet_NaN() << "0" << 0;
        QTest::newRow("infinite") << std::numeric_limits<float>::infinity() << "1" << 100;
    }

    void setValueIsClamped()
    {
        QFETCH(float, value);
        QFETCH(QString, text);
        QFETCH(int, position);
        QLocale::setDefault(QLocale(QLocale::German));
        Slider slider;
        slider.group->setValue(0.5f);
        slider.group->setValue(value);
        QCOMPARE(slider.group->field()->text(), text);
        QCOMPARE(slider.group->slider()->value(), position);
        QCOMPARE(slider.last().toFloat(), text.toFloat());
        QCOMPARE(slider.spy.count(), 2);
    }

    void aFieldHoldsWhatIsTypedToItsRange()
    {
        Field field;
        field.type(QStringLiteral("7.256"));
        QCOMPARE(field.group->field()->text(), QStringLiteral(".25"));
        field.group->setValue(-12.5f);
        QCOMPARE(field.group->field()->text(), QStringLiteral("-12.5"));
        QCOMPARE(field.last().toFloat(), -12.5f);
        field.group->setRange(-1000.0, 1000.0, 3);
        field.type(QStringLiteral("-45.1255"));
        QCOMPARE(field.group->field()->text(), QStringLiteral("-45.125"));
        QCOMPARE(field.last().toFloat(), -45.125f);
    }

    void wholeNumbersReachTheEndsOfTheirType_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("value");
        QTest::newRow("largest") << "2147483647" << std::numeric_limits<int>::max();
        QTest::newRow("smallest") << "-2147483648" << std::numeric_limits<int>::min();
        QTest::newRow("a digit too many is refused") << "21474836470" << 2147483647;
        QTest::newRow("one too many is refused") << "2147483648" << 214748364;
        QTest::newRow("only a sign") << "-" << 0;
        QTest::newRow("letters are refused") << "1x2" << 12;
        QTest::newRow("no group marks") << "1,000" << 1000;
    }

    void wholeNumbersReachTheEndsOfTheirType()
    {
        QFETCH(QString, text);
        QFETCH(int, value);
        QLocale::setDefault(QLocale(QLocale::German));
        Whole whole;
        whole.type(text);
        QCOMPARE(whole.last().toInt(), value);
        whole.group->setValue(-1234);
        QCOMPARE(whole.group->field()->text(), QStringLiteral("-1234"));
        QCOMPARE(whole.last().toInt(), -1234);
    }
};

QTEST_MAIN(FieldGroupsTest)
#include "FieldGroupsTest.moc"
