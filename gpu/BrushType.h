#pragma once

/// What a dab does. The numbers are the sculpt kernel's (common/brushes.glsl; the compiler
/// compares), the shelf's and `Global::currentBrush()`'s.
enum class BrushType : int {
    Clay = 0,
    Move = 1,
    Standard = 2,
    Crease = 3,
    Inflate = 4,
    Fix = 5, ///< "clone" on the shelf
    Flatten = 6,
    Erase = 7,
    Mask = 8,
    MaskSmooth = 9, ///< mask with Shift
    Smooth = 10, ///< any other brush with Shift
    None = 11
};

/// What one dab of a brush is done with.
struct BrushSettings {
    BrushType type = BrushType::None;
    float radius = 0.0f; ///< world units
    float intensity = 1.0f; ///< 0 to 1
    float pressure = 1.0f; ///< 0 to 1
    bool shift = false;
    bool control = false; ///< inverts
    bool cotangent = false; ///< ring weighting of the Fix brush
};
