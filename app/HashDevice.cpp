#include "app/HashDevice.h"

HashDevice::HashDevice(QIODevice *target)
    : m_target(target)
{
    open(QIODevice::WriteOnly | QIODevice::Unbuffered);
}

qint64 HashDevice::writeData(const char *bytes, qint64 count)
{
    const qint64 written = m_target ? m_target->write(bytes, count) : count;
    if (written > 0)
        m_hash.addData(bytes, int(written)); // a stream writes pieces, never 2 GB at once
    return written;
}
