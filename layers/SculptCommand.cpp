#include "layers/SculptCommand.h"

#include "layers/Layer.h"
#include "layers/Log.h"

SculptCommand::SculptCommand(Layer *layer, const PointArray &deltas)
    : m_layer(layer)
    , m_deltas(deltas)
{
}

void SculptCommand::undo()
{
    qCDebug(lcLayers).noquote() << "undo sculpt cmd";
    if (!add(-1.0f))
        qCDebug(lcLayers).noquote() << "error removing deltas, different size";
}

void SculptCommand::redo()
{
    if (!add(1.0f))
        qCDebug(lcLayers).noquote() << "error applying deltas, different size";
}

bool SculptCommand::add(float factor)
{
    LayerData &data = *m_layer->data();
    const bool fits = data.revisedOffsetPoints().size() == m_deltas.size();
    if (fits)
        m_deltas.addTo(data.editOffsetPoints(), factor);
    return fits;
}
