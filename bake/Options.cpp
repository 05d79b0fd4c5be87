#include "bake/Options.h"

#include <QCommandLineParser>
#include <QRegularExpression>

namespace {

const char *const kDescription =
    "Writes the archive that a scene corrects, with every mesh's points replaced, frame by frame,\n"
    "by what Plexmold displays. Everything else is copied as it is.\n"
    "\n"
    "  plexmold-bake shot.pxm corrected.abc\n"
    "  plexmold-bake --part 3/20 shot.pxm parts/part-03.abc\n"
    "  plexmold-bake --join corrected.abc parts/part-*.abc\n"
    "\n"
    "Needs OpenGL 4.3; without a display, run it under a virtual one (xvfb-run plexmold-bake "
    "...).\n"
    "\n"
    "Exit codes: 0 the output is complete; 1 something went wrong, a message says what, and there\n"
    "is no output, or the old one as it was; 2 the command line is wrong.";

const QCommandLineOption kCache(QStringLiteral("cache"),
                                QStringLiteral("Bake onto this archive, not the scene's own."),
                                QStringLiteral("archive"));
const QCommandLineOption kFrames(QStringLiteral("frames"),
                                 QStringLiteral("Bake these frames only; the result is an archive "
                                                "of its own and can be joined with others."),
                                 QStringLiteral("a-b"));
const QCommandLineOption kPart(
    QStringLiteral("part"),
    QStringLiteral("Bake the k-th of n equal parts of the frames. The first holds everything, "
                   "the others only their points; --join puts them together."),
    QStringLiteral("k/n"));
const QCommandLineOption kNormals(QStringLiteral("normals"),
                                  QStringLiteral("Write vertex normals for corrected meshes, whose "
                                                 "own normals no longer fit."));
const QCommandLineOption
    kSkipUnfit(QStringLiteral("skip-unfit"),
               QStringLiteral("Leave out layers that do not fit the archive, naming them."));
const QCommandLineOption kForce(QStringLiteral("force"),
                                QStringLiteral("Replace an existing output."));
const QCommandLineOption kJoin(QStringLiteral("join"),
                               QStringLiteral("Put parts of one scene together: the output, then "
                                              "the parts."));

std::optional<std::pair<int, int>> twoNumbers(const QString &text, const char *pattern)
{
    const auto match = QRegularExpression(QLatin1String(pattern)).match(text);
    bool first = false, second = false;
    const std::pair numbers { match.captured(1).toInt(&first), match.captured(2).toInt(&second) };
    return first && second ? std::optional(numbers) : std::nullopt;
}

/// Empty, or what is wrong.
QString readRange(const QCommandLineParser &parser, BakeOptions &options)
{
    if (parser.isSet(kFrames)) {
        const auto range = twoNumbers(parser.value(kFrames), "^(-?\\d+)-(-?\\d+)$");
        if (!range || range->first > range->second)
            return QStringLiteral("--frames takes first-last, like 1001-1100");
        options.frames = FrameRange { range->first, range->second };
    }
    if (parser.isSet(kPart)) {
        const auto part = twoNumbers(parser.value(kPart), "^(\\d+)/(\\d+)$");
        if (!part || part->first < 1 || part->first > part->second)
            return QStringLiteral("--part takes number/count, like 3/20");
        options.part = PartNumber { part->first, part->second };
    }
    return QString();
}

QString readJoin(const QCommandLineParser &parser, const QStringList &files, BakeOptions &options)
{
    for (const QCommandLineOption &option : { kCache, kFrames, kPart, kNormals, kSkipUnfit })
        if (parser.isSet(option))
            return QStringLiteral("--join takes only --force beside it");
    if (files.size() < 2)
        return QStringLiteral("--join takes the output and at least one part");
    options.output = files.front();
    options.parts = files.mid(1);
    return QString();
}

QString readBake(const QCommandLineParser &parser, const QStringList &files, BakeOptions &options)
{
    if (files.size() != 2)
        return QStringLiteral("the scene and the output are needed; --help tells more");
    options.scene = files[0];
    options.output = files[1];
    options.cache = parser.value(kCache);
    options.normals = parser.isSet(kNormals);
    options.skipUnfit = parser.isSet(kSkipUnfit);
    return readRange(parser, options);
}

} // namespace

FrameRange PartNumber::of(const FrameRange &whole) const
{
    const auto boundary = [&](int parts) {
        return int(whole.first + qint64(whole.count()) * parts / count);
    };
    return { boundary(number - 1), boundary(number) - 1 };
}

CommandLine CommandLine::parse(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QLatin1String(kDescription));
    parser.addPositionalArgument(QStringLiteral("scene"), QStringLiteral("The scene file (.pxm)."));
    parser.addPositionalArgument(QStringLiteral("output"),
                                 QStringLiteral("The archive to write (.abc)."));
    const QCommandLineOption help({ QStringLiteral("h"), QStringLiteral("help") },
                                  QStringLiteral("Show this."));
    parser.addOption(help); // the toolkit's own brings options of the toolkit
    const QCommandLineOption version = parser.addVersionOption();
    parser.addOptions({ kCache, kFrames, kPart, kNormals, kSkipUnfit, kForce, kJoin });

    if (!parser.parse(arguments))
        return { {}, parser.errorText(), kMisused };
    if (parser.isSet(help))
        return { {}, parser.helpText(), 0 };
    if (parser.isSet(version))
        return { {}, QStringLiteral("plexmold-bake ") + QCoreApplication::applicationVersion(), 0 };
    BakeOptions options;
    options.force = parser.isSet(kForce);
    const QStringList files = parser.positionalArguments();
    const QString fault =
        parser.isSet(kJoin) ? readJoin(parser, files, options) : readBake(parser, files, options);
    if (!fault.isEmpty())
        return { {}, fault, kMisused };
    return { options, QString(), 0 };
}
