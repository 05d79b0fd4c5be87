#include "app/RecoveryPieces.h"

#include "app/SceneStream.h"

#include <QElapsedTimer>

#include <set>

namespace {

/// A tenth of a millisecond's work: how far a slice may overrun.
constexpr size_t kPieceItems = 16384;

constexpr RecordArray kArrays[] = { RecordArray::BasePoints, RecordArray::OffsetPoints,
                                    RecordArray::Mask };

} // namespace

RecoveryPieces::RecoveryPieces(Places held)
    : m_held(std::move(held))
{
}

bool RecoveryPieces::gather(const Layers &layers, double milliseconds)
{
    forgetOthers(layers);
    QElapsedTimer timer;
    timer.start();
    for (const LayerData *layer : layers) {
        for (const RecordArray array : kArrays) {
            const quint64 revision = arrayRevision(*layer, array);
            if (m_held.count(revision))
                continue;
            const size_t count = arrayItemCount(*layer, array);
            Gathered &gathered = m_gathered[revision];
            while (gathered.items < count) {
                if (double(timer.nsecsElapsed()) > 1e6 * milliseconds)
                    return false;
                const size_t items = std::min(kPieceItems, count - gathered.items);
                gathered.pieces.push_back(arrayBytes(*layer, array, gathered.items, items));
                gathered.items += items;
            }
        }
    }
    return true;
}

/// What was gathered of contents that no layer has any more.
void RecoveryPieces::forgetOthers(const Layers &layers)
{
    std::set<quint64> present;
    for (const LayerData *layer : layers)
        for (const RecordArray array : kArrays)
            present.insert(arrayRevision(*layer, array));
    std::erase_if(m_gathered, [&](const auto &entry) { return !present.count(entry.first); });
}

std::vector<RecoveryFile::Piece> RecoveryPieces::take(const QString &alembicPath,
                                                      const Layers &layers)
{
    m_places.clear();
    m_size = 0;
    put(sceneHead(alembicPath, layers.size()));
    for (const LayerData *layer : layers) {
        put(recordHead(*layer));
        for (const RecordArray array : kArrays)
            put(arrayRevision(*layer, array));
        put(recordTail(*layer));
    }
    m_gathered.clear();
    return std::exchange(m_pieces, {});
}

void RecoveryPieces::put(quint64 revision)
{
    const qint64 begin = m_size;
    if (const auto held = m_held.find(revision); held != m_held.end()) {
        m_pieces.push_back({ QByteArray(), held->second.offset, held->second.size });
        m_size += held->second.size;
    } else {
        for (const QByteArray &piece : m_gathered[revision].pieces)
            put(piece);
    }
    m_places[revision] = { begin, m_size - begin };
}

void RecoveryPieces::put(const QByteArray &bytes)
{
    m_pieces.push_back({ bytes, 0, 0 });
    m_size += bytes.size();
}
