#pragma once

#include <QElapsedTimer>
#include <QString>

#include <functional>

/// Work that blocks the window and may take long. Past a second it says what it is at, as a debug
/// line once and to the listener five times a second, so that a wait is not taken for a hang. One
/// at a time; GUI thread only.
class SlowWork {
public:
    explicit SlowWork(QString what);
    ~SlowWork();
    SlowWork(const SlowWork &) = delete;
    SlowWork &operator=(const SlowWork &) = delete;

    /// Cheap enough to be called for each object of an archive.
    void reached(std::size_t number, const char *unit);

    /// Called with what to show, and with an empty text at the end.
    using Listener = std::function<void(const QString &)>;
    static void setListener(Listener listener);

private:
    void say(std::size_t number, const char *unit);

    QString m_what;
    QElapsedTimer m_timer;
    qint64 m_nextWord; ///< milliseconds
};
