#pragma once

#include "app/RecoveryFile.h"
#include "layers/LayerData.h"

#include <map>

/// How long the window may be held at a time, in milliseconds: well under a displayed frame.
constexpr double kRecoverySlice = 4.0;

/// The open scene as pieces of a recovery file, gathered in slices so that the window never waits
/// for all of a large scene. Arrays that the file on disk holds already are named by their place
/// there and not read again: a revision names one content for good.
class RecoveryPieces {
public:
    struct Range {
        qint64 offset = 0;
        qint64 size = 0; ///< bytes
    };
    /// Where a file holds what, by revision.
    using Places = std::map<quint64, Range>;
    using Layers = std::vector<const LayerData *>;

    explicit RecoveryPieces(Places held);

    /// Works for about that long; true when every array of the layers as they are now is gathered.
    bool gather(const Layers &layers, double milliseconds);
    /// The whole file, in the moment in which gather() returned true. Leaves this empty.
    std::vector<RecoveryFile::Piece> take(const QString &alembicPath, const Layers &layers);
    /// Where the file that take() described holds the arrays.
    const Places &places() const { return m_places; }

private:
    struct Gathered {
        std::vector<QByteArray> pieces;
        size_t items = 0; ///< how many of the array's
    };

    void forgetOthers(const Layers &layers);
    void put(quint64 revision);
    void put(const QByteArray &bytes);

    Places m_held;
    Places m_places;
    std::map<quint64, Gathered> m_gathered;
    std::vector<RecoveryFile::Piece> m_pieces;
    qint64 m_size = 0; ///< of m_pieces, bytes
};
