// Playing, scrubbing and keying an imported shot inside the whole program: the displayed mesh, the
// marker and the count of evaluations.

#include "gpu/GPUMesh.h"
#include "gpu/GpuCounters.h"
#include "layers/Layer.h"
#include "support/AppFixture.h"
#include "support/Archives.h"
#include "support/Driver.h"
#include "timeline/RulerMath.h"
#include "timeline/TimeControls.h"
#include "timeline/Timeline.h"
#include "viewport/MeshScope.h"

#include <QPushButton>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

namespace {

constexpr int kFrameCount = 48;

Timeline &ruler() { return *Global::timeline(); }
QPushButton &playButton() { return *Global::timeControls()->findChild<QPushButton *>(); }
QTimer &playTimer() { return *ruler().findChild<QTimer *>(); }

QPoint rulerPixel(int frame)
{
    const FrameRange range { ruler().rangeStart(), ruler().rangeEnd() };
    return { markerRect(frame, ruler().size(), range).center().x(), ruler().height() / 2 };
}

/// A sheet that rises by one unit per frame, so that its height names the frame it shows.
void writeRisingSheet(const QString &path, int firstFrame)
{
    archives::Writer writer(path, firstFrame / 24.0);
    const archives::Shape sheet = archives::grid(4);
    std::vector<archives::Points> later;
    for (int k = 1; k < kFrameCount; ++k)
        later.push_back(archives::moved(sheet.points, { 0.0f, float(k), 0.0f }));
    writer.mesh(writer.top(), "sheet", sheet, later);
}

QVector4D firstPoint()
{
    const MeshScope scope;
    return Global::mesh()->readBack<QVector4D>(Semantic::kPosition).at(0);
}

/// What one tick of playback left behind.
struct Tick {
    int frame;
    quint64 evaluations;
    float height;
};

/// Notes every tick of the play timer, and every frame that a widget painted.
class PlayWatch : public QObject {
public:
    explicit PlayWatch(QWidget *watched)
    {
        watched->installEventFilter(this);
        connect(&playTimer(), &QTimer::timeout, this, &PlayWatch::note); // after the ruler's own
    }

    bool eventFilter(QObject *, QEvent *event) override
    {
        const int frame = ruler().currentFrame();
        if (event->type() == QEvent::Paint && (painted.empty() || painted.back() != frame))
            painted.push_back(frame);
        return false;
    }

    std::vector<Tick> ticks;
    std::vector<int> painted;
    std::function<void()> afterTick = [] {};

private:
    void note()
    {
        const quint64 evaluations = gpuCounters().evaluations;
        ticks.push_back({ ruler().currentFrame(), evaluations - m_evaluations, firstPoint().y() });
        m_evaluations = evaluations;
        afterTick();
    }

    quint64 m_evaluations = gpuCounters().evaluations;
};

} // namespace

class PlaybackGLTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void playsEveryFrameOnceInOrder();
    void loopsOverTheShownRange();
    void slowTicksLeaveRoomForTheWindow();
    void stoppingShowsTheFrame();
    void theMeshFollowsTheKeys_data();
    void theMeshFollowsTheKeys();
    void importsFarFromZero_data();
    void importsFarFromZero();
    void closingWhilePlayingEnds();

private:
    void import(int firstFrame);

    QTemporaryDir m_folder;
    std::unique_ptr<AppFixture> m_app;
    Global m_receiver;
};

void PlaybackGLTest::initTestCase() { m_app = std::make_unique<AppFixture>(); }

void PlaybackGLTest::import(int firstFrame)
{
    const QString path = m_folder.filePath(QStringLiteral("sheet%1.abc").arg(firstFrame));
    writeRisingSheet(path, firstFrame);
    QVERIFY(Global::openArchive(path));
    emit Global::mainWindow()->alembicImported();
    QApplication::processEvents();
}

void PlaybackGLTest::init()
{
    SKIP_WITHOUT_GL(*m_app);
    import(0);
    QCOMPARE(ruler().maxFrame(), kFrameCount - 1);
    ruler().setCurrentFrame(0);
}

