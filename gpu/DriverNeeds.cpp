#include "gpu/DriverNeeds.h"

#include "gpu/BufferTable.h"

#include <QOpenGLContext>
#include <QOpenGLFunctions>

#include <iterator>

namespace {

constexpr int kMajor = 4;
constexpr int kMinor = 3;
constexpr int kKernelBlocks = 10; // the sculpt kernel's
constexpr int kVertexBlocks = 4; // the wipe's

QString sentence(const QString &needed, const QString &offered)
{
    return QStringLiteral("Plexmold needs %1, this driver offers %2.").arg(needed, offered);
}

QString versionText(int major, int minor)
{
    return major == 0 ? QStringLiteral("none")
                      : QStringLiteral("OpenGL %1.%2").arg(major).arg(minor);
}

int limit(GLenum name)
{
    GLint value = 0;
    QOpenGLContext::currentContext()->functions()->glGetIntegerv(name, &value);
    return value;
}

} // namespace

DriverOffer driverOffer()
{
    const QOpenGLContext *context = QOpenGLContext::currentContext();
    if (!context)
        return {};
    DriverOffer offer;
    offer.major = context->format().majorVersion();
    offer.minor = context->format().minorVersion();
    if (std::pair(offer.major, offer.minor) < std::pair(kMajor, kMinor))
        return offer; // has no such limits to ask for
    offer.kernelBlocks = limit(GL_MAX_COMPUTE_SHADER_STORAGE_BLOCKS);
    offer.vertexBlocks = limit(GL_MAX_VERTEX_SHADER_STORAGE_BLOCKS);
    offer.bindings = limit(GL_MAX_SHADER_STORAGE_BUFFER_BINDINGS);
    return offer;
}

QString unmetNeed(const DriverOffer &offer)
{
    if (std::pair(offer.major, offer.minor) < std::pair(kMajor, kMinor))
        return sentence(versionText(kMajor, kMinor), versionText(offer.major, offer.minor));
    const struct {
        int needed;
        int offered;
        QString what;
    } rows[] = {
        { int(std::size(kBufferTable)), offer.bindings, QStringLiteral("bound storage buffers") },
        { kVertexBlocks, offer.vertexBlocks, QStringLiteral("storage blocks in a vertex shader") },
        { kKernelBlocks, offer.kernelBlocks, QStringLiteral("storage blocks in a kernel") },
    };
    for (const auto &row : rows)
        if (row.offered < row.needed)
            return sentence(QStringLiteral("%1 %2").arg(row.needed).arg(row.what),
                            QString::number(row.offered));
    return {};
}
