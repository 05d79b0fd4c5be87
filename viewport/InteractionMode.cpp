#include "viewport/InteractionMode.h"

InteractionMode chooseMode(Qt::MouseButtons buttons, Qt::KeyboardModifiers modifiers,
                           bool layerTakesStrokes)
{
    const bool shift = modifiers.testFlag(Qt::ShiftModifier);
    // The wipe comes first: it works with Alt held, too.
    if (buttons == Qt::LeftButton && shift && modifiers.testFlag(Qt::ControlModifier))
        return InteractionMode::Compare;
    if (modifiers.testFlag(Qt::AltModifier))
        return InteractionMode::Navigate;
    if (buttons == Qt::RightButton)
        return InteractionMode::Light;
    if (buttons == Qt::LeftButton && layerTakesStrokes)
        return InteractionMode::Stroke;
    if (buttons == Qt::MiddleButton)
        return shift ? InteractionMode::BrushStrength : InteractionMode::BrushRadius;
    return InteractionMode::None;
}

DragKind navigationKind(Qt::MouseButtons buttons)
{
    if (buttons == Qt::LeftButton)
        return DragKind::Tumble;
    return buttons == Qt::MiddleButton ? DragKind::Pan : DragKind::Dolly;
}