void PlaybackGLTest::cleanup()
{
    if (!Global::timeline())
        return; // after the last test
    if (ruler().playing())
        ruler().playPause();
    while (!Global::layers().empty())
        Global::deleteLayer(Global::layers().back());
}

void PlaybackGLTest::playsEveryFrameOnceInOrder()
{
    m_receiver.addLayer(int(LayerKind::Sculpt));
    m_receiver.addLayer(int(LayerKind::Mush));
    PlayWatch watch(Global::viewport());
    QApplication::processEvents();
    watch.painted.clear();

    Driver::click(&playButton());
    QVERIFY(ruler().playing());
    QTRY_VERIFY_WITH_TIMEOUT(watch.ticks.size() >= kFrameCount + 3, 30000);
    Driver::click(&playButton());
    QVERIFY(!ruler().playing());

    for (size_t i = 0; i < watch.ticks.size(); ++i) {
        const int frame = int(i + 1) % kFrameCount;
        QCOMPARE(watch.ticks[i].frame, frame);
        QCOMPARE(watch.ticks[i].height, float(frame));
        QCOMPARE(watch.ticks[i].evaluations, quint64(1));
    }
    QVERIFY(watch.painted.size() >= kFrameCount);
    for (size_t i = 1; i < watch.painted.size(); ++i)
        QCOMPARE(watch.painted[i], (watch.painted[i - 1] + 1) % kFrameCount);
}

void PlaybackGLTest::loopsOverTheShownRange()
{
    ruler().setRangeStart(10);
    ruler().setRangeEnd(13);
    ruler().setCurrentFrame(12);
    PlayWatch watch(&ruler());
    Driver::click(&playButton());
    QTRY_VERIFY(watch.ticks.size() >= 6);
    const std::vector<int> expected { 13, 10, 11, 12, 13, 10 };
    for (size_t i = 0; i < expected.size(); ++i)
        QCOMPARE(watch.ticks[i].frame, expected[i]);
}

void PlaybackGLTest::slowTicksLeaveRoomForTheWindow()
{
    PlayWatch watch(&ruler());
    watch.afterTick = [&] {
        QThread::msleep(90); // more than two intervals late, every time
        if (watch.ticks.size() != 5)
            return;
        for (const auto type : { QEvent::MouseButtonPress, QEvent::MouseButtonRelease })
            QCoreApplication::postEvent(
                &playButton(),
                new QMouseEvent(type, { 5, 5 }, Qt::LeftButton, Qt::LeftButton, Qt::NoModifier));
    };
    Driver::click(&playButton());
    QTRY_VERIFY(!ruler().playing());
    QVERIFY2(watch.ticks.size() <= 6, qPrintable(QString::number(watch.ticks.size())));
    for (int frame = 1; frame < 5; ++frame) // each was painted before the next tick came
        QVERIFY(std::count(watch.painted.begin(), watch.painted.end(), frame) == 1);
}

void PlaybackGLTest::stoppingShowsTheFrame()
{
    auto *time = Global::timeControls()->findChildren<QLineEdit *>().last();
    const QString before = time->text();
    PlayWatch watch(&ruler());
    Driver::click(&playButton());
    QTRY_VERIFY(watch.ticks.size() >= 3);
    QCOMPARE(time->text(), before); // not while playing
    const quint64 evaluations = gpuCounters().evaluations;
    ruler().playPause();
    QCOMPARE(gpuCounters().evaluations, evaluations + 1);
    QCOMPARE(time->text(), QString::number(ruler().currentFrame()));
    const int stopped = ruler().currentFrame();
    QTest::qWait(150);
    QCOMPARE(ruler().currentFrame(), stopped);
    playButton().setChecked(false);
}

void PlaybackGLTest::theMeshFollowsTheKeys_data()
{
    QTest::addColumn<int>("first");
    QTest::newRow("from zero") << 0;
    QTest::newRow("below zero") << -11; // the key gets frame -1, beside 0
}

