#pragma once

#include "layers/LayerData.h"

#include <QOpenGLFunctions_4_3_Core>

#include <list>
#include <memory>
#include <optional>
#include <type_traits>

class GLBuffer;

/// Buffers on the graphics card beside the sixteen of the mesh, for what layers hold: an array that
/// did not change reaches its binding by a copy on the card instead of an upload. Uploaded arrays
/// are kept while somebody still has that content (see RevisedArray), at most as many bytes as the
/// limit; the least recently used give way. What cannot be kept costs an upload each time, never
/// data. Every call but the constructor's needs a context of the share group current; what outlives
/// this releases its buffer by itself.
class CardArrays {
public:
    CardArrays();
    ~CardArrays();
    CardArrays(const CardArrays &) = delete;
    CardArrays &operator=(const CardArrays &) = delete;

    /// Of what is kept of uploaded arrays; 0 keeps nothing.
    void setLimit(qint64 bytes);
    qint64 keptBytes() const { return m_keptBytes; }

    /// Fills the target with an array of exactly its size, by a copy where the content is on the
    /// card or can be kept there. False, nothing changed, where it has to be uploaded as it is.
    template <class Item> bool copyTo(GLBuffer &target, const RevisedArray<Item> &array)
    {
        if constexpr (std::is_same_v<Item, QVector4D>) {
            if (array.remote())
                return copyRemote(target, array.remote().get());
        }
        return copyUploaded(target, array.lifeOfRevision(), array.items().data());
    }

    /// The target's present content as an array that stays on the card. Nothing where the card has
    /// no room for it.
    std::optional<RevisedPoints> keep(const GLBuffer &source);

private:
    class Pool;
    class Buffer;
    class KeptPoints;
    struct Upload {
        std::weak_ptr<const quint64> life;
        std::unique_ptr<Buffer> buffer;
    };

    bool copyRemote(GLBuffer &target, const RemotePoints *remote);
    bool copyUploaded(GLBuffer &target, const std::weak_ptr<const quint64> &life, const void *data);
    const Buffer *uploaded(const std::weak_ptr<const quint64> &life, const void *data,
                           qint64 bytes);
    void makeRoom(qint64 bytes);

    std::shared_ptr<Pool> m_pool;
    std::list<Upload> m_uploads; ///< the one used last first
    qint64 m_keptBytes = 0;
    qint64 m_limit;
};
