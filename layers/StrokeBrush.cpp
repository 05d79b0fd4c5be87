#include "layers/StrokeBrush.h"

BrushType strokeBrush(int currentBrush, const StrokeConditions &conditions)
{
    if (!conditions.hit || currentBrush < 0 || currentBrush > int(BrushType::None))
        return BrushType::None;
    auto brush = BrushType(currentBrush);
    if (conditions.shift)
        brush = brush == BrushType::Mask ? BrushType::MaskSmooth : BrushType::Smooth;
    if (brush == BrushType::Fix && !conditions.restPointsFit)
        return BrushType::None;
    return paintsMask(brush) || conditions.sculptLayer ? brush : BrushType::None;
}

bool paintsMask(BrushType brush)
{
    return brush == BrushType::Mask || brush == BrushType::MaskSmooth;
}

bool usesBrushArea(BrushType brush) { return !paintsMask(brush) && brush != BrushType::Fix; }
