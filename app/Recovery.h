#pragma once

#include "app/RecoveryPieces.h"

#include <QElapsedTimer>
#include <QObject>
#include <QThread>
#include <QTimer>

#include <memory>

class MainWindow;

/// Keeps unsaved work on disk, so that a crash or a kill costs seconds: a scene in the scene file's
/// own form beside the open one, or in `dataFolder` while it was never saved. It is written within
/// five seconds of a change, never in mid-stroke or while playing. The GUI thread gathers the
/// changed arrays in slices of a few milliseconds; a thread of this class's own writes. A save, a
/// discarded scene and this object's end remove the file.
class Recovery : public QObject {
    Q_OBJECT

public:
    explicit Recovery(const QString &dataFolder);
    ~Recovery() override;

    /// The user's own folder for it.
    static QString userFolder();

    /// Tells of what earlier runs left in the data folder, and keeps the work of this window's
    /// scene from then on.
    void start(const MainWindow &window);

public slots:
    /// Tells of younger recovery files. What was unsaved in the scene before stays on disk.
    void sceneOpened(const QString &path);
    void sceneSaved(const QString &path);
    void sceneDiscarded();

private:
    void look();
    void gather();
    void write();
    void written(const QString &failure, const QString &path, const RecoveryPieces::Places &places);
    void leaveFile();
    void removeFile();
    void beginScene(const QString &path);
    QStringList basesFor(const QString &path) const;

    QString m_dataFolder;
    QString m_startTime;
    QTimer m_lookTimer;
    QTimer m_gatherTimer;
    QElapsedTimer m_sinceWrite;
    QByteArray m_clean; ///< the scene as it was read, saved or begun
    QByteArray m_recorded; ///< the scene as it was last handed to the writer
    RecoveryPieces m_pieces { {} };
    QString m_path; ///< of the recovery file, once it is written
    QString m_failure; ///< what was last told of
    bool m_writing = false;

    QThread m_thread;
    QObject *m_hand; ///< lives in m_thread
    std::shared_ptr<RecoveryFile> m_file; ///< used in m_thread only
    std::shared_ptr<std::atomic<bool>> m_cancelled; ///< of the write that runs
};
