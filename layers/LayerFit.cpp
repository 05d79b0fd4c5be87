#include "layers/LayerFit.h"

#include "layers/LayerData.h"

#include <QLocale>

namespace {

QString grouped(int number) { return QLocale(QLocale::English).toString(number); }

/// The lengths of the arrays that have to be one per vertex.
std::vector<size_t> boundLengths(const LayerData &layer)
{
    std::vector<size_t> lengths;
    switch (layer.kind()) {
    case LayerKind::Sculpt:
    case LayerKind::Mush:
        lengths = { layer.revisedBasePoints().size(), layer.revisedOffsetPoints().size() };
        break;
    case LayerKind::Cloth:
        if (!layer.revisedBasePoints().empty())
            lengths = { layer.revisedBasePoints().size() };
        break;
    case LayerKind::Relax:
    case LayerKind::Jiggle:
        break;
    }
    if (!layer.revisedMask().empty())
        lengths.push_back(layer.revisedMask().size());
    return lengths;
}

} // namespace

std::optional<int> pointsMadeFor(const LayerData &layer, int vertexCount)
{
    if (vertexCount == 0)
        return std::nullopt;
    for (const size_t length : boundLengths(layer))
        if (length != size_t(vertexCount))
            return int(length);
    return std::nullopt;
}

QString misfitText(int madeFor, int vertexCount)
{
    return QStringLiteral("made for %1 points, this mesh has %2")
        .arg(grouped(madeFor), grouped(vertexCount));
}
