#pragma once

#include "bake/PartMark.h"

#include <QStringList>

#include <optional>

/// Which of how many equal parts, counted from 1.
struct PartNumber {
    int number = 1;
    int count = 1;

    /// Empty ranges where there are more parts than frames.
    FrameRange of(const FrameRange &whole) const;
};

/// One call of the program.
struct BakeOptions {
    QString output;
    bool force = false; ///< an existing output gives way

    QStringList parts; ///< to be joined; the rest is then empty
    QString scene;
    QString cache; ///< in the place of the one that the scene names
    std::optional<FrameRange> frames;
    std::optional<PartNumber> part;
    bool normals = false;
    bool skipUnfit = false; ///< layers that do not fit are left out
};

/// Options, or the text and the exit code to end with.
struct CommandLine {
    std::optional<BakeOptions> options;
    QString text;
    int exitCode = 0;

    static constexpr int kFailed = 1;
    static constexpr int kMisused = 2;

    /// Needs a QCoreApplication, which gives the help its name and version.
    static CommandLine parse(const QStringList &arguments);
};
