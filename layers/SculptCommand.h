#pragma once

#include "layers/CommandStack.h"
#include "layers/SparsePoints.h"

class Layer;

/// One stroke of a sculpting brush: what it adds to the layer's offset points. The layer is not
/// owned and must live as long as this can be undone. Where the counts differ nothing happens but a
/// debug line.
class SculptCommand : public Command {
public:
    /// `deltas`: world-space displacement, one per vertex.
    SculptCommand(Layer *layer, const PointArray &deltas);

    void execute() override { redo(); }
    void undo() override;
    void redo() override;
    bool actsOn(const void *target) const override { return target == m_layer; }

private:
    bool add(float factor);

    Layer *m_layer;
    SparsePoints m_deltas;
};
