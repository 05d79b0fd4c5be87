// What one drag event of a brush stroke costs in the running program, on 10 thousand, 100 thousand
// and 1 million vertices, by brush radius. Timed: from the mouse event until the card has finished
// its stamps, beside the same kernels dispatched back to back with no event in between (ratio), and
// the repaint to the next picture. The split repeats the event's steps one by one, each until the
// card has finished; by surface it tells what part of a stamp the read-back takes, beside its wait
// for the kernels before it. Not timed: press and release. A software rasteriser gives shares, not
// what an artist's card does.

#include "bench/Paired.h"
#include "bench/Rows.h"
#include "layers/SparsePoints.h"
#include "support/Stage.h"

#include <QLoggingCategory>
#include <QMouseEvent>
#include <QOpenGLContext>
#include <QOpenGLFunctions>

namespace {

constexpr int kDrag = 30; // pixels of one event

struct Row {
    int side;
    int radius; ///< pixels
    bool bySurface;
};

double milliseconds(const std::function<void()> &work)
{
    const auto begin = std::chrono::steady_clock::now();
    work();
    return 1e3 * std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

void finish()
{
    const MeshScope scope;
    QOpenGLContext::currentContext()->functions()->glFinish();
}

void send(QEvent::Type type, const QPoint &at)
{
    const bool moves = type == QEvent::MouseMove;
    QMouseEvent event(type, at, moves ? Qt::NoButton : Qt::LeftButton,
                      type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton,
                      Qt::NoModifier);
    QApplication::sendEvent(Stage::view(), &event);
}

/// A press that stays down; each event drags on by the same way, there and back.
class Stroke {
public:
    explicit Stroke(const Row &row)
        : m_row(row)
        , m_at(Stage::middle())
        , m_lastStamp(m_at)
    {
        Global::setBrushRadius(row.radius);
        Global::setBrushStrength(0.001f);
        Global::setCurrentBrush(int(BrushType::Standard));
        if (MainWindow::bySurface() != row.bySurface)
            Global::mainWindow()->toggleBySurface();
        send(QEvent::MouseButtonPress, m_at);
        m_brush.type = BrushType::Standard;
        m_brush.intensity = 0.001f;
        m_brush.radius =
            worldRadius(float(row.radius), Stage::view()->strokeHit(), Stage::view()->matrices());
    }
    ~Stroke() { send(QEvent::MouseButtonRelease, m_at); }
    Stroke(const Stroke &) = delete;
    Stroke &operator=(const Stroke &) = delete;

    void aim()
    {
        const QPoint to = m_at + QPoint(m_forward ? kDrag : -kDrag, 0);
        m_stamps = stampsAlong(pixelLine(m_at, to), stampSpacing(m_row.radius), m_lastStamp);
        m_at = to;
        m_forward = !m_forward;
    }
    void event() const
    {
        send(QEvent::MouseMove, m_at);
        finish();
    }
    void kernels() const
    {
        const MeshScope scope;
        for (const QPoint &stamp : m_stamps) {
            hit(stamp);
            pick();
            Global::mesh()->computeArea(m_brush.radius);
            Global::mesh()->sculpt(m_brush, {});
        }
        Global::mesh()->updateNormals();
        finish();
    }
    void split(benchmark::State &state) const
    {
        const MeshScope scope;
        GPUMesh &mesh = *Global::mesh();
        const auto timed = [&](const char *name, const std::function<void()> &step) {
            finish();
            const double taken = milliseconds([&step] {
                step();
                finish();
            });
            state.counters[name] = taken;
            return taken;
        };
        const double stamp = timed("hit_ms", [&] { hit(m_at); }) +
            timed("pick_ms", [&] { pick(); }) +
            timed("area_ms", [&] { mesh.computeArea(m_brush.radius); }) +
            timed("sculpt_ms", [&] { mesh.sculpt(m_brush, {}); });
        timed("normals_ms", [&] { mesh.updateNormals(); });
        timed("paint_ms", [] { Stage::view()->repaint(); });
        state.counters["to_picture_ms"] =
            state.counters["work_ms"].value + state.counters["paint_ms"].value;
        if (!m_row.bySurface)
            return;
        const double readBack = timed("read_back_ms", [&] {
            mesh.readBack<QVector4D>(Semantic::kPosition);
            mesh.readBack<BrushData>(Semantic::kBrush);
        });
        state.counters["read_back_percent"] = 100 * readBack / stamp;
    }
    size_t stampCount() const { return m_stamps.size(); }

private:
    void hit(const QPoint &widgetPixel) const
    {
        const QPoint pixel(widgetPixel.x(), Stage::view()->height() - widgetPixel.y());
        const ScreenRay ray = screenRay(pixel, Stage::view()->matrices());
        Global::mesh()->closestIntersection(ray.nearPoint, ray.farPoint, false);
    }
    void pick() const
    {
        if (m_row.bySurface)
            Global::mesh()->pickVerticesBySurface(m_brush.radius);
        else
            Global::mesh()->pickVertices(m_brush.radius);
    }

    const Row m_row;
    QPoint m_at;
    QPoint m_lastStamp;
    bool m_forward = true;
    std::vector<QPoint> m_stamps;
    BrushSettings m_brush;
};

void runRow(benchmark::State &state, Stage &stage, const Row &row)
{
    static int s_side = 0;
    if (s_side != row.side) {
        s_side = row.side;
        stage.import(testGrid(row.side, row.side, 0.1));
        stage.addLayer(LayerKind::Sculpt);
    }
    Stroke stroke(row);
    stroke.aim();
    stroke.event();
    Paired paired;
    size_t stamps = 0;
    for (auto _ : state) {
        stroke.aim();
        stamps += stroke.stampCount();
        paired.turn([&] { stroke.event(); }, [&] { stroke.kernels(); });
        state.SetIterationTime(paired.lastWork());
    }
    paired.report(state);
    state.counters["stamps_per_s"] =
        benchmark::Counter(double(stamps), benchmark::Counter::kIsRate);
    stroke.split(state);
    const MeshScope scope;
    const SparsePoints deltas(Global::mesh()->readBack<QVector4D>(Semantic::kDeltas));
    state.counters["ten_undos_MB"] = 10 * double(deltas.storedBytes()) / 1e6;
}

}

int main(int argc, char **argv)
{
    Startup::prepare();
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false"));
    QApplication application(argc, argv);
    Stage stage;
    if (!stage.hasGL())
        return 0; // nothing to measure without OpenGL 4.3
    for (const int side : { 100, 316, 1000 }) {
        for (const Row &row :
             { Row { side, 20, false }, Row { side, 80, false }, Row { side, 200, false },
               Row { side, 20, true }, Row { side, 80, true }, Row { side, 200, true } }) {
            const std::string name = std::to_string(side * side) + " vertices, radius " +
                std::to_string(row.radius) + (row.bySurface ? ", by surface" : "");
            benchmark::RegisterBenchmark(name.c_str(), runRow, std::ref(stage), row)
                ->UseManualTime()
                ->Iterations(side < 1000 ? 20 : 4)
                ->Unit(benchmark::kMillisecond);
        }
    }
    return runRows(argc, argv);
}
