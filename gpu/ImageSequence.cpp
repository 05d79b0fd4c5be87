#include "gpu/ImageSequence.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <optional>

namespace {

bool isDigit(QChar c) { return c >= QLatin1Char('0') && c <= QLatin1Char('9'); }

struct NumberedName {
    QString before;
    QString digits;
    QString after;
};

NumberedName splitName(const QString &name)
{
    // Digits in the file type (".jp2") number no frame; a type of digits only (".0001") is no type.
    const int dot = name.lastIndexOf(QLatin1Char('.'));
    int end = name.size();
    if (dot > 0 && !std::all_of(name.begin() + dot + 1, name.end(), isDigit))
        end = dot;
    while (end > 0 && !isDigit(name[end - 1]))
        --end;
    int begin = end;
    while (begin > 0 && isDigit(name[begin - 1]))
        --begin;
    return { name.left(begin), name.mid(begin, end - begin), name.mid(end) };
}

std::optional<int> frameNumber(const QString &digits)
{
    bool ok = false;
    const int frame = digits.toInt(&ok);
    return ok ? std::optional(frame) : std::nullopt;
}

}

ImageSequence scanImageSequence(const QString &path, int loneFrame)
{
    const QFileInfo chosen(path);
    if (!chosen.isFile())
        return {};
    const NumberedName parts = splitName(chosen.fileName());
    const std::optional<int> chosenFrame = frameNumber(parts.digits);
    if (!chosenFrame)
        return { { loneFrame, chosen.filePath() } };

    ImageSequence sequence { { *chosenFrame, chosen.filePath() } };
    const QDir folder = chosen.dir();
    for (const QString &name : folder.entryList(QDir::Files, QDir::Name)) {
        const NumberedName other = splitName(name);
        const std::optional<int> frame = frameNumber(other.digits);
        if (frame && other.before == parts.before && other.after == parts.after)
            sequence.emplace(*frame, folder.filePath(name));
    }
    return sequence;
}
