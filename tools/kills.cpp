// kills ARCHIVE ROUNDS [SECONDS]: works in the real program, kills it at a random moment within
// SECONDS (10 where not given) after its first change, and looks at what is on disk; as often as
// ROUNDS says. Every third round goes on in the recovered scene of the round before.
// Prints one line a round and one at the end. Exit status 1 when a file was torn, or more than the
// last six seconds of work were lost.

#include "app/Recovery.h"
#include "app/SceneStream.h"
#include "tools/RandomHands.h"
#include "tools/RunningProgram.h"

#include <QDateTime>
#include <QDir>
#include <QLoggingCategory>
#include <QProcess>
#include <QTemporaryDir>

#include <cstdio>
#include <map>

namespace {

constexpr qint64 kAllowed = 6000; // milliseconds

qint64 now() { return QDateTime::currentMSecsSinceEpoch(); }

/// The worker: after each thing it did, it writes its number into the first layer, where the scene
/// file carries it, and tells number and time.
int workUntilKilled(const QString &archive, const QString &folder, const QString &scene,
                    quint32 seed)
{
    QLoggingCategory::setFilterRules(QStringLiteral("plexmold.*.debug=false"));
    const RunningProgram app;
    Recovery recovery(folder);
    recovery.start(*Global::mainWindow());
    RandomHands hands(archive, folder + QStringLiteral("/work.pxm"), seed);
    if (scene.isEmpty()) {
        hands.import();
    } else {
        Driver::answerFileDialog(scene);
        Global::mainWindow()->openScene();
    }
    const auto reached = [] {
        return Global::layers().empty() ? 0 : Global::layers().front()->data()->reserved();
    };
    for (int step = reached() + 1;; ++step) {
        hands.work();
        if (hands.one(40))
            hands.save();
        if (!Global::layers().empty()) {
            Global::layers().front()->data()->setReserved(step);
            std::printf("%d %lld\n", step, static_cast<long long>(now()));
            std::fflush(stdout);
        }
        QTest::qWait(50 + hands.below(300));
    }
}

struct Outcome {
    bool torn = false;
    int kept = 0; ///< the last step that is on disk
    QString newest; ///< the scene that holds it
};

Outcome look(const QString &folder)
{
    Outcome outcome;
    for (const QFileInfo &file : QDir(folder).entryInfoList({ QStringLiteral("*.pxm") })) {
        const SceneContent scene = readScene(file.filePath());
        outcome.torn = outcome.torn || scene.read != SceneRead::Whole;
        if (scene.layers.empty() || scene.layers.front()->reserved() < outcome.kept)
            continue;
        outcome.kept = scene.layers.front()->reserved();
        outcome.newest = file.filePath();
    }
    return outcome;
}

/// When each step was done.
std::map<int, qint64> stepTimes(const QByteArray &told)
{
    std::map<int, qint64> times;
    for (const QByteArray &line : told.split('\n')) {
        const QList<QByteArray> words = line.split(' ');
        if (words.size() == 2)
            times[words[0].toInt()] = words[1].toLongLong();
    }
    return times;
}

/// Milliseconds of work that are gone, -1 where a file is torn.
qint64 round(int number, const QString &archive, int seconds, const QString &scene,
             QTemporaryDir &folder, QString &newest)
{
    std::mt19937 random { quint32(number) };
    QProcess worker;
    worker.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    worker.start(
        QCoreApplication::applicationFilePath(),
        { QStringLiteral("--work"), archive, folder.path(), scene, QString::number(number) });
    worker.waitForReadyRead(60000);
    QByteArray told = worker.readAllStandardOutput();
    const qint64 end = now() + qint64(random() % quint32(1000 * seconds));
    while (now() < end && worker.state() == QProcess::Running) {
        worker.waitForReadyRead(int(std::max<qint64>(end - now(), 1)));
        told += worker.readAllStandardOutput();
    }
    const bool ran = worker.state() == QProcess::Running;
    worker.kill();
    worker.waitForFinished();
    const qint64 killed = now();
    const std::map<int, qint64> times = stepTimes(told + worker.readAllStandardOutput());

    const Outcome outcome = look(folder.path());
    const auto firstLost = times.upper_bound(outcome.kept);
    const qint64 lost = firstLost == times.end() ? 0 : killed - firstLost->second;
    std::printf("round %3d: %3zu steps, %3d the last kept, %4.1f s lost%s%s\n", number,
                times.size(), outcome.kept, double(lost) / 1000.0, outcome.torn ? ", TORN" : "",
                ran ? "" : ", ENDED BY ITSELF");
    std::fflush(stdout);
    newest = outcome.newest;
    return outcome.torn || !ran ? -1 : lost;
}

int killRounds(const QString &archive, int rounds, int seconds)
{
    QLoggingCategory::setFilterRules(QStringLiteral("plexmold.*.debug=false"));
    qint64 worst = 0;
    int bad = 0;
    QString newest;
    auto before = std::make_unique<QTemporaryDir>();
    for (int number = 1; number <= rounds; ++number) {
        auto folder = std::make_unique<QTemporaryDir>();
        const QString continued = folder->filePath(QStringLiteral("before.recovered.pxm"));
        const bool goesOn = number % 3 == 0 && QFile::copy(newest, continued);
        const qint64 lost =
            round(number, archive, seconds, goesOn ? continued : QString(), *folder, newest);
        worst = std::max(worst, lost);
        bad += lost < 0 || lost > kAllowed;
        before = std::move(folder);
    }
    std::printf("%d rounds, at most %.1f s lost, %d bad\n", rounds, double(worst) / 1000.0, bad);
    return bad == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char *argv[])
{
    const bool works = argc > 5 && QByteArray(argv[1]) == "--work";
    if (!works && argc < 3) {
        std::fprintf(stderr, "usage: kills ARCHIVE ROUNDS [SECONDS]\n");
        return 2;
    }
    if (works) {
        Startup::prepare();
        QApplication application(argc, argv);
        const QStringList words = QApplication::arguments();
        return workUntilKilled(words[2], words[3], words[4], words[5].toUInt());
    }
    const QCoreApplication application(argc, argv);
    const QStringList words = QCoreApplication::arguments();
    return killRounds(words[1], words[2].toInt(), argc > 3 ? words[3].toInt() : 10);
}
