// Storage binding points, one per row of kBufferTable. Plain defines: C++ includes this file too.
#define POSITION_BINDING 0
#define NORMAL_BINDING 1
#define UV_BINDING 2
#define MASK_BINDING 3
#define TRIANGLE_VERTICES_BINDING 4
#define RING_VERTICES_BINDING 5
#define DELTAS_BINDING 6
#define FALLOFF_BINDING 7
#define BACKUP_POINTS_BINDING 8
#define BRUSH_BINDING 9
#define AREA_BINDING 10
#define BRUSH_MATRIX_BINDING 11
#define TRIANGLE_HIT_BINDING 12
#define BASE_POINTS_BINDING 13
#define OFFSET_POINTS_BINDING 14
#define CONSTRAINTS_BINDING 15

#define GROUP_SIZE 1024
