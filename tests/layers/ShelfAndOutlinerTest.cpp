// The brush shelf and the camera list of the running program.
#include "gpu/CameraWindow.h"
#include "layers/BrushShelf.h"
#include "layers/Outliner.h"
#include "support/AppFixture.h"
#include "support/PanelHands.h"

#include <QIcon>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QToolButton>
#include <QTreeWidget>

class ShelfAndOutlinerTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void aPressChoosesTheBrush();
    void theMarkFollowsTheKeys();
    void outlinerListsCamerasOnly();
    void aDoubleClickLooksThroughTheCamera();

private:
    static QList<QToolButton *> buttons();
    static int marked();

    AppFixture m_app;
    QTemporaryDir m_folder;
};

void ShelfAndOutlinerTest::initTestCase()
{
    SKIP_WITHOUT_GL(m_app);
    QVERIFY(PanelHands::importSample(m_folder.filePath(QStringLiteral("sample.abc"))));
}

QList<QToolButton *> ShelfAndOutlinerTest::buttons()
{
    auto *tabs = Global::mainWindow()->findChild<BrushShelf *>()->findChild<QTabWidget *>();
    QList<QToolButton *> found = tabs->widget(0)->findChildren<QToolButton *>();
    std::sort(found.begin(), found.end(),
              [](const QWidget *a, const QWidget *b) { return a->x() < b->x(); });
    return found;
}

// The number of the one marked brush; -1 when that is not exactly one.
int ShelfAndOutlinerTest::marked()
{
    int number = -1;
    int count = 0;
    for (int i = 0; i < buttons().size(); ++i)
        if (buttons().at(i)->isChecked()) {
            number = i;
            ++count;
        }
    return count == 1 ? number : -1;
}

void ShelfAndOutlinerTest::aPressChoosesTheBrush()
{
    for (int brush = 8; brush >= 0; --brush) {
        Driver::mouse(QTest::MousePress, buttons().at(brush), QPoint(25, 25), Qt::LeftButton);
        QCOMPARE(Global::currentBrush(), brush);
        QCOMPARE(marked(), brush);
        Driver::mouse(QTest::MouseRelease, buttons().at(brush), QPoint(25, 25), Qt::LeftButton);
        QCOMPARE(marked(), brush);
    }
}

// Whatever number a key sets, the mark shows it; a stroke's own numbers do not move it.
void ShelfAndOutlinerTest::theMarkFollowsTheKeys()
{
    int seen = 0;
    for (int key = Qt::Key_0; key <= Qt::Key_Z; ++key) {
        Driver::click(buttons().at(2));
        Global::viewport()->setFocus();
        Driver::key(Global::viewport(), Qt::Key(key));
        QCOMPARE(marked(), Global::currentBrush());
        seen += int(Global::currentBrush() != 2);
    }
    QVERIFY2(seen > 3, "the views have keys for brushes");
    const int before = marked();
    Global::mainWindow()->findChild<BrushShelf *>()->showActive(10);
    QCOMPARE(marked(), before);
}

void ShelfAndOutlinerTest::outlinerListsCamerasOnly()
{
    auto *tree = Global::outliner()->findChild<QTreeWidget *>();
    QStringList names;
    for (int i = 0; i < tree->topLevelItemCount(); ++i)
        names << tree->topLevelItem(i)->text(0);
    QCOMPARE(names,
             (QStringList { QStringLiteral("shotCamera"), QStringLiteral("witnessCamera") }));
    QVERIFY(!tree->topLevelItem(0)->icon(0).isNull());

    Outliner outliner;
    outliner.addObject(QStringLiteral("mesh"), QString(), 1);
    outliner.addObject(QStringLiteral("cam"), QStringLiteral("nobody"), 2);
    outliner.addObject(QStringLiteral("cam"), QStringLiteral("mesh"), 2);
    auto *ownTree = outliner.findChild<QTreeWidget *>();
    QCOMPARE(ownTree->topLevelItemCount(), 2);
    outliner.clear();
    QCOMPARE(ownTree->topLevelItemCount(), 0);
}

void ShelfAndOutlinerTest::aDoubleClickLooksThroughTheCamera()
{
    auto *tree = Global::outliner()->findChild<QTreeWidget *>();
    QTreeWidgetItem *witness = tree->topLevelItem(1);
    const QPoint at = tree->visualItemRect(witness).center();
    QVERIFY(!Global::cameraWindow()->isVisible());
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, at);
    QTest::mouseDClick(tree->viewport(), Qt::LeftButton, {}, at);
    QCOMPARE(Global::auxViewport()->cameraName(), QStringLiteral("witnessCamera"));
    QVERIFY(Global::cameraWindow()->isVisible());

    QTreeWidgetItem mesh(1);
    mesh.setText(0, QStringLiteral("shotCamera"));
    Global::outliner()->setDoubleClick(&mesh, 0);
    QCOMPARE(Global::auxViewport()->cameraName(), QStringLiteral("witnessCamera"));
    Global::cameraWindow()->hide();
}

PLEXMOLD_TEST_MAIN(ShelfAndOutlinerTest)
#include "ShelfAndOutlinerTest.moc"
