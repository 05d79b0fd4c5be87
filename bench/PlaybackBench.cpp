// How many ticks per second playback sustains on 10 thousand, 100 thousand and 1 million vertices
// with one painted layer, the whole program running. Timed: from tick to tick, with the play
// timer's interval taken away so that nothing waits for the frame rate. Beside it stand the medians
// of one full evaluation and of one repaint of view and ruler, both until the card has finished;
// "overhead" is the share of a tick that neither explains (below zero where the card works on while
// the program goes ahead). Not timed: writing, importing, the first frames.

#include "bench/Rows.h"
#include "layers/Layer.h"
#include "support/Archives.h"
#include "timeline/Timeline.h"
#include "tools/RunningProgram.h"
#include "viewport/MeshScope.h"

#include <QElapsedTimer>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QTemporaryDir>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <functional>

namespace {

constexpr int kFrameCount = 4;
constexpr int kTicks = 21;

void finish()
{
    const MeshScope scope;
    if (scope)
        QOpenGLContext::currentContext()->functions()->glFinish();
}

/// Counts a signal, and lets the event loop run until it has come once more.
class SignalCount : public QObject {
public:
    template <class Sender, class Signal> SignalCount(Sender *sender, Signal signal)
    {
        connect(sender, signal, this, [this] { ++m_count; });
    }
    void waitForNext()
    {
        const int before = m_count;
        while (m_count == before)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }

private:
    int m_count = 0;
};

double seconds(const std::function<void()> &step)
{
    QElapsedTimer timer;
    timer.start();
    step();
    return double(timer.nsecsElapsed()) * 1e-9;
}

double median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + long(values.size() / 2), values.end());
    return values[values.size() / 2];
}

void evaluate()
{
    Global::evaluateLayers(true);
    finish();
}

void repaint()
{
    SignalCount swaps(Global::viewport(), &QOpenGLWidget::frameSwapped);
    Global::evaluateLayers(false);
    Global::timeline()->update();
    swaps.waitForNext();
    finish();
}

void writeSheet(const QString &path, int side)
{
    archives::Writer writer(path);
    const archives::Shape sheet = archives::grid(side);
    std::vector<archives::Points> later;
    for (int k = 1; k < kFrameCount; ++k)
        later.push_back(archives::moved(sheet.points, { 0.0f, 0.1f * float(k), 0.0f }));
    writer.mesh(writer.top(), "sheet", sheet, later);
}

void showSheet(int side, Global &receiver)
{
    static const QTemporaryDir folder; // the open archive reads on from it
    const QString path = folder.filePath(QStringLiteral("sheet%1.abc").arg(side));
    writeSheet(path, side);
    while (!Global::layers().empty())
        Global::deleteLayer(Global::layers().back());
    Global::openArchive(path);
    emit Global::mainWindow()->alembicImported();
    Global::viewport()->camera().frameBox({ 0.0f, 0.0f, 0.0f }, { 1.0f, 0.4f, 1.0f });
    receiver.addLayer(int(LayerKind::Sculpt));
}

void playBench(benchmark::State &state, Global &receiver, int side)
{
    showSheet(side, receiver);
    auto *timer = Global::timeline()->findChild<QTimer *>();
    SignalCount ticks(timer, &QTimer::timeout);
    std::vector<double> evaluations;
    std::vector<double> paints;
    std::vector<double> periods;
    for (auto _ : state) { // in turn, so that a busy moment of the machine strikes all three
        evaluations.push_back(seconds(evaluate));
        paints.push_back(seconds(repaint));
        Global::timeline()->playPause();
        timer->setInterval(0);
        ticks.waitForNext();
        periods.push_back(seconds([&] { ticks.waitForNext(); }));
        Global::timeline()->playPause();
        QCoreApplication::processEvents(); // what the last tick left to repaint
        state.SetIterationTime(periods.back());
    }
    const double tick = median(periods);
    const double evaluating = median(evaluations);
    const double painting = median(paints);
    state.counters["ticks_per_s"] = 1.0 / tick;
    state.counters["evaluate_ms"] = evaluating * 1e3;
    state.counters["paint_ms"] = painting * 1e3;
    state.counters["overhead_%"] = 100.0 * (tick - evaluating - painting) / tick;
}

} // namespace

int main(int argc, char *argv[])
{
    Startup::prepare();
    QApplication application(argc, argv);
    RunningProgram program;
    if (!program.hasGL()) {
        std::puts("no OpenGL 4.3 context");
        return 0;
    }
    Global receiver;
    for (const int side : { 100, 316, 1000 }) {
        const std::string name = "play " + std::to_string(side * side) + " vertices";
        benchmark::RegisterBenchmark(
            name.c_str(), [&, side](benchmark::State &state) { playBench(state, receiver, side); })
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond)
            ->Iterations(kTicks);
    }
    return runRows(argc, argv);
}