void PlaybackGLTest::theMeshFollowsTheKeys()
{
    QFETCH(int, first);
    import(first);
    m_receiver.addLayer(int(LayerKind::Sculpt));
    LayerData &data = *Global::layers().back()->data();
    for (QVector4D &point : data.editOffsetPoints())
        point.setX(point.x() + 4.0f);
    data.setKeys({ { first / 24.0, 0.0f, false }, { (first + 11) / 24.0, 0.0f, false } });
    Global::timeControls()->setCurrentTime(first + 10);
    const float rest = firstPoint().x();

    const QPoint at = rulerPixel(first + 10);
    Driver::mouse(QTest::MousePress, &ruler(), at, Qt::LeftButton, Qt::ShiftModifier);
    QCOMPARE(firstPoint().x(), rest + 2.0f); // the pointer stands at half height
    Driver::mouse(QTest::MouseRelease, &ruler(), at, Qt::LeftButton, Qt::ShiftModifier);

    Driver::drag(&ruler(), at, at - QPoint(0, 35), 1, Qt::RightButton);
    QCOMPARE(firstPoint().x(), rest + 3.0f);

    Driver::mouse(QTest::MousePress, &ruler(), at, Qt::LeftButton, Qt::ControlModifier);
    QCOMPARE(firstPoint().x(), rest);
    Driver::mouse(QTest::MouseRelease, &ruler(), at, Qt::LeftButton, Qt::ControlModifier);
}

void PlaybackGLTest::importsFarFromZero_data()
{
    QTest::addColumn<int>("first");
    QTest::newRow("film") << 1001;
    QTest::newRow("from below zero") << -20;
    QTest::newRow("below zero") << -500;
}

void PlaybackGLTest::importsFarFromZero()
{
    QFETCH(int, first);
    import(first);
    const int last = first + kFrameCount - 1;
    const auto fields = Global::timeControls()->findChildren<QLineEdit *>();
    QCOMPARE(ruler().rangeStart(), first);
    QCOMPARE(fields[0]->text(), QString::number(first));
    QCOMPARE(ruler().rangeEnd(), last);
    QCOMPARE(fields[1]->text(), QString::number(last));
    if (first > 0 || last < 0) { // frame 0 has left the range
        QCOMPARE(ruler().currentFrame(), first);
        QCOMPARE(fields[2]->text(), QString::number(first));
    }
    QCOMPARE(firstPoint().y(), float(ruler().currentFrame() - first));

    Driver::drag(&ruler(), rulerPixel(first + 3), rulerPixel(first + 17), 2);
    QCOMPARE(fields[2]->text(), QString::number(first + 17));
    QCOMPARE(firstPoint().y(), 17.0f);
    const QPoint marked = rulerPixel(first + 17);
    QCOMPARE(ruler().grab().toImage().pixel(marked.x(), marked.y()), qRgb(210, 210, 210));

    PlayWatch watch(&ruler());
    Driver::click(&playButton());
    QTRY_VERIFY(watch.ticks.size() >= 5);
    for (int i = 0; i < 5; ++i) {
        QCOMPARE(watch.ticks[size_t(i)].frame, first + 18 + i);
        QCOMPARE(watch.ticks[size_t(i)].height, float(18 + i));
    }
}

// The last one: the program is gone afterwards.
void PlaybackGLTest::closingWhilePlayingEnds()
{
    Driver::click(&playButton());
    QTRY_VERIFY(ruler().currentFrame() > 1);
    QTimer::singleShot(0, Global::mainWindow(), &QWidget::close);
    QTimer::singleShot(10000, qApp, [] { QCoreApplication::exit(1); });
    QCOMPARE(qApp->exec(), 0);
    m_app.reset();
    QVERIFY(!Global::timeline());
    QTest::qWait(100);
}

PLEXMOLD_TEST_MAIN(PlaybackGLTest)
#include "PlaybackGLTest.moc"
