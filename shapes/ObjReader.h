#pragma once

#include "shapes/MtlReader.h"
#include "shapes/ShapeMesh.h"
#include <QString>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// One corner of a face: zero-based numbers into the lists of the file, or one of the constants.
struct ObjCorner {
    static constexpr int kMissing = -1; ///< the corner does not name one
    static constexpr int kOutOfRange = -2; ///< names one before the first of the file

    int position = kMissing;
    int texture = kMissing;
    int normal = kMissing;
};

/// The faces from `firstFace` on, up to the next group's first, have this material in use.
struct ObjMaterialUse {
    std::string material;
    std::size_t firstFace = 0;
};

/// What an OBJ file says, before anything is made of it. Faces may name what does not exist.
struct ObjContent {
    std::vector<std::array<float, 3>> positions;
    std::vector<std::array<float, 2>> textureCoordinates;
    std::vector<std::array<float, 3>> normals;
    std::vector<ObjCorner> corners; ///< of all faces, in file order
    std::vector<std::uint32_t> faceEnds; ///< per face, the number of corners up to its last
    std::vector<ObjMaterialUse> materialUses; ///< in file order; faces before the first have none
    std::vector<std::string> libraries; ///< each name once, in file order
    std::vector<ObjMaterial> materials; ///< of all libraries that could be read

    /// (0, 0) for a corner without a texture coordinate.
    std::array<float, 2> textureOf(const ObjCorner &corner) const;
};

/// Parses the text of an OBJ file. A line that does not scan to all its numbers is passed over.
/// Faces keep every corner of which at least one number scans; negative numbers count back from
/// what was read so far.
ObjContent parseObj(std::string_view text);

/// parseObj() of a file, with the material libraries it names, which lie relative to its folder.
/// Deliberate: files are opened by the path's Latin-1 form, so that a path with other characters,
/// or with others than ASCII where file names are UTF-8, is not found. A file that cannot be read
/// is told in the log; for the OBJ itself the content is empty.
ObjContent readObj(const QString &path);

/// Fans the polygons into triangles. A corner without a normal, or with one that has no direction,
/// gets its face's; a face with a number out of range is dropped. Triangles share a corner only
/// where position and normal agree. Normals are of unit length, but zero on a face without an area.
ShapeMesh buildShape(const ObjContent &content);
