// Brush numbers, as in BrushType. Plain defines: C++ includes this file too.
#define CLAY 0
#define MOVE 1
#define STANDARD 2
#define CREASE 3
#define INFLATE 4
#define FIX 5
#define FLATTEN 6
#define ERASE 7
#define MASK 8
#define MASK_SMOOTH 9
#define SMOOTH 10
