// Saves scenes as its arguments say, for tests that kill it or leave it no room:
//   SceneSaver PATH           saves two scenes in turn until it is killed, and tells where it is
//   SceneSaver PATH LIMIT     saves the second scene once, with files limited to LIMIT bytes
#include "app/SceneStream.h"

#include <QFile>

#include <csignal>
#include <cstdio>
#include <sys/resource.h>

namespace {

LayerData sceneLayer(int turn)
{
    LayerData layer;
    layer.setName(QStringLiteral("turn %1").arg(turn));
    layer.setBasePoints(PointArray(size_t(8000 + 4000 * turn), QVector4D(float(turn), 2, 3, 1)));
    return layer;
}

void tell(const char *line)
{
    std::puts(line);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char **argv)
{
    const QString path = QFile::decodeName(argv[1]);
    const LayerData layers[] = { sceneLayer(0), sceneLayer(1) };
    if (argc > 2) {
        const auto limit = rlim_t(QByteArray(argv[2]).toULongLong());
        const rlimit limits { limit, limit };
        std::signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &limits);
        return writeScene(path, QStringLiteral("limited"), { &layers[1] }) ? 0 : 1;
    }
    for (int turn = 0;; turn = 1 - turn) {
        tell("saving");
        writeScene(path, QStringLiteral("turn %1").arg(turn), { &layers[turn] });
        tell("saved");
    }
}
