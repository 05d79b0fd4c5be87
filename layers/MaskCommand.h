#pragma once

#include "layers/CommandStack.h"

#include <vector>

class Layer;

/// One stroke of a mask brush: the layer's whole mask before and after, whatever their lengths. The
/// layer is not owned and must live as long as this can be undone.
class MaskCommand : public Command {
public:
    /// The layer's mask of this moment becomes what undo() brings back.
    MaskCommand(Layer *layer, std::vector<float> newMask);

    void execute() override { redo(); }
    void undo() override;
    void redo() override;
    bool actsOn(const void *target) const override { return target == m_layer; }

private:
    Layer *m_layer;
    std::vector<float> m_oldMask;
    std::vector<float> m_newMask;
};
