#include "layers/MaskCommand.h"

#include "layers/Layer.h"

MaskCommand::MaskCommand(Layer *layer, std::vector<float> newMask)
    : m_layer(layer)
    , m_oldMask(layer->data()->mask())
    , m_newMask(std::move(newMask))
{
}

void MaskCommand::undo() { m_layer->data()->setMask(m_oldMask); }

void MaskCommand::redo() { m_layer->data()->setMask(m_newMask); }
