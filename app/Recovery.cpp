#include "app/Recovery.h"

#include "app/FileStamp.h"
#include "app/Global.h"
#include "app/Log.h"
#include "app/MainWindow.h"
#include "app/SceneStream.h"
#include "layers/Layer.h"
#include "timeline/Timeline.h"
#include "viewport/Viewport.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace {

constexpr int kLookInterval = 250; // milliseconds
constexpr qint64 kWriteInterval =
    2000; // milliseconds; a large scene's file is not written without end

const QString kUntitled = QStringLiteral("untitled");

RecoveryPieces::Layers layers()
{
    RecoveryPieces::Layers layers;
    for (const Layer *layer : Global::layers())
        layers.push_back(layer->data());
    return layers;
}

QByteArray presentMark() { return sceneMark(Global::alembicPath(), layers()); }

/// Where the data is about to change anyhow, and the window must not wait.
bool busy()
{
    const auto strokes = [](const Viewport *view) {
        return view && view->mode() == InteractionMode::Stroke;
    };
    return Global::timeline()->playing() || strokes(Global::viewport()) ||
        strokes(Global::auxViewport());
}

} // namespace

Recovery::Recovery(const QString &dataFolder)
    : m_dataFolder(dataFolder)
    , m_startTime(QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss")))
    , m_hand(new QObject)
{
    m_hand->moveToThread(&m_thread);
    connect(&m_thread, &QThread::finished, m_hand, &QObject::deleteLater);
    connect(&m_lookTimer, &QTimer::timeout, this, &Recovery::look);
    connect(&m_gatherTimer, &QTimer::timeout, this, &Recovery::gather);
    m_thread.start(QThread::LowPriority);
}

Recovery::~Recovery()
{
    removeFile();
    // Ends what the thread still has to do.
    QMetaObject::invokeMethod(
        m_hand, [] {}, Qt::BlockingQueuedConnection);
    m_thread.quit();
    m_thread.wait();
}

QString Recovery::userFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
        QStringLiteral("/plexmold");
}

void Recovery::start(const MainWindow &window)
{
    connect(&window, &MainWindow::sceneOpened, this, &Recovery::sceneOpened);
    connect(&window, &MainWindow::sceneSaved, this, &Recovery::sceneSaved);
    connect(&window, &MainWindow::sceneDiscarded, this, &Recovery::sceneDiscarded);
    for (const QString &path : RecoveryFile::leftOver(m_dataFolder + QLatin1Char('/'), 0))
        qCDebug(lcApp).noquote() << "unsaved work of an earlier run:" << path;
    beginScene(Global::scenePath());
    m_lookTimer.start(kLookInterval);
}

void Recovery::sceneOpened(const QString &path)
{
    leaveFile();
    beginScene(path);
    const QString base = RecoveryFile::baseOf(path);
    for (const QString &found : RecoveryFile::leftOver(base, FileStamp::of(path).modified))
        qCDebug(lcApp).noquote() << "a newer recovery file exists:" << found;
}

void Recovery::sceneSaved(const QString &path)
{
    removeFile();
    beginScene(path);
}

void Recovery::sceneDiscarded()
{
    removeFile();
    beginScene(kUntitled);
}

void Recovery::look()
{
    if (m_writing || m_gatherTimer.isActive() || busy())
        return;
    const QByteArray mark = presentMark();
    if (mark == m_recorded)
        return;
    if (mark == m_clean) {
        removeFile();
        beginScene(Global::scenePath());
        return;
    }
    const bool nothingYet = Global::scenePath() == kUntitled && Global::layers().empty();
    if (!nothingYet && (!m_sinceWrite.isValid() || m_sinceWrite.elapsed() >= kWriteInterval))
        m_gatherTimer.start(0);
}

void Recovery::gather()
{
    if (busy()) {
        m_gatherTimer.stop(); // the next look goes on where this stopped
    } else if (m_pieces.gather(layers(), kRecoverySlice)) {
        m_gatherTimer.stop();
        write();
    }
}

void Recovery::write()
{
    auto pieces = m_pieces.take(Global::alembicPath(), layers());
    m_recorded = presentMark();
    m_writing = true;
    m_sinceWrite.start();
    m_cancelled = std::make_shared<std::atomic<bool>>(false);
    const auto report = [this, cancelled = m_cancelled,
                         places = m_pieces.places()](const QString &failure, const QString &path) {
        if (!*cancelled)
            written(failure, path, places);
    };
    const auto run = [this, report, file = m_file, cancelled = m_cancelled,
                      written = std::move(pieces)] {
        const QString failure = file->write(written, *cancelled);
        QMetaObject::invokeMethod(
            this, [report, failure, path = file->path()] { report(failure, path); },
            Qt::QueuedConnection);
    };
    QMetaObject::invokeMethod(m_hand, run, Qt::QueuedConnection);
}

void Recovery::written(const QString &failure, const QString &path,
                       const RecoveryPieces::Places &places)
{
    m_writing = false;
    if (failure.isEmpty()) {
        m_path = path;
        m_pieces = RecoveryPieces(places);
    } else {
        m_recorded.clear(); // is tried again
        if (failure != m_failure)
            qCDebug(lcApp).noquote() << "can't write the recovery file:" << failure;
    }
    m_failure = failure;
}

/// The file stays on disk, no longer this program's.
void Recovery::leaveFile()
{
    if (!m_path.isEmpty())
        qCDebug(lcApp).noquote() << "unsaved work is kept in" << m_path;
}

void Recovery::removeFile()
{
    if (m_cancelled)
        *m_cancelled = true;
    QMetaObject::invokeMethod(
        m_hand,
        [file = m_file] {
            if (file)
                file->remove();
        },
        Qt::QueuedConnection);
}

void Recovery::beginScene(const QString &path)
{
    if (m_cancelled)
        *m_cancelled = true;
    m_writing = false;
    m_gatherTimer.stop();
    m_path.clear();
    m_pieces = RecoveryPieces({});
    m_file = std::make_shared<RecoveryFile>(basesFor(path));
    m_clean = m_recorded = presentMark();
}

QStringList Recovery::basesFor(const QString &path) const
{
    QDir().mkpath(m_dataFolder);
    const QString own = m_dataFolder + QLatin1Char('/') +
        QFileInfo(RecoveryFile::baseOf(path)).fileName() + QLatin1Char('-') + m_startTime;
    return path == kUntitled ? QStringList(own) : QStringList { RecoveryFile::baseOf(path), own };
}
