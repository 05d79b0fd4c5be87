#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <atomic>
#include <vector>

/// One program's recovery file on disk: complete or not there, never shared. A name is taken only
/// where nothing is, by an operation that two programs cannot both succeed in, and from then on
/// replaced; what an earlier crash left stays untouched. While this lives the file is locked, which
/// tells others that its program runs. The file itself outlives this unless remove() is called.
/// One thread at a time.
class RecoveryFile {
public:
    /// Bytes of their own or, without any, a range of the file as it was last written.
    struct Piece {
        QByteArray bytes;
        qint64 offset = 0;
        qint64 size = 0;
    };

    /// `bases` are paths without suffix: BASE.recovered.pxm, BASE.recovered-2.pxm and so on of the
    /// first whose folder can be written.
    explicit RecoveryFile(QStringList bases);
    ~RecoveryFile();
    RecoveryFile(const RecoveryFile &) = delete;
    RecoveryFile &operator=(const RecoveryFile &) = delete;

    /// Empty when the pieces are on disk under path(), else what went wrong; the earlier file then
    /// stays. Stops soon after `cancelled` becomes true.
    QString write(const std::vector<Piece> &pieces, const std::atomic<bool> &cancelled);
    void remove();
    const QString &path() const { return m_path; } ///< empty before the first write

    /// Recovery files of that base that no running program holds and that are younger than
    /// `nanoseconds` since 1970.
    static QStringList leftOver(const QString &base, qint64 nanoseconds);
    /// The base under which a scene's work is recovered; a recovered scene has that of its scene.
    static QString baseOf(const QString &scenePath);

private:
    QString publish(int file, const QByteArray &temporary, const QString &base);
    bool ownsPath() const;

    QStringList m_bases;
    QString m_path;
    int m_file = -1; ///< open and locked from the first write on
};
