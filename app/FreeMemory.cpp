#include "app/FreeMemory.h"

#include <QByteArray>
#include <QFile>

#include <algorithm>
#include <limits>
#include <sys/resource.h>

namespace {

constexpr quint64 kUnknown = std::numeric_limits<quint64>::max();

QByteArray contentOf(const char *path)
{
    QFile file(QString::fromLatin1(path));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

quint64 numberIn(const QByteArray &text)
{
    bool isNumber = false;
    const quint64 number = text.trimmed().toULongLong(&isNumber);
    return isNumber ? number : kUnknown;
}

quint64 machineFree()
{
    const QByteArray text = contentOf("/proc/meminfo");
    const QByteArray name = "MemAvailable:";
    const int at = text.indexOf(name);
    if (at < 0)
        return kUnknown;
    const quint64 kilobytes = numberIn(text.mid(at + name.size()).trimmed().split(' ').front());
    return kilobytes == kUnknown ? kUnknown : 1024 * kilobytes;
}

quint64 left(quint64 limit, quint64 used)
{
    return limit == kUnknown || used == kUnknown ? kUnknown : limit - std::min(limit, used);
}

quint64 groupFree()
{
    return left(numberIn(contentOf("/sys/fs/cgroup/memory.max")),
                numberIn(contentOf("/sys/fs/cgroup/memory.current")));
}

quint64 processFree()
{
    rlimit limit = {};
    if (getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY)
        return kUnknown;
    constexpr quint64 page = 4096;
    return left(limit.rlim_cur, page * numberIn(contentOf("/proc/self/statm").split(' ').front()));
}

} // namespace

quint64 freeMemory() { return std::min({ machineFree(), groupFree(), processFree() }); }
