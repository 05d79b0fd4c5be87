// Twins of the records in gpu/GpuRecords.h.

// The brush record is a list of block members, not a struct: a struct's size is rounded up to its
// alignment, and the host's buffer holds 76 bytes, not 80.
#define BRUSH_DATA_MEMBERS \
    vec4 areaPosition;     \
    vec4 areaNormal;       \
    vec4 hitPosition;      \
    vec4 hitNormal;        \
    int hitTriangle;       \
    int hitVertex;         \
    int bySurfaceGrowCount;

struct AreaData {
    vec4 position; // w counts the points summed
    vec4 normal;
};

struct HIT {
    int id; // triangle, -1 without one
    float distance; // from the near point
};
