#include "shapes/ShapeBrowser.h"

#include "shapes/ShapeViewPort.h"
#include "support/Driver.h"

#include <QDir>
#include <QSurfaceFormat>
#include <QTreeWidget>
#include <QtTest>

namespace {

const QByteArray kTriangle = "v 0 0 3\nv 3 0 0\nv 0 4 0\nf 1 2 3\n";

QDir shapesFolder()
{
    return QDir(QCoreApplication::applicationDirPath() + QStringLiteral("/Shapes"));
}

void save(const QString &name, const QByteArray &text)
{
    QFile file(shapesFolder().filePath(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(text);
}

int differingPixels(const QImage &a, const QImage &b)
{
    int count = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
            count += a.pixel(x, y) != b.pixel(x, y);
    return count;
}

int countPixels(const QImage &image, int darkest, int brightest)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const int grey = qGray(image.pixel(x, y));
            count += grey >= darkest && grey <= brightest;
        }
    return count;
}

QStringList listed(const ShapeBrowser &browser)
{
    QStringList names;
    for (int i = 0; i < browser.list()->topLevelItemCount(); ++i)
        names << browser.list()->topLevelItem(i)->text(0);
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
    void initTestCase();
    void init();
    void readsTheFolderAtEveryShowing();
    void everyShippedShapeIsSeen();
    void keyFFramesFromListAndPreview();

private:
    bool m_hasGL = false;
};

void ShapeBrowserTest::initTestCase()
{
    ShapeViewPort probe;
    showWindow(probe);
    m_hasGL = probe.isValid();
#ifdef REQUIRE_GL
    QVERIFY2(m_hasGL, "no OpenGL 4.3 context");
#endif
}

void ShapeBrowserTest::init() { QVERIFY(shapesFolder().removeRecursively()); }

void ShapeBrowserTest::readsTheFolderAtEveryShowing()
{
    ShapeBrowser browser;
    QCOMPARE(browser.windowTitle(), QStringLiteral(" Shape Browser "));
    QVERIFY(browser.windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    showWindow(browser);
    QVERIFY(listed(browser).isEmpty()); // there is no folder yet
    browser.hide();

    QVERIFY(QDir().mkpath(shapesFolder().path()));
    save(QStringLiteral("a.obj"), kTriangle);
    save(QStringLiteral("b.obj"), "nothing in it");
    save(QStringLiteral("b.obj_cache"), "no cache");
    showWindow(browser);
    QCOMPARE(listed(browser), QStringList({ QStringLiteral("a.obj"), QStringLiteral("b.obj") }));
    select(browser, QStringLiteral("b.obj"));
    browser.hide();

    QVERIFY(shapesFolder().remove(QStringLiteral("b.obj")));
    showWindow(browser);
    QCOMPARE(listed(browser), QStringList({ QStringLiteral("a.obj") }));
    QVERIFY(browser.list()->selectedItems().isEmpty());
}

void ShapeBrowserTest::everyShippedShapeIsSeen()
{
    if (!m_hasGL)
        QSKIP("no OpenGL 4.3 context");
    QVERIFY(QDir().mkpath(shapesFolder().path()));
    const QDir shipped(QStringLiteral(SOURCE_DIR "/shapes/Shapes"));
    const QStringList names = shipped.entryList({ QStringLiteral("*.obj") }, QDir::Files);
    QVERIFY(names.size() >= 4);
    for (const QString &name : names)
        QVERIFY(QFile::copy(shipped.filePath(name), shapesFolder().filePath(name)));
    // A folder to keep the pictures in, for a person to look at.
    const QString pictures = qEnvironmentVariable("PLEXMOLD_PICTURES");
    ShapeBrowser browser;
    showWindow(browser);
    QCOMPARE(listed(browser), names);
    for (const QString &name : names) {
        browser.preview()->setShape(nullptr);
        browser.list()->clearSelection();
        select(browser, name);
        QTest::keyClick(browser.preview(), Qt::Key_F);
        const QImage shape = browser.preview()->grabFramebuffer();
        if (!pictures.isEmpty())
            browser.grab().save(pictures + QLatin1Char('/') + name + QStringLiteral(".png"));
        browser.preview()->setShape(nullptr);
        const QImage background = browser.preview()->grabFramebuffer();
        const int pixels = shape.width() * shape.height();
        const int seen = differingPixels(shape, background);
        QVERIFY2(seen > pixels / 12 && seen < pixels * 3 / 4, qPrintable(name)); // framed
        QCOMPARE(qGray(background.pixel(0, 0)), 102); // the clear colour
        // Lit: what faces the viewer is brighter than the background, what turns away darker.
        QVERIFY2(countPixels(shape, 170, 255) > pixels / 100, qPrintable(name));
        QVERIFY2(countPixels(shape, 0, 95) > pixels / 1000, qPrintable(name));
    }
}

void ShapeBrowserTest::keyFFramesFromListAndPreview()
{
    QVERIFY(QDir().mkpath(shapesFolder().path()));
    save(QStringLiteral("a.obj"), "v 10 0 0\nv 12 4 4\nv 10 4 nan\nv 11 1 1\nf 1 2 3 4\n");
    ShapeBrowser browser;
    showWindow(browser);
    const auto pan = [&browser] { return browser.preview()->camera().pan(); };
    Driver::key(browser.preview(), Qt::Key_F); // nothing to frame
    QCOMPARE(pan(), QVector3D(0, 0, -20));
    select(browser, QStringLiteral("a.obj"));
    QCOMPARE(pan(), QVector3D(0, 0, -20));
    QVERIFY(browser.list()->hasFocus());
    Driver::key(browser.list(), Qt::Key_F);
    const QVector3D framed(-11, -2, -2 - 6); // a box of 2 × 4 × 4, its diagonal away
    QCOMPARE(pan(), framed);
    Driver::drag(browser.preview(), { 50, 50 }, { 90, 90 }, 2, Qt::MiddleButton);
    QVERIFY(pan() != framed);
    QVERIFY(browser.preview()->hasFocus()); // the press has given it the keyboard
    Driver::key(browser.preview(), Qt::Key_F);
    QCOMPARE(pan(), framed);
}

int main(int argc, char *argv[])
{
    QSurfaceFormat format;
    format.setVersion(4, 3);
    format.setProfile(QSurfaceFormat::CoreProfile);
    format.setDepthBufferSize(24);
    QSurfaceFormat::setDefaultFormat(format);
    QApplication application(argc, argv);
    ShapeBrowserTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "ShapeBrowserTest.moc"
