#include "layers/LayerData.h"

#include <iterator>

QString layerKindName(LayerKind kind)
{
    static const QString names[] = { QStringLiteral("Sculpt"), QStringLiteral("Mush"),
                                     QStringLiteral("Relax"), QStringLiteral("Jiggle"),
                                     QStringLiteral("Cloth") };
    const qint32 number = qint32(kind);
    return number >= 0 && number < qint32(std::size(names)) ? names[number] : QString();
}

bool operator==(const LayerKey &a, const LayerKey &b)
{
    return a.time == b.time && a.value == b.value && a.flag == b.flag;
}

void LayerData::bringHome()
{
    for (const RevisedPoints *points :
         { &m_basePoints, &m_offsetPoints, &m_jiggleStep.previousPoints,
           &m_jiggleStep.currentPoints })
        static_cast<void>(points->items());
}

quint64 nextArrayRevision()
{
    static quint64 last = 0;
    return ++last;
}
