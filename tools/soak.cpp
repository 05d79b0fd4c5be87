// soak ARCHIVE MINUTES [SEED]: works in the real program at random for so long (strokes, scrubs,
// plays, imports, scene switches, camera windows, saves) and prints twenty times what the process
// holds: memory, file descriptors, OpenGL objects. Exit status 1 when, after the first quarter,
// memory grew by more than a tenth, or anything else by more than what comes and goes.

#include "app/Recovery.h"
#include "tools/RandomHands.h"
#include "tools/RunningProgram.h"
#include "viewport/MeshScope.h"

#include <QDir>
#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QOpenGLContext>
#include <QOpenGLFunctions_4_3_Core>
#include <QTemporaryDir>

#include <cstdio>

namespace {

struct Holdings {
    double megabytes = 0.0;
    int files = 0;
    int glObjects = 0;
};

double residentMegabytes()
{
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return 0.0;
    constexpr double page = 4096.0;
    return statm.readAll().split(' ').at(1).toDouble() * page / 1e6;
}

/// Buffers, textures and programs with low names, which is where drivers put them.
int glObjectCount()
{
    const MeshScope scope;
    QOpenGLFunctions_4_3_Core gl;
    if (!scope || !gl.initializeOpenGLFunctions())
        return -1;
    int count = 0;
    for (GLuint name = 1; name < 10000; ++name)
        count += int(gl.glIsBuffer(name)) + int(gl.glIsTexture(name)) + int(gl.glIsProgram(name)) +
            int(gl.glIsFramebuffer(name)) + int(gl.glIsRenderbuffer(name)) +
            int(gl.glIsVertexArray(name));
    return count;
}

Holdings holdings()
{
    QTest::qWait(200); // what is deleted later is gone
    return { residentMegabytes(),
             int(QDir(QStringLiteral("/proc/self/fd"))
                     .entryList(QDir::NoDotAndDotDot | QDir::Files)
                     .size()),
             glObjectCount() };
}

/// The scene of every sample, so that they can be compared: the archive and no layers.
void settle(RandomHands &hands)
{
    Global::clearScene();
    hands.import();
    Global::cameraWindow()->hide();
}

int soak(const QString &archive, double minutes, quint32 seed)
{
    const RunningProgram app;
    const QTemporaryDir folder;
    Recovery recovery(folder.path());
    recovery.start(*Global::mainWindow());
    RandomHands hands(archive, folder.filePath(QStringLiteral("soak.pxm")), seed);
    hands.import();
    hands.work();
    hands.save();

    constexpr int samples = 20;
    Holdings early, late;
    int things = 0;
    for (int sample = 1; sample <= samples; ++sample) {
        QElapsedTimer timer;
        timer.start();
        while (double(timer.elapsed()) < 60000.0 * minutes / samples) {
            if (hands.one(8))
                hands.turnOver();
            else
                hands.work();
            ++things;
        }
        settle(hands);
        late = holdings();
        if (sample == samples / 4)
            early = late;
        std::printf("%5.1f min %6d things %7.1f MB %4d files %4d GL objects\n",
                    minutes * sample / samples, things, late.megabytes, late.files, late.glObjects);
        std::fflush(stdout);
    }
    // Whether a recovery file is open, and what the card keeps of layers, comes and goes.
    constexpr int sway = 8;
    const bool flat = late.megabytes <= 1.1 * early.megabytes && late.files <= early.files + sway &&
        late.glObjects <= early.glObjects + sway;
    std::printf("%s\n", flat ? "flat" : "GREW");
    return flat ? 0 : 1;
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: soak ARCHIVE MINUTES [SEED]\n");
        return 2;
    }
    QLoggingCategory::setFilterRules(QStringLiteral("plexmold.*.debug=false"));
    Startup::prepare();
    QApplication application(argc, argv);
    const QStringList words = QApplication::arguments();
    return soak(words[1], words[2].toDouble(), words.size() > 3 ? words[3].toUInt() : 1);
}
