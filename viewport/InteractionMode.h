#pragma once

#include "viewport/OrbitCamera.h"

#include <Qt>

/// What one drag in a view does, chosen at the press for the whole of it.
enum class InteractionMode : int {
    None = 0,
    BrushRadius = 1,
    BrushStrength = 2,
    Stroke = 3,
    Navigate = 4,
    Light = 5,
    Compare = 6
};

/// `buttons` is the whole set of held buttons; a set outside the rules does nothing without Alt.
InteractionMode chooseMode(Qt::MouseButtons buttons, Qt::KeyboardModifiers modifiers,
                           bool layerTakesStrokes);

/// Left tumbles, middle pans, anything else dollies.
DragKind navigationKind(Qt::MouseButtons buttons);
