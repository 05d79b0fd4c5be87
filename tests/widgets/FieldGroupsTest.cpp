#include "widgets/FloatFieldGrp.h"
#include "widgets/FloatSliderGrp.h"
#include "widgets/IntFieldGrp.h"

#include <QLineEdit>
#include <QLocale>
#include <QSignalSpy>
#include <QSlider>
#include <QtTest>

#include <limits>

namespace {

// A group is a layout; its host is the window that owns its parts.
template <class Group> struct Hosted {
    QWidget host;
    Group *group = new Group(QStringLiteral("Amount:"));
    QSignalSpy spy { group, &Group::valueChanged };

    Hosted()
    {
        host.setLayout(group);
        host.show();
    }
    QString typed(const char *text)
    {
        group->field()->selectAll();
        QTest::keyClick(group->field(), Qt::Key_Delete);
        QTest::keyClicks(group->field(), QLatin1String(text));
        return group->field()->text();
    }
    auto last() const { return spy.last().first(); }
};

} // namespace

/// The number rows: typed text and moved sliders against the values that come out, whatever the
/// user's language.
class FieldGroupsTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QLocale::setDefault(QLocale(QLocale::German)); }

    void sliders()
    {
        const std::tuple<const char *, const char *, float, int> rows[] = {
            { "0.5", "0.5", 0.5f, 50 },
            { "0.53", "0.53", 0.53f, 52 }, // a product just below a whole number
            { "0.29", "0.29", 0.29f, 29 }, // and one that rounds up to one
            { ".25", ".25", 0.25f, 25 },
            { "", "", 0.0f, 0 },
            { "0.125", "0.12", 0.12f, 12 }, // what is too much or wrong is refused
            { "-1", "1", 1.0f, 100 },
            { "15", "1", 1.0f, 100 },
            { "0,.e5", "0.5", 0.5f, 50 },
        };
        Hosted<FloatSliderGrp> slider;
        for (const auto &[text, shown, value, position] : rows) {
            QCOMPARE(slider.typed(text), QLatin1String(shown));
            QCOMPARE(slider.last().toFloat(), value);
            QCOMPARE(slider.group->slider()->value(), position);
        }
        using Set = std::tuple<float, const char *, int>;
        for (const auto &[value, text, position] : // clamped
             { Set(1.7f, "1", 100), Set(-0.2f, "0", 0), Set(0.12345678f, "0.123457", 12),
               Set(float(qQNaN()), "0", 0) }) {
            slider.group->setValue(0.5f);
            slider.group->setValue(value);
            QCOMPARE(slider.group->field()->text(), QLatin1String(text));
            QCOMPARE(slider.group->slider()->value(), position);
            QCOMPARE(slider.last().toFloat(), QByteArray(text).toFloat());
        }
        for (const auto &[text, position] :
             { std::pair("nan", 0), { "1e99", 0 }, { "3e38", 100 } }) {
            slider.group->field()->setText(QLatin1String(text));
            QCOMPARE(slider.group->slider()->value(), position);
        }
        slider.group->slider()->setValue(100);
        for (int position = 99; position >= 0; --position) { // tells twice, deliberately
            slider.spy.clear();
            QTest::keyClick(slider.group->slider(), Qt::Key_Left);
            QCOMPARE(slider.group->field()->text().toFloat(), float(position) / 100.0f);
            QCOMPARE(slider.spy.count(), 2);
            for (const auto &told : slider.spy)
                QCOMPARE(told.first().toFloat(), float(position) / 100.0f);
        }
    }

    void fields()
    {
        Hosted<FloatFieldGrp> field;
        QCOMPARE(field.typed("7.256"), QStringLiteral(".25"));
        field.group->setValue(-12.5f); // is not held to the range
        QVERIFY(field.group->field()->text() == QLatin1String("-12.5") && field.last() == -12.5f);
        field.group->setRange(-1000.0, 1000.0, 3);
        QCOMPARE(field.typed("-45.1255"), QStringLiteral("-45.125"));
        QCOMPARE(field.last().toFloat(), -45.125f);

        Hosted<IntFieldGrp> whole;
        for (const auto &[text, value] :
             { std::pair("-2147483648", std::numeric_limits<int>::min()),
               { "21474836470", 2147483647 }, // a digit too many is refused
               { "2147483648", 214748364 }, // and one too many
               { "-", 0 },
               { "1,0x00", 1000 } }) {
            whole.typed(text);
            QCOMPARE(whole.last().toInt(), value);
        }
    }
};

QTEST_MAIN(FieldGroupsTest)
#include "FieldGroupsTest.moc"
