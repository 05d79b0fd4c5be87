#pragma once

#include "bake/BakedArchive.h"
#include "bake/Options.h"
#include "bake/Progress.h"

/// Puts parts of one scene together, in whatever order they are named. Throws std::exception, and
/// then leaves no file.
class Join {
public:
    explicit Join(const BakeOptions &options);
    /// The line that ends a join.
    QString run();

private:
    struct Part {
        QString path;
        PartMark mark;
    };

    void readMarks();
    void checkParts() const;
    void plan();
    void writePart(BakedArchive &archive, const SourceTree &source, const Part &part);

    const BakeOptions m_options;
    Progress m_progress;
    std::vector<Part> m_parts; ///< by frames
    std::vector<std::string> m_moved; ///< in any part
    BakePlan m_plan;
};
