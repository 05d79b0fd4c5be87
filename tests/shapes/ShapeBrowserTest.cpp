#include "shapes/ShapeBrowser.h"
#include "shapes/ShapeViewPort.h"
#include "support/Stage.h"

#include <QDir>
#include <QTreeWidget>

namespace {

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

/// Of all pixels, from dark to bright.
std::vector<int> greysOf(const QImage &image)
{
    std::vector<int> greys;
    for (int i = 0; i < image.width() * image.height(); ++i)
        greys.push_back(qGray(image.pixel(i % image.width(), i / image.width())));
    std::sort(greys.begin(), greys.end());
    return greys;
}

/// Shows the window; what it lists.
QStringList listed(ShapeBrowser &browser)
{
    browser.hide();
    browser.show();
    if (QTest::qWaitForWindowExposed(&browser))
        QApplication::setActiveWindow(&browser); // no window manager does it here
    QStringList names;
    for (const QTreeWidgetItem *item : browser.list()->findItems({}, Qt::MatchContains))
        names << item->text(0);
    names.sort();
    return names;
}

void select(ShapeBrowser &browser, const QString &name)
{
    const QTreeWidgetItem *item = browser.list()->findItems(name, Qt::MatchExactly).value(0);
    QVERIFY(item);
    const QPoint place = browser.list()->visualItemRect(item).center();
    QTest::mouseClick(browser.list()->viewport(), Qt::LeftButton, {}, place);
    QTRY_VERIFY(item->isSelected());
}

} // namespace

/// The window and its preview. The test's program lies in a folder of its own, so that the shapes
/// beside it are its own too.
class ShapeBrowserTest : public QObject {
    Q_OBJECT

private slots:
    void init() { QVERIFY(shapesFolder().removeRecursively()); }
    /// And the folder is read at every showing.
    void everyShippedShapeIsSeen()
    {
        ShapeBrowser browser;
        QCOMPARE(listed(browser), QStringList()); // there is no folder yet
        NEEDS_GL(browser.preview()->isValid());
        const QDir shipped(QStringLiteral(SOURCE_DIR "/shapes/Shapes"));
        QStringList names = shipped.entryList({ QStringLiteral("*.obj") }, QDir::Files);
        save("an empty.obj", "nothing in it");
        save("an empty.obj_cache", "no cache");
        for (const QString &name : names)
            QVERIFY(QFile::copy(shipped.filePath(name), shapesFolder().filePath(name)));
        QCOMPARE(listed(browser), QStringList(QStringLiteral("an empty.obj")) + names);
        select(browser, QStringLiteral("an empty.obj"));
        QVERIFY(names.size() >= 4 && shapesFolder().remove(QStringLiteral("an empty.obj")));
        QCOMPARE(listed(browser), names);
        QVERIFY(browser.list()->selectedItems().isEmpty());
        for (const QString &name : names) {
            select(browser, name);
            QTest::keyClick(browser.preview(), Qt::Key_F);
            const QImage shape = browser.preview()->grabFramebuffer();
            QCOMPARE(qGray(shape.pixel(0, 0)), 102); // the clear colour
            const std::vector<int> greys = greysOf(shape);
            const size_t pixels = greys.size();
            const auto empty = size_t(std::count(greys.begin(), greys.end(), 102));
            // Framed, and lit: what faces the viewer is brighter than the background, what turns
            // away darker.
            QVERIFY2(empty > pixels / 4 && empty < pixels * 11 / 12 && greys[pixels / 1000] < 96 &&
                         greys[pixels - pixels / 100] >= 170,
                     qPrintable(name));
        }
    }

    void keyFFramesFromListAndPreview()
    {
        save("a.obj", "v 10 0 0\nv 12 4 4\nv 10 4 nan\nv 11 1 1\nf 1 2 3 4\n");
        save("roof.obj",
             "v -1 0 -1\nv -1 0 1\nv 1 0 1\nv 1 0 -1\nf 1 2 3 4\nvn 0 1 0\nf 1//1 2//1 3//1 4//1");
        ShapeBrowser browser;
        QCOMPARE(listed(browser).size(), 2);
        NEEDS_GL(browser.preview()->isValid());
        const auto pan = [&browser] { return browser.preview()->camera().pan(); };
        Driver::key(browser.preview(), Qt::Key_F); // nothing to frame
        QCOMPARE(pan(), QVector3D(0, 0, -20));
        select(browser, QStringLiteral("a.obj"));
        QVERIFY(pan() == QVector3D(0, 0, -20) && browser.list()->hasFocus());
        Driver::key(browser.list(), Qt::Key_F);
        const QVector3D framed(-11, -2, -2 - 6); // a box of 2 × 4 × 4, its diagonal away
        QCOMPARE(pan(), framed);
        Driver::drag(browser.preview(), { 50, 50 }, { 90, 90 }, 2, Qt::MiddleButton);
        QVERIFY(pan() != framed && browser.preview()->hasFocus()); // the press has given it that
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
