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
        struct Row {
            const char *text, *shown;
            float value;
            int position;
        };
        const Row rows[] = {
            { "0.5", "0.5", 0.5f, 50 },
            { "0.53", "0.53", 0.53f, 52 }, // a product just below a whole number
            { "0.29", "0.29", 0.29f, 29 }, // and one that rounds up to one
            { ".25", ".25", 0.25f, 25 },
            { "0", "0", 0.0f, 0 },
            { "", "", 0.0f, 0 },
            { "0.125", "0.12", 0.12f, 12 }, // what is too much or wrong is refused
            { "-1", "1", 1.0f, 100 },
            { "15", "1", 1.0f, 100 },
            { "0,.e5", "0.5", 0.5f, 50 },
        };
        Hosted<FloatSliderGrp> slider;
        for (const Row &row : rows) {
            QCOMPARE(slider.typed(row.text), QLatin1String(row.shown));
            QCOMPARE(slider.last().toFloat(), row.value);
            QCOMPARE(slider.group->slider()->value(), row.position);
        }
        const float infinite = std::numeric_limits<float>::infinity();
        const std::tuple<float, const char *, int> set[] = { { 1.7f, "1", 100 },
                                                             { -0.2f, "0", 0 },
                                                             { 0.12345678f, "0.123457", 12 },
                                                             { infinite - infinite, "0", 0 },
                                                             { infinite, "1", 100 } };
        for (const auto &[value, text, position] : set) { // clamped
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
            QCOMPARE(slider.group->slider()->value(), position);
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
        const std::pair<const char *, int> rows[] = {
            { "2147483647", std::numeric_limits<int>::max() },
            { "-2147483648", std::numeric_limits<int>::min() },
            { "21474836470", 2147483647 }, // a digit too many is refused
            { "2147483648", 214748364 }, // and one too many
            { "-", 0 },
            { "1x2", 12 },
            { "1,000", 1000 },
        };
        for (const auto &[text, value] : rows) {
            whole.typed(text);
            QCOMPARE(whole.last().toInt(), value);
        }
        whole.group->setValue(-1234);
        QCOMPARE(whole.group->field()->text(), QStringLiteral("-1234"));
    }
};

QTEST_MAIN(FieldGroupsTest)
#include "FieldGroupsTest.moc"
