#include "shapes/ShapeBrowser.h"
#include "shapes/ShapeViewPort.h"
#include "support/Stage.h"

#include <QDir>
#include <QTreeWidget>

namespace {

const QString kA = QStringLiteral("a.obj"), kB = QStringLiteral("b.obj");

QDir shapesFolder()
{
    return QDir(QCoreApplication::applicationDirPath() + QStringLiteral("/Shapes"));
}

void save(const char *name, const QByteArray &text)
{
    QFile file(shapesFolder().filePath(QLatin1String(name)));
    QVERIFY(QDir().mkpath(shapesFolder().path()) && file.open(QIODevice::WriteOnly));
    file.write(text);
}

int countGreys(const QImage &image, int darkest, int brightest)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            count += qGray(image.pixel(x, y)) >= darkest && qGray(image.pixel(x, y)) <= brightest;
    return count;
}

QStringList listed(const ShapeBrowser &browser)
{
    QStringList names;
    for (const QTreeWidgetItem *item : browser.list()->findItems({}, Qt::MatchContains))
        names << item->text(0);
    names.sort();
    return names;
}

void showWindow(QWidget &window)
{
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QApplication::setActiveWindow(&window); // no window manager does it here
}

void select(ShapeBrowser &browser, const QString &name)
{
    const QList<QTreeWidgetItem *> items = browser.list()->findItems(name, Qt::MatchExactly);
    QCOMPARE(items.size(), 1);
    const QRect place = browser.list()->visualItemRect(items.first());
    QTest::mouseClick(browser.list()->viewport(), Qt::LeftButton, {}, place.center());
    QTRY_VERIFY(items.first()->isSelected());
}

} // namespace

/// The window and its preview. The test's program lies in a folder of its own, so that the shapes
/// beside it are its own too.
class ShapeBrowserTest : public QObject {
    Q_OBJECT

private slots:
    void init() { QVERIFY(shapesFolder().removeRecursively()); }
    void readsTheFolderAtEveryShowing()
    {
        ShapeBrowser browser;
        showWindow(browser);
        QVERIFY(listed(browser).isEmpty()); // there is no folder yet
        browser.hide();
        save("a.obj", "v 0 0 3\nv 3 0 0\nv 0 4 0\nf 1 2 3\n");
        save("b.obj", "nothing in it");
        save("b.obj_cache", "no cache");
        showWindow(browser);
        QCOMPARE(listed(browser), (QStringList { kA, kB }));
        select(browser, kB);
        browser.hide();
        QVERIFY(shapesFolder().remove(kB));
        showWindow(browser);
        QCOMPARE(listed(browser), QStringList(kA));
        QVERIFY(browser.list()->selectedItems().isEmpty());
    }

    void everyShippedShapeIsSeen()
    {
        ShapeBrowser browser;
        const QDir shipped(QStringLiteral(SOURCE_DIR "/shapes/Shapes"));
        const QStringList names = shipped.entryList({ QStringLiteral("*.obj") }, QDir::Files);
        QVERIFY(names.size() >= 4 && QDir().mkpath(shapesFolder().path()));
        for (const QString &name : names)
            QVERIFY(QFile::copy(shipped.filePath(name), shapesFolder().filePath(name)));
        showWindow(browser);
        NEEDS_GL(browser.preview()->isValid());
        QCOMPARE(listed(browser), names);
        for (const QString &name : names) {
            select(browser, name);
            QTest::keyClick(browser.preview(), Qt::Key_F);
            const QImage shape = browser.preview()->grabFramebuffer();
            QCOMPARE(qGray(shape.pixel(0, 0)), 102); // the clear colour
            const int pixels = shape.width() * shape.height();
            const int seen = pixels - countGreys(shape, 102, 102);
            // Framed, and lit: what faces the viewer is brighter than the background, what turns
            // away darker.
            QVERIFY2(seen > pixels / 12 && seen < pixels * 3 / 4 &&
                         countGreys(shape, 170, 255) > pixels / 100 &&
                         countGreys(shape, 0, 95) > pixels / 1000,
                     qPrintable(name));
        }
    }

    void keyFFramesFromListAndPreview()
    {
        save("a.obj", "v 10 0 0\nv 12 4 4\nv 10 4 nan\nv 11 1 1\nf 1 2 3 4\n");
        save("roof.obj",
             "v -1 0 -1\nv -1 0 1\nv 1 0 1\nv 1 0 -1\nf 1 2 3 4\nvn 0 1 0\nf 1//1 2//1 3//1 4//1");
        ShapeBrowser browser;
        showWindow(browser);
        NEEDS_GL(browser.preview()->isValid());
        const auto pan = [&browser] { return browser.preview()->camera().pan(); };
        Driver::key(browser.preview(), Qt::Key_F); // nothing to frame
        QCOMPARE(pan(), QVector3D(0, 0, -20));
        select(browser, kA);
        QVERIFY(pan() == QVector3D(0, 0, -20) && browser.list()->hasFocus());
        Driver::key(browser.list(), Qt::Key_F);
        const QVector3D framed(-11, -2, -2 - 6); // a box of 2 × 4 × 4, its diagonal away
        QCOMPARE(pan(), framed);
        Driver::drag(browser.preview(), { 50, 50 }, { 90, 90 }, 2, Qt::MiddleButton);
        QVERIFY(pan() != framed);
        QVERIFY(browser.preview()->hasFocus()); // the press has given it the keyboard
        Driver::key(browser.preview(), Qt::Key_F);
        QCOMPARE(pan(), framed);

        // A shape is seen where its points are, the same from every side.
        select(browser, QStringLiteral("roof.obj"));
        for (int turn = 0; turn < 3; ++turn) {
            Driver::key(browser.preview(), Qt::Key_F);
            Driver::drag(browser.preview(), { 50, 50 }, { 90, 50 }, 2);
            const CameraMatrices m = browser.preview()->camera().matrices();
            const QImage picture = browser.preview()->grabFramebuffer();
            const auto greyAt = [&](float x, float z) {
                const QVector3D ndc = (m.projection * m.view).map(QVector3D(x, 0, z));
                return qGray(picture.pixel(int((ndc.x() * 0.5f + 0.5f) * float(m.width)),
                                           int((0.5f - ndc.y() * 0.5f) * float(m.height))));
            };
            for (const float at : { -0.75f, 0.1f, 0.75f })
                QVERIFY(greyAt(at, 0.4f) > 102 && greyAt(0.4f, at) > 102);
            for (const float at : { -0.6f, 0.4f }) // between the lines of the grid
                QVERIFY(greyAt(at, 1.15f) == 102 && greyAt(-1.15f, at) == 102);
        }
    }
};

PLEXMOLD_TEST_MAIN(ShapeBrowserTest)
#include "ShapeBrowserTest.moc"
