#include "widgets/FloatFieldGrp.h"
#include "widgets/FloatSliderGrp.h"
#include "widgets/IntFieldGrp.h"

#include <QLineEdit>
#include <QLocale>
#include <QSignalSpy>
#include <QSlider>
#include <QtTest>

#include <functional>
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
    /// What the typing leads to.
    double typed(const char *text)
    {
        group->field()->selectAll();
        QTest::keyClick(group->field(), Qt::Key_Delete);
        QTest::keyClicks(group->field(), QLatin1String(text));
        return last().toDouble();
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
        Hosted<FloatSliderGrp> slider;
        const auto type = [&](const char *text) { slider.typed(text); };
        const auto set = [&](const char *text) {
            slider.group->setValue(QByteArray(text).toFloat());
        };
        const auto show = [&](const char *text) {
            slider.group->field()->setText(QLatin1String(text));
        };
        using Way = std::function<void(const char *)>;
        const std::tuple<Way, const char *, const char *, int> rows[] = {
            { type, "0.5", "0.5", 50 },
            { type, "0.53", "0.53", 52 }, // a product just below a whole number
            { type, "0.29", "0.29", 29 }, // and one that rounds up to one
            { type, ".25", ".25", 25 },
            { type, "", "", 0 },
            { type, "0.125", "0.12", 12 }, // what is too much or wrong is refused
            { type, "-1", "1", 100 },
            { type, "15", "1", 100 },
            { type, "0,.e5", "0.5", 50 },
            { set, "1.7", "1", 100 }, // clamped
            { set, "-0.2", "0", 0 },
            { set, "0.12345678", "0.123457", 12 },
            { set, "nan", "0", 0 },
            { show, "3e38", "3e38", 100 },
            { show, "1e99", "1e99", 0 },
        };
        for (const auto &[enter, text, shown, position] : rows) {
            enter(text);
            QCOMPARE(slider.group->field()->text(), QLatin1String(shown));
            QCOMPARE(slider.last().toFloat(), position > 0 ? QByteArray(shown).toFloat() : 0.0f);
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
        QCOMPARE(field.typed("7.256"), .25);
        field.group->setValue(-12.5f); // is not held to the range
        QCOMPARE(field.group->field()->text(), QStringLiteral("-12.5"));
        field.group->setRange(-1000.0, 1000.0, 3);
        QCOMPARE(field.typed("-45.1255"), -45.125);

        Hosted<IntFieldGrp> whole;
        for (const auto &[text, value] :
             { std::pair("-2147483648", std::numeric_limits<int>::min()),
               { "21474836470", 2147483647 }, // a digit too many is refused
               { "2147483648", 214748364 }, // and one too many
               { "-", 0 },
               { "1,0x00", 1000 } })
            QCOMPARE(whole.typed(text), double(value));
    }
};

QTEST_MAIN(FieldGroupsTest)
#include "FieldGroupsTest.moc"
