#pragma once

#include <Alembic/Abc/IArchive.h>
#include <Alembic/Abc/OObject.h>

#include <string>
#include <vector>

/// First and last, both included.
struct FrameRange {
    int first = 0;
    int last = 0;

    int count() const { return last - first + 1; }
    bool operator==(const FrameRange &) const = default;
};

/// What a part of a bake says of itself, in a compound property of the archive's top object: a join
/// puts parts together by it and leaves it out.
struct PartMark {
    static constexpr const char *kProperty = ".plexmoldPart";

    FrameRange frames; ///< whose points it holds
    FrameRange whole; ///< what all parts together hold; the same as `frames` where not planned
    double framesPerSecond = 24.0;
    bool pointsOnly = false; ///< everything else is in the first part
    bool normals = false; ///< vertex normals in the place of the source's
    std::string scene; ///< the same for all parts of one scene, cache and choice of options
    std::vector<std::string> moved; ///< full names of the meshes that the layers moved
    std::vector<std::string> ownInstances; ///< instances that became objects of their own

    void write(Alembic::Abc::OObject top) const;
    /// Throws where the archive bears none.
    static PartMark read(Alembic::Abc::IArchive archive);
};
