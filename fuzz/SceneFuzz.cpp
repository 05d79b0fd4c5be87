// A scene file of any bytes reads without harm; what was read, written again, reads as the same.
#include "Fuzz.h"
#include "app/SceneStream.h"

namespace {

QByteArray written(const SceneContent &scene)
{
    QByteArray bytes = sceneHead(scene.alembicPath, scene.layers.size());
    for (const auto &layer : scene.layers) {
        bytes += recordHead(*layer);
        for (const RecordArray array :
             { RecordArray::BasePoints, RecordArray::OffsetPoints, RecordArray::Mask })
            bytes += arrayBytes(*layer, array, 0, arrayItemCount(*layer, array));
        bytes += recordTail(*layer);
    }
    return bytes;
}

SceneContent readBytes(const void *bytes, std::size_t size)
{
    return readScene(fuzz::MemoryFile(bytes, size).path());
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    const QByteArray once = written(readBytes(bytes, size));
    const SceneContent again = readBytes(once.constData(), std::size_t(once.size()));
    fuzz::require(again.read == SceneRead::Whole);
    // A key's time passes through a float at each reading, and only the first can change it.
    fuzz::require(written(again) == once);
    return 0;
}
