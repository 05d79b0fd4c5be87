// The parts that answer to the mouse alone.
#include "widgets/BrushButton.h"
#include "widgets/Icon.h"
#include "widgets/TickBox.h"

#include <QRadioButton>
#include <QSignalSpy>
#include <QToolButton>
#include <QtTest>

class ClickWidgetsTest : public QObject {
    Q_OBJECT

private slots:
    void aTickBoxTurnsOnAndOffAgain()
    {
        QWidget host;
        auto *box = new TickBox(QStringLiteral("Tangent"));
        host.setLayout(box);
        host.show();
        QSignalSpy spy(box, &TickBox::toggled);
        for (const bool on : { true, false, true }) {
            QTest::mouseClick(box->button(), Qt::LeftButton);
            QCOMPARE(box->button()->isChecked(), on);
            QCOMPARE(spy.takeLast().first().toBool(), on);
            QVERIFY(spy.isEmpty());
        }
    }

    void aBrushIsChosenOnThePress()
    {
        QWidget host;
        auto *row = new QHBoxLayout(&host);
        auto *clay = new BrushButton(0, QStringLiteral("clay"), QString());
        auto *mask = new BrushButton(8, QStringLiteral("mask"), QString());
        row->addLayout(clay);
        row->addLayout(mask);
        host.show();
        QSignalSpy spy(mask, &BrushButton::brushChosen);
        QTest::mousePress(mask->button(), Qt::LeftButton);
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy.first().first().toInt(), 8);
        QTest::mouseRelease(mask->button(), Qt::LeftButton, {}, QPoint(-50, -50));
        QCOMPARE(spy.count(), 1);
        clay->setActive(true);
        mask->setActive(true);
        QVERIFY(mask->button()->isChecked() && !clay->button()->isChecked());
        QTest::mouseClick(mask->button(), Qt::LeftButton); // the active one stays marked
        QVERIFY(mask->button()->isChecked());
        QCOMPARE(mask->button()->size(), QSize(50, 50));
    }

    void anIconTellsOfPressDoubleClickAndPointer()
    {
        Icon icon;
        icon.setText(QStringLiteral("Mush"));
        icon.show();
        QSignalSpy clicked(&icon, &Icon::clicked);
        QSignalSpy doubled(&icon, &Icon::doubleClicked);
        QSignalSpy hovered(&icon, &Icon::hover);
        QTest::mousePress(&icon, Qt::LeftButton);
        QCOMPARE(clicked.count(), 1);
        QTest::mouseRelease(&icon, Qt::LeftButton);
        QTest::mouseDClick(&icon, Qt::LeftButton);
        QCOMPARE(doubled.count(), 1);
        QEnterEvent enter(QPointF(1, 1), QPointF(1, 1), QPointF(1, 1));
        QCoreApplication::sendEvent(&icon, &enter);
        QCOMPARE(hovered.count(), 1);
    }
};

QTEST_MAIN(ClickWidgetsTest)
#include "ClickWidgetsTest.moc"
