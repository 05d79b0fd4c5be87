#include "layers/SculptCommand.h"

#include "layers/Layer.h"
#include "layers/Log.h"
#include "layers/PointSum.h"

SculptCommand::SculptCommand(Layer *layer, PointArray deltas)
    : m_layer(layer)
    , m_deltas(std::move(deltas))
{
}

void SculptCommand::undo()
{
    qCDebug(lcLayers).noquote() << "undo sculpt cmd";
    if (!addScaled(m_layer->data()->editOffsetPoints(), m_deltas, -1.0f))
        qCDebug(lcLayers).noquote() << "error removing deltas, different size";
}

void SculptCommand::redo()
{
    if (!addScaled(m_layer->data()->editOffsetPoints(), m_deltas, 1.0f))
        qCDebug(lcLayers).noquote() << "error applying deltas, different size";
}
