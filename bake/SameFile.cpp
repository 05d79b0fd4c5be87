#include "bake/SameFile.h"

#include "bake/BakeError.h"

#include <QFile>

#include <sys/stat.h>

void refuseSameFile(const QString &output, const QStringList &inputs)
{
    struct stat out, in;
    if (stat(QFile::encodeName(output).constData(), &out) != 0)
        return; // it does not exist yet
    for (const QString &input : inputs)
        if (stat(QFile::encodeName(input).constData(), &in) == 0 && in.st_dev == out.st_dev &&
            in.st_ino == out.st_ino)
            throw BakeError(QStringLiteral("the output %1 is its own input %2").arg(output, input));
}
